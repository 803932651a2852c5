// Asking for a lock without taking part in it.
#ifndef OVPATCH_PLATFORM_LOCK_PROBE_H
#define OVPATCH_PLATFORM_LOCK_PROBE_H

#include "platform/platform.h"

namespace platform {

// Whether another process holds the file as a LockedFile. Whoever makes such a file at this very moment can
// be kept from holding it: the caller must know that nobody does.
bool isHeldElsewhere(LPCWSTR path);

}  // namespace platform

#endif
