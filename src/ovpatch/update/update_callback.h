// What turns a plain tree copy into an update: the agent is asked about each file before it is touched, and
// the run ledger learns what the copy adds and what it overwrites.
#ifndef OVPATCH_OVPATCH_UPDATE_UPDATE_CALLBACK_H
#define OVPATCH_OVPATCH_UPDATE_UPDATE_CALLBACK_H

#include <cstdint>

#include "fileops/file_op.h"

namespace ovpatch {

// The callback that the update gives to xcopy; `userData` of the record points to an ItemCopyContext. A file
// that will be overwritten is first saved in the item's backup directory and noted in `writtenFiles`; a new
// file is noted in `addedFiles` after its copy. Answers 0 to go on, 2 to leave the file alone, 1 to stop, -5
// when the file could not be saved or noted.
std::int32_t callBackForUpdate(FileOpRecord* record);

}  // namespace ovpatch

#endif
