#include "ovpatch/manifest/manifest_reader.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "foundation/bounded.h"
#include "ovpatch/log_lines.h"
#include "ovpatch/manifest/item_version.h"
#include "ovpatch/manifest/number_text.h"
#include "ovpatch/manifest/owned_text.h"

namespace ovpatch {

namespace {

constexpr char COMMON[] = "common";
constexpr std::uint32_t FIRST_ITEMS = 16;

bool failWith(const char* message) {
    STRU_ERROR(6, "phaseIniForUpdate: %s", message);
    return false;
}

bool takeText(const char* value, char** field) {
    switch (copyText(value, field)) {
        case TextCopy::DONE:
            return true;
        case TextCopy::NO_MEMORY:
            return failWith("malloc failed.");
        case TextCopy::NOT_COPIED:
            break;
    }
    return failWith("strncpy failed.");
}

bool readCommon(KxIniUtil& manifest, UpdateStru* out) {
    const char* value = manifest.getValue(COMMON, "patchagent.version");
    if (value == nullptr) return failWith("fetch old/new patchagent failed.");
    out->patchAgentVersion = readDecimal(value);

    value = manifest.getValue(COMMON, "backup");
    out->backup = value != nullptr ? readDecimal(value) : 1;

    value = manifest.getValue(COMMON, "action");
    out->action = value != nullptr ? readDecimal(value) : 0;

    value = manifest.getValue(COMMON, "patchagent");
    if (value != nullptr) {
        if (!takeText(value, &out->patchAgentFile)) return false;
        STRU_INFO(6, "phaseIniForUpdate: patch agent file(%s).", out->patchAgentFile);
    }

    value = manifest.getValue(COMMON, "orvelle_path");
    if (value == nullptr) return failWith("fetch orvelle full path failed.");
    if (!takeText(value, &out->orvellePath)) return false;
    STRU_INFO(6, "phaseIniForUpdate: common section done.");
    return true;
}

bool readItem(KxIniUtil& manifest, const char* section, UpdateItem* item) {
    const char* value = manifest.getValue(section, "class");
    if (value == nullptr) return failWith("fetch class failed.");
    item->itemClass = readDecimal(value);

    value = manifest.getValue(section, "type");
    if (value == nullptr) return failWith("fetch type failed.");
    item->itemType = readHexadecimal(value);

    value = manifest.getValue(section, "origin.version");
    if (value == nullptr) return failWith("fetch origin version failed.");
    item->originVersion = parseItemVersion(value, item->itemClass);

    value = manifest.getValue(section, "result.version");
    if (value == nullptr) return failWith("fetch result version failed.");
    item->resultVersion = parseItemVersion(value, item->itemClass);

    value = manifest.getValue(section, "forceupdate");
    item->forceUpdate = value != nullptr ? readDecimal(value) : 0;

    value = manifest.getValue(section, "destination");
    if (value == nullptr) return failWith("fetch destination failed.");
    if (!takeText(value, &item->destination)) return false;

    value = manifest.getValue(section, "item.zip");
    return value == nullptr || takeText(value, &item->itemZip);
}

// The array grows with the sections that are really there, so that a wild `itemcount` costs nothing before
// the first missing section ends the reading. New records are all zero: their strings are null until they are
// set.
bool makeRoom(UpdateStru* out, std::uint32_t wanted, std::uint32_t* room) {
    if (out->itemCount < *room) return true;
    const std::uint32_t larger = *room == 0 ? std::min(wanted, FIRST_ITEMS) : std::min(wanted, *room * 2);
    auto* grown = static_cast<UpdateItem*>(std::realloc(out->items, larger * sizeof(UpdateItem)));
    if (grown == nullptr) return failWith("malloc failed.");
    std::memset(grown + *room, 0, (larger - *room) * sizeof(UpdateItem));
    out->items = grown;
    *room = larger;
    return true;
}

bool readItems(KxIniUtil& manifest, std::uint32_t wanted, UpdateStru* out) {
    // A negative count, too, is more than any memory holds.
    if (wanted > INT32_MAX) return failWith("malloc failed.");
    std::uint32_t room = 0;
    if (!makeRoom(out, wanted, &room)) return false;
    STRU_INFO(6, "phaseIniForUpdate: items processing.");
    for (std::uint32_t n = 0; n < wanted; ++n) {
        if (!makeRoom(out, wanted, &room)) return false;
        char section[128];
        boundedSnprintf(section, sizeof section, "%s_%u", "item", n);
        UpdateItem* item = &out->items[n];
        out->itemCount = n + 1;
        if (!readItem(manifest, section, item)) return false;
    }
    return true;
}

}  // namespace

std::int32_t phaseIniForUpdate(KxIniUtil& manifest, UpdateStru* out) {
    STRU_INFO(6, "phaseIniForUpdate: start.");
    *out = UpdateStru{};
    STRU_INFO(6, "phaseIniForUpdate: common section key/value processing.");

    const char* value = manifest.getValue(COMMON, "itemcount");
    const std::uint32_t wanted = value != nullptr ? readCount(value) : 0;
    if (value != nullptr && wanted == 0) {
        STRU_INFO(6, "phaseIniForUpdate: done, item is zero or no item.");
        return 1;
    }
    const bool done = (value != nullptr || failWith("fetch item count failed.")) &&
                      readCommon(manifest, out) && readItems(manifest, wanted, out);
    if (!done) {
        freeUpdateStru(out);
        STRU_INFO(6, "phaseIniForUpdate: error quit.");
        return -1;
    }
    STRU_INFO(6, "phaseIniForUpdate: done.");
    return 0;
}

}  // namespace ovpatch
