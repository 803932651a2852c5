// A ledger that is read from its file once, for all items that have their record in it.
#ifndef OVPATCH_OVPATCH_LEDGER_STORED_LEDGER_H
#define OVPATCH_OVPATCH_LEDGER_STORED_LEDGER_H

#include "foundation/byte_string.h"
#include "ovpatch/ledger/backup_stru.h"
#include "platform/file_state.h"

namespace ovpatch {

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

    void forget();

private:
    ByteString path_;
    platform::FileState state_;
    BackupStru ledger_ = {};
};

}  // namespace ovpatch

#endif
