// The lock that lets one run at a time work on a machine, for as long as an object of this kind lives.
#ifndef OVPATCH_OVPATCHCTL_STATE_RUN_LOCK_H
#define OVPATCH_OVPATCHCTL_STATE_RUN_LOCK_H

#include <functional>
#include <optional>

#include "ovpatch/runner/run_mutex.h"

namespace ovpatch::ctl {

class RunLock {
public:
    // Takes it, if it is free. Runs that begin meanwhile wait.
    RunLock() : outcome_(tryRunMutex(&mutex_)) {}
    ~RunLock() {
        if (isHeld()) releaseRunMutex(mutex_);
    }
    RunLock(const RunLock&) = delete;
    RunLock& operator=(const RunLock&) = delete;

    bool isHeld() const { return outcome_ == RunMutex::HELD; }
    RunMutex outcome() const { return outcome_; }

private:
    HANDLE mutex_ = nullptr;
    RunMutex outcome_;
};

// Takes the lock, and waits at most so many seconds while another process holds it; `tellWaiting` is called
// once before. False when it is still held then. Where there is no lock to be had, that is told by its
// outcome.
bool waitForRunLock(double seconds, const std::function<void()>& tellWaiting, std::optional<RunLock>* lock);

}  // namespace ovpatch::ctl

#endif
