#include "ovpatchctl/files/base_directory.h"

#include "fileops/file_tests.h"
#include "fileops/paths.h"
#include "logging/logger.h"
#include "ovpatchctl/report/exit_status.h"
#include "ovpatchctl/report/texts.h"
#include "platform/platform.h"

namespace ovpatch::ctl {

void openBase(const std::string& base) {
    if (base.size() >= MAX_PATH)
        throw Failure(EXIT_NO_INPUT, "the base directory is longer than 259 bytes: " + shown(base));
    if (!isDirectory(base.c_str())) throw Failure(EXIT_NO_INPUT, "no such directory: " + shown(base));
    // Not started, it logs nothing.
    const Logger settings(base.c_str());
}

std::string belowBase(const std::string& base, const char* name) {
    char path[MAX_PATH];
    return CatURIWithFile(path, sizeof path, base.c_str(), name) == 0 ? path : "";
}

}  // namespace ovpatch::ctl
