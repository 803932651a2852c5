// Tells quickly that a name is in no case variant in a directory.
#ifndef OVPATCH_FILEOPS_NAME_INDEX_H
#define OVPATCH_FILEOPS_NAME_INDEX_H

#include <cstddef>
#include <memory>

#include "fileops/entry_names.h"
#include "foundation/byte_string.h"

namespace ovpatch {

// For a caller that removes many names, of which many may be gone already: without an index each of those
// costs a listing of its directory. The index reads a directory once and remembers the last one asked for.
// The caller promises that while it uses the index nobody adds a name to that directory. Names that vanish
// behind its back only cost the listing that the index would have saved.
class NameIndex {
public:
    // Whether the directory of `path` has, or had when it was read, an entry whose name equals that of `path`
    // without regard to ASCII case. True as well when the directory could not be read. `path` holds no
    // wildcard and no "/", and does not end in a separator.
    bool canMatch(const char* path);

    // Whether the directory of `path` is the one in memory and has no such entry: then there is nothing to
    // ask the device. False says nothing.
    bool knowsMissing(const char* path) const;

    // Takes the entry of exactly that path out, after its removal. Nothing happens when it is not known.
    void forget(const char* path);

private:
    bool read(const ByteString& directory);
    void addSlot(EntryNames::Position position);
    // The slot of a name that equals `name`, in ASCII case too if `exactly`; slotCount_ if there is none.
    std::size_t findSlot(const char* name, bool exactly) const;

    bool isRead_ = false;
    ByteString directory_;
    EntryNames names_;
    // A hash table with open addressing: positions in names_, or one of the marks in the .cpp.
    std::unique_ptr<EntryNames::Position[]> slots_;
    std::size_t slotCount_ = 0;  // a power of two
};

}  // namespace ovpatch

#endif
