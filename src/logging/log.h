// The pair of calls behind every log line. Most code uses the macros of log_line.h.
#ifndef OVPATCH_LOGGING_LOG_H
#define OVPATCH_LOGGING_LOG_H

#include <cstdint>

#include "foundation/byte_string.h"

namespace ovpatch {

// Where the record at hand comes from, and whether it is an error.
struct LogLocation {
    ByteString fileName;
    std::int32_t isError = 0;
    std::uint32_t line = 0;
};

// The location that setLogLocation stored last.
const LogLocation& logLocation();

// Names the source of the next record: `file` without its directory, and the line. `isError` is 0 for an
// information and 1 for an error; it stays in force until the next call.
void setLogLocation(const char* file, std::uint32_t line, std::int32_t isError);

// Whether any listener does more with a record of that level, error or not, than to drop it.
bool logReaches(std::int32_t level);

// Formats a text in the manner of printf and hands it, with its level, to the listeners of the hub that the
// last setLogLocation chose: infoHub for 0, errorHub for 1, none for any other value. A text of 10240 bytes
// or more is cut at 10239.
__attribute__((format(printf, 2, 3))) void logPrintf(std::int32_t level, const char* format, ...);

}  // namespace ovpatch

#endif
