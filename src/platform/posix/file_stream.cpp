// platform::fopen: streams of the C library over descriptors of our own.
#include <fcntl.h>
#include <stdio_ext.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>

#include "platform/posix/errors.h"
#include "platform/posix/file_replacement.h"
#include "platform/posix/host_path.h"
#include "platform/posix/interrupted.h"
#include "platform/posix/open_in_place.h"

namespace ovpatch::posix {

namespace {

constexpr std::size_t BUFFER_SIZE = std::size_t{64} * 1024;
// What the C library reads at a time when it is not told otherwise.
constexpr std::size_t LIBRARY_BUFFER_SIZE = BUFSIZ;

bool parseMode(const char* text, StreamMode* mode) {
    if (text == nullptr || *text == '\0' || std::strchr("rwa", *text) == nullptr) return false;
    mode->kind = *text;
    while (*++text != '\0') {
        if (*text == '+')
            mode->update = true;
        else if (*text != 'b' && *text != 't')
            return false;
    }
    return true;
}

// What a stream's calls work on. "w" streams gather what is written and write it in large pieces, whatever is
// flushed: nobody can see it before the file gets its name.
struct Stream {
    int descriptor = -1;
    bool replacing = false;  // a "w" stream; the descriptor is the replacement's
    bool writeFailed = false;
    bool atEnd = false;  // the last read met the end, so that the next need not ask
    FileReplacement replacement;
    char* buffer = nullptr;  // of a "w" stream: what is gathered; of a large "r" one: the C library's
    std::size_t gathered = 0;

    Stream() = default;
    ~Stream() {
        if (!replacing && descriptor >= 0) close(descriptor);
        delete[] buffer;
    }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;
};

bool writeAll(Stream* stream, const char* bytes, std::size_t size) {
    while (size > 0 && !stream->writeFailed) {
        const ssize_t written = untilDone([=] { return write(stream->descriptor, bytes, size); });
        if (written < 0) {
            failFromErrno();
            stream->writeFailed = true;
            break;
        }
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
    return !stream->writeFailed;
}

bool writeGathered(Stream* stream) {
    const std::size_t size = stream->gathered;
    stream->gathered = 0;
    return writeAll(stream, stream->buffer, size);
}

ssize_t readStream(void* cookie, char* bytes, std::size_t size) {
    auto* stream = static_cast<Stream*>(cookie);
    if (!writeGathered(stream)) return -1;
    if (stream->atEnd) return 0;
    const ssize_t count = untilDone([=] { return read(stream->descriptor, bytes, size); });
    // A short answer need not be the last: some file systems give what they have.
    stream->atEnd = count == 0;
    if (count < 0) failFromErrno();
    return count;
}

bool gather(Stream* stream, const char* bytes, std::size_t size) {
    if (stream->gathered + size > BUFFER_SIZE && !writeGathered(stream)) return false;
    if (size > BUFFER_SIZE) return writeAll(stream, bytes, size);
    std::memcpy(stream->buffer + stream->gathered, bytes, size);
    stream->gathered += size;
    return !stream->writeFailed;
}

// The C library takes 0 as the failure here.
ssize_t writeStream(void* cookie, const char* bytes, std::size_t size) {
    auto* stream = static_cast<Stream*>(cookie);
    stream->atEnd = false;
    const bool done = stream->replacing ? gather(stream, bytes, size) : writeAll(stream, bytes, size);
    return done ? static_cast<ssize_t>(size) : 0;
}

int seekStream(void* cookie, off64_t* offset, int origin) {
    auto* stream = static_cast<Stream*>(cookie);
    if (!writeGathered(stream)) return -1;
    stream->atEnd = false;
    const off64_t position = lseek64(stream->descriptor, *offset, origin);
    if (position < 0) return -1;
    *offset = position;
    return 0;
}

int closeStream(void* cookie) {
    auto* stream = static_cast<Stream*>(cookie);
    bool done = true;
    if (stream->replacing) {
        done = writeGathered(stream) && stream->replacement.commit(false);
    } else {
        done = closed(stream->descriptor) || failFromErrno();
        stream->descriptor = -1;
    }
    delete stream;
    return done ? 0 : EOF;
}

bool openStreamInPlace(Stream* stream, const char* hostPath, const StreamMode& mode, off_t* size) {
    struct stat status;
    stream->descriptor = openInPlace(hostPath, mode, &status);
    if (stream->descriptor < 0) return false;
    *size = status.st_size;
    return true;
}

bool openReplacing(Stream* stream, const char* hostPath, const StreamMode& mode) {
    FileReplacement& replacement = stream->replacement;
    if (!replacement.inspect(hostPath)) return false;
    const mode_t permissions = replacement.exists() ? replacement.status().st_mode : 0666;
    stream->buffer = new (std::nothrow) char[BUFFER_SIZE];
    if (stream->buffer == nullptr) return fail(ERROR_NOT_ENOUGH_MEMORY);
    if (!replacement.create(mode.update ? O_RDWR : O_WRONLY, permissions, replacement.exists())) return false;
    stream->replacing = true;
    stream->descriptor = replacement.descriptor();
    return true;
}

// A buffer of the C library's own is enough for a small file and for what is written.
void enlargeReadBuffer(std::FILE* file, Stream* stream, off_t size) {
    if (size < static_cast<off_t>(LIBRARY_BUFFER_SIZE)) return;
    stream->buffer = new (std::nothrow) char[BUFFER_SIZE];
    if (stream->buffer != nullptr) std::setvbuf(file, stream->buffer, _IOFBF, BUFFER_SIZE);
}

std::FILE* makeFile(Stream* stream, const StreamMode& mode, off_t size) {
    const char text[3] = {mode.kind, mode.update ? '+' : '\0', '\0'};
    std::FILE* file = fopencookie(stream, text, {readStream, writeStream, seekStream, closeStream});
    if (file == nullptr) {
        fail(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    // One thread owns a stream at a time; the lock would be taken for every byte.
    __fsetlocking(file, FSETLOCKING_BYCALLER);
    if (mode.kind == 'r') enlargeReadBuffer(file, stream, size);
    return file;
}

}  // namespace

}  // namespace ovpatch::posix

std::FILE* platform::fopen(const char* devicePath, const char* modeText) {
    using namespace ovpatch::posix;
    HostPath path;
    if (!path.assign(devicePath)) return nullptr;
    StreamMode mode;
    if (!parseMode(modeText, &mode)) {
        fail(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    auto* stream = new (std::nothrow) Stream;
    if (stream == nullptr) {
        fail(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    off_t size = 0;
    const bool opened = mode.kind == 'w' ? openReplacing(stream, path.cStr(), mode)
                                         : openStreamInPlace(stream, path.cStr(), mode, &size);
    std::FILE* file = opened ? makeFile(stream, mode, size) : nullptr;
    if (file == nullptr) delete stream;
    return file;
}
