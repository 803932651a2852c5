#include "ovpatchctl/files/read_file.h"

#include <cstdio>
#include <memory>

#include "platform/platform.h"

namespace ovpatch::ctl {

namespace {

constexpr std::size_t BYTES_AT_ONCE = std::size_t{64} << 10;
constexpr std::size_t MOST_BYTES = std::size_t{64} << 20;

struct Closer {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

}  // namespace

FileReading readFile(const std::string& path, std::string* out) {
    out->clear();
    const std::unique_ptr<std::FILE, Closer> file(platform::fopen(path.c_str(), "rb"));
    if (file == nullptr)
        return platform::tellsMissing(GetLastError()) ? FileReading::MISSING : FileReading::UNREADABLE;
    std::string read;
    std::size_t got = 0;
    do {
        read.resize(read.size() + BYTES_AT_ONCE);
        got = std::fread(&read[read.size() - BYTES_AT_ONCE], 1, BYTES_AT_ONCE, file.get());
        read.resize(read.size() - BYTES_AT_ONCE + got);
    } while (got != 0 && read.size() <= MOST_BYTES);
    if (std::ferror(file.get()) != 0 || read.size() > MOST_BYTES) return FileReading::UNREADABLE;
    *out = read;
    return FileReading::DONE;
}

}  // namespace ovpatch::ctl
