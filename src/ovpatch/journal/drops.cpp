#include "ovpatch/journal/drops.h"

#include <cstring>

#include "fileops/remove.h"
#include "fileops/wide_path.h"
#include "ovpatch/journal/journal_reader.h"
#include "ovpatch/journal/keeper.h"

namespace ovpatch {

namespace {

// A word tells the line; most lines of a journal are others.
bool isDrop(const char* text, std::size_t length) {
    return length > 4 && std::memcmp(text, "drop", 4) == 0;
}

bool doDrop(const JournalLine& line, NameIndex* names) {
    const char* path = line.texts[0];
    if (line.kind == LineKind::DROP_TREE) return removeTree(path, nullptr, nullptr) == FILEOP_OK;
    if (isKeeperName(path)) {
        const WidePath wide(path);
        return wide.fits() && platform::discard(wide.text());
    }
    return names->knowsMissing(path) || unlink(path, nullptr, nullptr, names) == FILEOP_OK;
}

// A removal ends at its first failure. What failed in passing goes at the second try.
void doLine(const JournalLine& line, NameIndex* names) {
    if (!doDrop(line, names)) doDrop(line, names);
}

}  // namespace

void doDrops(const platform::LockedFile& journal, const PathRoot& root) {
    ReadJournalLine line;
    JournalReader reader(journal);
    NameIndex names;
    while (reader.previous()) {
        if (isDrop(reader.text(), reader.length()) && parseLine(reader.text(), reader.length(), &line) &&
            resolvePaths(root, &line) && isTrusted(line.line))
            doLine(line.line, &names);
    }
}

void doDrops(const ByteString& lines) {
    ReadJournalLine line;
    NameIndex names;
    const char* text = lines.cStr();
    for (const char* end = std::strchr(text, '\n'); end != nullptr;
         text = end + 1, end = std::strchr(text, '\n')) {
        if (parseLine(text, static_cast<std::size_t>(end - text), &line)) doLine(line.line, &names);
    }
}

}  // namespace ovpatch
