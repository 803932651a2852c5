#include "ovpatch/runner/run_mutex.h"

namespace ovpatch {

namespace {

constexpr char MUTEX_NAME[] = "PATCH-5CF3C8EF-8084-4af1-9E60-8EB894E951B7";

// Null when there is none to be had. `isHeld` tells whether it is this process's already.
HANDLE openRunMutex(bool* isHeld) {
    WCHAR name[260] = {};
    MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, MUTEX_NAME, -1, name, 260);
    const HANDLE mutex = CreateMutexW(nullptr, TRUE, name);
    *isHeld = mutex != nullptr && GetLastError() != ERROR_ALREADY_EXISTS;
    return mutex;
}

}  // namespace

bool acquireRunMutex(HANDLE* mutex) {
    bool isHeld = false;
    *mutex = openRunMutex(&isHeld);
    if (*mutex == nullptr) return false;
    return isHeld || WaitForSingleObject(*mutex, INFINITE) != WAIT_FAILED;
}

RunMutex tryRunMutex(HANDLE* mutex) {
    bool isHeld = false;
    const HANDLE opened = openRunMutex(&isHeld);
    if (opened == nullptr) return RunMutex::NONE;
    const DWORD outcome = isHeld ? WAIT_OBJECT_0 : WaitForSingleObject(opened, 0);
    if (outcome != WAIT_TIMEOUT && outcome != WAIT_FAILED) {
        *mutex = opened;
        return RunMutex::HELD;
    }
    CloseHandle(opened);
    return outcome == WAIT_TIMEOUT ? RunMutex::BUSY : RunMutex::NONE;
}

void releaseRunMutex(HANDLE mutex) {
    ReleaseMutex(mutex);
    CloseHandle(mutex);
}

}  // namespace ovpatch
