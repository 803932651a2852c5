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
    const WidePath wide(path);
    if (line.kind == LineKind::DROP_TREE) return removeTree(path, nullptr, nullptr) == FILEOP_OK;
    if (isKeeperName(path)) return wide.fits() && platform::discard(wide.text());
    return names->knowsMissing(path) || unlink(path, nullptr, nullptr, names) == FILEOP_OK;
}

void doLine(const char* text, std::size_t length, const PathRoot& root, ReadJournalLine* line,
            NameIndex* names) {
    if (!isDrop(text, length) || !parseLine(text, length, line)) return;
    if (!resolvePaths(root, line) || !isTrusted(line->line)) return;
    // A removal ends at its first failure. What failed in passing goes at the second try.
    if (!doDrop(line->line, names)) doDrop(line->line, names);
}

}  // namespace

void doDrops(const platform::LockedFile& journal, const PathRoot& root) {
    ReadJournalLine line;
    JournalReader reader(journal);
    NameIndex names;
    while (reader.previous())
        doLine(reader.text(), reader.length(), root, &line, &names);
}

void doDrops(const ByteString& lines) {
    ReadJournalLine line;
    NameIndex names;
    const PathRoot here = {};
    const char* text = lines.cStr();
    for (const char* end = std::strchr(text, '\n'); end != nullptr;
         text = end + 1, end = std::strchr(text, '\n'))
        doLine(text, static_cast<std::size_t>(end - text), here, &line, &names);
}

}  // namespace ovpatch
