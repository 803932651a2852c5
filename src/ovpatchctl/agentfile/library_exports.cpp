#include "ovpatchctl/agentfile/library_exports.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "ovpatchctl/agentfile/exports.h"
#include "platform/platform.h"

namespace ovpatch::ctl {

namespace {

constexpr std::size_t LARGEST = std::size_t{256} << 20;  // bytes; no agent comes near it

bool readWhole(const char* path, std::vector<std::uint8_t>* out) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(platform::fopen(path, "rb"), std::fclose);
    if (file == nullptr) return false;
    std::uint8_t block[65536];
    while (const std::size_t count = std::fread(block, 1, sizeof block, file.get())) {
        if (out->size() + count > LARGEST) return false;
        out->insert(out->end(), block, block + count);
    }
    return std::ferror(file.get()) == 0;
}

bool beginsWith(const std::vector<std::uint8_t>& bytes, const char* mark) {
    const std::size_t length = std::strlen(mark);
    return bytes.size() >= length && std::memcmp(bytes.data(), mark, length) == 0;
}

struct MachineName {
    bool isElf;
    std::uint16_t machine;
    const char* name;
};

constexpr MachineName MACHINES[] = {
    {true, 3, "x86"},         {true, 8, "MIPS"},         {true, 20, "PowerPC"},  {true, 21, "PowerPC"},
    {true, 22, "s390"},       {true, 40, "ARM"},         {true, 42, "SuperH"},   {true, 62, "x86-64"},
    {true, 183, "ARM"},       {true, 243, "RISC-V"},     {false, 0x14c, "x86"},  {false, 0x166, "MIPS"},
    {false, 0x1a2, "SuperH"}, {false, 0x1a6, "SuperH"},  {false, 0x1c0, "ARM"},  {false, 0x1c2, "ARM"},
    {false, 0x1c4, "ARM"},    {false, 0x8664, "x86-64"}, {false, 0xaa64, "ARM"},
};

}  // namespace

WantedNames::WantedNames(const NameSet& names) : names_(names) {
    for (const std::string& name : names)
        longest_ = std::max(longest_, name.size());
}

void WantedNames::meet(const ByteView& file, std::uint64_t offset) {
    const auto wanted = names_.find(file.text(offset, longest_ + 1));
    if (wanted != names_.end()) found_.insert(*wanted);
}

LibraryFile lookIntoLibrary(const char* path, const NameSet& wanted) {
    LibraryFile result;
    std::vector<std::uint8_t> bytes;
    if (!readWhole(path, &bytes)) return result;
    const bool isElf = beginsWith(bytes, "\177ELF");
    result.verdict = LibraryFile::Verdict::NO_LIBRARY;
    if (!isElf && !beginsWith(bytes, "MZ")) return result;
    WantedNames names(wanted);
    bool isLibrary = false;
    try {
        result.kind = (isElf ? readElf : readPe)(bytes.data(), bytes.size(), &isLibrary, &names);
    } catch (const DamagedFile&) {
        result.verdict = LibraryFile::Verdict::DAMAGED;
        return result;
    }
    if (!isLibrary) return result;
    const bool isOwn = result.kind == platform::ownImageKind();
    result.verdict = isOwn ? LibraryFile::Verdict::READ : LibraryFile::Verdict::OTHER_HOST;
    result.found = names.found();
    return result;
}

std::string describeKind(const platform::ImageKind& kind) {
    std::string machine = "processor " + std::to_string(kind.machine);
    for (const MachineName& known : MACHINES)
        if (known.isElf == kind.isElf && known.machine == kind.machine) machine = known.name;
    return std::string(kind.isElf ? "ELF" : "PE") + ", " + std::to_string(kind.bits) + " bits, " + machine +
           (kind.isHighFirst ? ", high byte first" : "");
}

}  // namespace ovpatch::ctl
