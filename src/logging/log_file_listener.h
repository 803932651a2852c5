// The listener behind all output of the log.
#ifndef OVPATCH_LOGGING_LOG_FILE_LISTENER_H
#define OVPATCH_LOGGING_LOG_FILE_LISTENER_H

#include "logging/log_hub.h"

namespace ovpatch {

// Writes the records that the settings let through to the output they choose: the standard output or the log
// file under the base directory of the session.
class LogFileListener : public LogListener {
public:
    // Always 0.
    std::int32_t handle(LogEvent* event) override;
};

}  // namespace ovpatch

#endif
