// A log record on its way to the listeners.
#ifndef OVPATCH_LOGGING_LOG_EVENT_H
#define OVPATCH_LOGGING_LOG_EVENT_H

#include <cstdint>

#include "foundation/byte_string.h"

namespace ovpatch {

// One record: its text and its level. It lives for one dispatch; a listener keeps no pointer to it.
class LogEvent {
public:
    LogEvent(const char* text, std::int32_t level) : text_(text), level_(level) {}
    LogEvent(const LogEvent&) = delete;
    LogEvent& operator=(const LogEvent&) = delete;

    // The terminated text, owned by the event.
    virtual const char* text() const = 0;
    // Hands the event to the hub of its class, listener by listener.
    virtual void dispatch() = 0;
    // The number of the class.
    virtual std::int32_t kind() const = 0;
    virtual ~LogEvent() = default;

    // Higher is more important.
    std::int32_t level() const { return level_; }

protected:
    ByteString text_;
    std::int32_t level_;
};

// A record with the error flag, for errorHub.
class LogErrorEvent : public LogEvent {
public:
    using LogEvent::LogEvent;
    const char* text() const override;
    void dispatch() override;
    std::int32_t kind() const override { return 2; }
};

// A record without it, for infoHub.
class LogInfoEvent : public LogEvent {
public:
    using LogEvent::LogEvent;
    const char* text() const override;
    void dispatch() override;
    std::int32_t kind() const override { return 4; }
};

}  // namespace ovpatch

#endif
