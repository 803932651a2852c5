#include "ovpatchctl/report/report.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "ovpatchctl/report/exit_status.h"

namespace ovpatch::ctl {

namespace {

[[noreturn]] void failToWrite(int number) {
    throw Failure(EXIT_OUTPUT, std::string("standard output cannot be written: ") + std::strerror(number));
}

void put(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) failToWrite(errno);
}

void flush() {
    if (std::fflush(stdout) != 0) failToWrite(errno);
}

}  // namespace

void Report::line(std::string_view text) {
    write(std::string(text) + '\n');
}

void Report::write(std::string_view text) {
    if (isJson_) return;
    put(text);
    flush();
}

void Report::finish() {
    if (isJson_) put(document_.dump(2) + '\n');
    flush();
}

void tellError(std::string_view text) {
    std::fprintf(stderr, "ovpatchctl: %.*s\n", static_cast<int>(text.size()), text.data());
}

}  // namespace ovpatch::ctl
