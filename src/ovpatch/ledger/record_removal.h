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

// Reads each ledger once and writes it once for all items that have their record in it, where a journal holds
// what leads back; without one it is written after each item. What is left and what the log tells is the
// same, but for ledgers that cannot be written, which it tells of once and at the end.
class RecordRemoval {
public:
    // `ledgers` are what has been read already; they outlive the removal and are of no use behind it.
    RecordRemoval(StoredLedgers* ledgers, MissingAgent agent, RecordRemoved removed)
        : ledgers_(ledgers), agent_(agent), removed_(removed) {}
    ~RecordRemoval() { write(); }
    RecordRemoval(const RecordRemoval&) = delete;
    RecordRemoval& operator=(const RecordRemoval&) = delete;

    // Takes the first record of the item's class and type out of the ledger at `path`. Nothing happens where
    // the ledger cannot be read, or has none. `item` outlives the removal.
    void takeOut(const BackupItem& item, const char* path);

    // Writes what has not been written yet.
    void write();

private:
    struct OpenLedger {
        ByteString path;
        std::uint32_t hash;  // nameHash of the path
        StoredLedger* ledger;
        bool isChanged;
        // For each record the item that has taken it out; null when the ledger is not open any more.
        std::unique_ptr<const BackupItem*[]> takenOutBy;
        std::unique_ptr<OpenLedger> next;
    };

    OpenLedger* find(const char* path) const;
    OpenLedger* open(const char* path);
    void tellReading(const OpenLedger& open) const;
    void write(OpenLedger* open);

    StoredLedgers* ledgers_;
    MissingAgent agent_;
    RecordRemoved removed_;
    std::unique_ptr<OpenLedger> first_;
    std::unique_ptr<OpenLedger>* end_ = &first_;  // where the next one goes
};

}  // namespace ovpatch

#endif
