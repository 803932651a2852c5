// What a command tells: lines for people, or with --json one document for scripts.
#ifndef OVPATCH_OVPATCHCTL_REPORT_REPORT_H
#define OVPATCH_OVPATCHCTL_REPORT_REPORT_H

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace ovpatch::ctl {

// Members come in the order in which they were set.
using Json = nlohmann::ordered_json;

class Report {
public:
    explicit Report(bool json) : isJson_(json) {}

    bool isJson() const { return isJson_; }

    // Writes a line to standard output; `text` is UTF-8 without its line feed. Nothing with --json. Throws a
    // Failure of EXIT_OUTPUT when it cannot be written: a closed pipe, a full disk.
    void line(std::string_view text);

    // Writes a text as it stands, which may be a part of a line. Else as `line`.
    void write(std::string_view text);

    // The document, an object. It is written by `finish` with --json, and not at all otherwise. Texts in it
    // are UTF-8 (texts.h).
    Json& document() { return document_; }

    // Ends the output, the document included. Throws as `line` does.
    void finish();

private:
    bool isJson_;
    Json document_ = Json::object();
};

// Writes "ovpatchctl: " and a line to standard error; what cannot be written there is lost.
void tellError(std::string_view text);

}  // namespace ovpatch::ctl

#endif
