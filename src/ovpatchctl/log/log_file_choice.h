// Which log of a base directory to read.
#ifndef OVPATCH_OVPATCHCTL_LOG_LOG_FILE_CHOICE_H
#define OVPATCH_OVPATCHCTL_LOG_LOG_FILE_CHOICE_H

#include <string>

namespace ovpatch::ctl {

struct ReadLog {
    std::string path;  // empty when there is none
    std::string text;
};

// Reads the log that the settings of the opened base name (base_directory.h), or where that is missing, the
// one of the other format. Throws a Failure of EXIT_NO_INPUT when it cannot be read.
ReadLog readLog(const std::string& base);

// Why runs of that base leave no log, or one of which a run cannot be told: a sentence; empty when they leave
// one.
std::string whyNoLog();

// Whether the settings leave out the records that tell beginnings and ends.
bool isTerse();

}  // namespace ovpatch::ctl

#endif
