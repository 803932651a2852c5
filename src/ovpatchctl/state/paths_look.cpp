#include "ovpatchctl/state/paths_look.h"

#include <set>
#include <utility>

#include "fileops/file_tests.h"
#include "ovpatchctl/report/exit_status.h"
#include "ovpatchctl/report/texts.h"

namespace ovpatch::ctl {

PathsLook lookAtPaths(const std::vector<std::string>& paths, LockHolder holder) {
    PathsLook look;
    std::set<std::string> seenBases;
    std::set<std::string> seenDestinations;
    const auto take = [&](DestinationLook destination) {
        if (seenDestinations.insert(asDirectory(destination.destination)).second)
            look.destinations.push_back(std::move(destination));
    };
    for (const std::string& path : paths) {
        if (!isDirectory(path.c_str())) throw Failure(EXIT_NO_INPUT, "no such directory: " + shown(path));
        const bool isBase = looksLikeBase(path);
        if (isBase && seenBases.insert(asDirectory(path)).second) {
            look.bases.push_back(lookAtBase(path, holder));
            for (DestinationLook& destination : look.bases.back().destinations)
                take(std::move(destination));
            look.bases.back().destinations.clear();
        }
        if (!isBase || looksLikeDestination(path)) take(lookAtDestination(path));
    }
    return look;
}

}  // namespace ovpatch::ctl
