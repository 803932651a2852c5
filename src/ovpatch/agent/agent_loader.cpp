#include "ovpatch/agent/agent_loader.h"

#include <cstddef>
#include <cstring>
#include <iterator>

#include "fileops/wide_path.h"
#include "ovpatch/log_lines.h"

namespace ovpatch {

namespace {

std::int32_t startPatch(std::uint32_t /*classMask*/) {
    return 0;
}
std::int32_t endPatch(std::int32_t /*lastAnswer*/) {
    return 1;
}
std::int32_t startClass(const char* /*itemZip*/) {
    return 1;
}
std::int32_t endClass(std::int32_t /*success*/, std::uint32_t /*from*/, std::uint32_t /*to*/) {
    return 1;
}
std::int32_t checkFile(const char* /*path*/) {
    return 1;
}
void getClassPath(char* /*path*/) {}
std::int32_t isRollback() {
    return 1;
}
std::int32_t startAction() {
    return 0;
}
std::int32_t endAction() {
    return 1;
}
std::int32_t startItem(const char* /*itemZip*/, std::int32_t /*itemClass*/, std::int32_t /*itemType*/,
                       std::uint32_t /*flags*/, const ItemVersion* /*from*/, const ItemVersion* /*to*/) {
    return 1;
}
std::int32_t endItem(std::int32_t /*success*/, const ItemVersion* /*from*/, const ItemVersion* /*to*/) {
    return 1;
}

// One slot of the table: the entry's name, its place, and what stands in for it.
struct Slot {
    LPCWSTR name;
    std::size_t offset;
    FARPROC builtIn;
};

template <typename Entry>
FARPROC anyEntry(Entry* entry) {
    return reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(entry));
}

// The rows stand in the order in which the entries are asked for.
#define SLOT(entry, builtIn) \
    { TEXT(#entry), offsetof(PatchAgentApi, entry), anyEntry(builtIn) }
const Slot OLD_SLOTS[] = {
    SLOT(StartPatch, startPatch),      SLOT(EndPatch, endPatch),           SLOT(StartPattern, startClass),
    SLOT(EndPattern, endClass),        SLOT(StartEngine, startClass),      SLOT(EndEngine, endClass),
    SLOT(StartProduct, startClass),    SLOT(EndProduct, endClass),         SLOT(GetPatternPath, getClassPath),
    SLOT(GetEnginePath, getClassPath), SLOT(GetProductPath, getClassPath), SLOT(IsRollback, isRollback),
    SLOT(CheckFile, checkFile),
};
const Slot NEW_SLOTS[] = {
    SLOT(StartAction, startAction), SLOT(EndAction, endAction),     SLOT(StartItem, startItem),
    SLOT(EndItem, endItem),         SLOT(IsRollbackEx, isRollback), SLOT(CheckFileEx, checkFile),
};
#undef SLOT

void setSlot(PatchAgentApi* agent, const Slot& slot, FARPROC entry) {
    static_assert(sizeof(entry) == sizeof(agent->StartPatch), "all entry pointers have one size");
    std::memcpy(reinterpret_cast<char*>(agent) + slot.offset, &entry, sizeof entry);
}

template <std::size_t N>
bool resolveAll(const Slot (&slots)[N], PatchAgentApi* agent) {
    bool complete = true;
    for (const Slot& slot : slots) {
        const FARPROC entry = GetProcAddressW(agent->library, slot.name);
        complete = complete && entry != nullptr;
        setSlot(agent, slot, entry);
    }
    return complete;
}

template <std::size_t N>
void fillWithBuiltIns(const Slot (&slots)[N], PatchAgentApi* agent) {
    for (const Slot& slot : slots)
        setSlot(agent, slot, slot.builtIn);
}

void clearSlots(PatchAgentApi* agent) {
    const HMODULE library = agent->library;
    const std::int32_t generation = agent->generation;
    *agent = PatchAgentApi{};
    agent->library = library;
    agent->generation = generation;
}

}  // namespace

HMODULE loadLibraryByName(const char* fileName) {
    const WidePath path(fileName);
    return path.fits() ? LoadLibraryW(path.text()) : nullptr;
}

std::int32_t loadSharedObj(const char* fileName, PatchAgentApi* agent) {
    clearSlots(agent);
    if (fileName == nullptr) {
        agent->library = nullptr;
        STRU_ERROR(6, "loadSharedObj: filename is empty.");
        return 0;
    }
    agent->library = loadLibraryByName(fileName);
    if (agent->library == nullptr) {
        STRU_ERROR(6, "loadSharedObj: %s failed.", fileName);
        return 0;
    }
    return 1;
}

void loadOldPatchAgent(const char* fileName, PatchAgentApi* agent) {
    agent->generation = OLD_GENERATION;
    if (loadSharedObj(fileName, agent) == 0) {
        STRU_INFO(6, "loadOldPatchAgent: loadSharedObj failed.");
    } else if (resolveAll(OLD_SLOTS, agent)) {
        return;
    }
    fillWithBuiltIns(OLD_SLOTS, agent);
}

void loadNewPatchAgent(const char* fileName, PatchAgentApi* agent) {
    agent->generation = NEW_GENERATION;
    if (loadSharedObj(fileName, agent) != 0) {
        STRU_INFO(6, "loadNewPatchAgent: resolve symbols.");
        if (resolveAll(NEW_SLOTS, agent)) return;
    }
    fillWithBuiltIns(NEW_SLOTS, agent);
}

LPCWSTR agentEntryName(std::int32_t generation, std::size_t index) {
    const bool isOld = generation == OLD_GENERATION;
    const std::size_t count = isOld ? std::size(OLD_SLOTS) : std::size(NEW_SLOTS);
    if (index >= count) return nullptr;
    return isOld ? OLD_SLOTS[index].name : NEW_SLOTS[index].name;
}

void unloadPatchAgent(PatchAgentApi* agent) {
    if (agent->library != nullptr) FreeLibrary(agent->library);
    clearSlots(agent);
}

}  // namespace ovpatch
