#include "ovpatch/ledger/stored_ledger.h"

#include <memory>
#include <new>

#include "ini/kx_ini_util.h"
#include "logging/log.h"
#include "ovpatch/journal/keeper.h"
#include "ovpatch/ledger/ledger_file.h"
#include "ovpatch/ledger/ledger_reader.h"

namespace ovpatch {

namespace {

bool isSame(const platform::FileState& left, const platform::FileState& right) {
    return left.isFile && right.isFile && left.size == right.size && left.seconds == right.seconds &&
           left.nanoseconds == right.nanoseconds && left.id == right.id && left.device == right.device;
}

}  // namespace

bool StoredLedger::isRead(const char* path) const {
    return state_.isFile && path_.compare(path) == 0 && !logReaches(READER_LEVEL) &&
           isSame(state_, stateOfFile(path));
}

StoredLedger::Reading StoredLedger::read(const char* path) {
    forget();
    const platform::FileState state = stateOfFile(path);
    const std::unique_ptr<KxIniUtil> document(new (std::nothrow) KxIniUtil(path, LEDGER_COMMENT, false));
    if (document == nullptr) return Reading::NO_MEMORY;
    if (phaseIniForBackup(document.get(), &ledger_) == 0) {
        ledger_ = BackupStru{};
        return document->isUnreadable() ? Reading::UNREADABLE : Reading::FAILED;
    }
    path_.assign(path);
    state_ = state;
    return Reading::DONE;
}

void StoredLedger::forget() {
    freeBackupStru(&ledger_);
    ledger_ = BackupStru{};
    state_ = platform::FileState();
}

}  // namespace ovpatch
