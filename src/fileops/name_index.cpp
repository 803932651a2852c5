#include "fileops/name_index.h"

#include <cstring>

#include "fileops/dir_listing.h"
#include "fileops/directory_entries.h"
#include "fileops/paths.h"

namespace ovpatch {

namespace {

constexpr EntryNames::Position FREE_SLOT = 0xFFFFFFFF;
// A name that was taken out; a search goes on behind it.
constexpr EntryNames::Position FORGOTTEN_SLOT = 0xFFFFFFFE;

std::size_t hashOf(const char* name) {
    std::uint32_t hash = 2166136261U;
    for (; *name != '\0'; ++name) {
        hash ^= static_cast<unsigned char>(asciiLower(*name));
        hash *= 16777619U;
    }
    return hash ^ (hash >> 15);
}

bool equalNames(const char* left, const char* right) {
    while (*left != '\0' && equalIgnoreCase(*left, *right)) {
        ++left;
        ++right;
    }
    return *left == *right;
}

}  // namespace

bool NameIndex::canMatch(const char* path) {
    ByteString directory;
    ByteString name;
    splitPath(path, directory, name);
    if (!isRead_ || directory_.compare(directory.cStr()) != 0) read(directory);
    return findSlot(name.cStr(), false) < slots_.size();
}

bool NameIndex::knowsMissing(const char* path) const {
    if (!isRead_) return false;
    ByteString directory;
    ByteString name;
    splitPath(path, directory, name);
    return directory_.compare(directory.cStr()) == 0 && findSlot(name.cStr(), false) == slots_.size();
}

void NameIndex::forget(const char* path) {
    if (!isRead_) return;
    ByteString directory;
    ByteString name;
    splitPath(path, directory, name);
    if (directory_.compare(directory.cStr()) != 0) return;
    const std::size_t slot = findSlot(name.cStr(), true);
    if (slot < slots_.size()) slots_[slot] = FORGOTTEN_SLOT;
}

void NameIndex::read(const ByteString& directory) {
    names_.clear();
    DirectoryEntries entries(directory);
    while (entries.next())
        names_.add(entries.name(), entries.isDirectory());

    std::size_t size = 16;
    while (size / 2 < names_.count())
        size *= 2;
    slots_.assign(size, FREE_SLOT);
    for (EntryNames::Position at = 0; at < names_.end(); at = names_.next(at))
        addSlot(at);
    directory_ = directory;
    isRead_ = true;
}

void NameIndex::addSlot(EntryNames::Position position) {
    const std::size_t mask = slots_.size() - 1;
    std::size_t slot = hashOf(names_.name(position)) & mask;
    while (slots_[slot] != FREE_SLOT)
        slot = (slot + 1) & mask;
    slots_[slot] = position;
}

std::size_t NameIndex::findSlot(const char* name, bool exactly) const {
    const std::size_t mask = slots_.size() - 1;
    for (std::size_t slot = hashOf(name) & mask; slots_[slot] != FREE_SLOT; slot = (slot + 1) & mask) {
        if (slots_[slot] == FORGOTTEN_SLOT) continue;
        const char* known = names_.name(slots_[slot]);
        if (exactly ? std::strcmp(known, name) == 0 : equalNames(known, name)) return slot;
    }
    return slots_.size();
}

}  // namespace ovpatch
