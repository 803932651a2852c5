#include "fileops/entry_names.h"

#include <cstdlib>
#include <cstring>
#include <utility>

namespace ovpatch {

namespace {

constexpr std::size_t FIRST_ROOM = 1024;

}  // namespace

EntryNames::~EntryNames() {
    std::free(bytes_);
}

bool EntryNames::add(const char* name, bool isDirectory) {
    const std::size_t size = std::strlen(name) + 2;
    if (!makeRoom(size)) return false;
    bytes_[used_] = isDirectory ? 1 : 0;
    std::memcpy(bytes_ + used_ + 1, name, size - 1);
    used_ += static_cast<Position>(size);
    ++count_;
    return true;
}

EntryNames::Position EntryNames::next(Position position) const {
    return position + static_cast<Position>(std::strlen(name(position))) + 2;
}

void EntryNames::clear() {
    count_ = 0;
    used_ = 0;
}

void EntryNames::swap(EntryNames& other) {
    std::swap(count_, other.count_);
    std::swap(used_, other.used_);
    std::swap(room_, other.room_);
    std::swap(bytes_, other.bytes_);
}

bool EntryNames::makeRoom(std::size_t size) {
    if (size <= room_ - used_) return true;
    if (size > UINT32_MAX - used_) return false;
    std::size_t room = room_ == 0 ? FIRST_ROOM : room_;
    while (room - used_ < size)
        room *= 2;
    auto* const grown = static_cast<char*>(std::realloc(bytes_, room));
    if (grown == nullptr) return false;
    bytes_ = grown;
    room_ = room;
    return true;
}

}  // namespace ovpatch
