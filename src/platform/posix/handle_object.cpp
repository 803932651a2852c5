#include "platform/posix/handle_object.h"

#include <unistd.h>

#include <new>

#include "platform/posix/errors.h"

namespace ovpatch::posix {

namespace {

HandleObject* anyObjectOf(HANDLE handle) {
    return handle == INVALID_HANDLE_VALUE ? nullptr : static_cast<HandleObject*>(handle);
}

}  // namespace

DescriptorObject* makeDescriptorObject(HandleKind kind, int descriptor) {
    auto* object = new (std::nothrow) DescriptorObject{{kind}, descriptor, false};
    if (object == nullptr) {
        close(descriptor);
        fail(ERROR_NOT_ENOUGH_MEMORY);
    }
    return object;
}

HandleObject* objectOf(HANDLE handle, HandleKind kind) {
    HandleObject* object = anyObjectOf(handle);
    if (object != nullptr && object->kind == kind) return object;
    fail(ERROR_INVALID_HANDLE);
    return nullptr;
}

}  // namespace ovpatch::posix

using namespace ovpatch::posix;

BOOL CloseHandle(HANDLE handle) {
    HandleObject* object = anyObjectOf(handle);
    if (object == nullptr || object->kind == HandleKind::search) return fail(ERROR_INVALID_HANDLE);
    auto* owner = static_cast<DescriptorObject*>(object);
    close(owner->descriptor);
    delete owner;
    return TRUE;
}
