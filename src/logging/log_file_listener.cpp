#include "logging/log_file_listener.h"

#include <cstdio>

#include "fileops/paths.h"
#include "foundation/patch_session.h"
#include "logging/log_file.h"
#include "logging/log_settings.h"

namespace ovpatch {

namespace {

constexpr std::int32_t FILE_NAME_LIMIT = 1024;

void writeToFile(const char* text, bool html) {
    char fileName[FILE_NAME_LIMIT];
    const char* name = html ? "OV_Log\\KxuDump.htm" : "OV_Log\\KxuDump.txt";
    if (CatURIWithFile(fileName, FILE_NAME_LIMIT, patchSession().baseDirectory, name) != 0) return;
    writeLogRecord(fileName, text);
}

}  // namespace

std::int32_t LogFileListener::handle(LogEvent* event) {
    const LogSettings& settings = logSettings();
    if (event->level() < settings.level) return 0;
    if (settings.mode == LOG_MODE_STANDARD_OUTPUT) {
        std::printf("%s\n", event->text());
    } else if (settings.mode == LOG_MODE_FILE) {
        writeToFile(event->text(), settings.html);
    }
    return 0;
}

}  // namespace ovpatch
