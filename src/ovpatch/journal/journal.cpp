#include "ovpatch/journal/journal.h"

#include "fileops/make_directory.h"
#include "fileops/paths.h"
#include "fileops/wide_path.h"
#include "foundation/patch_session.h"
#include "ovpatch/journal/drops.h"
#include "ovpatch/journal/keeper.h"
#include "ovpatch/log_lines.h"
#include "platform/durability.h"

namespace ovpatch {

namespace {

constexpr std::uint64_t ROOM_AT_ONCE = std::uint64_t{64} * 1024;
constexpr std::int32_t PATH_LIMIT = 260;

bool tellDirectory(const char* path) {
    return journal().directory(path);
}

}  // namespace

Journal& journal() {
    static Journal journal;
    return journal;
}

void Journal::prepare(const char* baseDirectory) {
    char path[PATH_LIMIT];
    char result[PATH_LIMIT];
    // A run whose result cannot be told would count as cut off for ever.
    wanted_ = patchSession().recovery != 0 &&
              CatURIWithFile(path, PATH_LIMIT, baseDirectory, JOURNAL_NAME) == 0 &&
              CatURIWithFile(result, PATH_LIMIT, baseDirectory, "OV_Temp\\OvResult.ini") == 0;
    if (!wanted_) return;
    path_.assign(path);
    watchDirectories(tellDirectory);
    platform::setFileFlush(patchSession().flush >= FLUSH_EACH_STEP);
}

bool Journal::writeHead() {
    JournalHead head;
    head.process = GetCurrentProcessId();
    if (!platform::workingDirectory(head.workingDirectory, sizeof head.workingDirectory)) return false;
    const std::size_t length = formatHead(head, line_);
    return length != 0 && append(line_, length);
}

bool Journal::begin() {
    if (!wanted_ || isOpen()) return true;
    const WidePath path(path_.cStr());
    if (!path.fits()) {
        goWithout();
        return true;
    }
    switch (file_.create(path.text())) {
        case platform::LockedFile::Outcome::HELD:
            break;
        case platform::LockedFile::Outcome::TAKEN:
            return false;
        default:
            goWithout();
            return true;
    }
    if (!writeHead()) {
        file_.remove(path.text());
        goWithout();
    } else if (patchSession().flush >= FLUSH_EACH_STEP) {
        platform::flushNames(path.text());
    }
    return true;
}

void Journal::goWithout() {
    UPDATER_ERROR(9, "journal: %s cannot be made, the run goes on without it.", path_.cStr());
    release();
}

void Journal::release() {
    wanted_ = false;
    watchDirectories(nullptr);
    platform::setFileFlush(false);
    file_.release();
}

bool Journal::append(const char* bytes, std::size_t length) {
    const bool flushes = patchSession().flush >= FLUSH_EACH_STEP;
    if (length > LONGEST_JOURNAL - file_.size()) return false;
    // On a full disk a run undoes itself, which takes about as many lines again.
    if (2 * file_.size() + length > reserved_) {
        reserved_ = 2 * file_.size() + ROOM_AT_ONCE;
        file_.reserve(reserved_);
    }
    if (flushes) return file_.append(bytes, length) && file_.flush();
    // Zero bytes alone would not be a journal.
    return file_.size() == 0 ? file_.append(bytes, length) : file_.appendLines(bytes, length);
}

bool Journal::tell(const JournalLine& line) {
    if (!begin()) goWithout();
    if (!wanted_) return true;
    const std::size_t length = formatLine(line, line_);
    if (length != 0 && append(line_, length)) return true;
    if (!told_) UPDATER_ERROR(9, "journal: %s cannot be written.", path_.cStr());
    told_ = true;
    return false;
}

bool Journal::directory(const char* path) {
    return tell({LineKind::DIRECTORY, {}, {path}, 0});
}

bool Journal::tree(const char* path) {
    if (!tell({LineKind::TREE, {}, {path}, 0})) return false;
    return trees_.add(ByteString(path)) != 0;
}

bool Journal::isTree(const char* path) const {
    for (std::uint32_t i = 0; i < trees_.stringCount(); ++i)
        if (trees_.stringAt(i)->compare(path) == 0) return true;
    return false;
}

bool Journal::add(const platform::FileState& source, const char* file) {
    return tell({LineKind::ADD, {source}, {file}, 0});
}

bool Journal::change(const FileChange& change, const char* copy) {
    if (!wanted_) return true;
    if (change.old.isUnknown || change.made.isUnknown) {
        UPDATER_ERROR(9, "journal: what %s is cannot be told.", change.file);
        return false;
    }
    if (change.kind == LineKind::RESTORE)
        return tell({change.kind, {change.old, change.made}, {copy, change.older, change.file}, 0});
    return tell({change.kind, {change.old, change.made}, {copy, change.file}, 0});
}

bool Journal::nothing() {
    return !isOpen() || tell({LineKind::NOTHING, {}, {}, 0});
}

bool Journal::beginPut(const char* file) {
    if (!wanted_) return true;
    const platform::FileState old = stateOfFile(file);
    // What cannot be kept must not be written, and what is no file is not.
    if (old.isUnknown) return false;
    if (old.exists && !old.isFile) return true;
    char keeper[JOURNAL_PATH_SIZE];
    if (!keeperName(file, keeper, sizeof keeper)) return false;
    if (!tell({LineKind::PUT, {old}, {keeper, file}, 0})) return false;
    if (!wanted_ || !old.exists) return true;
    const WidePath from(file);
    const WidePath to(keeper);
    if (!from.fits() || !to.fits() || !platform::duplicate(from.text(), to.text())) return false;
    secure(keeper);
    return drop(keeper);
}

void Journal::endPut(const char* file) {
    if (!isOpen()) return;
    // Where files are written in place, the disk must hold what the line tells.
    if (platform::canLeaveParts()) secure(file);
    const platform::FileState made = stateOfFile(file);
    if (made.exists && !made.isUnknown) tell({LineKind::MADE, {made}, {file}, 0});
}

void Journal::secure(const char* copy) const {
    const WidePath path(copy);
    if (isOpen() && patchSession().flush >= FLUSH_EACH_STEP && path.fits()) platform::flushNames(path.text());
}

bool Journal::putOff(LineKind kind, const char* path) {
    if (!isOpen()) return false;
    const std::size_t length = formatLine({kind, {}, {path}, 0}, line_);
    if (length == 0) return false;
    line_[length] = '\0';
    drops_.append(line_);
    return true;
}

bool Journal::drop(const char* file) {
    return putOff(LineKind::DROP, file);
}

bool Journal::dropTree(const char* directory) {
    return putOff(LineKind::DROP_TREE, directory);
}

void Journal::beginResult(std::int32_t result, const platform::FileState& resultFile) {
    append(drops_.cStr(), drops_.length());
    if (patchSession().flush >= FLUSH_AT_END) platform::flushFileSystems();
    tell({LineKind::RESULT, {resultFile}, {}, result});
}

void Journal::finish(bool written) {
    if (!written) {
        release();
        return;
    }
    tell({LineKind::DONE, {}, {}, 0});
    doDrops(drops_);
    const WidePath path(path_.cStr());
    if (!path.fits() || (!file_.remove(path.text()) && !file_.remove(path.text())))
        UPDATER_ERROR(9, "journal: %s cannot be removed.", path_.cStr());
    release();
}

}  // namespace ovpatch
