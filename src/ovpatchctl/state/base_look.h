// What a base directory holds: its manifest, the destinations that it names, what its last run left.
#ifndef OVPATCH_OVPATCHCTL_STATE_BASE_LOOK_H
#define OVPATCH_OVPATCHCTL_STATE_BASE_LOOK_H

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "ovpatchctl/state/cut_off_look.h"
#include "ovpatchctl/state/destination_look.h"

namespace ovpatch::ctl {

// Whether the directory has anything of a base directory, or of a destination.
bool looksLikeBase(const std::string& path);
bool looksLikeDestination(const std::string& path);

struct BaseLook {
    std::string base;
    JournalLook journal;
    std::string manifest;                       // its path
    bool hasManifest = false;                   // and it can be read
    std::string whyNoManifest;                  // the program's own line, if it is there and cannot be read
    std::string result;                         // the text of the last run's result; empty when there is none
    std::vector<DestinationLook> destinations;  // those that the manifest names, once each
    std::vector<std::string> temporaries;       // of the base itself, as those of a destination
    std::set<std::string> unlisted;  // directories that could not be read, those of the new files among them
};

// Opens the base (base_directory.h) and looks at it.
BaseLook lookAtBase(const std::string& base, LockHolder holder);

}  // namespace ovpatch::ctl

#endif
