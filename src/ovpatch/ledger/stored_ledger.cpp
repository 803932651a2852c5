#include "ovpatch/ledger/stored_ledger.h"

#include <memory>
#include <new>
#include <utility>

#include "ini/ini_names.h"
#include "ini/kx_ini_util.h"
#include "logging/log.h"
#include "ovpatch/journal/keeper.h"
#include "ovpatch/ledger/ledger_file.h"
#include "ovpatch/ledger/ledger_reader.h"

namespace ovpatch {

bool mayBeOneFile(const platform::FileState& left, const platform::FileState& right) {
    return left.isFile && right.isFile && left.size == right.size && left.seconds == right.seconds &&
           left.nanoseconds == right.nanoseconds && left.id == right.id && left.device == right.device;
}

bool StoredLedger::isRead(const char* path) const {
    return state_.isFile && path_.compare(path) == 0 && !logReaches(READER_LEVEL) &&
           mayBeOneFile(state_, stateOfFile(path));
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

struct StoredLedgers::Entry {
    ByteString path;
    std::uint32_t hash;
    StoredLedger ledger;
    std::unique_ptr<Entry> next;
};

StoredLedgers::StoredLedgers() = default;

StoredLedgers::~StoredLedgers() {
    // One by one: a chain that ends itself takes stack for each.
    while (first_ != nullptr)
        first_ = std::move(first_->next);
}

StoredLedger* StoredLedgers::at(const char* path) {
    const std::uint32_t hash = nameHash(path, true);
    std::unique_ptr<Entry>* entry = &first_;
    while (*entry != nullptr && ((*entry)->hash != hash || (*entry)->path.compare(path) != 0))
        entry = &(*entry)->next;
    if (*entry == nullptr) {
        entry->reset(new (std::nothrow) Entry);
        if (*entry == nullptr) return nullptr;
        (*entry)->path.assign(path);
        (*entry)->hash = hash;
    }
    return &(*entry)->ledger;
}

}  // namespace ovpatch
