#include "ovpatchctl/files/read_ledger.h"

#include "fileops/file_tests.h"
#include "fileops/wide_path.h"
#include "ovpatch/ledger/backup_paths.h"

namespace ovpatch::ctl {

ReadLedger::ReadLedger(const char* destination) {
    char path[PATH_SIZE];
    if (!ledgerPath(destination, path, sizeof path)) return;
    path_ = path;
    bool known = true;
    state_ = State::MISSING;
    if (!pathExists(path, &known) && known) return;
    state_ = State::UNREADABLE;
    if (stored_.read(path) != StoredLedger::Reading::DONE) return;
    state_ = State::READ;
    const WidePath wide(path);
    isReadOnly_ = wide.fits() && (GetFileAttributesW(wide.text()) & FILE_ATTRIBUTE_READONLY) != 0;
}

const BackupItem* ReadLedger::find(std::int32_t itemClass, std::int32_t itemType) const {
    return state_ == State::READ ? findBackupItem(content(), itemClass, itemType) : nullptr;
}

}  // namespace ovpatch::ctl
