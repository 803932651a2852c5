#include "ovpatch/journal/journal_reader.h"

#include <algorithm>
#include <iterator>

#include "ovpatch/journal/journal_line.h"

namespace ovpatch {

namespace {

constexpr std::size_t WINDOW_SIZE = 4 * JOURNAL_LINE_SIZE;
char bytes[WINDOW_SIZE];

}  // namespace

JournalReader::JournalReader(const platform::LockedFile& file) : file_(file), lineStart_(file.size()) {}

const char* JournalReader::window() {
    return bytes;
}

// Reads what stands before `end`.
bool JournalReader::load(std::uint64_t end) {
    const std::uint64_t start = end > WINDOW_SIZE ? end - WINDOW_SIZE : 0;
    const auto size = static_cast<std::size_t>(end - start);
    // What failed in passing is there at the second try.
    if (!file_.read(start, bytes, size) && !file_.read(start, bytes, size)) {
        failed_ = true;
        return false;
    }
    windowStart_ = start;
    windowEnd_ = end;
    return true;
}

// What was never finished, and the front of a line of which the end was read, may be longer than any line.
bool JournalReader::skipIncomplete() {
    while (lineStart_ > 0) {
        if (lineStart_ <= windowStart_ || windowEnd_ == 0) {
            if (!load(lineStart_)) return false;
        }
        if (bytes[lineStart_ - 1 - windowStart_] == '\n') return true;
        --lineStart_;
    }
    return false;
}

// The line that ends before the line feed at lineEnd_.
bool JournalReader::findStart() {
    const std::uint64_t needed = lineEnd_ > JOURNAL_LINE_SIZE ? lineEnd_ - JOURNAL_LINE_SIZE : 0;
    if (needed < windowStart_ && !load(lineEnd_)) return false;
    using Backwards = std::reverse_iterator<const char*>;
    const char* first = bytes + (needed - windowStart_);
    const char* end = bytes + (lineEnd_ - windowStart_);
    const char* start = std::find(Backwards(end), Backwards(first), '\n').base();
    lineStart_ = windowStart_ + static_cast<std::uint64_t>(start - bytes);
    return true;
}

bool JournalReader::previous() {
    if (failed_ || !skipIncomplete()) return false;
    lineEnd_ = lineStart_ - 1;
    return findStart();
}

}  // namespace ovpatch
