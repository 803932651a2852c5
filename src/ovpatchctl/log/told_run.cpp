#include "ovpatchctl/log/told_run.h"

#include "ovpatch/result_codes.h"
#include "ovpatchctl/log/told_versions.h"
#include "ovpatchctl/report/texts.h"

namespace ovpatch::ctl {

namespace {

const char* roleWord(LineRole role) {
    switch (role) {
        case LineRole::REMARK:
            return "remark";
        case LineRole::CAUSE:
            return "cause";
        case LineRole::COMPANION:
            return "companion";
        case LineRole::RECOVERY:
            return "recovery";
    }
    return "";
}

// What is known of the record at `index`: of causes, the one of this run alone.
const KnownLine* knownOf(const LogRun& run, const Diagnosis& diagnosis, std::size_t index) {
    const std::string& message = run.records[index].message;
    if (index == diagnosis.cause) return knownLine(LineRole::CAUSE, message);
    const KnownLine* line = knownLine(message);
    return line != nullptr && line->role == LineRole::CAUSE ? nullptr : line;
}

// When another try makes sense; null where nothing is known.
const ResultWords* wordsOf(const LogRun& run, const Diagnosis& diagnosis) {
    const bool isPast = run.hasEnded || run.isFollowed;
    return diagnosis.result == NO_RESULT && isPast ? nullptr : resultWords(diagnosis.result);
}

std::string withoutTrailingLineFeed(std::string text) {
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    return text;
}

bool isTold(const LogRun& run, const Diagnosis& diagnosis, bool errorsOnly, std::size_t index) {
    return !errorsOnly || run.records[index].isError || index == diagnosis.cause;
}

}  // namespace

std::string actionWord(RunAction action) {
    switch (action) {
        case RunAction::UPDATE:
            return "update";
        case RunAction::ROLLBACK:
            return "rollback";
        case RunAction::NOTHING:
            return "no action";
        case RunAction::UNKNOWN:
            break;
    }
    return "action unknown";
}

std::string outcomeWords(const LogRun& run, const Diagnosis& diagnosis, bool isTerse) {
    const ResultWords* words = resultWords(diagnosis.result);
    if (diagnosis.result == RESULT_DONE)
        return run.hasEnded ? words->became : "done, but its end is not told";
    if (diagnosis.result != NO_RESULT && words != nullptr)
        return "result " + std::to_string(diagnosis.result) + ": " + words->became;
    if (run.hasEnded) return "its records do not tell the result";
    if (isTerse) return "its end is not told";
    return run.isFollowed ? "it has no end: it was cut off"
                          : "it has no end: it was cut off, or is still at work";
}

void tellCause(const LogRun& run, const Diagnosis& diagnosis, Report& report) {
    if (diagnosis.result == RESULT_DONE) return;
    if (diagnosis.cause != NO_RECORD) {
        const std::string& message = run.records[diagnosis.cause].message;
        report.line("  cause:       " + shown(withoutTrailingLineFeed(message)));
        report.line("  that is:     " + std::string(knownLine(LineRole::CAUSE, message)->meaning));
    }
    if (const ResultWords* words = wordsOf(run, diagnosis))
        report.line("  another try: " + std::string(words->advice));
}

void putCause(const LogRun& run, const Diagnosis& diagnosis, Json* out) {
    const ResultWords* words = diagnosis.result == RESULT_DONE ? nullptr : wordsOf(run, diagnosis);
    Json cause = nullptr;
    if (words != nullptr && diagnosis.cause != NO_RECORD) {
        const std::string& message = run.records[diagnosis.cause].message;
        cause = {{"message", utf8(message)}, {"meaning", knownLine(LineRole::CAUSE, message)->meaning}};
    }
    (*out)["cause"] = cause;
    (*out)["advice"] = words == nullptr ? Json(nullptr) : Json(words->advice);
}

void tellRecords(const LogRun& run, const Diagnosis& diagnosis, bool errorsOnly, Report& report) {
    ToldVersions versions;
    for (std::size_t i = 0; i < run.records.size(); ++i) {
        const LogRecord& record = run.records[i];
        const auto told = versions.next(record.message);
        if (!isTold(run, diagnosis, errorsOnly, i)) continue;
        const char* mark = i == diagnosis.cause ? "CAUSE  " : record.isError ? "error  " : "       ";
        const std::string decoded = told ? "  [" + told->from + " to " + told->to + "]" : "";
        report.line(mark + shown(withoutTrailingLineFeed(record.message)) + decoded);
        const KnownLine* known = knownOf(run, diagnosis, i);
        if (known != nullptr && i != diagnosis.cause)
            report.line("         = " + std::string(known->meaning));
    }
}

Json recordsAsJson(const LogRun& run, const Diagnosis& diagnosis, bool errorsOnly) {
    Json out = Json::array();
    ToldVersions versions;
    for (std::size_t i = 0; i < run.records.size(); ++i) {
        const LogRecord& record = run.records[i];
        const auto told = versions.next(record.message);
        if (!isTold(run, diagnosis, errorsOnly, i)) continue;
        Json one = {{"error", record.isError}, {"message", utf8(record.message)}};
        if (told) one["versions"] = {told->from, told->to};
        if (const KnownLine* known = knownOf(run, diagnosis, i)) {
            one["role"] = roleWord(known->role);
            one["meaning"] = known->meaning;
        }
        out.push_back(one);
    }
    return out;
}

}  // namespace ovpatch::ctl
