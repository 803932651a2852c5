#include "ovpatchctl/status/status_json.h"

#include "ovpatchctl/report/texts.h"

namespace ovpatch::ctl {

namespace {

const char* word(JournalState state) {
    switch (state) {
        case JournalState::NONE:
            return "none";
        case JournalState::AT_WORK:
            return "at work";
        case JournalState::CUT_OFF:
            return "cut off";
        case JournalState::TIDYING_LEFT:
            return "tidying left";
        case JournalState::UNKNOWN:
            break;
    }
    return "unknown";
}

const char* word(LedgerState state) {
    switch (state) {
        case LedgerState::NONE:
            return "none";
        case LedgerState::READ:
            return "read";
        case LedgerState::UNREADABLE:
            break;
    }
    return "unreadable";
}

Json textOrNull(const std::string& text) {
    return text.empty() ? Json(nullptr) : Json(utf8(text));
}

template <typename Texts>
Json listOf(const Texts& texts) {
    Json out = Json::array();
    for (const std::string& text : texts)
        out.push_back(utf8(text));
    return out;
}

Json itemAsJson(const RecordedItem& item) {
    Json restored = Json::array();
    for (const RestoredFile& file : item.restored)
        restored.push_back({{"path", utf8(file.file)},
                            {"copy", textOrNull(file.copy)},
                            {"copyMissing", file.copyMissing},
                            {"cutAtComma", file.isCut}});
    Json removed = Json::array();
    for (const RemovedFile& file : item.removed)
        removed.push_back({{"path", utf8(file.file)}, {"isThere", file.isThere}});
    return {{"class", item.itemClass},
            {"type", item.itemType},
            {"versions", {{"origin", item.from}, {"result", item.to}}},
            {"hidden", item.isHidden},
            {"restored", restored},
            {"removed", removed}};
}

}  // namespace

Json baseAsJson(const BaseLook& base) {
    const bool isCutOff = base.journal.process != 0;
    return {{"base", utf8(base.base)},
            {"manifest", base.hasManifest ? Json(utf8(base.manifest)) : Json(nullptr)},
            {"manifestProblem", textOrNull(base.whyNoManifest)},
            {"lastResult", textOrNull(base.result)},
            {"run", word(base.journal.state)},
            {"process", isCutOff ? Json(base.journal.process) : Json(nullptr)},
            {"changes", base.journal.changes},
            {"journalsKept", listOf(base.journal.keptAside)},
            {"temporaries", listOf(base.temporaries)},
            {"unlisted", listOf(base.unlisted)}};
}

Json destinationAsJson(const DestinationLook& destination) {
    Json items = Json::array();
    for (const RecordedItem& item : destination.items)
        items.push_back(itemAsJson(item));
    return {{"destination", utf8(destination.destination)},
            {"ledger", utf8(destination.ledger)},
            {"ledgerState", word(destination.state)},
            {"problem", textOrNull(destination.whyUnreadable)},
            {"items", items},
            {"strayCopies", listOf(destination.strayCopies)},
            {"temporaries", listOf(destination.temporaries)},
            {"unlisted", listOf(destination.unlisted)}};
}

}  // namespace ovpatch::ctl
