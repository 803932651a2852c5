#include "ovpatchctl/state/captured_errors.h"

namespace ovpatch::ctl {

CapturedErrors::CapturedErrors() {
    attachErrorListener(this);
}

CapturedErrors::~CapturedErrors() {
    detachErrorListener(this);
}

std::int32_t CapturedErrors::handle(LogEvent* event) {
    if (first_.empty()) first_ = event->text();
    return 0;
}

}  // namespace ovpatch::ctl
