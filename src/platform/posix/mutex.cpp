#include <fcntl.h>
#include <limits.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/posix/errors.h"
#include "platform/posix/handle_object.h"
#include "platform/posix/interrupted.h"

namespace ovpatch::posix {

namespace {

constexpr char LOCK_DIRECTORY[] = "/tmp/";
constexpr char LOCK_SUFFIX[] = ".lock";

bool isSafe(WCHAR unit) {
    return (unit >= 'a' && unit <= 'z') || (unit >= 'A' && unit <= 'Z') || (unit >= '0' && unit <= '9') ||
           unit == '-' || unit == '_' || unit == '.';
}

bool buildLockPath(LPCWSTR name, char (&path)[PATH_MAX]) {
    if (name == nullptr || *name == 0) return fail(ERROR_INVALID_NAME);
    std::size_t length = sizeof LOCK_DIRECTORY - 1;
    std::memcpy(path, LOCK_DIRECTORY, length);
    for (; *name != 0; ++name) {
        if (length + sizeof LOCK_SUFFIX >= sizeof path) return fail(ERROR_FILENAME_EXCED_RANGE);
        path[length++] = isSafe(*name) ? static_cast<char>(*name) : '_';
    }
    std::memcpy(path + length, LOCK_SUFFIX, sizeof LOCK_SUFFIX);
    return true;
}

int openLockFile(const char* path) {
    constexpr int FLAGS = O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    // A kernel that protects shared directories refuses O_CREAT on another user's file, even where it exists.
    int descriptor = untilDone([path] { return open(path, FLAGS); });
    if (descriptor >= 0 || errno != ENOENT) return descriptor;
    descriptor = untilDone([path] { return open(path, FLAGS | O_CREAT | O_EXCL, 0666); });
    if (descriptor < 0 && errno == EEXIST) return untilDone([path] { return open(path, FLAGS); });
    if (descriptor < 0) return descriptor;
    fchmod(descriptor, 0666);  // other users' runs must be able to wait, whatever this one's umask is
    return descriptor;
}

bool lock(int descriptor, int operation) {
    return untilDone([=] { return flock(descriptor, operation); }) == 0;
}

DescriptorObject* mutexOf(HANDLE handle) {
    return static_cast<DescriptorObject*>(objectOf(handle, HandleKind::mutex));
}

}  // namespace

}  // namespace ovpatch::posix

using namespace ovpatch::posix;

HANDLE CreateMutexW(LPSECURITY_ATTRIBUTES, BOOL initialOwner, LPCWSTR name) {
    char path[PATH_MAX];
    if (!buildLockPath(name, path)) return nullptr;
    const int descriptor = openLockFile(path);
    if (descriptor < 0) {
        failFromErrno();
        return nullptr;
    }
    DescriptorObject* mutex = makeDescriptorObject(HandleKind::mutex, descriptor);
    if (mutex == nullptr) return nullptr;
    if (initialOwner) mutex->held = lock(descriptor, LOCK_EX | LOCK_NB);
    if (initialOwner && !mutex->held && errno != EWOULDBLOCK) {
        failFromErrno();
        CloseHandle(mutex);
        return nullptr;
    }
    SetLastError(initialOwner && !mutex->held ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    return mutex;
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
    DescriptorObject* mutex = mutexOf(handle);
    if (mutex == nullptr) return WAIT_FAILED;
    if (milliseconds != INFINITE && milliseconds != 0) {
        fail(ERROR_INVALID_PARAMETER);
        return WAIT_FAILED;
    }
    if (lock(mutex->descriptor, milliseconds == INFINITE ? LOCK_EX : LOCK_EX | LOCK_NB)) {
        mutex->held = true;
        return WAIT_OBJECT_0;
    }
    if (errno == EWOULDBLOCK) return WAIT_TIMEOUT;
    failFromErrno();
    return WAIT_FAILED;
}

BOOL ReleaseMutex(HANDLE handle) {
    DescriptorObject* mutex = mutexOf(handle);
    if (mutex == nullptr) return FALSE;
    if (!mutex->held) return fail(ERROR_NOT_OWNER);
    if (flock(mutex->descriptor, LOCK_UN) != 0) return failFromErrno();
    mutex->held = false;
    return TRUE;
}
