// Questions about what a path names.
//
// Null and empty paths name nothing. Each question can go unanswered: the device could not look, for want of
// a permission, of memory, of whatever. The answer is false then, and `known`, if it is given, becomes false;
// in all other cases it becomes true. What is not known to be missing must not be taken for missing.
#ifndef OVPATCH_FILEOPS_FILE_TESTS_H
#define OVPATCH_FILEOPS_FILE_TESTS_H

namespace ovpatch {

// Whether `path` names an existing directory; one separator at its end is passed over.
bool isDirectory(const char* path, bool* known = nullptr);

// Whether `path` names a file that can be opened for reading in binary mode. For a file that may not be read
// the answer is known: it cannot.
bool fileExists(const char* path, bool* known = nullptr);

// Whether `path` names anything that exists, file or directory.
bool pathExists(const char* path, bool* known = nullptr);

}  // namespace ovpatch

#endif
