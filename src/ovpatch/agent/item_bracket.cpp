#include "ovpatch/agent/item_bracket.h"

#include "foundation/pattern_number.h"
#include "ovpatch/log_lines.h"

namespace ovpatch {

namespace {

constexpr ClassBracket CLASS_BRACKETS[] = {
    {OVPATCH_CLASS_PRODUCT, "Product", "product", &PatchAgentApi::StartProduct, &PatchAgentApi::EndProduct},
    {OVPATCH_CLASS_ENGINE, "Engine", "engine", &PatchAgentApi::StartEngine, &PatchAgentApi::EndEngine},
    {OVPATCH_CLASS_PATTERN, "Pattern", "pattern", &PatchAgentApi::StartPattern, &PatchAgentApi::EndPattern},
};

// The highest type of a Pattern item whose numbers are reduced.
constexpr std::int32_t LAST_REDUCED_TYPE = 4;

const char* shownText(const char* text) {
    return text != nullptr ? text : "NULL_String";
}

std::int32_t endClassItem(const ClassBracket& bracket, std::int32_t success, const PatchAgentApi& agent,
                          std::int32_t itemType, const ItemVersion& from, const ItemVersion& to) {
    // The log shows both numbers shifted but not reduced, whatever the entry receives.
    UPDATER_INFO(6, "PatchAgent End%s with: %s, %u, %u", bracket.name, success != 0 ? "TRUE" : "FALSE",
                 from.number << 16, to.number << 16);
    return (agent.*bracket.end)(success, numberForAgent(bracket.itemClass, itemType, from.number),
                                numberForAgent(bracket.itemClass, itemType, to.number));
}

std::int32_t endNewItem(std::int32_t success, const PatchAgentApi& agent, const ItemVersion& from,
                        const ItemVersion& to) {
    UPDATER_INFO(6, "PatchAgent EndItem with: %s, %u, %u", success != 0 ? "TRUE" : "FALSE", from.number,
                 to.number);
    return agent.EndItem(success, &from, &to);
}

std::int32_t startClassItem(const PatchAgentApi& agent, const char* itemZip, std::int32_t itemClass,
                            std::int32_t itemType, const ItemVersion& from, const ItemVersion& to) {
    const ClassBracket* bracket = classBracket(itemClass);
    if (bracket == nullptr) {
        UPDATER_ERROR(9, "startEachItem: unknown class.");
        return 0;
    }
    UPDATER_INFO(6, "PatchAgent Start%s with: %s", bracket->name, shownText(itemZip));
    const std::int32_t answer = (agent.*bracket->start)(itemZip);
    if (answer != 0) return answer;
    UPDATER_ERROR(6, "startEachItem: start %s failed.", bracket->lowerName);
    endClassItem(*bracket, 0, agent, itemType, from, to);
    return 0;
}

std::int32_t startNewItem(const PatchAgentApi& agent, const char* itemZip, std::int32_t itemClass,
                          std::int32_t itemType, const ItemVersion& from, const ItemVersion& to,
                          std::uint32_t flags) {
    UPDATER_INFO(6, "PatchAgent StartItem with: %s, %u, %u, %x, %u, %u", shownText(itemZip),
                 static_cast<std::uint32_t>(itemClass), static_cast<std::uint32_t>(itemType), flags,
                 from.number, to.number);
    const std::int32_t answer = agent.StartItem(itemZip, itemClass, itemType, flags, &from, &to);
    if (answer != 0) return answer;
    UPDATER_ERROR(6, "startEachItem: start item failed.");
    endNewItem(0, agent, from, to);
    return 0;
}

}  // namespace

const ClassBracket* classBracket(std::int32_t itemClass) {
    for (const ClassBracket& bracket : CLASS_BRACKETS) {
        if (bracket.itemClass == itemClass) return &bracket;
    }
    return nullptr;
}

std::uint32_t numberForAgent(std::int32_t itemClass, std::int32_t itemType, std::uint32_t number) {
    if (itemClass != OVPATCH_CLASS_PATTERN) return number;
    return (itemType <= LAST_REDUCED_TYPE ? reducePatternNumber(number) : number) << 16;
}

std::int32_t startEachItem(const PatchAgentApi& agent, const char* itemZip, std::int32_t itemClass,
                           std::int32_t itemType, const ItemVersion& from, const ItemVersion& to,
                           std::uint32_t flags) {
    if (agent.generation == OLD_GENERATION)
        return startClassItem(agent, itemZip, itemClass, itemType, from, to);
    return startNewItem(agent, itemZip, itemClass, itemType, from, to, flags);
}

std::int32_t endEachItem(std::int32_t success, const PatchAgentApi& agent, std::int32_t itemClass,
                         std::int32_t itemType, const ItemVersion& from, const ItemVersion& to) {
    if (agent.generation != OLD_GENERATION) return endNewItem(success, agent, from, to);
    const ClassBracket* bracket = classBracket(itemClass);
    if (bracket == nullptr) {
        UPDATER_ERROR(9, "endEachItem: unknown class.");
        return 0;
    }
    return endClassItem(*bracket, success, agent, itemType, from, to);
}

}  // namespace ovpatch
