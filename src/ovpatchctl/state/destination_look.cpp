#include "ovpatchctl/state/destination_look.h"

#include <algorithm>
#include <set>
#include <utility>

#include "fileops/dir_listing.h"
#include "fileops/file_tests.h"
#include "fileops/paths.h"
#include "foundation/tokenizer.h"
#include "ovpatch/ledger/backup_paths.h"
#include "ovpatch/ledger/ledger_file.h"
#include "ovpatchctl/files/read_ledger.h"
#include "ovpatchctl/report/texts.h"
#include "ovpatchctl/state/captured_errors.h"
#include "ovpatchctl/state/leftovers.h"

namespace ovpatch::ctl {

namespace {

// What cannot be looked at may be there.
bool mayExist(const char* path) {
    bool known = true;
    return pathExists(path, &known) || !known;
}

RestoredFile restoredFile(const char* entry, const char* backupDirectory) {
    const ByteString name = backupCopyName(entry);
    const StringList tokens = splitString(entry, ',');
    RestoredFile out = {tokenAt(tokens, 1).cStr(), "", true, tokens.stringCount() > 2};
    char copy[PATH_SIZE];
    if (*backupDirectory == '\0' || !isBackupCopyName(name.cStr()) ||
        !backupCopyPath(backupDirectory, name.cStr(), copy, sizeof copy))
        return out;
    out.copy = copy;
    out.copyMissing = !mayExist(copy);
    return out;
}

RecordedItem recordedItem(const BackupStru& ledger, const BackupItem& item, const std::string& destination) {
    RecordedItem out = {item.itemClass,
                        item.itemType,
                        versionText(item.itemClass, item.originVersion),
                        versionText(item.itemClass, item.resultVersion),
                        findBackupItem(ledger, item.itemClass, item.itemType) != &item,
                        {},
                        {}};
    char directory[PATH_SIZE];
    itemBackupDir(destination.c_str(), item.itemClass, item.itemType, directory, sizeof directory);
    for (std::uint32_t k = 0; k < item.writtenCount; ++k)
        out.restored.push_back(restoredFile(item.writtenFiles[k], directory));
    for (std::uint32_t k = 0; k < item.addedCount; ++k)
        out.removed.push_back({item.addedFiles[k], mayExist(item.addedFiles[k])});
    return out;
}

void readLedger(DestinationLook* look) {
    const CapturedErrors errors;
    const ReadLedger ledger(look->destination.c_str());
    look->ledger = ledger.path();
    if (ledger.state() == ReadLedger::State::NO_PATH || ledger.state() == ReadLedger::State::UNREADABLE) {
        look->state = LedgerState::UNREADABLE;
        look->whyUnreadable = look->ledger.empty() ? "the path of the ledger does not fit" : errors.first();
    }
    if (ledger.state() != ReadLedger::State::READ) return;
    look->state = LedgerState::READ;
    for (std::uint32_t n = 0; n < ledger.content().itemCount; ++n)
        look->items.push_back(recordedItem(ledger.content(), ledger.content().items[n], look->destination));
}

// On some hosts a name means the same in either case.
std::string folded(std::string path) {
    std::transform(path.begin(), path.end(), path.begin(), asciiLower);
    return path;
}

// Behind a record that names them, copies are no leftovers.
void noteStrayCopies(std::vector<std::string> copies, DestinationLook* look) {
    if (look->state == LedgerState::UNREADABLE) return;
    std::set<std::string> named;
    for (const RecordedItem& item : look->items)
        for (const RestoredFile& file : item.restored)
            named.insert(folded(file.copy));
    for (std::string& copy : copies)
        if (named.count(folded(copy)) == 0) look->strayCopies.push_back(std::move(copy));
}

// Files are replaced beside each one that a record names.
void addWrittenDirectories(const DestinationLook& look, std::set<std::string>* out) {
    const auto add = [out](const std::string& file) {
        const ByteString directory = directoryPart(file.c_str());
        if (directory.length() != 0) out->insert(asDirectory(directory.cStr()));
    };
    for (const RecordedItem& item : look.items) {
        for (const RestoredFile& file : item.restored)
            add(file.file);
        for (const RemovedFile& file : item.removed)
            add(file.file);
    }
}

}  // namespace

std::string asDirectory(const std::string& path) {
    ByteString out(path.c_str());
    normalizeSlashes(out);
    if (!endsWithSeparator(out.cStr())) out.append("\\");
    return out.cStr();
}

DestinationLook lookAtDestination(const std::string& destination, std::set<std::string> more) {
    DestinationLook look;
    look.destination = destination;
    readLedger(&look);
    char root[PATH_SIZE];
    if (look.ledger.empty() || !backupRoot(destination.c_str(), root, sizeof root)) return look;
    Leftovers leftovers;
    more.insert({asDirectory(destination), asDirectory(root)});
    addWrittenDirectories(look, &more);
    findCopies(asDirectory(root), &leftovers);
    findTemporaries(more, &leftovers);
    noteStrayCopies(std::move(leftovers.copies), &look);
    look.temporaries = std::move(leftovers.temporaries);
    look.unlisted = std::move(leftovers.unlisted);
    return look;
}

}  // namespace ovpatch::ctl
