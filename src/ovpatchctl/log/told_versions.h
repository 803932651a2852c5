// The versions that records tell as numbers.
#ifndef OVPATCH_OVPATCHCTL_LOG_TOLD_VERSIONS_H
#define OVPATCH_OVPATCHCTL_LOG_TOLD_VERSIONS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ovpatch::ctl {

// Goes over the records of one run in their order, because not each tells the class of its item, by which its
// numbers are to be read.
class ToldVersions {
public:
    struct Pair {
        std::string from;
        std::string to;
    };

    // The versions that the next record of the run tells. With an old agent the ends of items tell the lower
    // halves of the numbers alone: such a version is `?.5`.
    std::optional<Pair> next(std::string_view message);

private:
    std::string decode(std::uint32_t number, bool isShifted) const;

    std::int32_t itemClass_ = 0;
    bool inUndo_ = false;
};

}  // namespace ovpatch::ctl

#endif
