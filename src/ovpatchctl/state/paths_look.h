// Looking at what a command line names: base directories, destinations, or both in one.
#ifndef OVPATCH_OVPATCHCTL_STATE_PATHS_LOOK_H
#define OVPATCH_OVPATCHCTL_STATE_PATHS_LOOK_H

#include <string>
#include <vector>

#include "ovpatchctl/state/base_look.h"
#include "ovpatchctl/state/destination_look.h"

namespace ovpatch::ctl {

struct PathsLook {
    std::vector<BaseLook> bases;                // their destinations moved to the others
    std::vector<DestinationLook> destinations;  // each once
};

// Throws a Failure of EXIT_NO_INPUT for a path that is no directory.
PathsLook lookAtPaths(const std::vector<std::string>& paths, LockHolder holder);

}  // namespace ovpatch::ctl

#endif
