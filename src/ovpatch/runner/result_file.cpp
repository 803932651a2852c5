#include "ovpatch/runner/result_file.h"

#include "fileops/paths.h"
#include "foundation/bounded.h"
#include "ini/kx_ini_util.h"
#include "ovpatch/ledger/backup_paths.h"
#include "ovpatch/log_lines.h"

namespace ovpatch {

void writeResult(const char* baseDirectory, std::int32_t result) {
    UPDATER_INFO(6, "writeResult: start.");
    char path[PATH_SIZE];
    if (CatURIWithFile(path, sizeof path, baseDirectory, "OV_Temp\\OvResult.ini") == 0) {
        KxIniUtil document(path, ';', false);
        char text[64];
        boundedSnprintf(text, sizeof text, "%d", result);
        document.deleteValue(nullptr, "result");
        document.addValue(nullptr, "result", text);
        // The result counts for more than what else the file may have held.
        if (document.isUnreadable()) document.save();
    }
    UPDATER_INFO(6, "writeResult: done.");
}

}  // namespace ovpatch
