// The lock that lets one run at a time work on a machine.
#ifndef OVPATCH_OVPATCH_RUNNER_RUN_MUTEX_H
#define OVPATCH_OVPATCH_RUNNER_RUN_MUTEX_H

#include "platform/platform.h"

namespace ovpatch {

// Takes the lock, waiting without a time-out while another process holds it. The handle is stored whatever
// happens. False when there is no lock to be had; the run goes on without one.
bool acquireRunMutex(HANDLE* mutex);

// What became of tryRunMutex.
enum class RunMutex {
    HELD,
    BUSY,  // another process holds it
    NONE,  // there is no lock to be had
};

// The same without waiting. The handle is stored only with HELD.
RunMutex tryRunMutex(HANDLE* mutex);

// Gives the lock back and closes its handle.
void releaseRunMutex(HANDLE mutex);

}  // namespace ovpatch

#endif
