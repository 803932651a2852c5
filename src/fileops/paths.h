// Operations on the text of paths. None of them asks the device.
//
// A path is terminated 8-bit text; "\" and "/" separate. Where a header line says "character", a separator
// that is the second byte of a double-byte character is passed over (see code_page.h).
#ifndef OVPATCH_FILEOPS_PATHS_H
#define OVPATCH_FILEOPS_PATHS_H

#include <cstdint>

#include "foundation/byte_string.h"

namespace ovpatch {

// True for "\" and "/".
bool isSeparator(char byte);

// Whether the last character of `text` is a separator. Null and empty: false.
bool endsWithSeparator(const char* text);

// Whether `text` holds "*" or "?". Null and empty: false.
bool hasWildcard(const char* text);

// Puts `to` in place of every byte equal to `from` that is no trail byte. Answers the number of bytes
// replaced; 0 for null.
std::uint32_t replaceChar(char* text, char from, char to);

// Turns every "/" of `path` into "\".
void normalizeSlashes(ByteString& path);

// Removes one separator from the end of `path`, if its last character is one. Whether it was.
bool removeTrailingSeparator(ByteString& path);

// Joins `base` and `file` to one path or URL in `out`, a buffer of `outSize` bytes, terminator included.
// One separator at the start of `file` is skipped. The result holds one kind of separator throughout: "/"
// when `base` begins with "http://" or "ftp://" (in any case), else "\". An empty `base` gives `file` alone,
// with no separator in front. Null counts as empty, and `out` may be `base` itself.
// Answers 0 on success. Otherwise `out` is untouched and the answer is the size in bytes that would be
// needed; also when `file`, its skipped separator not counted, has 260 bytes or more, whatever `outSize` is.
std::int32_t CatURIWithFile(char* out, std::int32_t outSize, const char* base, const char* file);

// Joins `base` and `file` to one path, with the answers of CatURIWithFile. The separator between them is
// always "\"; every other byte stays as it is, and `file` has no limit of its own.
std::int32_t joinPath(char* out, std::int32_t outSize, const char* base, const char* file);

// The part of `path` behind its last separator byte, a pointer into `path`; null if it holds none. A trail
// byte that looks like a separator counts as one here.
const char* fileNamePart(const char* path);

// `path` up to its last separator character, which is "\" in the result. Empty if there is none, if it is the
// first byte, and for null.
ByteString directoryPart(const char* path);

// The part of `path` behind its last separator character; all of it if there is none. Null: empty.
ByteString baseName(const char* path);

// Cuts `path` into its directory, which ends in "\", and the part behind it. A path in the root has "\" as
// its directory, one without a separator character an empty one.
void splitPath(const char* path, ByteString& directory, ByteString& name);

}  // namespace ovpatch

#endif
