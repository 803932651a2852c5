// Following a log while a run writes it.
#ifndef OVPATCH_OVPATCHCTL_RUN_LOG_TAIL_H
#define OVPATCH_OVPATCHCTL_RUN_LOG_TAIL_H

#include <cstddef>
#include <string>

namespace ovpatch::ctl {

class LogTail {
public:
    // Begins at the present end of the log, of either format; an empty path is never there.
    explicit LogTail(std::string path);

    // Takes in what has been written since. A log that was begun anew meanwhile is read from its front.
    void read();

    // The files that the run has been at.
    std::size_t files() const { return files_; }

    // Whether it undoes itself.
    bool isUndoing() const { return isUndoing_; }

private:
    void take(const std::string& text);

    std::string path_;
    long offset_ = 0;
    std::string rest_;  // the end of what was read, where a word may have begun
    std::size_t files_ = 0;
    bool isUndoing_ = false;
};

}  // namespace ovpatch::ctl

#endif
