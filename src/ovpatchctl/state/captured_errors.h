// What the rooms would log as errors, for as long as an object of this kind lives.
#ifndef OVPATCH_OVPATCHCTL_STATE_CAPTURED_ERRORS_H
#define OVPATCH_OVPATCHCTL_STATE_CAPTURED_ERRORS_H

#include <string>
#include <vector>

#include "logging/log_hub.h"

namespace ovpatch::ctl {

class CapturedErrors : public LogListener {
public:
    CapturedErrors();
    ~CapturedErrors() override;
    CapturedErrors(const CapturedErrors&) = delete;
    CapturedErrors& operator=(const CapturedErrors&) = delete;

    std::int32_t handle(LogEvent* event) override;

    // In the order in which they were told; device text.
    const std::vector<std::string>& messages() const { return messages_; }
    // The first of them, or an empty text.
    std::string first() const { return messages_.empty() ? "" : messages_.front(); }

private:
    std::vector<std::string> messages_;
};

}  // namespace ovpatch::ctl

#endif
