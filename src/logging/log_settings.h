// What ovcfg.ini says about the log.
#ifndef OVPATCH_LOGGING_LOG_SETTINGS_H
#define OVPATCH_LOGGING_LOG_SETTINGS_H

#include <cstdint>

namespace ovpatch {

// Values of `mode`; with any other no record reaches an output.
constexpr std::int32_t LOG_MODE_STANDARD_OUTPUT = 1;
constexpr std::int32_t LOG_MODE_FILE = 2;
constexpr std::int32_t LOG_MODE_DIRECTORY_ONLY = 3;  // makes the log's directory and writes nothing

struct LogSettings {
    std::int32_t level = 5;  // the lowest level that is written
    std::int32_t mode = LOG_MODE_FILE;
    bool html = false;
};

// The settings of the process, written by the constructor of Logger.
LogSettings& logSettings();

}  // namespace ovpatch

#endif
