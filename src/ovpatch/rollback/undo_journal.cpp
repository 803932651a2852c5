#include "ovpatch/rollback/undo_journal.h"

#include "fileops/wide_path.h"
#include "ovpatch/journal/journal.h"
#include "ovpatch/journal/keeper.h"

namespace ovpatch {

void keepReplaced(const char* copy, const char* file) {
    if (!journal().isOpen()) return;
    const platform::FileState saved = stateOfFile(copy);
    const platform::FileState state = stateOfFile(file);
    // Where the copy is but another name of the file, only that name goes.
    const bool isOne = state.id != 0 && state.id == saved.id && state.device == saved.device;
    char keeper[JOURNAL_PATH_SIZE];
    if (!saved.isFile || (state.exists && !state.isFile) || isOne ||
        !keeperName(copy, keeper, sizeof keeper) ||
        !journal().change({LineKind::RESTORE, state, saved, copy, file}, keeper) || !state.exists)
        return;
    const WidePath kept(file);
    const WidePath to(keeper);
    if (kept.fits() && to.fits() && platform::duplicate(kept.text(), to.text()) && journal().drop(keeper))
        journal().secure(keeper);
    else
        journal().nothing();
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
