// Taking the records of many items out of their ledgers.
#ifndef OVPATCH_OVPATCH_LEDGER_RECORD_REMOVAL_H
#define OVPATCH_OVPATCH_LEDGER_RECORD_REMOVAL_H

#include <memory>

#include "foundation/byte_string.h"
#include "ovpatch/ledger/ledger_file.h"
#include "ovpatch/ledger/stored_ledger.h"

namespace ovpatch {

// Is told an item of the run whose record is out of its ledger now, and that record; null for the record when
// the ledger could not be written and has it still.
using RecordRemoved = void (*)(const BackupItem& item, const BackupItem* record);

// Reads each ledger once and writes it once for all items that follow each other in it, where a journal holds
// what leads back; without one it is written after each item. What is left and what the log tells is the
// same.
class RecordRemoval {
public:
    // `ledger` is what has been read already; it outlives the removal and is of no use behind it.
    RecordRemoval(StoredLedger* ledger, MissingAgent agent, RecordRemoved removed)
        : ledger_(ledger), agent_(agent), removed_(removed) {}
    ~RecordRemoval() { write(); }
    RecordRemoval(const RecordRemoval&) = delete;
    RecordRemoval& operator=(const RecordRemoval&) = delete;

    // Takes the first record of the item's class and type out of the ledger at `path`. Nothing happens where
    // the ledger cannot be read, or has none. `item` outlives the removal.
    void takeOut(const BackupItem& item, const char* path);

    // Writes what has not been written yet.
    void write();

private:
    bool open(const char* path);
    void tellReading() const;

    StoredLedger* ledger_;
    MissingAgent agent_;
    RecordRemoved removed_;
    ByteString path_;
    bool isChanged_ = false;
    // For each record of the open ledger the item that has taken it out; null when none is open.
    std::unique_ptr<const BackupItem*[]> takenOutBy_;
};

}  // namespace ovpatch

#endif
