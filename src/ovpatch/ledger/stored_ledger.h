// Ledgers that are read from their files once, for all items that have their record in them.
#ifndef OVPATCH_OVPATCH_LEDGER_STORED_LEDGER_H
#define OVPATCH_OVPATCH_LEDGER_STORED_LEDGER_H

#include <memory>

#include "foundation/byte_string.h"
#include "ovpatch/ledger/backup_stru.h"
#include "platform/file_state.h"

namespace ovpatch {

// Whether two looks at files may have met the same one: always, where they have.
bool mayBeOneFile(const platform::FileState& left, const platform::FileState& right);

// Holds the ledger that was read last.
class StoredLedger {
public:
    // FAILED: its text is no ledger's, or there is none. UNREADABLE: it is there, or may be, and cannot be
    // read.
    enum class Reading { DONE, NO_MEMORY, FAILED, UNREADABLE };

    StoredLedger() = default;
    ~StoredLedger() { forget(); }
    StoredLedger(const StoredLedger&) = delete;
    StoredLedger& operator=(const StoredLedger&) = delete;

    // Whether the ledger at hand is what reading `path` would bring: it was read there, and the file is still
    // the same, of the same size and time. False also where the log is to tell of each reading.
    bool isRead(const char* path) const;

    // Reads the ledger, with the lines that this has in the log.
    Reading read(const char* path);

    // The ledger that was read; empty when that failed, and at the start.
    const BackupStru& ledger() const { return ledger_; }

    // Of the file, when it was read.
    const platform::FileState& state() const { return state_; }

    void forget();

private:
    ByteString path_;
    platform::FileState state_;
    BackupStru ledger_ = {};
};

// Those of a run.
class StoredLedgers {
public:
    StoredLedgers();
    ~StoredLedgers();
    StoredLedgers(const StoredLedgers&) = delete;
    StoredLedgers& operator=(const StoredLedgers&) = delete;

    // The one for `path`, nothing read in it at first; the same for the same path each time. Null without
    // memory. Not owned by the caller.
    StoredLedger* at(const char* path);

private:
    struct Entry;
    std::unique_ptr<Entry> first_;
};

}  // namespace ovpatch

#endif
