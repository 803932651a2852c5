#include "logging/logger.h"

#include <cstdlib>
#include <new>

#include "fileops/code_page.h"
#include "fileops/look_failure.h"
#include "fileops/make_directory.h"
#include "fileops/paths.h"
#include "foundation/patch_session.h"
#include "ini/kx_ini_util.h"
#include "logging/log_file.h"
#include "logging/log_line.h"
#include "logging/log_settings.h"

namespace ovpatch {

namespace {

constexpr std::int32_t SETTINGS_PATH_LIMIT = 260;
constexpr std::int32_t DIRECTORY_PATH_LIMIT = 1024;
constexpr std::uint32_t DEFAULT_EXTRACT_LIMIT = 0x40000000;  // 1024 MiB
constexpr std::int32_t DEFAULT_RECOVERY = 1;
constexpr std::int32_t DEFAULT_FLUSH = FLUSH_AT_END;
constexpr std::uint32_t MEBIBYTE_SHIFT = 20;

std::int32_t numberOr(const char* value, std::int32_t absent) {
    return value == nullptr ? absent : static_cast<std::int32_t>(std::atoi(value));
}

// The keys of the head section count only with a digit in front.
bool beginsWithDigit(const char* value) {
    return value != nullptr && *value >= '0' && *value <= '9';
}

void readLogSettings(const KxIniUtil& document) {
    LogSettings& settings = logSettings();
    settings = LogSettings();
    settings.level = numberOr(document.getValue("Debug", "Level"), settings.level);
    settings.mode = numberOr(document.getValue("Debug", "log_mode"), settings.mode);
    settings.html = numberOr(document.getValue("Debug", "html"), 0) == 1 && settings.mode == LOG_MODE_FILE;
    setLogHtml(settings.html);
}

void readHeadSection(const KxIniUtil& document) {
    const char* codePage = document.getValue(nullptr, "code_page");
    if (beginsWithDigit(codePage)) setCodePage(static_cast<std::uint32_t>(std::atoi(codePage)));

    const char* limit = document.getValue(nullptr, "extract_limit_size");
    patchSession().extractLimit = beginsWithDigit(limit)
                                      ? static_cast<std::uint32_t>(std::atoi(limit)) << MEBIBYTE_SHIFT
                                      : DEFAULT_EXTRACT_LIMIT;

    const char* recovery = document.getValue(nullptr, "recovery");
    patchSession().recovery = beginsWithDigit(recovery) ? std::atoi(recovery) : DEFAULT_RECOVERY;
    const char* flush = document.getValue(nullptr, "flush");
    patchSession().flush = beginsWithDigit(flush) ? std::atoi(flush) : DEFAULT_FLUSH;
}

// The operations on files stand below the log.
void logLookFailure(const char* path, std::uint32_t number) {
    OVPATCH_LOG_ERROR("kxovupdater", 9, "OvPatch: %s cannot be read, error %u.", path, number);
}

// Detaches a listener, destroys it and clears the pointer to it; null stays as it is.
void retire(LogFileListener*& listener, void (*detach)(const LogListener*)) {
    if (listener == nullptr) return;
    detach(listener);
    delete listener;
    listener = nullptr;
}

}  // namespace

Logger::Logger(const char* baseDirectory) {
    char path[SETTINGS_PATH_LIMIT];
    // A path that does not fit names no file.
    if (CatURIWithFile(path, SETTINGS_PATH_LIMIT, baseDirectory, "ovcfg.ini") != 0) path[0] = '\0';
    KxIniUtil document(path, ';', false);
    document.setReadOnly();
    isUnreadable_ = document.isUnreadable();
    readLogSettings(document);
    readHeadSection(document);
}

Logger::~Logger() {
    stop();
}

void Logger::start() {
    const LogSettings& settings = logSettings();
    if (settings.mode == LOG_MODE_FILE || settings.mode == LOG_MODE_DIRECTORY_ONLY) {
        char path[DIRECTORY_PATH_LIMIT];
        if (CatURIWithFile(path, DIRECTORY_PATH_LIMIT, patchSession().baseDirectory, "OV_Log") == 0) {
            makeDirectory(path, nullptr, nullptr);
        }
    }
    errorListener_ = new (std::nothrow) LogFileListener;
    infoListener_ = new (std::nothrow) LogFileListener;
    if (errorListener_ != nullptr) attachErrorListener(errorListener_, settings.level);
    if (infoListener_ != nullptr) attachInfoListener(infoListener_, settings.level);
    setLookFailureListener(logLookFailure);
    if (isUnreadable_) OVPATCH_LOG_ERROR("kxovupdater", 9, "OvPatch: ovcfg.ini cannot be read.");
}

void Logger::stop() {
    setLookFailureListener(nullptr);
    retire(errorListener_, detachErrorListener);
    retire(infoListener_, detachInfoListener);
    closeLogFile();
}

}  // namespace ovpatch
