// Showing on standard error how far a run is.
#ifndef OVPATCH_OVPATCHCTL_RUN_PROGRESS_H
#define OVPATCH_OVPATCHCTL_RUN_PROGRESS_H

#include <chrono>
#include <cstddef>

namespace ovpatch::ctl {

enum class ProgressStyle {
    NONE,
    LINES,  // now and then one
    BAR     // one line that changes, on a terminal
};

class Progress {
public:
    // `total` is the number of files that the run will be at; 0 when it is not known.
    Progress(ProgressStyle style, std::size_t total);
    // Leaves no bar behind.
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void show(std::size_t files, bool isUndoing);

private:
    using Clock = std::chrono::steady_clock;

    void showBar(std::size_t files, bool isUndoing);
    void showLine(std::size_t files, bool isUndoing);

    ProgressStyle style_;
    std::size_t total_;
    std::size_t shown_ = 0;
    bool shownUndoing_ = false;
    bool hasBar_ = false;
    Clock::time_point last_ = Clock::now();
};

}  // namespace ovpatch::ctl

#endif
