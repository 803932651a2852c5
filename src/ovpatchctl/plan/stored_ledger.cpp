#include "ovpatchctl/plan/stored_ledger.h"

#include "fileops/file_tests.h"
#include "fileops/wide_path.h"
#include "ini/kx_ini_util.h"
#include "ovpatch/ledger/backup_paths.h"
#include "ovpatch/ledger/ledger_file.h"
#include "ovpatch/ledger/ledger_reader.h"

namespace ovpatch::ctl {

StoredLedger::StoredLedger(const char* destination) {
    char path[PATH_SIZE];
    if (!ledgerPath(destination, path, sizeof path)) return;
    path_ = path;
    bool known = true;
    state_ = State::MISSING;
    if (!pathExists(path, &known) && known) return;
    state_ = State::UNREADABLE;
    KxIniUtil document(path, LEDGER_COMMENT, false);
    document.setReadOnly();
    if (document.isUnreadable() || phaseIniForBackup(&document, &content_) == 0) return;
    state_ = State::READ;
    const WidePath wide(path);
    isReadOnly_ = wide.fits() && (GetFileAttributesW(wide.text()) & FILE_ATTRIBUTE_READONLY) != 0;
}

StoredLedger::~StoredLedger() {
    if (state_ == State::READ) freeBackupStru(&content_);
}

const BackupItem* StoredLedger::find(std::int32_t itemClass, std::int32_t itemType) const {
    return state_ == State::READ ? findBackupItem(content_, itemClass, itemType) : nullptr;
}

}  // namespace ovpatch::ctl
