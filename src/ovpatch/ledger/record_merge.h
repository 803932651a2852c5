// Putting the records of an update's items into the ledgers of their destinations.
#ifndef OVPATCH_OVPATCH_LEDGER_RECORD_MERGE_H
#define OVPATCH_OVPATCH_LEDGER_RECORD_MERGE_H

#include <memory>

#include "foundation/byte_string.h"
#include "ini/kx_ini_util.h"
#include "ovpatch/ledger/backup_stru.h"
#include "platform/file_state.h"

namespace ovpatch {

// Where a journal holds what leads back, each ledger is read once and written once for all items that have
// their record in it; without one it is read and written for each item. What is left is the same, and so is
// what the log tells but for ledgers that cannot be written, which it tells of once and at the end.
class RecordMerge {
public:
    // `runLedger` outlives the merge; every record of it has its destination.
    explicit RecordMerge(const BackupStru& runLedger) : run_(runLedger) {}
    ~RecordMerge() { write(); }
    RecordMerge(const RecordMerge&) = delete;
    RecordMerge& operator=(const RecordMerge&) = delete;

    // Puts the record of the item `index` in the place of the first one of its class and type, or behind the
    // last one; for each item once, in their order. Answers in `number` which number it got. False when its
    // ledger cannot be read.
    bool merge(std::uint32_t index, std::uint32_t* number);

    // Writes what has not been written yet, and removes the copies of the records that have gone.
    void write();

private:
    struct Ledger {
        ByteString path;
        std::uint32_t hash;                   // nameHash of the path
        platform::FileState state;            // of the file when it was read
        std::unique_ptr<KxIniUtil> document;  // null when it is not open
        BackupStru stored;                    // what stood in it
        std::uint32_t count;                  // of its records now
    };
    // What has become of an item; without a ledger, nothing yet.
    struct Entered {
        const Ledger* ledger;
        std::uint32_t number;
        const BackupItem* replaced;  // null for none
    };
    // Where the copies of an item lie, once it has been asked for.
    struct Directory {
        bool isKnown;
        platform::FileState state;
    };

    Ledger* find(const char* path);
    bool makeRoom();
    Ledger* open(const char* path);
    bool tellReading(const Ledger& ledger) const;
    const BackupItem* recordOf(std::uint32_t index, const Ledger& ledger, std::uint32_t* number) const;
    const platform::FileState& directoryOf(std::uint32_t index);
    bool shareDirectory(std::uint32_t index, std::uint32_t other);
    void removeOlderCopies(std::uint32_t index);
    void write(Ledger* ledger);

    const BackupStru& run_;
    std::unique_ptr<Ledger[]> ledgers_;  // as many as there are items; in the order in which they were opened
    std::unique_ptr<Entered[]> entered_;        // by the items' indexes
    std::unique_ptr<Directory[]> directories_;  // the same
    std::uint32_t ledgerCount_ = 0;
};

}  // namespace ovpatch

#endif
