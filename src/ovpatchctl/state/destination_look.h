// What a ledger holds, and what lies beside it.
#ifndef OVPATCH_OVPATCHCTL_STATE_DESTINATION_LOOK_H
#define OVPATCH_OVPATCHCTL_STATE_DESTINATION_LOOK_H

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace ovpatch::ctl {

// A file that a rollback brings back.
struct RestoredFile {
    std::string file;
    std::string copy;  // its path; empty when the record names none
    bool copyMissing;
    bool isCut;  // the record's path holds a comma, and `file` is what stands in front of it
};

// A file that a rollback deletes.
struct RemovedFile {
    std::string file;
    bool isThere;
};

struct RecordedItem {
    std::int32_t itemClass;
    std::int32_t itemType;
    std::string from;  // versions, as a manifest writes them
    std::string to;
    bool isHidden;  // an earlier record of the same item stands in front of it: no rollback finds it
    std::vector<RestoredFile> restored;
    std::vector<RemovedFile> removed;
};

enum class LedgerState { NONE, READ, UNREADABLE };

struct DestinationLook {
    std::string destination;  // device text, as are all paths
    std::string ledger;       // its path; empty when it does not fit
    LedgerState state = LedgerState::NONE;
    std::string whyUnreadable;  // the program's own line
    std::vector<RecordedItem> items;
    std::vector<std::string> strayCopies;  // that no record names
    std::vector<std::string> temporaries;  // files, and directories with a separator at the end, that a run
                                           // leaves only when it is cut off or does not end well
    std::set<std::string> unlisted;        // directories that could not be read: there may be more
};

// Looks at a destination of items. Temporary files are looked for there, where the ledger and its copies lie,
// beside the files that records name, and in `more`, directories that end in a separator.
DestinationLook lookAtDestination(const std::string& destination, std::set<std::string> more = {});

// `path` with one kind of separator, and one at its end.
std::string asDirectory(const std::string& path);

}  // namespace ovpatch::ctl

#endif
