// Reading a ledger file.
#ifndef OVPATCH_OVPATCH_LEDGER_LEDGER_READER_H
#define OVPATCH_OVPATCH_LEDGER_LEDGER_READER_H

#include <cstdint>

#include "ini/kx_ini_util.h"
#include "ovpatch/ledger/backup_stru.h"

namespace ovpatch {

// The level of the reader's lines in the log.
constexpr std::int32_t READER_LEVEL = 6;

// Turns the open ledger into a stored ledger. Answers 1 when it was read, also when it holds no items; the
// caller ends `out` with freeBackupStru. Answers 0 on every failure: the log has the reason, everything is
// released already and `out` must not be used. A null argument is such a failure.
std::int32_t phaseIniForBackup(KxIniUtil* ledger, BackupStru* out);

}  // namespace ovpatch

#endif
