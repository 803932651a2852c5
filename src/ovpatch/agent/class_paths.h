// What the old generation is asked before the first item, in an update and in a rollback alike: where the
// files of each class go, and which classes there are.
#ifndef OVPATCH_OVPATCH_AGENT_CLASS_PATHS_H
#define OVPATCH_OVPATCH_AGENT_CLASS_PATHS_H

#include <cstdint>

#include "ovpatch/agent/agent_api.h"
#include "ovpatch/manifest/update_stru.h"

namespace ovpatch {

// Per class the path that the agent gave, in a buffer of OVPATCH_PATH_SIZE bytes, terminator included. Empty
// for a class without items, and for one whose path did not fit.
struct ClassPaths {
    char pattern[OVPATCH_PATH_SIZE];
    char engine[OVPATCH_PATH_SIZE];
    char product[OVPATCH_PATH_SIZE];
};

// Asks the agent for the path of each class that the manifest holds: Pattern, Engine, Product. The agent
// finds the `destination` of the first such item in the buffer and may change it. A `destination` that does
// not fit is not asked about; `caller` names the asker in the log then.
void askClassPaths(const PatchAgentApi& agent, const UpdateStru& update, const char* caller,
                   ClassPaths* paths);

// The path of a class; null for a class other than 1, 2 and 3.
const char* classPath(const ClassPaths& paths, std::int32_t itemClass);

// The mask for StartPatch: 1 Pattern, 2 Engine, 4 Product, over all items.
std::uint32_t classMask(const UpdateStru& update);

}  // namespace ovpatch

#endif
