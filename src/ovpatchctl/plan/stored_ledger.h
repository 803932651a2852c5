// The ledger of a destination, as it stands there now.
#ifndef OVPATCH_OVPATCHCTL_PLAN_STORED_LEDGER_H
#define OVPATCH_OVPATCHCTL_PLAN_STORED_LEDGER_H

#include <cstdint>
#include <string>

#include "ovpatch/ledger/backup_stru.h"

namespace ovpatch::ctl {

class StoredLedger {
public:
    enum class State {
        NO_PATH,  // its path does not fit
        MISSING,
        UNREADABLE,  // it is there, or may be, and is no ledger that can be read
        READ,
    };

    // Reads that of `destination`, device text.
    explicit StoredLedger(const char* destination);
    ~StoredLedger();
    StoredLedger(const StoredLedger&) = delete;
    StoredLedger& operator=(const StoredLedger&) = delete;

    State state() const { return state_; }
    const std::string& path() const { return path_; }  // device text; empty when it does not fit
    bool isReadOnly() const { return isReadOnly_; }

    // READ only; the ledger keeps them.
    const BackupStru& content() const { return content_; }
    // The record of an item, null when it has none.
    const BackupItem* find(std::int32_t itemClass, std::int32_t itemType) const;

private:
    State state_ = State::NO_PATH;
    std::string path_;
    bool isReadOnly_ = false;
    BackupStru content_{};
};

}  // namespace ovpatch::ctl

#endif
