#include "logging/log.h"

#include <cstdarg>
#include <cstdio>

#include "fileops/paths.h"
#include "logging/log_event.h"
#include "logging/log_hub.h"

namespace ovpatch {

namespace {

// The limit of one record's text, terminator included.
constexpr std::size_t TEXT_LIMIT = 10240;

LogLocation location;

}  // namespace

const LogLocation& logLocation() {
    return location;
}

void setLogLocation(const char* file, std::uint32_t line, std::int32_t isError) {
    // Most records come from the source of the one before.
    if (file == nullptr || location.fileName.compare(file) != 0) location.fileName = baseName(file);
    location.line = line;
    location.isError = isError;
}

bool logReaches(std::int32_t level) {
    return infoHub.wants(level) || errorHub.wants(level);
}

void logPrintf(std::int32_t level, const char* format, ...) {
    const bool isError = location.isError == 1;
    if (!isError && location.isError != 0) return;
    // Formatting for nobody has no effect, and a silent log should cost little.
    if (!(isError ? errorHub : infoHub).wants(level)) return;

    char text[TEXT_LIMIT];
    va_list arguments;
    va_start(arguments, format);
    if (std::vsnprintf(text, sizeof text, format, arguments) < 0) text[0] = '\0';
    va_end(arguments);

    if (isError) {
        LogErrorEvent(text, level).dispatch();
    } else {
        LogInfoEvent(text, level).dispatch();
    }
}

}  // namespace ovpatch
