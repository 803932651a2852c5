// Reading the manifest.
#ifndef OVPATCH_OVPATCH_MANIFEST_MANIFEST_READER_H
#define OVPATCH_OVPATCH_MANIFEST_MANIFEST_READER_H

#include <cstdint>

#include "ini/kx_ini_util.h"
#include "ovpatch/manifest/update_stru.h"

namespace ovpatch {

// Turns the open manifest into an UpdateStru. The document must hold `action` in `common`. Answers:
//    0  read; `out` has at least one item and belongs to the caller, who ends it with freeUpdateStru
//    1  `itemcount` is 0; nothing is allocated
//   -1  a required key is missing or memory ran out; everything is released already
// The first missing key, in the order of reading, decides the message in the log.
std::int32_t phaseIniForUpdate(KxIniUtil& manifest, UpdateStru* out);

}  // namespace ovpatch

#endif
