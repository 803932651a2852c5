#include "ovpatchctl/log/log_file_choice.h"

#include "logging/log_settings.h"
#include "ovpatchctl/files/base_directory.h"
#include "ovpatchctl/files/read_file.h"
#include "ovpatchctl/report/exit_status.h"
#include "ovpatchctl/report/texts.h"

namespace ovpatch::ctl {

namespace {

constexpr char PLAIN[] = "OV_Log\\KxuDump.txt";
constexpr char HTML[] = "OV_Log\\KxuDump.htm";
constexpr std::int32_t ORDINARY_LEVEL = 6;
constexpr std::int32_t HIGHEST_LEVEL = 9;

}  // namespace

ReadLog readLog(const std::string& base) {
    const bool html = logSettings().html;
    for (const char* name : {html ? HTML : PLAIN, html ? PLAIN : HTML}) {
        ReadLog log;
        log.path = belowBase(base, name);
        const FileReading reading = log.path.empty() ? FileReading::MISSING : readFile(log.path, &log.text);
        if (reading == FileReading::DONE) return log;
        if (reading == FileReading::UNREADABLE)
            throw Failure(EXIT_NO_INPUT, "the log cannot be read: " + shown(log.path));
    }
    return {};
}

std::string whyNoLog() {
    const LogSettings& settings = logSettings();
    if (settings.mode != LOG_MODE_FILE)
        return "ovcfg.ini sends the log elsewhere (log_mode=" + std::to_string(settings.mode) + ").";
    if (settings.level > HIGHEST_LEVEL)
        return "ovcfg.ini keeps all records back (Level=" + std::to_string(settings.level) + ").";
    return "";
}

bool isTerse() {
    return logSettings().level > ORDINARY_LEVEL;
}

}  // namespace ovpatch::ctl
