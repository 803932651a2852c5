#include "ovpatchctl/run/log_tail.h"

#include <cstdio>
#include <memory>
#include <string_view>
#include <utility>

#include "platform/platform.h"

namespace ovpatch::ctl {

namespace {

// What each file's record begins with, whatever the generation and the action, and what an undo begins with.
constexpr std::string_view FILE_RECORD = "PatchAgent CheckFil";
constexpr std::string_view UNDO_RECORD = "WithPatchAgent: auto rollback.";
constexpr std::size_t LONGEST_RECORD = UNDO_RECORD.size();
constexpr std::size_t BYTES_AT_ONCE = std::size_t{64} << 10;

struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using Stream = std::unique_ptr<std::FILE, Closer>;

// The log's size; less than 0 when it is not there.
long sizeOf(std::FILE* file) {
    return file != nullptr && std::fseek(file, 0, SEEK_END) == 0 ? std::ftell(file) : -1;
}

}  // namespace

LogTail::LogTail(std::string path) : path_(std::move(path)) {
    const Stream file(platform::fopen(path_.c_str(), "rb"));
    const long size = sizeOf(file.get());
    if (size > 0) offset_ = size;
}

void LogTail::read() {
    const Stream file(platform::fopen(path_.c_str(), "rb"));
    const long size = sizeOf(file.get());
    if (size < 0) return;
    if (size < offset_) offset_ = 0;
    if (std::fseek(file.get(), offset_, SEEK_SET) != 0) return;
    std::string text(BYTES_AT_ONCE, '\0');
    std::size_t got = 0;
    do {
        got = std::fread(&text[0], 1, BYTES_AT_ONCE, file.get());
        offset_ += static_cast<long>(got);
        take(text.substr(0, got));
    } while (got != 0);
}

void LogTail::take(const std::string& text) {
    // What stands in the rest alone has been counted.
    const std::size_t known = rest_.size();
    rest_ += text;
    for (std::size_t at = rest_.find(FILE_RECORD); at != std::string::npos;
         at = rest_.find(FILE_RECORD, at + 1))
        if (at + FILE_RECORD.size() > known) ++files_;
    isUndoing_ = isUndoing_ || rest_.find(UNDO_RECORD) != std::string::npos;
    if (rest_.size() > LONGEST_RECORD) rest_.erase(0, rest_.size() - LONGEST_RECORD);
}

}  // namespace ovpatch::ctl
