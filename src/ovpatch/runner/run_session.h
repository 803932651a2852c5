// The run inside the lock: logging, manifest, action, result.
#ifndef OVPATCH_OVPATCH_RUNNER_RUN_SESSION_H
#define OVPATCH_OVPATCH_RUNNER_RUN_SESSION_H

#include <cstdint>

namespace ovpatch {

// Puts right what a run that was cut off left, does the action that the manifest under `baseDirectory` names
// and writes its result. `alone` tells that the lock is held; without it the journal keeps other runs
// waiting. Answers the exit value of the process: 0 when logging could be started, whatever became of the
// action; 1 when the base directory is longer than 259 bytes or there is no memory for the logger.
std::int32_t runPatchSession(const char* baseDirectory, bool alone);

}  // namespace ovpatch

#endif
