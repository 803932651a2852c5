// What is known of the backup names that are taken in one directory, so that the search for the lowest free
// one need not try them all again for each file.
//
// It is a help to the search and never its judge: a name believed free is still created exclusively. A name
// believed taken is passed over, so whoever frees one reports it with `release`; where one is freed
// unreported, the next file gets another free name.
#ifndef OVPATCH_OVPATCH_LEDGER_TAKEN_NAMES_H
#define OVPATCH_OVPATCH_LEDGER_TAKEN_NAMES_H

#include <cstdint>

#include "foundation/byte_string.h"

namespace ovpatch {

class TakenNames {
public:
    static constexpr std::uint32_t COUNT = 46656;

    // Learns which names stand in `directory` now, by listing it once, and answers true; nothing happens when
    // it is the directory that was entered last. A directory that cannot be read shows none of its names.
    bool enter(const char* directory);

    // Forgets the directory, so that the next `enter` lists it.
    void forget();

    // The lowest number that is not taken, or COUNT.
    std::uint32_t lowestFree() const;

    // `number` is below COUNT.
    void take(std::uint32_t number);

    // Take and free the number of `name`, a bare file name; a name that is none of ours is ignored.
    void take(const char* name);
    void release(const char* name);

    // Whether `name`, a bare file name, is one of ours and taken.
    bool isTaken(const char* name) const;

private:
    ByteString directory_;
    bool entered_ = false;
    std::uint64_t bits_[COUNT / 64] = {};
};

}  // namespace ovpatch

#endif
