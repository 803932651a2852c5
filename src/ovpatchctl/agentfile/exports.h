// What a library's file tells of the library.
#ifndef OVPATCH_OVPATCHCTL_AGENTFILE_EXPORTS_H
#define OVPATCH_OVPATCHCTL_AGENTFILE_EXPORTS_H

#include <set>
#include <string>
#include <string_view>

#include "ovpatchctl/agentfile/byte_view.h"
#include "platform/library_lookup.h"

namespace ovpatch::ctl {

// Names that are looked for among what a library exports.
class WantedNames {
public:
    explicit WantedNames(const std::set<std::string, std::less<>>& names);

    // Notes the name that stands at `offset`, if it is wanted.
    void meet(const ByteView& file, std::uint64_t offset);

    const std::set<std::string, std::less<>>& found() const { return found_; }

private:
    const std::set<std::string, std::less<>>& names_;
    std::set<std::string, std::less<>> found_;
    std::size_t longest_ = 0;
};

// Both read a file of their format, to its end where it is damaged: DamagedFile. The answer of the first is
// what the format's head says; `isLibrary` becomes false for what cannot be loaded into a process.
platform::ImageKind readElf(const std::uint8_t* bytes, std::uint64_t size, bool* isLibrary,
                            WantedNames* names);
platform::ImageKind readPe(const std::uint8_t* bytes, std::uint64_t size, bool* isLibrary,
                           WantedNames* names);

}  // namespace ovpatch::ctl

#endif
