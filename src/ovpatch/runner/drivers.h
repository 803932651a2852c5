// The two actions. A driver reads the manifest, binds the agent of the generation that it names, hands over
// to the transaction and cleans up. Both answer a result code (ovpatch/result_codes.h); the document stays
// the caller's.
#ifndef OVPATCH_OVPATCH_RUNNER_DRIVERS_H
#define OVPATCH_OVPATCH_RUNNER_DRIVERS_H

#include <cstdint>

#include "ini/kx_ini_util.h"

namespace ovpatch {

std::int32_t update(KxIniUtil& manifest);
std::int32_t rollback(KxIniUtil& manifest);

}  // namespace ovpatch

#endif
