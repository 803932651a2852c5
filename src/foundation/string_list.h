// Growable lists of owned strings.
#ifndef OVPATCH_FOUNDATION_STRING_LIST_H
#define OVPATCH_FOUNDATION_STRING_LIST_H

#include <cstdint>

#include "foundation/byte_string.h"

namespace ovpatch {

// The bookkeeping of a growable array of pointers. All numbers count slots.
class PointerArray {
public:
    // Allocates nothing. A `growthStep` below SMALLEST_STEP is raised to it.
    PointerArray(std::uint32_t capacity, std::uint32_t growthStep);
    virtual ~PointerArray();
    PointerArray(const PointerArray&) = delete;
    PointerArray& operator=(const PointerArray&) = delete;

    // Empties the array, with `destroyItems` also what the slots point to. Does nothing here.
    virtual void clear(bool destroyItems);
    // Moves the array to one of `newCapacity` slots.
    virtual void resize(std::uint32_t newCapacity) = 0;

    // Slots of the array; before the first growth, and after clear, what the next growth starts from.
    std::uint32_t capacity() const { return capacity_; }

protected:
    static constexpr std::uint32_t SMALLEST_STEP = 4;

    std::uint32_t capacity_;
    std::uint32_t growthStep_;
    std::uint32_t count_;
};

// A list that owns its array and every string in it.
class StringList : public PointerArray {
public:
    // What every list of the system is made with.
    static constexpr std::uint32_t USUAL_CAPACITY = 16;
    static constexpr std::uint32_t USUAL_STEP = 4;

    explicit StringList(std::uint32_t capacity = USUAL_CAPACITY, std::uint32_t growthStep = USUAL_STEP);
    ~StringList() override;
    // Takes the strings over; `other` keeps capacity and step and becomes empty.
    StringList(StringList&& other) noexcept;
    // Exchanges the two lists.
    StringList& operator=(StringList&& other) noexcept;

    // Stores a copy at the end. Answers the new count, or 0 when there is no memory for the copy: the list is
    // then unchanged. A list that holds its strings but cannot get a larger array ends the process (see
    // outOfMemory), so that no caller works with a list that lacks an entry.
    std::uint32_t add(const ByteString& string);
    std::uint32_t stringCount() const { return count_; }
    // The string in slot `index`, which must be below the count. The list keeps it; it stays where it is
    // until the list is cleared.
    ByteString* stringAt(std::uint32_t index) { return strings_[index]; }
    const ByteString* stringAt(std::uint32_t index) const { return strings_[index]; }

    // Frees the array and sets the count to 0; capacity and growth step stay. With `destroyItems` false the
    // strings live on and belong to whoever holds their pointers.
    void clear(bool destroyItems) override;
    // Moves the strings to an array of `newCapacity` slots, which becomes the capacity. When there is no
    // memory, or the strings would not fit, nothing changes.
    void resize(std::uint32_t newCapacity) override;

private:
    void grow();

    ByteString** strings_;  // null until the first growth
};

}  // namespace ovpatch

#endif
