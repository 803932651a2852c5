#include <vector>

#include "ovpatchctl/agentfile/exports.h"

namespace ovpatch::ctl {

namespace {

// Numbers of the format. They are our own, as a host need not have them.
constexpr std::uint32_t SIGNATURE = 0x00004550;  // "PE" and two zero bytes
constexpr std::uint64_t HEAD_SIZE = 20;
constexpr std::uint16_t IS_LIBRARY = 0x2000;
constexpr std::uint16_t MAGIC_32 = 0x10b;
constexpr std::uint16_t MAGIC_64 = 0x20b;
constexpr std::uint64_t SECTION_SIZE = 40;
constexpr std::uint16_t MOST_SECTIONS = 96;

struct Section {
    std::uint64_t address;
    std::uint64_t offset;
    std::uint64_t size;  // in the file
};

class PeFile {
public:
    explicit PeFile(const ByteView& file) : file_(file), head_(std::uint64_t{file.word(0x3c)} + 4) {
        if (file.word(head_ - 4) != SIGNATURE) throw DamagedFile();
    }

    std::uint16_t machine() const { return file_.half(head_); }
    bool isLibrary() const { return (file_.half(head_ + 18) & IS_LIBRARY) != 0; }
    unsigned bits() const { return is64() ? 64 : 32; }

    // Throws where a section lies outside of the file.
    void readSections();
    void meetExports(WantedNames* names) const;

private:
    bool is64() const;
    std::uint64_t options() const { return head_ + HEAD_SIZE; }
    std::uint64_t offsetOf(std::uint64_t address) const;

    const ByteView& file_;
    std::uint64_t head_;
    std::vector<Section> sections_;
};

bool PeFile::is64() const {
    const std::uint16_t magic = file_.half(options());
    if (magic != MAGIC_32 && magic != MAGIC_64) throw DamagedFile();
    return magic == MAGIC_64;
}

void PeFile::readSections() {
    const std::uint16_t count = file_.half(head_ + 2);
    if (count > MOST_SECTIONS) throw DamagedFile();
    std::uint64_t at = options() + file_.half(head_ + 16);
    for (std::uint16_t i = 0; i < count; ++i, at += SECTION_SIZE) {
        const Section section = {file_.word(at + 12), file_.word(at + 20), file_.word(at + 16)};
        if (section.size != 0 && !file_.holds(section.offset, section.size)) throw DamagedFile();
        sections_.push_back(section);
    }
}

std::uint64_t PeFile::offsetOf(std::uint64_t address) const {
    for (const Section& section : sections_) {
        if (address >= section.address && address - section.address < section.size)
            return section.offset + (address - section.address);
    }
    throw DamagedFile();
}

void PeFile::meetExports(WantedNames* names) const {
    const std::uint64_t tables = options() + (is64() ? 112 : 96);
    if (file_.word(tables - 4) == 0) return;
    const std::uint32_t address = file_.word(tables);
    if (address == 0) return;
    const std::uint64_t directory = offsetOf(address);
    const std::uint64_t functions = file_.word(directory + 20);
    const std::uint64_t count = file_.word(directory + 24);
    if (count == 0) return;
    const std::uint64_t functionAt = offsetOf(file_.word(directory + 28));
    const std::uint64_t nameAt = offsetOf(file_.word(directory + 32));
    const std::uint64_t numberAt = offsetOf(file_.word(directory + 36));
    for (std::uint64_t i = 0; i < count; ++i) {
        const std::uint64_t number = file_.half(numberAt + 2 * i);
        if (number >= functions) throw DamagedFile();
        const std::uint64_t name = offsetOf(file_.word(nameAt + 4 * i));
        if (file_.word(functionAt + 4 * number) != 0) names->meet(file_, name);
    }
}

}  // namespace

platform::ImageKind readPe(const std::uint8_t* bytes, std::uint64_t size, bool* isLibrary,
                           WantedNames* names) {
    const ByteView file(bytes, size, false);
    PeFile pe(file);
    const platform::ImageKind kind = {false, pe.bits(), false, pe.machine()};
    pe.readSections();
    *isLibrary = pe.isLibrary();
    if (*isLibrary) pe.meetExports(names);
    return kind;
}

}  // namespace ovpatch::ctl
