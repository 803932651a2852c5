#include "ovpatch/runner/run_session.h"

#include <memory>
#include <new>

#include "fileops/paths.h"
#include "fileops/wide_path.h"
#include "foundation/bounded.h"
#include "foundation/patch_session.h"
#include "ini/kx_ini_util.h"
#include "logging/logger.h"
#include "ovpatch/journal/journal.h"
#include "ovpatch/journal/keeper.h"
#include "ovpatch/ledger/backup_paths.h"
#include "ovpatch/log_lines.h"
#include "ovpatch/manifest/number_text.h"
#include "ovpatch/recovery/cut_off_run.h"
#include "ovpatch/recovery/result_check.h"
#include "ovpatch/result_codes.h"
#include "ovpatch/runner/drivers.h"
#include "ovpatch/runner/result_file.h"

namespace ovpatch {

namespace {

constexpr char COMMON[] = "common";
constexpr char MANIFEST[] = "OV_Temp\\OvPatch.ini";
constexpr int MOST_TRIES = 100;
constexpr std::int32_t EXIT_RUN = 0;
constexpr std::int32_t EXIT_NOT_LOGGED = 1;

// A longer value is not an error: what fits is kept.
template <std::size_t N>
void readLibraryName(KxIniUtil& manifest, const char* key, char (&field)[N]) {
    const char* value = manifest.getValue(COMMON, key);
    if (value != nullptr) boundedStrncpy(field, ByteString(value).substr(0, N - 1).cStr(), N);
}

std::int32_t dispatch(KxIniUtil& manifest) {
    const char* action = manifest.getValue(COMMON, "action");
    if (action == nullptr) {
        UPDATER_ERROR(6, "OvPatch fetch (common:action) failed.");
        return RESULT_NO_ACTION;
    }
    UPDATER_INFO(6, "OvPatch action ready.");
    switch (readDecimal(action)) {
        case 0:
            UPDATER_INFO(6, "OvPatch action update.");
            return update(manifest);
        case 1:
            UPDATER_INFO(6, "OvPatch Action rollback.");
            return rollback(manifest);
        case 2:
            UPDATER_INFO(6, "OvPatch Action rollback.");
            return RESULT_DONE;
        default:
            UPDATER_ERROR(6, "OvPatch Unknown action.");
            return RESULT_NO_ACTION;
    }
}

// From the opening of the manifest to its closing.
std::int32_t runAction(const char* baseDirectory) {
    char path[PATH_SIZE];
    if (CatURIWithFile(path, sizeof path, baseDirectory, MANIFEST) != 0) {
        UPDATER_ERROR(9, "OvPatch: CatURIWithFile: failed.");
        return RESULT_NO_ACTION;
    }
    const std::unique_ptr<KxIniUtil> manifest(new (std::nothrow) KxIniUtil(path, ';', false));
    if (manifest == nullptr) {
        UPDATER_ERROR(6, "OvPatch: KxIniUtil failed.");
        return RESULT_NO_ACTION;
    }
    if (manifest->isUnreadable()) UPDATER_ERROR(9, "OvPatch: %s cannot be read.", path);
    readLibraryName(*manifest, "OVLib", patchSession().ovLib);
    readLibraryName(*manifest, "SavLib", patchSession().savLib);
    readLibraryName(*manifest, "RstLib", patchSession().rstLib);
    return dispatch(*manifest);
}

// A run without changes has no journal, and can be cut off while it tells its result.
void tidyResult(const char* baseDirectory) {
    char path[PATH_SIZE];
    const WidePath result(resultPath(baseDirectory, path) ? path : nullptr);
    if (result.fits()) platform::tidyReplacement(result.text(), 0);
}

// A journal that another process makes in between is waited for.
void openJournal(const char* baseDirectory, bool alone) {
    if (!alone) UPDATER_ERROR(9, "OvPatch: the lock cannot be had, the run is not alone.");
    putCutOffRunRight(baseDirectory);
    if (alone && patchSession().recovery != 0) tidyResult(baseDirectory);
    journal().prepare(baseDirectory);
    if (alone) return;
    for (int tries = 0; tries < MOST_TRIES && !journal().begin(); ++tries)
        putCutOffRunRight(baseDirectory);
}

// Until the result stands in its file the run counts as cut off.
void endRun(const char* baseDirectory, std::int32_t result) {
    if (!journal().isOpen()) {
        writeResult(baseDirectory, result);
        return;
    }
    char path[PATH_SIZE];
    resultPath(baseDirectory, path);
    const platform::FileState old = stateOfFile(path);
    journal().beginResult(result, old);
    writeResult(baseDirectory, result);
    journal().secure(path);
    journal().finish(isResultTold(path, old, result));
}

}  // namespace

std::int32_t runPatchSession(const char* baseDirectory, bool alone) {
    std::int32_t result = RESULT_NO_ACTION;
    std::int32_t exitValue = EXIT_NOT_LOGGED;
    std::unique_ptr<Logger> logger;
    PatchSession& session = patchSession();
    const bool fits =
        boundedStrncpy(session.baseDirectory, baseDirectory, sizeof session.baseDirectory) != nullptr;
    if (fits) logger.reset(new (std::nothrow) Logger(baseDirectory));
    if (logger != nullptr) {
        logger->start();
        exitValue = EXIT_RUN;
        openJournal(baseDirectory, alone);
        result = runAction(baseDirectory);
    } else if (fits) {
        // The result goes where one may stand that tells of a run that was cut off right after it.
        putCutOffRunRight(baseDirectory);
    }
    endRun(baseDirectory, result);
    if (logger != nullptr) {
        logger->stop();
        logger.reset();
    }
    // Nobody listens any more; the line marks the end for whoever attaches a listener of their own.
    UPDATER_INFO(6, "OvPatch end.");
    return exitValue;
}

}  // namespace ovpatch
