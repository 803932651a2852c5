// One run of a log, as it is told.
#ifndef OVPATCH_OVPATCHCTL_LOG_TOLD_RUN_H
#define OVPATCH_OVPATCHCTL_LOG_TOLD_RUN_H

#include <string>

#include "ovpatchctl/log/log_runs.h"
#include "ovpatchctl/report/report.h"

namespace ovpatch::ctl {

// "update", "rollback", "no action", "action unknown".
std::string actionWord(RunAction action);

// What became of a run, in a few words: "done", "result 60: the agent said no", "no end".
std::string outcomeWords(const LogRun& run, const Diagnosis& diagnosis, bool isTerse);

// Tells cause and advice, a line each: the record, what it means, when another try makes sense. Nothing for a
// run that was done.
void tellCause(const LogRun& run, const Diagnosis& diagnosis, Report& report);

// The same for the document: "cause", null or an object, and "advice", null or a text.
void putCause(const LogRun& run, const Diagnosis& diagnosis, Json* out);

// Tells the records, each error with its meaning where that is known. `errorsOnly` leaves out the others.
void tellRecords(const LogRun& run, const Diagnosis& diagnosis, bool errorsOnly, Report& report);
Json recordsAsJson(const LogRun& run, const Diagnosis& diagnosis, bool errorsOnly);

}  // namespace ovpatch::ctl

#endif
