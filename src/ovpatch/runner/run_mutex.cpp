#include "ovpatch/runner/run_mutex.h"

namespace ovpatch {

namespace {

constexpr char MUTEX_NAME[] = "PATCH-5CF3C8EF-8084-4af1-9E60-8EB894E951B7";

}  // namespace

bool acquireRunMutex(HANDLE* mutex) {
    WCHAR name[260] = {};
    MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, MUTEX_NAME, -1, name, 260);
    *mutex = CreateMutexW(nullptr, TRUE, name);
    if (*mutex == nullptr) return false;
    return GetLastError() != ERROR_ALREADY_EXISTS || WaitForSingleObject(*mutex, INFINITE) != WAIT_FAILED;
}

void releaseRunMutex(HANDLE mutex) {
    ReleaseMutex(mutex);
    CloseHandle(mutex);
}

}  // namespace ovpatch
