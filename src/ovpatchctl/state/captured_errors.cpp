#include "ovpatchctl/state/captured_errors.h"

#include "fileops/look_failure.h"
#include "ovpatch/log_lines.h"

namespace ovpatch::ctl {

namespace {

// As the program itself tells it.
void tellLookFailure(const char* path, std::uint32_t number) {
    UPDATER_ERROR(9, "OvPatch: %s cannot be read, error %u.", path, number);
}

}  // namespace

CapturedErrors::CapturedErrors() {
    attachErrorListener(this);
    setLookFailureListener(tellLookFailure);
}

CapturedErrors::~CapturedErrors() {
    setLookFailureListener(nullptr);
    detachErrorListener(this);
}

std::int32_t CapturedErrors::handle(LogEvent* event) {
    messages_.emplace_back(event->text());
    return 0;
}

}  // namespace ovpatch::ctl
