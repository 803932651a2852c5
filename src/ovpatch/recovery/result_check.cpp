#include "ovpatch/recovery/result_check.h"

#include <cstring>

#include "fileops/paths.h"
#include "foundation/bounded.h"
#include "ini/kx_ini_util.h"
#include "ovpatch/journal/keeper.h"

namespace ovpatch {

namespace {

constexpr std::int32_t RESULT_PATH_SIZE = 260;

bool isWritten(const char* resultFile, const platform::FileState& old, const char* text) {
    const platform::FileState now = stateOfFile(resultFile);
    if (!now.isFile || isUntouched(old, now)) return false;
    KxIniUtil document(resultFile, ';', false);
    document.setReadOnly();
    const char* value = document.getValue(nullptr, "result");
    return value != nullptr && std::strcmp(value, text) == 0;
}

}  // namespace

bool isUntouched(const platform::FileState& old, const platform::FileState& now) {
    return old.exists && old.size == now.size && old.seconds == now.seconds &&
           old.nanoseconds == now.nanoseconds && old.id == now.id;
}

bool resultPath(const char* baseDirectory, char* out) {
    return CatURIWithFile(out, RESULT_PATH_SIZE, baseDirectory, "OV_Temp\\OvResult.ini") == 0;
}

bool isResultTold(const char* resultFile, const platform::FileState& old, std::int32_t result) {
    char text[16];
    boundedSnprintf(text, sizeof text, "%d", result);
    bool told = isWritten(resultFile, old, text);
    // What failed in passing is there at the second try.
    if (!told) told = isWritten(resultFile, old, text);
    return told;
}

}  // namespace ovpatch
