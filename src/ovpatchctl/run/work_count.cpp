#include "ovpatchctl/run/work_count.h"

#include "fileops/dir_listing.h"
#include "ovpatch/ledger/backup_paths.h"
#include "ovpatchctl/files/read_ledger.h"
#include "ovpatchctl/state/read_manifest.h"

namespace ovpatch::ctl {

namespace {

constexpr std::int32_t ACTION_UPDATE = 0;
constexpr std::int32_t ACTION_ROLLBACK = 1;

std::size_t filesBelow(const ByteString& directory) {
    std::size_t count = 0;
    DirListing listing(directory.cStr());
    while (listing.hasNext()) {
        const ByteString path = listing.nextPath();
        count += listing.lastIsDirectory() ? filesBelow(path) : 1;
    }
    return count;
}

std::size_t newFilesOf(const UpdateStru& update, const UpdateItem& item) {
    char source[PATH_SIZE];
    const bool fits =
        itemSourceDir(update.orvellePath, item.itemClass, item.itemType, source, sizeof source) != 0;
    return fits ? filesBelow(ByteString(source)) : 0;
}

std::size_t recordedFilesOf(const UpdateItem& item) {
    const ReadLedger ledger(item.destination);
    const BackupItem* record = ledger.find(item.itemClass, item.itemType);
    return record == nullptr ? 0 : std::size_t{record->addedCount} + record->writtenCount;
}

}  // namespace

std::size_t countFiles(const std::string& base) {
    const ReadManifest manifest(base);
    const UpdateStru& update = manifest.content();
    std::size_t count = 0;
    for (std::uint32_t n = 0; manifest.isRead() && n < update.itemCount; ++n) {
        if (update.action == ACTION_UPDATE) count += newFilesOf(update, update.items[n]);
        if (update.action == ACTION_ROLLBACK) count += recordedFilesOf(update.items[n]);
    }
    return count;
}

}  // namespace ovpatch::ctl
