// Telling the agent that the work on one item begins and ends. The old generation has one pair of entries per
// class and takes bare numbers; the new one has a single pair and takes whole versions.
#ifndef OVPATCH_OVPATCH_AGENT_ITEM_BRACKET_H
#define OVPATCH_OVPATCH_AGENT_ITEM_BRACKET_H

#include <cstdint>

#include "ovpatch/agent/agent_api.h"

namespace ovpatch {

// Opens the item; `flags` (OVPATCH_ITEM_...) reach only the new generation. `itemZip` may be null. Answers
// the agent's answer, not 0 on success. On 0 the bracket has closed itself: endEachItem must not be called.
// In the old generation a class other than 1, 2 and 3 is a failure, and no entry is called.
std::int32_t startEachItem(const PatchAgentApi& agent, const char* itemZip, std::int32_t itemClass,
                           std::int32_t itemType, const ItemVersion& from, const ItemVersion& to,
                           std::uint32_t flags);

// Closes the item. `success` is 0 or 1. Answers the agent's answer, not 0 on success.
std::int32_t endEachItem(std::int32_t success, const PatchAgentApi& agent, std::int32_t itemClass,
                         std::int32_t itemType, const ItemVersion& from, const ItemVersion& to);

// The old generation's pair of entries for one class.
struct ClassBracket {
    std::int32_t itemClass;
    const char* name;       // as in the entries' names
    const char* lowerName;  // as in the log
    std::int32_t (*PatchAgentApi::*start)(const char* itemZip);
    std::int32_t (*PatchAgentApi::*end)(std::int32_t success, std::uint32_t from, std::uint32_t to);
};

// Null for a class other than 1, 2 and 3.
const ClassBracket* classBracket(std::int32_t itemClass);

// The number that the end entry of a class receives: for Pattern items shifted left by 16 bits, with a type
// of 4 or less after its reduction; for the others as it is.
std::uint32_t numberForAgent(std::int32_t itemClass, std::int32_t itemType, std::uint32_t number);

}  // namespace ovpatch

#endif
