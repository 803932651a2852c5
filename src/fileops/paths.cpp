#include "fileops/paths.h"

#include <cstring>

#include "fileops/code_page.h"
#include "fileops/dir_listing.h"

namespace ovpatch {

namespace {

// The most bytes of `file` in CatURIWithFile, terminator included.
constexpr std::size_t FILE_LIMIT = 260;

const char* orEmpty(const char* text) {
    return text == nullptr ? "" : text;
}

const char* skipSeparator(const char* file) {
    return isSeparator(*file) ? file + 1 : file;
}

// The last separator that is no trail byte, or null.
const char* lastSeparator(const char* path) {
    // Only behind the first byte of a character, which is none in ASCII, can one be a trail byte.
    for (const char* at = path + std::strlen(path); at > path; --at) {
        if (!isSeparator(at[-1])) continue;
        if (at - 1 == path || static_cast<unsigned char>(at[-2]) < 0x80) return at - 1;
        break;
    }
    const char* found = nullptr;
    TrailByteScan scan;
    for (const char* at = path; *at != '\0'; ++at) {
        const bool trail = scan.isTrail(*at);
        if (isSeparator(*at) && !trail) found = at;
    }
    return found;
}

bool beginsWith(const char* text, const char* lowerCasePrefix) {
    for (; *lowerCasePrefix != '\0'; ++text, ++lowerCasePrefix) {
        if (!equalIgnoreCase(*text, *lowerCasePrefix)) return false;
    }
    return true;
}

char separatorFor(const char* base) {
    if (beginsWith(base, "http://") || beginsWith(base, "ftp://")) return '/';
    return '\\';
}

// The size of the joined path with its terminator.
std::int32_t neededSize(std::size_t baseLength, std::size_t fileLength, bool needsSeparator) {
    const std::size_t size = baseLength + fileLength + (needsSeparator ? 2U : 1U);
    return size > INT32_MAX ? INT32_MAX : static_cast<std::int32_t>(size);
}

// Writes the joined path, which fits; `base` may be `out` itself.
void join(char* out, const char* base, std::size_t baseLength, const char* separator, const char* file) {
    std::memmove(out, base, baseLength);
    std::size_t length = baseLength;
    if (separator != nullptr) out[length++] = *separator;
    std::memmove(out + length, file, std::strlen(file) + 1);
}

}  // namespace

bool isSeparator(char byte) {
    return byte == '\\' || byte == '/';
}

bool endsWithSeparator(const char* text) {
    if (text == nullptr || *text == '\0') return false;
    const char* last = text + std::strlen(text) - 1;
    return isSeparator(*last) && !isTrailByte(text, last);
}

bool hasWildcard(const char* text) {
    return text != nullptr && std::strpbrk(text, "*?") != nullptr;
}

std::uint32_t replaceChar(char* text, char from, char to) {
    std::uint32_t count = 0;
    if (text == nullptr) return count;
    for (char* at = text; *at != '\0'; ++at) {
        if (*at != from || isTrailByte(text, at)) continue;
        *at = to;
        ++count;
    }
    return count;
}

void normalizeSlashes(ByteString& path) {
    if (std::memchr(path.cStr(), '/', path.length()) == nullptr) return;
    for (std::uint32_t index = 0; index < path.length(); ++index) {
        if (path.at(index) == '/') path.at(index) = '\\';
    }
}

bool removeTrailingSeparator(ByteString& path) {
    if (!endsWithSeparator(path.cStr())) return false;
    path = path.substr(0, path.length() - 1);
    return true;
}

std::int32_t CatURIWithFile(char* out, std::int32_t outSize, const char* base, const char* file) {
    base = orEmpty(base);
    file = skipSeparator(orEmpty(file));
    const std::size_t baseLength = std::strlen(base);
    const std::size_t fileLength = std::strlen(file);

    const char* baseLast = baseLength == 0 ? base : base + baseLength - 1;
    const bool baseIsClosed =
        baseLength == 0 || (isSeparator(*baseLast) && (baseLength < 2 || !isTrailByte(base, baseLast)));
    const std::int32_t needed = neededSize(baseLength, fileLength, !baseIsClosed);
    if (fileLength >= FILE_LIMIT || out == nullptr || outSize < needed) return needed;

    const char separator = separatorFor(base);
    char fileCopy[FILE_LIMIT];
    std::memcpy(fileCopy, file, fileLength + 1);
    join(out, base, baseLength, baseIsClosed ? nullptr : &separator, fileCopy);
    replaceChar(out, separator == '\\' ? '/' : '\\', separator);
    return 0;
}

std::int32_t joinPath(char* out, std::int32_t outSize, const char* base, const char* file) {
    base = orEmpty(base);
    file = skipSeparator(orEmpty(file));
    const std::size_t baseLength = std::strlen(base);

    const bool endsInSeparator = baseLength > 0 && isSeparator(base[baseLength - 1]);
    const bool baseIsClosed = baseLength == 0 || endsInSeparator;
    const std::int32_t needed = neededSize(baseLength, std::strlen(file), !baseIsClosed);
    if (out == nullptr || outSize < needed) return needed;

    join(out, base, baseLength, baseIsClosed ? nullptr : "\\", file);
    if (endsInSeparator) out[baseLength - 1] = '\\';
    return 0;
}

const char* fileNamePart(const char* path) {
    const char* found = nullptr;
    for (const char* at = orEmpty(path); *at != '\0'; ++at) {
        if (isSeparator(*at)) found = at + 1;
    }
    return found;
}

ByteString directoryPart(const char* path) {
    const char* text = orEmpty(path);
    const char* last = lastSeparator(text);
    if (last == nullptr || last == text) return ByteString();
    ByteString directory(text, static_cast<std::uint32_t>(last - text));
    directory.append("\\");
    return directory;
}

ByteString baseName(const char* path) {
    const char* text = orEmpty(path);
    const char* last = lastSeparator(text);
    return ByteString(last == nullptr ? text : last + 1);
}

void splitPath(const char* path, ByteString& directory, ByteString& name) {
    directory = directoryPart(path);
    name = baseName(path);
    // The root has no directory part. Without it a path in the root would turn into one in the working
    // directory, on hosts that have one.
    if (directory.length() == 0 && isSeparator(*path)) directory.assign("\\");
}

}  // namespace ovpatch
