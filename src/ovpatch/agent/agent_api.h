// The table through which the whole program calls the patch agent.
#ifndef OVPATCH_OVPATCH_AGENT_AGENT_API_H
#define OVPATCH_OVPATCH_AGENT_AGENT_API_H

#include <cstdint>

#include "ovpatch/patch_agent.h"
#include "platform/platform.h"

namespace ovpatch {

constexpr std::int32_t OLD_GENERATION = 0;
constexpr std::int32_t NEW_GENERATION = 1;

// The entries, as `ovpatch/patch_agent.h` describes them. After a loader has run, all slots of the table's
// generation are set, those of the other are null. A table starts out all zero.
struct PatchAgentApi {
    std::int32_t (*StartPatch)(std::uint32_t classMask);
    std::int32_t (*EndPatch)(std::int32_t lastAnswer);
    std::int32_t (*StartPattern)(const char* itemZip);
    std::int32_t (*EndPattern)(std::int32_t success, std::uint32_t from, std::uint32_t to);
    std::int32_t (*StartEngine)(const char* itemZip);
    std::int32_t (*EndEngine)(std::int32_t success, std::uint32_t from, std::uint32_t to);
    std::int32_t (*StartProduct)(const char* itemZip);
    std::int32_t (*EndProduct)(std::int32_t success, std::uint32_t from, std::uint32_t to);
    std::int32_t (*CheckFile)(const char* path);
    void (*GetPatternPath)(char* path);
    void (*GetEnginePath)(char* path);
    void (*GetProductPath)(char* path);
    std::int32_t (*IsRollback)();
    std::int32_t (*StartAction)();
    std::int32_t (*EndAction)();
    std::int32_t (*StartItem)(const char* itemZip, std::int32_t itemClass, std::int32_t itemType,
                              std::uint32_t flags, const ItemVersion* from, const ItemVersion* to);
    std::int32_t (*EndItem)(std::int32_t success, const ItemVersion* from, const ItemVersion* to);
    std::int32_t (*CheckFileEx)(const char* path);
    std::int32_t (*IsRollbackEx)();
    HMODULE library;          // null when there is none
    std::int32_t generation;  // OLD_GENERATION or NEW_GENERATION
};

}  // namespace ovpatch

#endif
