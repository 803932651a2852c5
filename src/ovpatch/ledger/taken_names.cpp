#include "ovpatch/ledger/taken_names.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "fileops/dir_listing.h"
#include "fileops/paths.h"

namespace ovpatch {

namespace {

constexpr std::uint32_t WORD_BITS = 64;
constexpr std::uint32_t WORDS = TakenNames::COUNT / WORD_BITS;
constexpr char STEM[] = "backup.";
constexpr std::size_t STEM_LENGTH = sizeof STEM - 1;
static_assert(TakenNames::COUNT % WORD_BITS == 0, "the last word must be full");

// The number of exactly `backup.xyz` in the spelling that is written, or COUNT.
std::uint32_t numberOf(const char* name) {
    if (std::strncmp(name, STEM, STEM_LENGTH) != 0 || std::strlen(name) != STEM_LENGTH + 3) {
        return TakenNames::COUNT;
    }
    for (const char* digit = name + STEM_LENGTH; *digit != '\0'; ++digit) {
        const bool known = (*digit >= '0' && *digit <= '9') || (*digit >= 'a' && *digit <= 'z');
        if (!known) return TakenNames::COUNT;
    }
    return static_cast<std::uint32_t>(std::strtoul(name + STEM_LENGTH, nullptr, 36));
}

std::uint32_t lowestZeroBit(std::uint64_t word) {
    std::uint32_t bit = 0;
    while ((word & 1u) != 0) {
        word >>= 1;
        ++bit;
    }
    return bit;
}

}  // namespace

bool TakenNames::enter(const char* directory) {
    if (entered_ && directory_.compare(directory) == 0) return false;
    forget();
    directory_.assign(directory);
    entered_ = true;
    DirListing listing(directory);
    while (listing.hasNext()) {
        take(baseName(listing.nextPath().cStr()).cStr());
    }
    return true;
}

void TakenNames::forget() {
    entered_ = false;
    std::fill_n(bits_, WORDS, 0);
}

std::uint32_t TakenNames::lowestFree() const {
    for (std::uint32_t i = 0; i < WORDS; ++i) {
        if (bits_[i] != ~std::uint64_t{0}) return i * WORD_BITS + lowestZeroBit(bits_[i]);
    }
    return COUNT;
}

void TakenNames::take(std::uint32_t number) {
    bits_[number / WORD_BITS] |= std::uint64_t{1} << number % WORD_BITS;
}

void TakenNames::take(const char* name) {
    const std::uint32_t number = numberOf(name);
    if (number < COUNT) take(number);
}

void TakenNames::release(const char* name) {
    const std::uint32_t number = numberOf(name);
    if (number < COUNT) bits_[number / WORD_BITS] &= ~(std::uint64_t{1} << number % WORD_BITS);
}

bool TakenNames::isTaken(const char* name) const {
    const std::uint32_t number = numberOf(name);
    return number < COUNT && (bits_[number / WORD_BITS] >> number % WORD_BITS & 1u) != 0;
}

}  // namespace ovpatch
