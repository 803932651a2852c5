#include "ovpatch/rollback/undo_journal.h"

#include "fileops/wide_path.h"
#include "ovpatch/journal/journal.h"
#include "ovpatch/journal/keeper.h"

namespace ovpatch {

namespace {

// Tells the change and makes the copy that it names, beside `stem`.
void keep(const FileChange& change, const char* stem) {
    char keeper[JOURNAL_PATH_SIZE];
    if (!keeperName(stem, keeper, sizeof keeper) || !journal().change(change, keeper)) return;
    if (!change.old.exists) return;
    const WidePath file(change.file);
    const WidePath copy(keeper);
    if (file.fits() && copy.fits() && platform::duplicate(file.text(), copy.text()) && journal().drop(keeper))
        journal().secure(keeper);
    else
        journal().nothing();
}

}  // namespace

void keepRemoved(const char* file) {
    if (!journal().isOpen()) return;
    const platform::FileState state = stateOfFile(file);
    if (state.isFile && !state.isLink) keep({LineKind::REMOVE, state, {}, nullptr, file}, file);
}

void keepReplaced(const char* copy, const char* file) {
    if (!journal().isOpen()) return;
    const platform::FileState saved = stateOfFile(copy);
    const platform::FileState state = stateOfFile(file);
    // Where the copy is but another name of the file, only that name goes.
    const bool isOne = state.id != 0 && state.id == saved.id && state.device == saved.device;
    if (saved.isFile && (state.isFile || !state.exists) && !isOne)
        keep({LineKind::RESTORE, state, saved, copy, file}, copy);
}

bool exchangeTold(const char* copy, const char* file) {
    if (!journal().isOpen()) return false;
    const WidePath from(copy);
    const WidePath to(file);
    const platform::FileState saved = stateOfFile(copy);
    const platform::FileState state = stateOfFile(file);
    if (!saved.isFile || !state.isFile || !from.fits() || !to.fits()) return false;
    // Without the line most of it can be undone still.
    const bool isTold = journal().change({LineKind::SWAP, state, saved, nullptr, file}, copy);
    if (platform::exchangeFiles(from.text(), to.text())) return journal().drop(copy);
    if (isTold) journal().nothing();
    return false;
}

}  // namespace ovpatch
