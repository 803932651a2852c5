#include "ovpatch/journal/keeper.h"

#include <cstring>

#include "fileops/paths.h"
#include "fileops/wide_path.h"
#include "foundation/bounded.h"

namespace ovpatch {

namespace {

constexpr char STEM[] = "ovk";
constexpr char SUFFIX[] = ".tmp";
constexpr unsigned MOST_KEEPERS = 1000;

}  // namespace

platform::FileState stateOfFile(const char* path) {
    const WidePath wide(path);
    platform::FileState state;
    state.exists = true;
    if (wide.fits()) state = platform::stateOf(wide.text());
    // What failed in passing is there at the second look.
    return state.isUnknown ? platform::stateOf(wide.text()) : state;
}

bool keeperName(const char* file, char* out, std::size_t size) {
    const ByteString directory = directoryPart(file);
    for (unsigned number = 0; number < MOST_KEEPERS; ++number) {
        if (boundedSnprintf(out, size, "%s%s%u%s", directory.cStr(), STEM, number, SUFFIX) == 0) return false;
        if (!stateOfFile(out).exists) return true;
    }
    return false;
}

bool isKeeperName(const char* path) {
    // Most are told by their end.
    const std::size_t length = std::strlen(path);
    if (length < sizeof SUFFIX || std::strcmp(path + length - (sizeof SUFFIX - 1), SUFFIX) != 0) return false;
    const ByteString name = baseName(path);
    if (std::strncmp(name.cStr(), STEM, sizeof STEM - 1) != 0) return false;
    const char* number = name.cStr() + sizeof STEM - 1;
    const std::size_t digits = std::strspn(number, "0123456789");
    return digits > 0 && std::strcmp(number + digits, SUFFIX) == 0;
}

}  // namespace ovpatch
