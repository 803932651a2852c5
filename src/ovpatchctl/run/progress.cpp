#include "ovpatchctl/run/progress.h"

#include <algorithm>
#include <cstdio>
#include <string>

#include "ovpatchctl/report/texts.h"

namespace ovpatch::ctl {

namespace {

constexpr std::size_t BAR_WIDTH = 30;
constexpr std::chrono::seconds BETWEEN_LINES(10);
// Erases the line behind the cursor, which is at its front.
constexpr char ERASE_LINE[] = "\r\x1b[K";

std::string words(std::size_t files, std::size_t total, bool isUndoing) {
    const std::string count = total == 0 ? counted(files, "file", "files")
                                         : std::to_string(files) + " of " + counted(total, "file", "files");
    return count + (isUndoing ? ", now being undone" : "");
}

}  // namespace

Progress::Progress(ProgressStyle style, std::size_t total) : style_(style), total_(total) {}

Progress::~Progress() {
    if (hasBar_) std::fputs(ERASE_LINE, stderr);
}

void Progress::show(std::size_t files, bool isUndoing) {
    // A log can tell of more than was there when they were counted.
    if (total_ != 0) files = std::min(files, total_);
    if (style_ == ProgressStyle::BAR) showBar(files, isUndoing);
    if (style_ == ProgressStyle::LINES) showLine(files, isUndoing);
}

void Progress::showBar(std::size_t files, bool isUndoing) {
    if (hasBar_ && files == shown_ && isUndoing == shownUndoing_) return;
    const std::size_t done = total_ == 0 ? 0 : files * BAR_WIDTH / total_;
    const std::string bar = std::string(done, '#') + std::string(BAR_WIDTH - done, '.');
    std::fprintf(stderr, "%s[%s] %s", ERASE_LINE, bar.c_str(), words(files, total_, isUndoing).c_str());
    std::fflush(stderr);
    hasBar_ = true;
    shown_ = files;
    shownUndoing_ = isUndoing;
}

void Progress::showLine(std::size_t files, bool isUndoing) {
    if (Clock::now() - last_ < BETWEEN_LINES) return;
    std::fprintf(stderr, "ovpatchctl: %s\n", words(files, total_, isUndoing).c_str());
    last_ = Clock::now();
}

}  // namespace ovpatch::ctl
