// Reads a journal's lines from the last to the first.
#ifndef OVPATCH_OVPATCH_JOURNAL_JOURNAL_READER_H
#define OVPATCH_OVPATCH_JOURNAL_JOURNAL_READER_H

#include <cstddef>
#include <cstdint>

#include "platform/locked_file.h"

namespace ovpatch {

// The process has one window to a journal, so that reading needs no memory: there can be one reader at a
// time.
class JournalReader {
public:
    // Begins at the end of `file`, which outlives the reader. What stands behind the last line feed is no
    // line.
    explicit JournalReader(const platform::LockedFile& file);

    // Moves to the line before. False when there is none, and when the file cannot be read.
    bool previous();

    // The line at hand, without its line feed, good until the next move. Of one that is longer than any line
    // can be it is the end.
    const char* text() const { return window() + (lineStart_ - windowStart_); }
    std::size_t length() const { return static_cast<std::size_t>(lineEnd_ - lineStart_); }

    // Where it begins in the file. The first line of all begins at 0.
    std::uint64_t offset() const { return lineStart_; }
    // Where the next one begins, or would.
    std::uint64_t end() const { return lineEnd_ + 1; }

    bool hasFailed() const { return failed_; }

private:
    bool skipIncomplete();
    bool load(std::uint64_t end);
    bool findStart();

    static const char* window();

    const platform::LockedFile& file_;
    std::uint64_t windowStart_ = 0;
    std::uint64_t windowEnd_ = 0;
    std::uint64_t lineStart_ = 0;  // of the line at hand; before the first move the end of the last line
    std::uint64_t lineEnd_ = 0;
    bool failed_ = false;
};

}  // namespace ovpatch

#endif
