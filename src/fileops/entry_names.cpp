#include "fileops/entry_names.h"

#include <cstring>

#include "foundation/out_of_memory.h"

namespace ovpatch {

EntryNames::Position EntryNames::add(const char* name, bool isDirectory) {
    const std::size_t length = std::strlen(name);
    if (length + 2 > UINT32_MAX - bytes_.size()) outOfMemory("a directory listing");
    const Position position = end();
    bytes_.push_back(isDirectory ? 1 : 0);
    bytes_.insert(bytes_.end(), name, name + length + 1);
    ++count_;
    return position;
}

EntryNames::Position EntryNames::next(Position position) const {
    return position + static_cast<Position>(std::strlen(name(position))) + 2;
}

void EntryNames::clear() {
    count_ = 0;
    bytes_.clear();
}

}  // namespace ovpatch
