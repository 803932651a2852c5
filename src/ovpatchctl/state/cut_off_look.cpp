#include "ovpatchctl/state/cut_off_look.h"

#include <algorithm>
#include <memory>
#include <optional>

#include "fileops/dir_listing.h"
#include "fileops/wide_path.h"
#include "ovpatch/journal/journal_line.h"
#include "ovpatch/journal/keeper.h"
#include "ovpatch/recovery/result_check.h"
#include "ovpatchctl/files/base_directory.h"
#include "ovpatchctl/files/read_file.h"
#include "ovpatchctl/state/run_lock.h"
#include "platform/lock_probe.h"

namespace ovpatch::ctl {

namespace {

// Whether the last line of the journal says that its run has told its result.
bool hasToldResult(const std::string& text, const std::string& base) {
    const std::size_t end = text.rfind('\n');
    const std::size_t start = end == 0 ? std::string::npos : text.rfind('\n', end - 1);
    if (start == std::string::npos) return false;
    const auto last = std::make_unique<ReadJournalLine>();
    if (!parseLine(text.data() + start + 1, end - start - 1, last.get())) return false;
    if (last->line.kind == LineKind::DONE) return true;
    char path[MAX_PATH];
    return last->line.kind == LineKind::RESULT && resultPath(base.c_str(), path) &&
           isResultTold(path, last->line.states[0], last->line.result);
}

void readJournal(const std::string& base, JournalLook* look) {
    std::string text;
    look->state = JournalState::UNKNOWN;
    if (readFile(look->path, &text) != FileReading::DONE) return;
    const std::size_t lines = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
    const auto head = std::make_unique<JournalHead>();
    if (lines == 0) {
        // It was cut off before it did anything.
        if (isHeadStart(text.data(), text.size())) look->state = JournalState::CUT_OFF;
        return;
    }
    if (parseHead(text.data(), text.find('\n'), head.get()) != HeadReading::KNOWN) return;
    look->process = head->process;
    look->changes = lines - 1;
    look->state = hasToldResult(text, base) ? JournalState::TIDYING_LEFT : JournalState::CUT_OFF;
}

}  // namespace

JournalLook lookForCutOffRun(const std::string& base, LockHolder holder) {
    JournalLook look;
    look.path = belowBase(base, JOURNAL_NAME);
    if (look.path.empty()) return look;
    DirListing aside((look.path + ".old*").c_str());
    while (aside.hasNext()) {
        const ByteString path = aside.nextPath();
        if (!aside.lastIsDirectory()) look.keptAside.emplace_back(path.cStr());
    }
    const platform::FileState state = stateOfFile(look.path.c_str());
    if (!state.exists) return look;
    std::optional<RunLock> lock;
    if (holder == LockHolder::NOBODY) lock.emplace();
    const WidePath wide(look.path.c_str());
    if ((lock && !lock->isHeld()) || !wide.fits() || platform::isHeldElsewhere(wide.text()))
        look.state = JournalState::AT_WORK;
    else if (!state.isFile || state.isLink)
        look.state = JournalState::UNKNOWN;
    else
        readJournal(base, &look);
    return look;
}

}  // namespace ovpatch::ctl
