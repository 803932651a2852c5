#include "foundation/file_stream.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "tests/foundation/temp_file.h"

namespace ovpatch {
namespace {

struct Opened {
    bool isOpen;
    int firstByte;        // what reading yields
    std::string content;  // of the file, after a write and the close
};

// Opens a file that holds "old" in `mode`, reads a byte and, with a second stream of that mode, writes "N".
Opened opened(std::uint32_t mode) {
    const TempFile file("old");
    Opened seen;
    {
        InputFileStream reader(file.path(), mode);
        seen.isOpen = !reader.isFail();
        seen.firstByte = reader.get();
    }
    {
        file.write("old");
        OutputFileStream writer(file.path(), mode);
        writer << "N";
    }
    seen.content = file.content();
    return seen;
}

TEST(FileStream, OpensByItsTableOfModes) {
    const struct {
        std::set<std::uint32_t> modes;
        int firstByte;
        const char* content;
    } kinds[] = {
        {{0x01, 0x21}, 'o', "old"},           // read
        {{0x02, 0x12, 0x22, 0x32}, -1, "N"},  // write from the start
        {{0x0A, 0x2A}, -1, "oldN"},           // append
        {{0x03, 0x23}, 'o', "Nld"},           // update
        {{0x13, 0x33}, -1, "N"},              // update an emptied file
        {{0x0B, 0x2B}, 'o', "oldN"},          // read and append
    };
    for (std::uint32_t mode = 0; mode < 0x80; ++mode) {
        if ((mode & MODE_ATE) != 0) continue;
        bool isKnown = false;
        const Opened seen = opened(mode);
        for (const auto& kind : kinds) {
            if (kind.modes.count(mode) == 0) continue;
            isKnown = true;
            EXPECT_EQ(seen.firstByte, kind.firstByte) << mode;
            EXPECT_EQ(seen.content, kind.content) << mode;
        }
        EXPECT_EQ(seen.isOpen, isKnown) << mode;
    }
    EXPECT_FALSE(opened(MODE_ATE).isOpen);
    EXPECT_EQ(opened(MODE_IN | MODE_ATE | MODE_BINARY).firstByte, -1);
    EXPECT_TRUE(opened(MODE_IN | MODE_ATE | MODE_BINARY).isOpen);
}

TEST(FileStream, TellsTheEndOfTheFile) {
    const TempFile file("\xFF");
    InputFileStream stream(file.path(), MODE_IN | MODE_BINARY);
    EXPECT_EQ(stream.get(), 0xFF);
    EXPECT_FALSE(stream.isEof());
    EXPECT_EQ(stream.get(), -1);
    EXPECT_TRUE(stream.isEof());
    EXPECT_FALSE(stream.isFail() || stream.isBad());
    stream.close();
    EXPECT_EQ(stream.get(), -1);
    EXPECT_TRUE(stream.isBad());
    stream.open(file.path(), MODE_IN);
    EXPECT_FALSE(stream.isEof() || stream.isBad());
    EXPECT_EQ(stream.get(), 0xFF);
}

TEST(FileStream, KeepsTheMarkOfAFailedOpen) {
    const TempFile missing;
    InputFileStream reader(missing.path(), MODE_IN | MODE_BINARY);
    EXPECT_TRUE(reader.isFail());
    EXPECT_FALSE(reader.isBad());
    EXPECT_EQ(reader.get(), -1);
    EXPECT_TRUE(reader.isFail() && reader.isBad());

    OutputFileStream writer(missing.path(), 0);
    writer << "" << static_cast<const char*>(nullptr) << ByteString();
    EXPECT_TRUE(writer.isFail());
    EXPECT_FALSE(writer.isBad());
    writer.flush();
    EXPECT_TRUE(writer.isBad());
    EXPECT_FALSE(writer.isEof());
    EXPECT_FALSE(missing.exists());
}

TEST(FileStream, WritesWhatIsInserted) {
    const TempFile file;
    {
        OutputFileStream stream(file.path(), MODE_OUT | MODE_BINARY);
        stream << "a" << ByteString("b\0c", 3) << "" << endLine << "d";
        stream.put('\xFF');
        stream.write("efg", 2);
        EXPECT_FALSE(stream.isFail() || stream.isBad() || stream.isEof());
        stream.write(nullptr, 1);
        EXPECT_TRUE(stream.isBad());
    }
    EXPECT_EQ(file.content(), std::string("ab\0c\nd\xFF"
                                          "ef",
                                          9));
    OutputFileStream reading(file.path(), MODE_IN);
    reading.put('x');
    reading.flush();
    EXPECT_TRUE(reading.isBad() || reading.isEof());
}

}  // namespace
}  // namespace ovpatch
