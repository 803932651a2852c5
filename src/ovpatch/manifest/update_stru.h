// The manifest in memory: what to do, with which agent, on which items.
#ifndef OVPATCH_OVPATCH_MANIFEST_UPDATE_STRU_H
#define OVPATCH_OVPATCH_MANIFEST_UPDATE_STRU_H

#include <cstdint>

#include "ovpatch/patch_agent.h"

namespace ovpatch {

// One item. The strings are malloc copies owned by the record.
struct UpdateItem {
    std::int32_t itemClass;     // 1 Product, 2 Engine, 3 Pattern; any number is taken
    std::int32_t itemType;      // with the class, what identifies the item under its destination
    ItemVersion originVersion;  // before the action
    ItemVersion resultVersion;  // after it
    std::int32_t forceUpdate;
    char* destination;  // directory that receives the files and holds the ledger; never null once read
    char* itemZip;      // text for the agent; null when the manifest has none
};

struct UpdateStru {
    std::int32_t patchAgentVersion;  // 0 old generation, 1 new; any number is taken
    std::int32_t action;
    std::int32_t backup;  // 0: no backup survives the run
    UpdateItem* items;    // owned array of `itemCount` records
    std::uint32_t itemCount;
    char* patchAgentFile;  // owned; null when the manifest names no agent
    char* orvellePath;     // owned; directory that holds the work area
};

// Releases everything and sets the pointers to null; may be called again. Null is allowed.
void freeUpdateStru(UpdateStru* update);

}  // namespace ovpatch

#endif
