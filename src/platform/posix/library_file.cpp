#include "platform/posix/library_file.h"

#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

#include "platform/posix/interrupted.h"

namespace ovpatch::posix {

namespace {

constexpr unsigned char CLASS = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;

// Reads exactly `size` bytes at `offset`; false when the file does not have them.
bool readAt(int file, std::uint64_t offset, void* bytes, std::size_t size) {
    const auto at = static_cast<off_t>(offset);
    return untilDone([=] { return pread(file, bytes, size, at); }) == static_cast<ssize_t>(size);
}

bool liesWithin(std::uint64_t offset, std::uint64_t size, std::uint64_t fileSize) {
    return offset <= fileSize && size <= fileSize - offset;
}

bool partsLieWithin(int file, std::uint64_t fileSize) {
    ElfW(Ehdr) head;
    if (!readAt(file, 0, &head, sizeof head)) return false;
    if (std::memcmp(head.e_ident, ELFMAG, SELFMAG) != 0 || head.e_ident[EI_CLASS] != CLASS) return false;
    if (head.e_phentsize != sizeof(ElfW(Phdr))) return false;
    bool hasDynamicPart = false;
    for (unsigned i = 0; i < head.e_phnum; ++i) {
        ElfW(Phdr) part;
        const std::uint64_t offset = std::uint64_t{head.e_phoff} + i * sizeof part;
        if (offset < head.e_phoff || !liesWithin(offset, sizeof part, fileSize)) return false;
        if (!readAt(file, offset, &part, sizeof part)) return false;
        if (part.p_type == PT_DYNAMIC) hasDynamicPart = true;
        const bool isUsed = part.p_type == PT_LOAD || part.p_type == PT_DYNAMIC;
        if (isUsed && !liesWithin(part.p_offset, part.p_filesz, fileSize)) return false;
    }
    return hasDynamicPart;
}

}  // namespace

bool isWholeLibrary(const char* hostPath) {
    struct stat status;
    // Opening alone can set a device in motion.
    if (stat(hostPath, &status) != 0 || !S_ISREG(status.st_mode)) return false;
    constexpr int FLAGS = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
    const int file = untilDone([hostPath] { return open(hostPath, FLAGS); });
    if (file < 0) return false;
    const bool isWhole = fstat(file, &status) == 0 && S_ISREG(status.st_mode) &&
                         partsLieWithin(file, static_cast<std::uint64_t>(status.st_size));
    close(file);
    return isWhole;
}

}  // namespace ovpatch::posix
