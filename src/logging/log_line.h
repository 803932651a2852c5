// One log line: the location, directly followed by the text.
//
// `source` is the source name that the log knows the caller's folder by, `level` the record's level, and the
// format and its arguments follow.
#ifndef OVPATCH_LOGGING_LOG_LINE_H
#define OVPATCH_LOGGING_LOG_LINE_H

#include <cstdint>

#include "logging/log.h"

#define OVPATCH_LOG(source, isError, level, ...)                                              \
    do {                                                                                      \
        ::ovpatch::setLogLocation((source), static_cast<std::uint32_t>(__LINE__), (isError)); \
        ::ovpatch::logPrintf((level), __VA_ARGS__);                                           \
    } while (false)

// An information.
#define OVPATCH_LOG_INFO(source, level, ...) OVPATCH_LOG(source, 0, level, __VA_ARGS__)

// An error.
#define OVPATCH_LOG_ERROR(source, level, ...) OVPATCH_LOG(source, 1, level, __VA_ARGS__)

#endif
