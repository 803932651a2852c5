// Copies what is left of one open file to another by the fastest way that the host offers for its size.
#ifndef OVPATCH_PLATFORM_POSIX_COPY_CONTENT_H
#define OVPATCH_PLATFORM_POSIX_COPY_CONTENT_H

#include <sys/types.h>

namespace ovpatch::posix {

// Copies from the start of `source` to the start of the empty file `target`, up to where the source then
// ends: `size` is what it is believed to hold and only guides the way. False with the last error set.
bool copyContent(int source, int target, off_t size);

}  // namespace ovpatch::posix

#endif
