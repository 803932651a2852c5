// Questions about what a path names.
#ifndef OVPATCH_FILEOPS_FILE_TESTS_H
#define OVPATCH_FILEOPS_FILE_TESTS_H

namespace ovpatch {

// Whether `path` names an existing directory; one separator at its end is passed over. Null and empty: false.
bool isDirectory(const char* path);

// Whether `path` names a file that can be opened for reading in binary mode. Null and empty: false.
bool fileExists(const char* path);

// Whether `path` names anything that exists, file or directory. Null and empty: false.
bool pathExists(const char* path);

}  // namespace ovpatch

#endif
