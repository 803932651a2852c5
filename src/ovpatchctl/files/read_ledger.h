// The ledger of a destination, as it stands there now.
#ifndef OVPATCH_OVPATCHCTL_FILES_READ_LEDGER_H
#define OVPATCH_OVPATCHCTL_FILES_READ_LEDGER_H

#include <cstdint>
#include <string>

#include "ovpatch/ledger/stored_ledger.h"

namespace ovpatch::ctl {

class ReadLedger {
public:
    enum class State {
        NO_PATH,  // its path does not fit
        MISSING,
        UNREADABLE,  // it is there, or may be, and is no ledger that can be read
        READ,
    };

    // Reads that of `destination`, device text.
    explicit ReadLedger(const char* destination);

    State state() const { return state_; }
    const std::string& path() const { return path_; }  // device text; empty when it does not fit
    bool isReadOnly() const { return isReadOnly_; }

    // READ only; the ledger keeps them.
    const BackupStru& content() const { return stored_.ledger(); }
    // The record of an item, null when it has none.
    const BackupItem* find(std::int32_t itemClass, std::int32_t itemType) const;

private:
    State state_ = State::NO_PATH;
    std::string path_;
    bool isReadOnly_ = false;
    StoredLedger stored_;
};

}  // namespace ovpatch::ctl

#endif
