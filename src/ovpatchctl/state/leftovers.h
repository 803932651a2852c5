// Finding what runs can leave behind.
#ifndef OVPATCH_OVPATCHCTL_STATE_LEFTOVERS_H
#define OVPATCH_OVPATCHCTL_STATE_LEFTOVERS_H

#include <set>
#include <string>
#include <vector>

namespace ovpatch::ctl {

struct Leftovers {
    std::vector<std::string> copies;       // files with a backup copy's name
    std::vector<std::string> temporaries;  // files; directories with a separator at the end
    std::set<std::string> unlisted;        // directories that could not be read to their end
};

// Adds the temporary files that lie in each of the directories, and the staging directories of old agents.
void findTemporaries(const std::set<std::string>& directories, Leftovers* out);

// Adds the copies, and the temporary files beside them, in the backup directories below `root`, the OV_Backup
// of a destination.
void findCopies(const std::string& root, Leftovers* out);

// Enters, for each directory below and with `tree`, the one that stands at its place below `mirror`, be it
// there or not. Both end in a separator.
void findDirectories(const std::string& tree, const std::string& mirror, std::set<std::string>* out,
                     Leftovers* unlisted);

}  // namespace ovpatch::ctl

#endif
