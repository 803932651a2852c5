#include "foundation/file_stream.h"

#include <cstring>

#include "platform/platform.h"

namespace ovpatch {

namespace {

struct OpenMode {
    std::uint32_t mode;
    const char* text;
};

constexpr OpenMode openModes[] = {
    {MODE_IN, "r"},
    {MODE_OUT, "w"},
    {MODE_OUT | MODE_TRUNC, "w"},
    {MODE_OUT | MODE_APP, "a"},
    {MODE_IN | MODE_BINARY, "rb"},
    {MODE_OUT | MODE_BINARY, "wb"},
    {MODE_OUT | MODE_TRUNC | MODE_BINARY, "wb"},
    {MODE_OUT | MODE_APP | MODE_BINARY, "ab"},
    {MODE_IN | MODE_OUT, "r+"},
    {MODE_IN | MODE_OUT | MODE_TRUNC, "w+"},
    {MODE_IN | MODE_OUT | MODE_APP, "a+"},
    {MODE_IN | MODE_OUT | MODE_BINARY, "r+b"},
    {MODE_IN | MODE_OUT | MODE_TRUNC | MODE_BINARY, "w+b"},
    {MODE_IN | MODE_OUT | MODE_APP | MODE_BINARY, "a+b"},
};

const char* openModeText(std::uint32_t mode) {
    for (const OpenMode& known : openModes) {
        if (known.mode == mode) return known.text;
    }
    return nullptr;
}

}  // namespace

FileStream::FileStream(const char* fileName, std::uint32_t mode)
    : state_(0), file_(nullptr), ownsFile_(true) {
    open(fileName, mode);
}

FileStream::~FileStream() {
    if (ownsFile_) close();
}

void FileStream::open(const char* fileName, std::uint32_t mode) {
    close();
    const char* const modeText = openModeText(mode & ~MODE_ATE);
    file_ = modeText == nullptr ? nullptr : platform::fopen(fileName, modeText);
    if (file_ == nullptr) {
        state_ = STATE_FAIL;
        return;
    }
    ownsFile_ = true;
    state_ = 0;
    if ((mode & MODE_ATE) != 0 && std::fseek(file_, 0, SEEK_END) != 0) close();
}

void FileStream::close() {
    if (file_ == nullptr) return;
    if (std::fclose(file_) != 0) state_ = STATE_FAIL;
    file_ = nullptr;
}

InputFileStream::InputFileStream(const char* fileName, std::uint32_t mode) : FileStream(fileName, mode) {}

InputFileStream::~InputFileStream() = default;

int InputFileStream::get() {
    if (file_ == nullptr) {
        state_ |= STATE_BAD;
        return -1;
    }
    const int byte = std::fgetc(file_);
    if (byte != EOF) return byte;
    state_ |= std::ferror(file_) != 0 ? STATE_BAD : STATE_EOF;
    return -1;
}

OutputFileStream::OutputFileStream(const char* fileName, std::uint32_t mode) : FileStream(fileName, mode) {}

OutputFileStream::~OutputFileStream() = default;

void OutputFileStream::write(const char* buffer, std::size_t length) {
    if (buffer == nullptr || file_ == nullptr || std::fwrite(buffer, 1, length, file_) != length) {
        state_ |= STATE_BAD;
    }
}

void OutputFileStream::put(char c) {
    if (file_ == nullptr || std::fputc(static_cast<unsigned char>(c), file_) == EOF) state_ |= STATE_BAD;
}

void OutputFileStream::flush() {
    if (file_ == nullptr) state_ |= STATE_BAD;
    if ((state_ & (STATE_FAIL | STATE_BAD)) != 0) return;
    if (std::fflush(file_) == EOF) state_ |= STATE_EOF;
}

OutputFileStream& OutputFileStream::operator<<(const char* text) {
    if (text == nullptr || text[0] == 0) return *this;
    write(text, std::strlen(text));
    return *this;
}

OutputFileStream& OutputFileStream::operator<<(const ByteString& string) {
    if (string.length() != 0) write(string.cStr(), string.length());
    return *this;
}

OutputFileStream& OutputFileStream::operator<<(OutputFileStream& (*manipulator)(OutputFileStream&)) {
    return manipulator(*this);
}

OutputFileStream& endLine(OutputFileStream& stream) {
    stream.put('\n');
    stream.flush();
    return stream;
}

}  // namespace ovpatch
