// Turns the log on and off.
#ifndef OVPATCH_LOGGING_LOGGER_H
#define OVPATCH_LOGGING_LOGGER_H

#include "logging/log_file_listener.h"

namespace ovpatch {

// Reads the configuration when it is made. The base directory of the session must be set by then; start and
// the records use that one.
class Logger {
public:
    // Reads `ovcfg.ini` in `baseDirectory`: the log's settings, the code page and the extract limit of the
    // session. A missing file or key means the default, and so does a file that cannot be read, which start
    // then tells in the log; without a `code_page` that begins with
    // a digit the code page stays as it is.
    explicit Logger(const char* baseDirectory);
    ~Logger();
    Logger(const Logger&) = delete;
    Logger& operator=(const Logger&) = delete;

    // Makes the log's directory if the settings want one, and attaches the listeners. To be called once.
    void start();

    // Detaches and destroys the listeners. A second call does nothing.
    void stop();

private:
    bool isUnreadable_ = false;  // the settings file
    LogFileListener* errorListener_ = nullptr;
    LogFileListener* infoListener_ = nullptr;
};

}  // namespace ovpatch

#endif
