#include "fileops/look_failure.h"

namespace ovpatch {

namespace {

LookFailureListener currentListener = nullptr;

}  // namespace

void setLookFailureListener(LookFailureListener listener) {
    currentListener = listener;
}

void tellLookFailure(const char* path, std::uint32_t number) {
    if (currentListener != nullptr) currentListener(path, number);
}

}  // namespace ovpatch
