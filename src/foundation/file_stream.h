// Streams of bytes over the C library's buffered files.
#ifndef OVPATCH_FOUNDATION_FILE_STREAM_H
#define OVPATCH_FOUNDATION_FILE_STREAM_H

#include <cstddef>
#include <cstdint>
#include <cstdio>

#include "foundation/byte_string.h"

namespace ovpatch {

// The bits of a stream's state.
constexpr std::uint32_t STATE_EOF = 1;   // a read at the end of the file; a flush that failed
constexpr std::uint32_t STATE_FAIL = 2;  // an open or a close that failed
constexpr std::uint32_t STATE_BAD = 4;   // an operation without an open file; a read or write that failed

// The bits of an open mode.
constexpr std::uint32_t MODE_IN = 1;
constexpr std::uint32_t MODE_OUT = 2;
constexpr std::uint32_t MODE_ATE = 4;  // stand at the end after opening
constexpr std::uint32_t MODE_APP = 8;
constexpr std::uint32_t MODE_TRUNC = 0x10;
constexpr std::uint32_t MODE_BINARY = 0x20;

// A file and a state. No operation reports by its answer: callers look at the state, which only a new
// successful open clears.
class FileStream {
public:
    // State 0, no file; then open.
    FileStream(const char* fileName, std::uint32_t mode);
    // Closes the file if the stream owns it.
    virtual ~FileStream();
    FileStream(const FileStream&) = delete;
    FileStream& operator=(const FileStream&) = delete;

    // Closes what is open and opens `fileName` (device text). A `mode` whose bits, without MODE_ATE, mean
    // nothing together, and a file that cannot be opened, leave the state STATE_FAIL; success leaves 0. When
    // MODE_ATE cannot be had, the file is closed again and the state stays 0.
    void open(const char* fileName, std::uint32_t mode);
    // Closes an open file; the state becomes STATE_FAIL when that fails. The stream has no file afterwards.
    void close();

    bool isEof() const { return (state_ & STATE_EOF) != 0; }
    bool isFail() const { return (state_ & STATE_FAIL) != 0; }
    bool isBad() const { return (state_ & STATE_BAD) != 0; }

protected:
    std::uint32_t state_;
    std::FILE* file_;  // null when nothing is open
    bool ownsFile_;
};

// A stream to read from.
class InputFileStream : public FileStream {
public:
    InputFileStream(const char* fileName, std::uint32_t mode);
    ~InputFileStream() override;

    // The next byte, 0 to 255. -1 at the end of the file (STATE_EOF), and without an open file and where it
    // cannot be read on (STATE_BAD).
    int get();
};

// A stream to write to. The insertions answer the stream, so that they chain.
class OutputFileStream : public FileStream {
public:
    OutputFileStream(const char* fileName, std::uint32_t mode);
    ~OutputFileStream() override;

    // Writes `length` bytes. A null `buffer`, no open file or a short write sets STATE_BAD.
    void write(const char* buffer, std::size_t length);
    // Writes one byte. No open file or a failure sets STATE_BAD.
    void put(char c);
    // Hands what is buffered to the host. Sets STATE_BAD without an open file, STATE_EOF on failure; does
    // nothing while STATE_FAIL or STATE_BAD is set.
    void flush();

    // Null or empty text writes nothing.
    OutputFileStream& operator<<(const char* text);
    // All bytes of the string, zero bytes included.
    OutputFileStream& operator<<(const ByteString& string);
    // Calls the function on the stream and answers what it answers.
    OutputFileStream& operator<<(OutputFileStream& (*manipulator)(OutputFileStream&));
};

// The manipulator that ends a line: puts a line feed (0x0A) and flushes.
OutputFileStream& endLine(OutputFileStream& stream);

}  // namespace ovpatch

#endif
