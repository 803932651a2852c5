#include <algorithm>
#include <vector>

#include "ovpatchctl/agentfile/exports.h"

namespace ovpatch::ctl {

namespace {

// Numbers of the format. They are our own, as a host need not have them.
constexpr std::uint64_t IDENT_SIZE = 16;
constexpr std::uint8_t CLASS_32 = 1;
constexpr std::uint8_t CLASS_64 = 2;
constexpr std::uint8_t DATA_LOW_FIRST = 1;
constexpr std::uint8_t DATA_HIGH_FIRST = 2;
constexpr std::uint16_t TYPE_SHARED = 3;
constexpr std::uint16_t MACHINE_S390 = 22;
constexpr std::uint32_t PART_LOAD = 1;
constexpr std::uint32_t PART_DYNAMIC = 2;
constexpr std::uint64_t TAG_END = 0;
constexpr std::uint64_t TAG_HASH = 4;
constexpr std::uint64_t TAG_TEXTS = 5;
constexpr std::uint64_t TAG_SYMBOLS = 6;
constexpr std::uint64_t TAG_TEXTS_SIZE = 10;
constexpr std::uint64_t TAG_GNU_HASH = 0x6ffffef5;
constexpr std::uint64_t TAG_FLAGS_1 = 0x6ffffffb;
constexpr std::uint64_t FLAG_PROGRAM = 0x08000000;  // one that is loaded anywhere, and no library

struct Part {
    std::uint32_t type;
    std::uint64_t offset;
    std::uint64_t address;
    std::uint64_t size;  // in the file
};

// What the dynamic part points to; 0 where it has none.
struct Dynamic {
    std::uint64_t hash = 0;
    std::uint64_t gnuHash = 0;
    std::uint64_t texts = 0;
    std::uint64_t textsSize = 0;
    std::uint64_t symbols = 0;
    std::uint64_t flags = 0;
};

class ElfFile {
public:
    ElfFile(const ByteView& file, bool is64) : file_(file), is64_(is64), word_(is64 ? 8 : 4) {}

    std::uint16_t type() const { return file_.half(IDENT_SIZE); }
    std::uint16_t machine() const { return file_.half(IDENT_SIZE + 2); }

    // Throws where a part that is loaded lies outside of the file.
    void readParts();
    bool hasDynamic() const { return dynamicPart_ != nullptr; }
    void readDynamic();
    bool isProgram() const { return (dynamic_.flags & FLAG_PROGRAM) != 0; }
    void meetSymbols(WantedNames* names) const;

private:
    std::uint64_t offsetOf(std::uint64_t address) const;
    std::uint64_t symbolCount() const;
    std::uint64_t gnuSymbolCount() const;
    bool isExported(std::uint64_t symbol) const;

    const ByteView& file_;
    bool is64_;
    unsigned word_;  // bytes of an address
    std::vector<Part> parts_;
    const Part* dynamicPart_ = nullptr;
    Dynamic dynamic_;
};

void ElfFile::readParts() {
    const std::uint64_t begin = file_.number(is64_ ? 32 : 28, word_);
    const std::uint64_t size = file_.half(is64_ ? 54 : 42);
    const std::uint64_t count = file_.half(is64_ ? 56 : 44);
    if (size != (is64_ ? 56u : 32u)) throw DamagedFile();
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::uint64_t at = begin + i * size;
        if (at < begin || !file_.holds(at, size)) throw DamagedFile();
        const Part part = {file_.word(at), file_.number(at + (is64_ ? 8 : 4), word_),
                           file_.number(at + (is64_ ? 16 : 8), word_),
                           file_.number(at + (is64_ ? 32 : 16), word_)};
        if (part.type != PART_LOAD && part.type != PART_DYNAMIC) continue;
        if (!file_.holds(part.offset, part.size)) throw DamagedFile();
        parts_.push_back(part);
    }
    for (const Part& part : parts_)
        if (part.type == PART_DYNAMIC) dynamicPart_ = &part;
}

void ElfFile::readDynamic() {
    const std::uint64_t end = dynamicPart_->offset + dynamicPart_->size;
    const std::uint64_t size = std::uint64_t{word_} * 2;
    for (std::uint64_t at = dynamicPart_->offset; at + size <= end; at += size) {
        const std::uint64_t tag = file_.number(at, word_);
        const std::uint64_t value = file_.number(at + word_, word_);
        if (tag == TAG_END) break;
        if (tag == TAG_HASH) dynamic_.hash = value;
        if (tag == TAG_GNU_HASH) dynamic_.gnuHash = value;
        if (tag == TAG_TEXTS) dynamic_.texts = value;
        if (tag == TAG_TEXTS_SIZE) dynamic_.textsSize = value;
        if (tag == TAG_SYMBOLS) dynamic_.symbols = value;
        if (tag == TAG_FLAGS_1) dynamic_.flags = value;
    }
}

std::uint64_t ElfFile::offsetOf(std::uint64_t address) const {
    for (const Part& part : parts_) {
        if (part.type == PART_LOAD && address >= part.address && address - part.address < part.size)
            return part.offset + (address - part.address);
    }
    throw DamagedFile();
}

// The last chain of the table ends at the last symbol.
std::uint64_t ElfFile::gnuSymbolCount() const {
    const std::uint64_t table = offsetOf(dynamic_.gnuHash);
    const std::uint64_t buckets = file_.word(table);
    const std::uint64_t first = file_.word(table + 4);
    const std::uint64_t bucketsAt = table + 16 + std::uint64_t{file_.word(table + 8)} * word_;
    std::uint64_t last = 0;
    for (std::uint64_t i = 0; i < buckets; ++i)
        last = std::max<std::uint64_t>(last, file_.word(bucketsAt + 4 * i));
    if (last < first) return first;
    const std::uint64_t chains = bucketsAt + 4 * buckets;
    while ((file_.word(chains + 4 * (last - first)) & 1) == 0)
        ++last;
    return last + 1;
}

// No other table tells it.
std::uint64_t ElfFile::symbolCount() const {
    if (dynamic_.hash != 0) {
        const unsigned width = is64_ && machine() == MACHINE_S390 ? 8 : 4;
        return file_.number(offsetOf(dynamic_.hash) + width, width);
    }
    return dynamic_.gnuHash != 0 ? gnuSymbolCount() : 0;
}

// Defined, seen by others, and not hidden from them.
bool ElfFile::isExported(std::uint64_t symbol) const {
    constexpr unsigned LOCAL = 0;
    constexpr unsigned INTERNAL = 1;
    constexpr unsigned HIDDEN = 2;
    const unsigned binding = file_.byte(symbol + (is64_ ? 4 : 12)) >> 4;
    const unsigned visibility = file_.byte(symbol + (is64_ ? 5 : 13)) & 3;
    const std::uint16_t section = file_.half(symbol + (is64_ ? 6 : 14));
    const std::uint64_t value = file_.number(symbol + (is64_ ? 8 : 4), word_);
    return binding != LOCAL && visibility != INTERNAL && visibility != HIDDEN && section != 0 && value != 0;
}

void ElfFile::meetSymbols(WantedNames* names) const {
    const std::uint64_t count = symbolCount();
    if (count == 0) return;
    const std::uint64_t symbols = offsetOf(dynamic_.symbols);
    const std::uint64_t texts = offsetOf(dynamic_.texts);
    const std::uint64_t size = is64_ ? 24 : 16;
    for (std::uint64_t i = 1; i < count; ++i) {
        const std::uint64_t symbol = symbols + i * size;
        const std::uint64_t name = file_.word(symbol);
        if (name >= dynamic_.textsSize) throw DamagedFile();
        if (isExported(symbol)) names->meet(file_, texts + name);
    }
}

}  // namespace

platform::ImageKind readElf(const std::uint8_t* bytes, std::uint64_t size, bool* isLibrary,
                            WantedNames* names) {
    const ByteView ident(bytes, size, false);
    const std::uint8_t bits = ident.byte(4);
    const std::uint8_t order = ident.byte(5);
    if ((bits != CLASS_32 && bits != CLASS_64) || (order != DATA_LOW_FIRST && order != DATA_HIGH_FIRST))
        throw DamagedFile();
    const ByteView file(bytes, size, order == DATA_HIGH_FIRST);
    ElfFile elf(file, bits == CLASS_64);
    const platform::ImageKind kind = {true, bits == CLASS_64 ? 64u : 32u, order == DATA_HIGH_FIRST,
                                      elf.machine()};
    elf.readParts();
    *isLibrary = elf.type() == TYPE_SHARED && elf.hasDynamic();
    if (!*isLibrary) return kind;
    elf.readDynamic();
    *isLibrary = !elf.isProgram();
    elf.meetSymbols(names);
    return kind;
}

}  // namespace ovpatch::ctl
