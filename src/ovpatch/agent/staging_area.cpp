#include "ovpatch/agent/staging_area.h"

#include "fileops/file_tests.h"
#include "fileops/make_directory.h"
#include "ovpatch/journal/journal.h"

namespace ovpatch {

bool openStagingArea(const char* directory) {
    if (!journal().isKept() || journal().isTree(directory)) return true;
    if (isDirectory(directory)) return true;
    // One that cannot be made is no area, and nothing will be put there.
    return makeDirectory(directory, nullptr, nullptr) != 0 || journal().tree(directory);
}

bool beginStaged(const char* directory, const char* file) {
    return journal().isTree(directory) || journal().beginPut(file);
}

void endStaged(const char* directory, const char* file) {
    if (!journal().isTree(directory)) journal().endPut(file);
}

}  // namespace ovpatch
