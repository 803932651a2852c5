// What a HANDLE of this host points to. CloseHandle ends mutexes and files, FindClose ends searches.
#ifndef OVPATCH_PLATFORM_POSIX_HANDLE_OBJECT_H
#define OVPATCH_PLATFORM_POSIX_HANDLE_OBJECT_H

#include "platform/platform.h"

namespace ovpatch::posix {

enum class HandleKind { mutex, file, search };

// The head of every object.
struct HandleObject {
    HandleKind kind;
};

// A mutex's lock file or a created file. Owns the descriptor.
struct DescriptorObject : HandleObject {
    int descriptor;
    bool held;  // mutexes only: this handle has the lock
};

// A new object that owns `descriptor`; null with ERROR_NOT_ENOUGH_MEMORY (8), the descriptor then closed.
DescriptorObject* makeDescriptorObject(HandleKind kind, int descriptor);

// The object of a handle; null with ERROR_INVALID_HANDLE (6) when the handle is null, INVALID_HANDLE_VALUE or
// of another kind.
HandleObject* objectOf(HANDLE handle, HandleKind kind);

}  // namespace ovpatch::posix

#endif
