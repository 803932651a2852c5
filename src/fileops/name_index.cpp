#include "fileops/name_index.h"

#include <algorithm>
#include <cstring>
#include <new>

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
    const bool isKnown = isRead_ && directory_.compare(directory.cStr()) == 0;
    if (!isKnown && !read(directory)) return true;
    return findSlot(name.cStr(), false) < slotCount_;
}

bool NameIndex::knowsMissing(const char* path) const {
    if (!isRead_) return false;
    ByteString directory;
    ByteString name;
    splitPath(path, directory, name);
    return directory_.compare(directory.cStr()) == 0 && findSlot(name.cStr(), false) == slotCount_;
}

void NameIndex::forget(const char* path) {
    if (!isRead_) return;
    ByteString directory;
    ByteString name;
    splitPath(path, directory, name);
    if (directory_.compare(directory.cStr()) != 0) return;
    const std::size_t slot = findSlot(name.cStr(), true);
    if (slot < slotCount_) slots_[slot] = FORGOTTEN_SLOT;
}

// False when the directory cannot be read whole, or without memory.
bool NameIndex::read(const ByteString& directory) {
    isRead_ = false;
    names_.clear();
    DirectoryEntries entries(directory);
    while (entries.next()) {
        if (!names_.add(entries.name(), entries.isDirectory())) return false;
    }
    if (entries.error() != ERROR_SUCCESS) return false;

    slotCount_ = 16;
    while (slotCount_ / 2 < names_.count())
        slotCount_ *= 2;
    slots_.reset(new (std::nothrow) EntryNames::Position[slotCount_]);
    if (slots_ == nullptr) return false;
    std::fill_n(slots_.get(), slotCount_, FREE_SLOT);
    for (EntryNames::Position at = 0; at < names_.end(); at = names_.next(at))
        addSlot(at);
    directory_ = directory;
    isRead_ = true;
    return true;
}

void NameIndex::addSlot(EntryNames::Position position) {
    const std::size_t mask = slotCount_ - 1;
    std::size_t slot = hashOf(names_.name(position)) & mask;
    while (slots_[slot] != FREE_SLOT)
        slot = (slot + 1) & mask;
    slots_[slot] = position;
}

std::size_t NameIndex::findSlot(const char* name, bool exactly) const {
    const std::size_t mask = slotCount_ - 1;
    for (std::size_t slot = hashOf(name) & mask; slots_[slot] != FREE_SLOT; slot = (slot + 1) & mask) {
        if (slots_[slot] == FORGOTTEN_SLOT) continue;
        const char* known = names_.name(slots_[slot]);
        if (exactly ? std::strcmp(known, name) == 0 : equalNames(known, name)) return slot;
    }
    return slotCount_;
}

}  // namespace ovpatch
