#include "ovpatch/recovery/cut_off_run.h"

#include <cstring>

#include "fileops/paths.h"
#include "fileops/wide_path.h"
#include "foundation/bounded.h"
#include "foundation/patch_session.h"
#include "ovpatch/journal/drops.h"
#include "ovpatch/journal/journal_reader.h"
#include "ovpatch/journal/keeper.h"
#include "ovpatch/journal/line_trust.h"
#include "ovpatch/log_lines.h"
#include "ovpatch/recovery/result_check.h"
#include "ovpatch/recovery/undo_line.h"

namespace ovpatch {

namespace {

constexpr std::int32_t PATH_LIMIT = 260;
constexpr int MOST_ASIDE = 1000;

// The journal at hand, and what has been found in it.
struct Work {
    platform::LockedFile file;
    char path[PATH_LIMIT];
    char result[PATH_LIMIT];
    JournalHead head;
    PathRoot root;
    ReadJournalLine read;
    UndoHints hints;
    char madePath[JOURNAL_PATH_SIZE];
    unsigned back;
    unsigned left;
    unsigned unreadable;
};

// Another name, so that whoever looks finds it and the next run does not.
void putAside(Work* work) {
    const WidePath from(work->path);
    char name[PATH_LIMIT];
    for (int number = 0; from.fits() && number < MOST_ASIDE; ++number) {
        const std::size_t length = number == 0
                                       ? boundedSnprintf(name, sizeof name, "%s.old", work->path)
                                       : boundedSnprintf(name, sizeof name, "%s.old%d", work->path, number);
        const WidePath to(name);
        if (length == 0 || !to.fits()) break;
        if (stateOfFile(name).exists || !work->file.rename(from.text(), to.text())) continue;
        UPDATER_ERROR(9, "recovery: the journal is kept as %s.", name);
        return;
    }
    UPDATER_ERROR(9, "recovery: %s cannot be put aside.", work->path);
}

// False when it stays, though it was tried twice.
bool removeJournal(Work* work) {
    const WidePath path(work->path);
    return path.fits() && (work->file.remove(path.text()) || work->file.remove(path.text()));
}

bool hasNoLine(const platform::LockedFile& file) {
    JournalReader lines(file);
    return !lines.previous() && !lines.hasFailed();
}

// False when the journal tells nothing; then it has been taken care of.
bool readHead(Work* work) {
    char text[JOURNAL_LINE_SIZE];
    const std::size_t length = static_cast<std::size_t>(
        work->file.size() < JOURNAL_LINE_SIZE ? work->file.size() : std::uint64_t{JOURNAL_LINE_SIZE});
    if (!work->file.read(0, text, length) && !work->file.read(0, text, length)) {
        UPDATER_ERROR(9, "recovery: %s cannot be read.", work->path);
        putAside(work);
        return false;
    }
    const char* end = static_cast<const char*>(std::memchr(text, '\n', length));
    const HeadReading reading = end == nullptr
                                    ? HeadReading::NO_HEAD
                                    : parseHead(text, static_cast<std::size_t>(end - text), &work->head);
    if (reading == HeadReading::KNOWN && work->file.size() <= LONGEST_JOURNAL + LARGEST_ROOM) return true;
    if (end == nullptr && isHeadStart(text, length) && hasNoLine(work->file)) {
        // It was cut off before it did anything.
        removeJournal(work);
        return false;
    }
    if (reading == HeadReading::OTHER_VERSION)
        UPDATER_ERROR(9, "recovery: %s is of another version.", work->path);
    else
        UPDATER_ERROR(9, "recovery: %s is no journal.", work->path);
    putAside(work);
    return false;
}

// Takes the line that the reader stands at.
bool takeLine(const JournalReader& reader, Work* work) {
    return parseLine(reader.text(), reader.length(), &work->read) && isTrusted(work->read.line) &&
           resolvePaths(work->root, &work->read);
}

// A run has come to its end when its last line says so, or when its result stands in the file for which the
// last line says that it is about to be written.
bool isOver(Work* work) {
    JournalReader reader(work->file);
    if (!reader.previous() || reader.offset() == 0 || !takeLine(reader, work)) return false;
    const JournalLine& line = work->read.line;
    if (line.kind == LineKind::DONE) return true;
    return line.kind == LineKind::RESULT && isResultTold(work->result, line.states[0], line.result);
}

// What was about to be replaced when the run stopped.
void tidy(Work* work) {
    for (int i = 0; i < textCount(work->read.line.kind); ++i) {
        const WidePath path(work->read.texts[i]);
        if (path.fits()) platform::tidyReplacement(path.text(), work->head.process);
    }
}

// The copies may have been on their way to their files.
void tidyMoves(const JournalLine& line) {
    if (line.kind != LineKind::WRITE && line.kind != LineKind::REMOVE && line.kind != LineKind::RESTORE)
        return;
    for (int i = 0; i + 1 < textCount(line.kind); ++i) {
        const WidePath copy(line.texts[i]);
        if (copy.fits()) platform::tidyMove(copy.text());
    }
}

void undo(Work* work) {
    const JournalLine& line = work->read.line;
    if (line.kind == LineKind::MADE) {
        work->hints.made = line.states[0];
        std::memcpy(work->madePath, line.texts[0], sizeof work->madePath);
        return;
    }
    tidyMoves(line);
    UndoHints hints = work->hints;
    if (line.kind == LineKind::PUT && std::strcmp(work->madePath, line.texts[1]) != 0)
        hints.made = platform::FileState();
    Undone undone = undoLine(line, hints);
    if (undone.outcome == Undone::Outcome::FAILED) {
        // A call may have failed in passing.
        const Undone again = undoLine(line, hints);
        if (again.stays == nullptr) undone = again;
    }
    if (undone.outcome == Undone::Outcome::BACK) ++work->back;
    if (undone.stays == nullptr) return;
    ++work->left;
    if (undone.outcome == Undone::Outcome::CHANGED)
        UPDATER_ERROR(9, "recovery: %s was changed since, it stays.", undone.stays);
    else
        UPDATER_ERROR(9, "recovery: %s cannot be put back.", undone.stays);
}

bool undoesNothing(LineKind kind) {
    return kind == LineKind::MADE || kind == LineKind::NOTHING || kind == LineKind::DROP ||
           kind == LineKind::DROP_TREE || kind == LineKind::RESULT || kind == LineKind::DONE;
}

// From the last line to the first.
void undoAll(Work* work) {
    JournalReader reader(work->file);
    bool atLast = true;
    bool skips = false;
    while (reader.previous() && reader.offset() != 0) {
        if (!takeLine(reader, work)) {
            ++work->unreadable;
            continue;
        }
        const LineKind kind = work->read.line.kind;
        // Where calls failed without an end, a ledger is not always the last to be told of.
        if (atLast || kind == LineKind::PUT) tidy(work);
        work->hints.mayBePart = atLast && platform::canLeaveParts();
        work->hints.mayCopyBePart = atLast;
        if (!skips) undo(work);
        skips = kind == LineKind::NOTHING;
        if (undoesNothing(kind)) continue;
        atLast = false;
        // A line that could not be undone stays, and those before it, for whoever looks.
        if (work->left + work->unreadable == 0) work->file.truncate(reader.offset());
    }
    if (reader.hasFailed()) ++work->unreadable;
}

void report(Work* work) {
    if (work->unreadable != 0)
        UPDATER_ERROR(9, "recovery: %u lines of %s cannot be read.", work->unreadable, work->path);
    if (work->left == 0)
        UPDATER_INFO(9, "recovery: %u files are back, the state before is there.", work->back);
    else
        UPDATER_ERROR(9, "recovery: %u files are back, %u could not be put back.", work->back, work->left);
}

void putRight(Work* work) {
    UPDATER_INFO(9, "recovery: a run was cut off, its journal is %s.", work->path);
    setRoot(work->head.workingDirectory, &work->root);
    work->hints.told = stateOfFile(work->path).seconds;
    // Nothing tells that the result was being written when the run stopped.
    const WidePath result(work->result);
    if (result.fits()) platform::tidyReplacement(result.text(), work->head.process);
    if (isOver(work)) {
        UPDATER_INFO(9, "recovery: it had told its result, what was left to tidy is done.");
        doDrops(work->file, work->root);
    } else {
        platform::nameReplacementsAfter(work->head.process);
        undoAll(work);
        platform::nameReplacementsAfter(0);
        report(work);
    }
    if (work->left + work->unreadable != 0) {
        JournalReader lines(work->file);
        if (lines.previous()) work->file.truncate(lines.end());
        putAside(work);
    } else if (!removeJournal(work))
        UPDATER_ERROR(9, "recovery: %s cannot be removed.", work->path);
}

}  // namespace

void putCutOffRunRight(const char* baseDirectory) {
    if (patchSession().recovery == 0) return;
    Work work = {};
    if (CatURIWithFile(work.path, PATH_LIMIT, baseDirectory, JOURNAL_NAME) != 0) return;
    resultPath(baseDirectory, work.result);
    const WidePath path(work.path);
    if (!path.fits()) return;
    platform::LockedFile::Outcome held = work.file.hold(path.text());
    if (held == platform::LockedFile::Outcome::NOT_OPENED) held = work.file.hold(path.text());
    switch (held) {
        case platform::LockedFile::Outcome::HELD:
            if (readHead(&work)) putRight(&work);
            return;
        case platform::LockedFile::Outcome::MISSING:
            return;
        case platform::LockedFile::Outcome::NO_FILE:
            UPDATER_ERROR(9, "recovery: %s is no journal.", work.path);
            break;
        default:
            UPDATER_ERROR(9, "recovery: %s cannot be read.", work.path);
            break;
    }
    putAside(&work);
}

}  // namespace ovpatch
