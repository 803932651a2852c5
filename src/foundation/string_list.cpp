#include "foundation/string_list.h"

#include <algorithm>
#include <new>
#include <utility>

#include "foundation/out_of_memory.h"

namespace ovpatch {

PointerArray::PointerArray(std::uint32_t capacity, std::uint32_t growthStep)
    : capacity_(capacity), growthStep_(growthStep < SMALLEST_STEP ? SMALLEST_STEP : growthStep), count_(0) {}

PointerArray::~PointerArray() = default;

void PointerArray::clear(bool) {}

StringList::StringList(std::uint32_t capacity, std::uint32_t growthStep)
    : PointerArray(capacity, growthStep), strings_(nullptr) {}

StringList::~StringList() {
    StringList::clear(true);
}

StringList::StringList(StringList&& other) noexcept
    : PointerArray(other.capacity_, other.growthStep_), strings_(other.strings_) {
    count_ = other.count_;
    other.strings_ = nullptr;
    other.count_ = 0;
}

StringList& StringList::operator=(StringList&& other) noexcept {
    std::swap(capacity_, other.capacity_);
    std::swap(growthStep_, other.growthStep_);
    std::swap(count_, other.count_);
    std::swap(strings_, other.strings_);
    return *this;
}

std::uint32_t StringList::add(const ByteString& string) {
    ByteString* const copy = new (std::nothrow) ByteString(string);
    if (copy == nullptr) return 0;
    if (count_ >= capacity_ || strings_ == nullptr) grow();
    strings_[count_] = copy;
    return ++count_;
}

void StringList::clear(bool destroyItems) {
    if (strings_ != nullptr && destroyItems) {
        for (std::uint32_t i = 0; i < count_; ++i)
            delete strings_[i];
    }
    delete[] strings_;
    strings_ = nullptr;
    count_ = 0;
}

void StringList::resize(std::uint32_t newCapacity) {
    if (newCapacity < count_) return;
    const std::uint32_t slotCount = newCapacity == 0 ? 1 : newCapacity;
    ByteString** const slots = new (std::nothrow) ByteString*[slotCount]();
    if (slots == nullptr) return;
    const std::uint32_t kept = count_;
    if (strings_ != nullptr) std::copy_n(strings_, kept, slots);
    clear(false);
    strings_ = slots;
    capacity_ = newCapacity;
    count_ = kept;
}

void StringList::grow() {
    const std::uint32_t quarter = capacity_ >> 2;
    if (quarter > growthStep_) growthStep_ = quarter;
    if (growthStep_ <= UINT32_MAX - capacity_) resize(capacity_ + growthStep_);
    if (strings_ == nullptr || count_ >= capacity_) outOfMemory("a list");
}

}  // namespace ovpatch
