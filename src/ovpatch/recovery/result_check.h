// Whether a run has told its result.
#ifndef OVPATCH_OVPATCH_RECOVERY_RESULT_CHECK_H
#define OVPATCH_OVPATCH_RECOVERY_RESULT_CHECK_H

#include <cstdint>

#include "platform/file_state.h"

namespace ovpatch {

// OV_Temp\OvResult.ini under the base directory into a buffer of 260 bytes. False when it does not fit; then
// `out` stays as it is.
bool resultPath(const char* baseDirectory, char* out);

// Whether a file is what it was.
bool isUntouched(const platform::FileState& old, const platform::FileState& now);

// Whether the result file, which was of state `old` before, has been written since and holds `result`.
bool isResultTold(const char* resultFile, const platform::FileState& old, std::int32_t result);

}  // namespace ovpatch

#endif
