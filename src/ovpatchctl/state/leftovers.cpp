#include "ovpatchctl/state/leftovers.h"

#include <algorithm>
#include <string_view>

#include "fileops/dir_listing.h"
#include "fileops/paths.h"
#include "ovpatch/journal/keeper.h"

namespace ovpatch::ctl {

namespace {

constexpr std::string_view DIGITS = "0123456789";
constexpr std::string_view BASE_36 = "0123456789abcdefghijklmnopqrstuvwxyz";
constexpr std::string_view COPY_STEM = "backup.";
constexpr std::string_view MOVED_ASIDE = ".ovp";
constexpr std::size_t COPY_DIGITS = 3;

bool take(std::string_view* text, std::string_view front) {
    if (text->substr(0, front.size()) != front) return false;
    text->remove_prefix(front.size());
    return true;
}

bool takeNumber(std::string_view* text) {
    const std::size_t length = std::min(text->find_first_not_of(DIGITS), text->size());
    text->remove_prefix(length);
    return length > 0;
}

bool isNumber(std::string_view text) {
    return takeNumber(&text) && text.empty();
}

bool isCopyName(std::string_view name) {
    return take(&name, COPY_STEM) && name.size() == COPY_DIGITS &&
           name.find_first_not_of(BASE_36) == std::string_view::npos;
}

// A file that was being written, a name that was on its way out, a ledger that was kept aside.
bool isTemporaryName(std::string_view name) {
    std::string_view rest = name;
    if (take(&rest, ".ovp") && takeNumber(&rest) && take(&rest, "_") && takeNumber(&rest) && rest == ".tmp")
        return true;
    const std::size_t stem = name.size() - std::min(name.size(), MOVED_ASIDE.size());
    if (name.substr(stem) == MOVED_ASIDE && isCopyName(name.substr(0, stem))) return true;
    return isKeeperName(std::string(name).c_str());
}

struct Entry {
    std::string name;
    bool isDirectory;
};

// `directory` ends in a separator.
std::vector<Entry> entriesOf(const std::string& directory, Leftovers* out) {
    std::vector<Entry> entries;
    DirListing listing(directory.c_str());
    if (!listing.isComplete()) out->unlisted.insert(directory);
    while (listing.hasNext()) {
        const ByteString path = listing.nextPath();
        entries.push_back({baseName(path.cStr()).cStr(), listing.lastIsDirectory()});
    }
    return entries;
}

void noteTemporary(const std::string& directory, const Entry& entry, Leftovers* out) {
    if (!entry.isDirectory && isTemporaryName(entry.name)) out->temporaries.push_back(directory + entry.name);
    if (entry.isDirectory && entry.name == "OVSrc.tmp")
        out->temporaries.push_back(directory + entry.name + '\\');
}

}  // namespace

void findTemporaries(const std::set<std::string>& directories, Leftovers* out) {
    for (const std::string& directory : directories)
        for (const Entry& entry : entriesOf(directory, out))
            noteTemporary(directory, entry, out);
}

void findCopies(const std::string& root, Leftovers* out) {
    for (const Entry& itemClass : entriesOf(root, out)) {
        if (!itemClass.isDirectory || !isNumber(itemClass.name)) continue;
        const std::string below = root + itemClass.name + '\\';
        for (const Entry& itemType : entriesOf(below, out)) {
            if (!itemType.isDirectory || !isNumber(itemType.name)) continue;
            const std::string directory = below + itemType.name + '\\';
            for (const Entry& entry : entriesOf(directory, out)) {
                if (!entry.isDirectory && isCopyName(entry.name))
                    out->copies.push_back(directory + entry.name);
                noteTemporary(directory, entry, out);
            }
        }
    }
}

void findDirectories(const std::string& tree, const std::string& mirror, std::set<std::string>* out,
                     Leftovers* unlisted) {
    out->insert(mirror);
    for (const Entry& entry : entriesOf(tree, unlisted))
        if (entry.isDirectory)
            findDirectories(tree + entry.name + '\\', mirror + entry.name + '\\', out, unlisted);
}

}  // namespace ovpatch::ctl
