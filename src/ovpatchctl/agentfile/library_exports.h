// Looks into a library's file without loading it.
#ifndef OVPATCH_OVPATCHCTL_AGENTFILE_LIBRARY_EXPORTS_H
#define OVPATCH_OVPATCHCTL_AGENTFILE_LIBRARY_EXPORTS_H

#include <cstdint>
#include <set>
#include <string>

#include "platform/library_lookup.h"

namespace ovpatch::ctl {

using NameSet = std::set<std::string, std::less<>>;

struct LibraryFile {
    enum class Verdict {
        READ,
        UNREADABLE,  // no regular file, or one that cannot be read whole
        NO_LIBRARY,  // of no known format, or a program
        DAMAGED,     // it does not hold what it says
        OTHER_HOST,  // a library for another processor or system
    };

    Verdict verdict = Verdict::UNREADABLE;
    platform::ImageKind kind;  // READ and OTHER_HOST only
    NameSet found;             // of the wanted names those that it exports; READ only
};

// `path` is device text. The library itself is looked at: whether those that it needs are there is not.
LibraryFile lookIntoLibrary(const char* path, const NameSet& wanted);

// "ELF, 64 bits, x86-64", for people.
std::string describeKind(const platform::ImageKind& kind);

}  // namespace ovpatch::ctl

#endif
