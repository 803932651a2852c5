// What a start would do, as it is found out before it is told.
//
// Texts are device text (8 bits, default code page) but for those that are sentences, which are UTF-8.
#ifndef OVPATCH_OVPATCHCTL_PLAN_PLAN_H
#define OVPATCH_OVPATCHCTL_PLAN_PLAN_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ovpatch/patch_agent.h"

namespace ovpatch::ctl {

// Something that whoever starts the run has to know.
struct Finding {
    const char* kind;                 // a fixed word for scripts, as "read-only"
    std::string text;                 // for people, UTF-8; without the path
    std::string path;                 // the file or directory, device text; may be empty
    bool isFailure;                   // it ends the run, else a remark
    std::int32_t result;              // of a failure: what the run ends with when it is the first
    std::optional<std::size_t> item;  // the item's place in the plan
};

// What becomes of one file when the run ends with 0.
enum class Act {
    ADDED,     // update: it is not there yet
    REPLACED,  // update: another content takes its place
    SAME,      // update: replaced by what it holds already
    RESTORED,  // rollback: its copy comes back
    REMOVED,   // rollback: the update had added it
    KEPT,      // rollback: stays as it is, which a finding explains
    FAILING,   // the run ends here
};
const char* nameOf(Act act);

struct FilePlan {
    Act act;
    std::string path;  // as the run names it, device text
};

struct ItemPlan {
    std::int32_t itemClass;
    std::int32_t itemType;
    ItemVersion originVersion;
    ItemVersion resultVersion;
    std::string destination;  // device text
    bool isRecorded = false;  // its ledger has a record of it, whose versions are
    ItemVersion recordedOrigin{};
    ItemVersion recordedResult{};
    std::vector<FilePlan> files;

    std::size_t count(Act act) const;
};

enum class AgentState {
    NOT_NAMED,
    MISSING,
    UNREADABLE,
    NO_LIBRARY,
    DAMAGED,
    OTHER_HOST,        // for another processor or system
    OTHER_GENERATION,  // it has all entries of the generation that is not asked for
    INCOMPLETE,
    COMPLETE,
};
const char* nameOf(AgentState state);

struct AgentPlan {
    AgentState state = AgentState::NOT_NAMED;
    std::string file;  // as the manifest names it, device text
    std::int32_t generation = 0;
    std::string kind;                  // what its file is; may be empty
    std::vector<std::string> missing;  // entries of its generation that it lacks
};

// What a run takes on one file system before it gives anything back.
struct RoomPlan {
    std::string directory;  // one that lies there, device text
    std::uint64_t needed;   // bytes
    std::uint64_t free;
};

enum class Action { NONE, UPDATE, ROLLBACK };
const char* nameOf(Action action);

struct Plan {
    std::string base;
    Action action = Action::NONE;
    std::optional<std::int32_t> result;  // none: the run would leave none
    bool backup = true;
    bool isCutOff = false;  // a run that was cut off is put right first
    std::optional<AgentPlan> agent;
    std::vector<ItemPlan> items;
    std::vector<RoomPlan> rooms;
    std::vector<Finding> findings;

    // A remark.
    void remark(const char* kind, std::string text, std::string path = {},
                std::optional<std::size_t> item = {});
    // What ends the run: the first one decides its result.
    void fail(const char* kind, std::int32_t itsResult, std::string text, std::string path = {},
              std::optional<std::size_t> item = {});

    bool fails() const { return !result || *result != 0; }
    std::size_t count(Act act) const;
};

}  // namespace ovpatch::ctl

#endif
