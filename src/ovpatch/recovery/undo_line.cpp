#include "ovpatch/recovery/undo_line.h"

#include "fileops/dir_listing.h"
#include "fileops/file_tests.h"
#include "fileops/wide_path.h"
#include "foundation/byte_string.h"
#include "ovpatch/journal/keeper.h"
#include "ovpatch/log_lines.h"

namespace ovpatch {

namespace {

using platform::FileState;

constexpr std::int64_t COARSEST_TIME = 2;  // seconds; the largest step in which a file system keeps times

// A file system may keep a time in steps of its own.
bool sameTime(const FileState& left, const FileState& right) {
    if (left.seconds == right.seconds && left.nanoseconds == right.nanoseconds) return true;
    const FileState& coarse = left.nanoseconds == 0 ? left : right;
    const FileState& fine = left.nanoseconds == 0 ? right : left;
    return coarse.nanoseconds == 0 && fine.seconds >= coarse.seconds &&
           fine.seconds - coarse.seconds < COARSEST_TIME;
}

bool same(const FileState& left, const FileState& right) {
    return left.isFile && right.isFile && left.size == right.size && sameTime(left, right);
}

bool discardFile(const char* path) {
    const WidePath wide(path);
    return wide.fits() && platform::discard(wide.text());
}

constexpr Undone AS_BEFORE = {Undone::Outcome::AS_BEFORE, nullptr};
constexpr Undone BACK = {Undone::Outcome::BACK, nullptr};

Undone changed(const char* path) {
    return {Undone::Outcome::CHANGED, path};
}

Undone failed(const char* path) {
    return {Undone::Outcome::FAILED, path};
}

// A file, what it was, what the change made of it, and where it was saved.
struct Change {
    const char* copy;
    const char* file;
    const FileState* old;
    const FileState* made;  // null when the change deletes
    bool anyIsMade;
};

bool isMade(const Change& change, const FileState& now) {
    if (change.made == nullptr) return !now.exists;
    return now.isFile && (change.anyIsMade || same(now, *change.made));
}

// Two files may be alike in size and time; then only the host's number tells whether the old one is still
// there.
bool isOld(const Change& change, const FileState& now, bool copyIsGood) {
    if (!same(now, *change.old)) return false;
    const bool alike = change.made != nullptr && (change.anyIsMade || same(now, *change.made));
    return !alike || !copyIsGood || (now.id != 0 && now.id == change.old->id);
}

// Whether the change has made this copy, or a part of it; the name may have been another file's. A part has
// no time but its own yet.
bool isOurCopy(const Change& change, const FileState& copy, const UndoHints& hints) {
    if (!copy.isFile || copy.isLink) return false;
    const bool isPart =
        hints.mayCopyBePart && copy.size <= change.old->size && copy.seconds >= hints.told - COARSEST_TIME;
    return copy.size == 0 || hints.mayBePart || isPart;
}

Undone undoNew(const Change& change, const UndoHints& hints) {
    const FileState now = stateOfFile(change.file);
    const FileState copy = stateOfFile(change.copy);
    Undone outcome = AS_BEFORE;
    if (now.exists) {
        if (change.made == nullptr || now.isLink || !isMade(change, now)) return changed(change.file);
        if (!discardFile(change.file)) return failed(change.file);
        outcome = BACK;
    }
    const bool ours = copy.isFile && !copy.isLink && (copy.size == 0 || hints.mayBePart);
    return !ours || discardFile(change.copy) ? outcome : failed(change.copy);
}

Undone undoChange(const Change& change, const UndoHints& hints) {
    if (!change.old->exists) return undoNew(change, hints);
    const FileState now = stateOfFile(change.file);
    const FileState copy = stateOfFile(change.copy);
    const bool copyIsGood = same(copy, *change.old);
    if (isOld(change, now, copyIsGood)) {
        const bool isNew = change.made != nullptr && same(copy, *change.made);
        const bool ours = copyIsGood || isNew || isOurCopy(change, copy, hints);
        return !ours || discardFile(change.copy) ? AS_BEFORE : failed(change.copy);
    }
    if (!isMade(change, now)) return changed(change.file);
    const WidePath from(change.copy);
    const WidePath to(change.file);
    const bool done = copyIsGood && from.fits() && to.fits() && platform::putBack(from.text(), to.text());
    return done ? BACK : failed(change.file);
}

Undone undoAdd(const JournalLine& line, const UndoHints& hints) {
    const FileState now = stateOfFile(line.texts[0]);
    if (!now.exists) return AS_BEFORE;
    if (now.isLink || !now.isFile || (!hints.mayBePart && !same(now, line.states[0])))
        return changed(line.texts[0]);
    return discardFile(line.texts[0]) ? BACK : failed(line.texts[0]);
}

// Gives what was moved over the file its own name again, before the file gets its old content back.
bool giveNameBack(const JournalLine& line, const UndoHints& hints) {
    const char* older = line.texts[1];
    const char* file = line.texts[2];
    const FileState& moved = line.states[1];
    const FileState now = stateOfFile(file);
    const FileState name = stateOfFile(older);
    const FileState copy = stateOfFile(line.texts[0]);
    // A run that undid itself has exchanged the two. Where they are alike, the host's number has to say so.
    const bool isExchanged = same(moved, line.states[0]) ? copy.id != 0 && copy.id == moved.id
                                                         : copy.id == 0 || copy.id != line.states[0].id;
    if (isExchanged && !name.exists && same(copy, moved) && (same(now, line.states[0]) || !now.exists)) {
        const WidePath saved(line.texts[0]);
        const WidePath to(older);
        return saved.fits() && to.fits() && platform::putBack(saved.text(), to.text());
    }
    const bool isPart = name.isFile && hints.mayBePart && !same(name, moved);
    if ((name.exists && !isPart) || !same(now, moved)) return true;
    if (line.states[0].exists && now.id != 0 && now.id == line.states[0].id) return true;
    const WidePath from(file);
    const WidePath to(older);
    if (!from.fits() || !to.fits() || (isPart && !discardFile(older))) return false;
    return platform::duplicate(from.text(), to.text());
}

Undone undoRestore(const JournalLine& line, const UndoHints& hints) {
    if (!giveNameBack(line, hints)) return failed(line.texts[1]);
    return undoChange({line.texts[0], line.texts[2], &line.states[0], &line.states[1], hints.mayBePart},
                      hints);
}

// Where a run that undid itself could not tell of an exchange, the copy holds what the file is not to hold.
Undone undoSwap(const JournalLine& line) {
    const char* copy = line.texts[0];
    const char* file = line.texts[1];
    const FileState now = stateOfFile(file);
    const FileState other = stateOfFile(copy);
    if (!same(now, line.states[1]) || !same(other, line.states[0])) return AS_BEFORE;
    // A host without numbers exchanges nothing.
    if (now.id == 0 || now.id == line.states[0].id) return AS_BEFORE;
    const WidePath from(copy);
    const WidePath to(file);
    return from.fits() && to.fits() && platform::exchangeBack(from.text(), to.text()) ? BACK : failed(file);
}

Undone undoPut(const JournalLine& line, const UndoHints& hints) {
    return undoChange({line.texts[0], line.texts[1], &line.states[0], &hints.made, !hints.made.exists},
                      hints);
}

bool isLink(const char* path) {
    return stateOfFile(path).isLink;
}

// When it cannot be told at first, it is asked once more.
bool isThereAsDirectory(const char* path) {
    bool known = true;
    const bool is = isDirectory(path, &known);
    return (known ? is : isDirectory(path)) && !isLink(path);
}

Undone undoDirectory(const char* path) {
    if (!isThereAsDirectory(path)) return AS_BEFORE;
    const WidePath wide(path);
    // Whatever fails in passing is worth another try.
    if (wide.fits() && (RemoveDirectoryW(wide.text()) != FALSE || RemoveDirectoryW(wide.text()) != FALSE))
        return AS_BEFORE;
    UPDATER_INFO(6, "recovery: directory %s stays.", path);
    return AS_BEFORE;
}

bool removeAll(const ByteString& directory) {
    DirListing listing((directory + "\\").cStr());
    bool done = true;
    while (listing.hasNext()) {
        const ByteString entry = listing.nextPath();
        const bool isTree = listing.lastIsDirectory() && !isLink(entry.cStr());
        done = (isTree ? removeAll(entry) : discardFile(entry.cStr())) && done;
    }
    const WidePath wide(directory.cStr());
    return done && wide.fits() && RemoveDirectoryW(wide.text()) != FALSE;
}

Undone undoTree(const char* path) {
    if (!isThereAsDirectory(path) || removeAll(ByteString(path))) return AS_BEFORE;
    return failed(path);
}

}  // namespace

Undone undoLine(const JournalLine& line, const UndoHints& hints) {
    switch (line.kind) {
        case LineKind::DIRECTORY:
            return undoDirectory(line.texts[0]);
        case LineKind::TREE:
            return undoTree(line.texts[0]);
        case LineKind::ADD:
            return undoAdd(line, hints);
        case LineKind::WRITE:
            return undoChange(
                {line.texts[0], line.texts[1], &line.states[0], &line.states[1], hints.mayBePart}, hints);
        case LineKind::REMOVE:
            return undoChange({line.texts[0], line.texts[1], &line.states[0], nullptr, false}, hints);
        case LineKind::RESTORE:
            return undoRestore(line, hints);
        case LineKind::SWAP:
            return undoSwap(line);
        case LineKind::PUT:
            return undoPut(line, hints);
        default:
            return AS_BEFORE;
    }
}

}  // namespace ovpatch
