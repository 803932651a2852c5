// The log lines of this folder, by the source that they are told under. Each is the pair of calls that a log
// line always is. Level 6 is the ordinary one; 9 is for the few lines that a terse log should keep.
#ifndef OVPATCH_OVPATCH_LOG_LINES_H
#define OVPATCH_OVPATCH_LOG_LINES_H

#include "logging/log_line.h"

// The runner, both transactions, the item brackets and the per-file questions.
#define UPDATER_INFO(level, ...) OVPATCH_LOG_INFO("kxovupdater", level, __VA_ARGS__)
#define UPDATER_ERROR(level, ...) OVPATCH_LOG_ERROR("kxovupdater", level, __VA_ARGS__)

// Agent loading, the manifest and the ledger.
#define STRU_INFO(level, ...) OVPATCH_LOG_INFO("kxupdaterstru", level, __VA_ARGS__)
#define STRU_ERROR(level, ...) OVPATCH_LOG_ERROR("kxupdaterstru", level, __VA_ARGS__)

#endif
