#include "ovpatchctl/plan/world.h"

#include "fileops/file_tests.h"
#include "fileops/paths.h"
#include "fileops/wide_path.h"
#include "ovpatch/journal/keeper.h"
#include "platform/file_system.h"

namespace ovpatch::ctl {

namespace {

struct Split {
    std::string directory;  // without a separator at its end, but for the root
    std::string name;
};

std::string bare(const std::string& path) {
    ByteString text(path.c_str());
    normalizeSlashes(text);
    while (text.length() > 1 && removeTrailingSeparator(text)) {
    }
    return text.cStr();
}

// `path` is bare.
Split split(const std::string& path) {
    ByteString directory;
    ByteString name;
    splitPath(path.c_str(), directory, name);
    return {bare(directory.cStr()), name.cStr()};
}

// Where a host does not tell its files apart by numbers, it does not tell the case of letters apart either.
bool hasNumbers() {
    static const bool has = stateOfFile(".").id != 0;
    return has;
}

std::string folded(std::string name) {
    if (hasNumbers()) return name;
    for (char& byte : name)
        if (byte >= 'A' && byte <= 'Z') byte = static_cast<char>(byte - 'A' + 'a');
    return name;
}

bool isRootOrEmpty(const std::string& path) {
    return path.empty() || path == "\\" || path == ".";
}

Stand look(const std::string& path) {
    bool known = true;
    if (fileExists(path.c_str(), &known)) return Stand::FILE;
    if (!known) return Stand::UNKNOWN;
    if (ovpatch::isDirectory(path.c_str())) return Stand::DIRECTORY;
    return stateOfFile(path.c_str()).exists && WidePath(path.c_str()).fits() && !hasWildcard(path.c_str())
               ? Stand::NOT_READABLE
               : Stand::NOTHING;
}

bool isReadOnlyNow(const std::string& path) {
    const WidePath wide(path.c_str());
    const DWORD attributes = wide.fits() ? GetFileAttributesW(wide.text()) : INVALID_FILE_ATTRIBUTES;
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_READONLY) != 0 &&
           (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

}  // namespace

// A directory that stands there has the same key under all its names.
std::string World::directoryKey(const std::string& directory) {
    const auto known = directoryKeys_.find(directory);
    if (known != directoryKeys_.end()) return known->second;
    const std::string path = directory.empty() ? "." : directory;
    std::string made;
    if (hasNumbers() && ovpatch::isDirectory(path.c_str())) {
        const platform::FileState state = stateOfFile(path.c_str());
        made = std::to_string(state.device) + ':' + std::to_string(state.id);
    } else if (isRootOrEmpty(directory)) {
        made = directory;
    } else {
        const Split parts = split(directory);
        made = directoryKey(parts.directory) + '\\' + folded(parts.name);
    }
    return directoryKeys_[directory] = made;
}

std::string World::key(const std::string& path) {
    const std::string whole = bare(path);
    const Split parts = split(whole);
    if (parts.name.empty() || parts.name == "." || parts.name == "..") return directoryKey(whole);
    return directoryKey(parts.directory) + '\\' + folded(parts.name);
}

std::optional<World::Entry> World::changed(const std::string& path) {
    if (changes_.empty()) return std::nullopt;
    const auto found = changes_.find(key(path));
    return found == changes_.end() ? std::nullopt : std::optional(found->second);
}

Stand World::at(const std::string& path) {
    if (const std::optional<Entry> change = changed(path)) return change->stands;
    return look(path);
}

bool World::isReadOnly(const std::string& path) {
    if (const std::optional<Entry> change = changed(path)) return change->isReadOnly;
    return isReadOnlyNow(path);
}

void World::copyFile(const std::string& source, const std::string& target) {
    const bool isReadOnlyToo = isReadOnly(source);
    changes_[key(target)] = {Stand::FILE, isReadOnlyToo};
}

std::string World::standingDirectory(const std::string& path) {
    std::string at = bare(path);
    while (!isRootOrEmpty(at) && !ovpatch::isDirectory(at.c_str()))
        at = split(at).directory;
    return at.empty() ? "." : at;
}

const char* World::refusesEntries(const std::string& directory) {
    const std::string standing = standingDirectory(directory);
    const auto known = refusals_.find(standing);
    if (known != refusals_.end()) return known->second;
    const WidePath wide(standing.c_str());
    const bool may = wide.fits() && platform::mayMakeEntries(wide.text());
    return refusals_[standing] = may ? nullptr : "its directory cannot be written";
}

const char* World::makeDirectory(const std::string& path) {
    const std::string whole = bare(path);
    if (isRootOrEmpty(whole) || isDirectory(whole)) return nullptr;
    if (!WidePath(whole.c_str()).fits()) return "the path is too long";
    if (at(whole) != Stand::NOTHING) return "something else stands in the directory's place";
    const Split parts = split(whole);
    if (const char* reason = makeDirectory(parts.directory)) return reason;
    if (const char* reason = refusesEntries(parts.directory)) return reason;
    changes_[key(whole)] = {Stand::DIRECTORY, false};
    return nullptr;
}

}  // namespace ovpatch::ctl
