#include "ovpatchctl/state/base_look.h"

#include <map>
#include <set>
#include <utility>

#include "fileops/file_tests.h"
#include "ini/kx_ini_util.h"
#include "ovpatch/journal/journal_line.h"
#include "ovpatch/ledger/backup_paths.h"
#include "ovpatchctl/files/base_directory.h"
#include "ovpatchctl/state/leftovers.h"
#include "ovpatchctl/state/read_manifest.h"

namespace ovpatch::ctl {

namespace {

constexpr char COMMENT = ';';

void readResult(BaseLook* look) {
    KxIniUtil document(belowBase(look->base, "OV_Temp\\OvResult.ini").c_str(), COMMENT, false);
    document.setReadOnly();
    const char* value = document.getValue(nullptr, "result");
    if (value != nullptr) look->result = value;
}

void lookAtDestinations(const UpdateStru& update, BaseLook* look, Leftovers* leftovers) {
    std::vector<std::string> order;
    std::map<std::string, std::set<std::string>> written;  // by destination, the directories of its new files
    for (std::uint32_t n = 0; n < update.itemCount; ++n) {
        const UpdateItem& item = update.items[n];
        if (*item.destination == '\0') continue;
        const auto [entry, isNew] = written.insert({item.destination, {}});
        if (isNew) order.emplace_back(item.destination);
        char source[PATH_SIZE];
        if (itemSourceDir(update.orvellePath, item.itemClass, item.itemType, source, sizeof source) != 0)
            findDirectories(source, asDirectory(item.destination), &entry->second, leftovers);
    }
    for (const std::string& destination : order)
        look->destinations.push_back(lookAtDestination(destination, written[destination]));
}

}  // namespace

bool looksLikeBase(const std::string& path) {
    for (const char* name : {"OV_Temp", "OV_Log", "ovcfg.ini", JOURNAL_NAME})
        if (pathExists(belowBase(path, name).c_str())) return true;
    return false;
}

bool looksLikeDestination(const std::string& path) {
    return pathExists(belowBase(path, "OV_Backup").c_str());
}

BaseLook lookAtBase(const std::string& base, LockHolder holder) {
    openBase(base);
    BaseLook look;
    look.base = base;
    look.journal = lookForCutOffRun(base, holder);
    const ReadManifest manifest(base);
    look.manifest = manifest.path();
    look.hasManifest = manifest.isRead();
    look.whyNoManifest = manifest.whyNot();
    readResult(&look);
    Leftovers leftovers;
    if (look.hasManifest) lookAtDestinations(manifest.content(), &look, &leftovers);
    findTemporaries({asDirectory(base), asDirectory(belowBase(base, "OV_Temp"))}, &leftovers);
    look.temporaries = std::move(leftovers.temporaries);
    look.unlisted = std::move(leftovers.unlisted);
    return look;
}

}  // namespace ovpatch::ctl
