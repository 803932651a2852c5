// What a file must be before the host's loader may touch it.
#ifndef OVPATCH_PLATFORM_POSIX_LIBRARY_FILE_H
#define OVPATCH_PLATFORM_POSIX_LIBRARY_FILE_H

namespace ovpatch::posix {

// Whether the file is regular and a library of this machine's kind all of whose parts lie within it. The
// loader maps what the head of a file claims: it waits for ever for a FIFO, and the parts that a file cut
// short lacks end the process when they are reached. Never waits.
bool isWholeLibrary(const char* hostPath);

}  // namespace ovpatch::posix

#endif
