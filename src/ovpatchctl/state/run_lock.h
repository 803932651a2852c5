// The lock that lets one run at a time work on a machine, for as long as an object of this kind lives.
#ifndef OVPATCH_OVPATCHCTL_STATE_RUN_LOCK_H
#define OVPATCH_OVPATCHCTL_STATE_RUN_LOCK_H

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

// Waits for a lock that another process holds, at most so many seconds. Answers whether it has come free, or
// there is none to be had; it is not held then.
bool waitForRunLock(double seconds);

}  // namespace ovpatch::ctl

#endif
