// Files as a whole.
#ifndef OVPATCH_OVPATCHCTL_FILES_READ_FILE_H
#define OVPATCH_OVPATCHCTL_FILES_READ_FILE_H

#include <string>

namespace ovpatch::ctl {

enum class FileReading {
    DONE,
    MISSING,
    UNREADABLE,  // it is there, or may be, and cannot be read, or is no file or larger than 64 MiB
};

// Reads the file, named in device text, into `out`, which is empty after any answer but DONE.
FileReading readFile(const std::string& path, std::string* out);

}  // namespace ovpatch::ctl

#endif
