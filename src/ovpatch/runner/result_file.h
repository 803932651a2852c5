// The result file.
#ifndef OVPATCH_OVPATCH_RUNNER_RESULT_FILE_H
#define OVPATCH_OVPATCH_RUNNER_RESULT_FILE_H

#include <cstdint>

namespace ovpatch {

// Stores `result` in OV_Temp\OvResult.ini under the base directory, in place of an earlier one; whatever else
// the file holds stays. A path that does not fit, or a file that cannot be written, is not reported.
void writeResult(const char* baseDirectory, std::int32_t result);

}  // namespace ovpatch

#endif
