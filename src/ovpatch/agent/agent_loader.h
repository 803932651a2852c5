// Binding the patch agent.
//
// The callers never see a missing agent: where the library cannot be loaded, or lacks a single entry of its
// generation, all slots of that generation get built-in entries that agree to everything. No caller tests the
// outcome of a load.
#ifndef OVPATCH_OVPATCH_AGENT_AGENT_LOADER_H
#define OVPATCH_OVPATCH_AGENT_AGENT_LOADER_H

#include <cstddef>
#include <cstdint>

#include "ovpatch/agent/agent_api.h"

namespace ovpatch {

// Clears all slots and loads the library, whose handle goes into the table. Answers 1 when it is loaded, else
// 0 (also for a null name), with the reason in the log.
std::int32_t loadSharedObj(const char* fileName, PatchAgentApi* agent);

// Fill the table for their generation. `fileName` may be null. The caller ends the table with
// unloadPatchAgent.
void loadOldPatchAgent(const char* fileName, PatchAgentApi* agent);
void loadNewPatchAgent(const char* fileName, PatchAgentApi* agent);

// Frees the library, if there is one, and clears all slots; the handle and the generation keep their values,
// so it is called once per load. Harmless on a table that was never filled.
void unloadPatchAgent(PatchAgentApi* agent);

// The name of the entry of that generation at `index`, in the order in which they are asked for; null behind
// the last one.
LPCWSTR agentEntryName(std::int32_t generation, std::size_t index);

// The library's handle, or null when the name does not fit or the library cannot be loaded.
HMODULE loadLibraryByName(const char* fileName);

}  // namespace ovpatch

#endif
