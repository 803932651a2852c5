#include "logging/log_event.h"

#include "logging/log_hub.h"

namespace ovpatch {

namespace {

void handToAll(const LogHub& hub, LogEvent* event) {
    for (LogHub::Iterator at = hub.begin(); at != hub.end();) {
        LogListener* const listener = *at;
        // Before the call, in which a listener may detach itself.
        ++at;
        listener->handle(event);
    }
}

}  // namespace

const char* LogErrorEvent::text() const {
    return text_.cStr();
}

void LogErrorEvent::dispatch() {
    handToAll(errorHub, this);
}

const char* LogInfoEvent::text() const {
    return text_.cStr();
}

void LogInfoEvent::dispatch() {
    handToAll(infoHub, this);
}

}  // namespace ovpatch
