#include "ovpatchctl/state/run_lock.h"

#include <chrono>
#include <thread>

namespace ovpatch::ctl {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds STEP(50);

}  // namespace

bool waitForRunLock(double seconds, const std::function<void()>& tellWaiting, std::optional<RunLock>* lock) {
    const Clock::time_point start = Clock::now();
    lock->emplace();
    if ((*lock)->outcome() != RunMutex::BUSY) return true;
    tellWaiting();
    while ((*lock)->outcome() == RunMutex::BUSY) {
        if (std::chrono::duration<double>(Clock::now() - start).count() >= seconds) return false;
        std::this_thread::sleep_for(STEP);
        lock->emplace();
    }
    return true;
}

}  // namespace ovpatch::ctl
