#include "fileops/dir_listing.h"

namespace ovpatch {

char asciiLower(char byte) {
    return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte + 0x20) : byte;
}

bool equalIgnoreCase(char left, char right) {
    return asciiLower(left) == asciiLower(right);
}

bool matchWildcard(const char* wildcard, const char* name) {
    // Where the last "*" stands, and the end of the run that it covers so far. Only that one can have to
    // give way: what stands before it is matched as early as can be, which leaves it the most room.
    const char* star = nullptr;
    const char* runEnd = nullptr;
    while (true) {
        if (*wildcard == '*') {
            star = wildcard++;
            runEnd = name;
        } else if (*name == '\0') {
            return *wildcard == '\0';
        } else if (*wildcard == '?' || (*wildcard != '\0' && equalIgnoreCase(*wildcard, *name))) {
            ++wildcard;
            ++name;
        } else if (star != nullptr) {
            wildcard = star + 1;
            name = ++runEnd;
        } else {
            return false;
        }
    }
}

}  // namespace ovpatch
