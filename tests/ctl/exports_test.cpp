// Libraries that are put together here, for hosts of either width and byte order.
#include <gtest/gtest.h>

#include <sstream>

#include "ovpatchctl/agentfile/exports.h"
#include "ovpatchctl/agentfile/library_exports.h"

namespace ovpatch::ctl {

namespace {

const NameSet WANTED = {"absent", "empty", "guarded", "hidden", "internal", "local", "plain", "weak"};

struct Image {
    std::string bytes;
    bool isHighFirst = false;

    void text(std::size_t offset, const std::string& text) {
        bytes.resize(std::max(bytes.size(), offset + text.size() + 1));
        bytes.replace(offset, text.size(), text);
    }
    void put(std::size_t offset, unsigned width, std::initializer_list<std::uint64_t> values) {
        for (const std::uint64_t value : values) {
            bytes.resize(std::max(bytes.size(), offset + width));
            for (unsigned i = 0; i < width; ++i)
                bytes[offset + (isHighFirst ? width - 1 - i : i)] = static_cast<char>(value >> 8 * i);
            offset += width;
        }
    }

    // Rows, parted by ";", of an offset, a width and values; all hexadecimal.
    void lay(const std::string& rows) {
        std::istringstream in(rows);
        for (std::string row; std::getline(in, row, ';');) {
            std::istringstream numbers(row);
            std::size_t offset = 0, width = 0, value = 0;
            for (numbers >> std::hex >> offset >> width; numbers >> value; offset += width)
                put(offset, static_cast<unsigned>(width), {value});
        }
    }

    // What it is, and what it exports of what is wanted.
    std::string told() const {
        WantedNames names(WANTED);
        bool isLibrary = true;
        try {
            const auto* data = reinterpret_cast<const std::uint8_t*>(bytes.data());
            const auto kind = (bytes[0] == 'M' ? readPe : readElf)(data, bytes.size(), &isLibrary, &names);
            std::string out = describeKind(kind) + ":";
            for (const std::string& name : names.found())
                out += " " + name;
            return isLibrary ? out : "program";
        } catch (const DamagedFile&) {
            return "damaged";
        }
    }

    // Rows, parted by ";", of offset, width and value that are put in, and what the file then is. Cut short
    // anywhere it is damaged.
    void expect(const std::string& rows) const {
        std::istringstream in(rows);
        std::size_t offset = 0, value = 0;
        unsigned width = 0;
        for (std::string row;
             in >> std::hex >> offset >> width >> value && std::getline(in >> std::ws, row, ';');) {
            Image changed = *this;
            changed.put(offset, width, {value});
            EXPECT_EQ(changed.told(), row) << std::hex << offset;
        }
        for (Image cut = {bytes.substr(0, bytes.size() - 1)}; !cut.bytes.empty(); cut.bytes.pop_back())
            ASSERT_EQ(cut.told(), "damaged") << cut.bytes.size();
    }
};

// Addresses are 0x1000 more than offsets.
Image elf(unsigned bits, bool isHighFirst, bool isGnu, std::uint16_t machine) {
    const bool is64 = bits == 64;
    const unsigned word = bits / 8, partSize = is64 ? 56 : 32;
    Image image = {"\177ELF", isHighFirst};
    image.put(4, 1, {word / 4, isHighFirst + 1u});
    image.put(16, 2, {3, machine});
    image.put(is64 ? 32 : 28, word, {0x40});
    image.put(is64 ? 54 : 42, 2, {partSize, 3});
    std::size_t at = 0x40, name = 0x301;
    for (const auto& [type, offset, size] :
         {std::tuple(6u, 1u << 20, 9u), {1u, 0u, 0x600u}, {2u, 0x100u, 0xc0u}}) {
        image.put(at, 4, {type});
        image.put(at + (is64 ? 8 : 4), word, {offset, offset + 0x1000});
        image.put(at + (is64 ? 32 : 16), word, {size});
        at += partSize;
    }
    image.put(0x100, word,
              {isGnu ? 0x6ffffef5u : 4u, 0x1400, 5, 0x1300, 6, 0x1200, 10, 0x80, 0x6ffffffb, 1, 0, 0, 5});
    at = 0x200;
    std::istringstream symbols(
        "internals 1 0 1 1 local 0 0 1 1 plain 1 0 1 1 internal 1 1 1 1 hidden 1 2 1 1"
        " absent 1 0 0 1 empty 1 0 1 0 guarded 1 3 1 1 weak 2 0 1 1");
    unsigned binding = 0, visibility = 0, section = 0, value = 0;
    for (std::string text; symbols >> text >> binding >> visibility >> section >> value;) {
        at += is64 ? 24 : 16;
        image.put(at, 4, {name - 0x300});
        image.put(at + (is64 ? 8 : 4), word, {value});
        image.put(at + (is64 ? 4 : 12), 1, {binding << 4 | 1, visibility});
        image.put(at + (is64 ? 6 : 14), 2, {section});
        image.text(name, text);
        name += text.size() + 1;
    }
    // Two buckets of the symbols from the third on, behind a filter of one word; or a plain table.
    if (isGnu) image.put(0x400, 4, {2, 3, 1, 0});
    if (isGnu) image.put(0x410 + word, 4, {7, 3, 2, 2, 2, 3, 2, 2, 3});
    if (!isGnu) image.put(0x400, machine == 22 && is64 ? 8 : 4, {1, 10});
    image.put(0x5ff, 1, {0});
    return image;
}

TEST(Exports, OfElf) {
    for (const bool isGnu : {false, true}) {
        elf(64, false, isGnu, 62).expect("0 1 7f ELF, 64 bits, x86-64: guarded plain weak");
        elf(32, false, isGnu, isGnu ? 40 : 183).expect("0 1 7f ELF, 32 bits, ARM: guarded plain weak");
        elf(32, true, isGnu, 8).expect("0 1 7f ELF, 32 bits, MIPS, high byte first: guarded plain weak");
        elf(64, true, isGnu, 22).expect("0 1 7f ELF, 64 bits, s390, high byte first: guarded plain weak");
    }
    elf(64, false, true, 243)
        .expect(
            "0 1 7f ELF, 64 bits, RISC-V: guarded plain weak; 4 1 3 damaged; 4 1 0 damaged; 5 1 0 damaged; 5 "
            "1 3 damaged; 10 1 2 program; 12 2 3 ELF, 64 bits, x86: guarded plain weak; 12 2 14 ELF, 64 "
            "bits, PowerPC: guarded plain weak; 12 2 15 ELF, 64 bits, PowerPC: guarded plain weak; 12 2 2a "
            "ELF, 64 bits, SuperH: guarded plain weak; 12 2 3e7 ELF, 64 bits, processor 999: guarded plain "
            "weak; 20 4 fffff000 damaged; 36 2 37 damaged; 38 2 2 program; 98 4 400 damaged; d0 4 30 "
            "damaged; d0 4 40 ELF, 64 bits, RISC-V: guarded plain weak; d0 4 600 damaged; 100 4 9 ELF, 64 "
            "bits, RISC-V:; 108 4 1600 damaged; 108 4 fff damaged; 148 4 8000001 program; 218 4 80 damaged; "
            "404 4 7 ELF, 64 bits, RISC-V: guarded plain weak; 404 4 8 ELF, 64 bits, RISC-V: plain; 418 8 0 "
            "ELF, 64 bits, RISC-V:");
}

// Addresses of the second section are 0x3000 more than offsets; `head` is what depends on the width.
Image pe(const std::string& head) {
    Image image = {"MZ"};
    std::size_t at = 0x470;
    for (const char* name : {"plain", "empty", "weak", "internals"})
        image.text(at += 0x10, name);
    image.lay(head +
              "3c 4 80; 80 4 4550; 424 4 3 4 3440 3450 3460; 440 4 1 0 1; 450 4 3480 3490 34a0 34b0;"
              "460 2 2 1 0 0; 5ff 1 0");
    return image;
}

TEST(Exports, OfPe) {
    pe("84 2 14c 2; 94 2 e0 2000 10b; f4 4 10 3410; 184 4 1000 100 300; 1ac 4 3400 200 400;")
        .expect("0 1 4d PE, 32 bits, x86: plain weak");
    pe("84 2 8664 2; 94 2 f0 2000 20b; 104 4 10 3410; 194 4 1000 100 300; 1bc 4 3400 200 400;")
        .expect(
            "0 1 4d PE, 64 bits, x86-64: plain weak; 83 1 1 damaged; 84 2 166 PE, 64 bits, MIPS: plain weak; "
            "84 2 1a2 PE, 64 bits, SuperH: plain weak; 84 2 1a6 PE, 64 bits, SuperH: plain weak; 84 2 1c0 "
            "PE, 64 bits, ARM: plain weak; 84 2 1c4 PE, 64 bits, ARM: plain weak; 84 2 aa64 PE, 64 bits, "
            "ARM: plain weak; 86 2 61 damaged; 97 1 0 program; 98 2 10c damaged; 104 4 0 PE, 64 bits, "
            "x86-64:; 108 4 0 PE, 64 bits, x86-64:; 108 4 3600 damaged; 108 4 1100 damaged; 108 4 fff "
            "damaged; 424 4 2 damaged; 428 8 0 PE, 64 bits, x86-64:; 428 4 1 PE, 64 bits, x86-64: plain");
}

}  // namespace

}  // namespace ovpatch::ctl
