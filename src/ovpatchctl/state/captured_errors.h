// The first that the rooms would log as an error, for as long as an object of this kind lives.
#ifndef OVPATCH_OVPATCHCTL_STATE_CAPTURED_ERRORS_H
#define OVPATCH_OVPATCHCTL_STATE_CAPTURED_ERRORS_H

#include <string>

#include "logging/log_hub.h"

namespace ovpatch::ctl {

class CapturedErrors : public LogListener {
public:
    CapturedErrors();
    ~CapturedErrors() override;
    CapturedErrors(const CapturedErrors&) = delete;
    CapturedErrors& operator=(const CapturedErrors&) = delete;

    std::int32_t handle(LogEvent* event) override;

    // Device text, empty where there is none.
    const std::string& first() const { return first_; }

private:
    std::string first_;
};

}  // namespace ovpatch::ctl

#endif
