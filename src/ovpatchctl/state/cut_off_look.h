// Whether a run of a base directory was cut off.
#ifndef OVPATCH_OVPATCHCTL_STATE_CUT_OFF_LOOK_H
#define OVPATCH_OVPATCHCTL_STATE_CUT_OFF_LOOK_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ovpatch::ctl {

enum class JournalState {
    NONE,          // no run was cut off
    AT_WORK,       // a run is at work with this base directory, or may be: some run is at work
    CUT_OFF,       // the next start puts the state before that run back
    TIDYING_LEFT,  // a run has told its result, and the next start finishes its tidying
    UNKNOWN        // something has the journal's name and cannot be read, or is no journal of this version
};

struct JournalLook {
    JournalState state = JournalState::NONE;
    std::string path;                    // the journal's
    std::uint32_t process = 0;           // of the run that was cut off
    std::size_t changes = 0;             // lines that the journal holds
    std::vector<std::string> keptAside;  // journals that an earlier start could not work off
};

// Who sees to it that no run begins while the journal is looked at.
enum class LockHolder {
    NOBODY,  // then the look does, for that moment
    CALLER   // by a RunLock
};

// Looks at an opened base (base_directory.h).
JournalLook lookForCutOffRun(const std::string& base, LockHolder holder);

}  // namespace ovpatch::ctl

#endif
