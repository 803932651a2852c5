#include "logging/log_file.h"

#include <cstdint>
#include <cstdio>

#include "fileops/remove.h"
#include "foundation/byte_string.h"
#include "logging/log.h"
#include "platform/appended_file.h"
#include "platform/platform.h"

namespace ovpatch {

namespace {

constexpr std::uint32_t LINE_LIMIT = 75;
constexpr std::uint32_t LONGEST_KEPT_WORD = 15;
constexpr long FILE_SIZE_LIMIT = 0x100000;
constexpr std::uint32_t RECORDS_PER_CHECK = 100;

constexpr char HTML_HEAD[] =
    "<html>\n<head>\n<style type=\"text/css\"><!--\n"
    "body {background-color: white;}\n"
    "#typ\t{font-size:12pt; color:white;}\n"
    "#tme\t{font-size:12pt; color:white;}\n"
    "#pid\t{font-size:12pt; color:white;}\n"
    "#tid\t{font-size:12pt; color:white;}\n"
    "#fln\t{font-size:12pt; color:white;}\n"
    "#inf\t{font-size:12pt; color:black;}\n"
    "#err\t{font-size:12pt; color:red; font-weight: bold;}\n"
    "--></style>\n</head>\n"
    "<body><h1 align=center>Orvelle Log File</h1><br><br>\n\n\n\n";

bool writesHtml = false;
std::uint32_t recordsSinceCheck = 0;

// The fields of a record in their order; the message may be changed.
struct Record {
    const char* type;
    const char* time;
    const char* process;
    const char* thread;
    const char* fileAndLine;
    ByteString message;
    bool isError;
};

// The fields of the process and its one thread, which stay the same for every record.
struct OwnIds {
    char process[32];
    char thread[32];

    OwnIds() {
        std::snprintf(process, sizeof process, " P[%d]", static_cast<int>(GetCurrentProcessId()));
        std::snprintf(thread, sizeof thread, " T[%d] ", static_cast<int>(GetCurrentThreadId()));
    }
};

const OwnIds& ownIds() {
    static const OwnIds ids;
    return ids;
}

platform::AppendedFile logFile;

ByteString plainRecord(const Record& record) {
    char head[128];
    std::snprintf(head, sizeof head, "\n\n%s%s%s%s%s\n", record.type, record.time, record.process,
                  record.thread, record.fileAndLine);
    ByteString text(head);
    text.append(record.message);
    return text;
}

ByteString htmlRecord(const Record& record) {
    ByteString text("<span id=\"typ\"> ");
    text.append(record.type);
    text.append("\n</span><span id=\"tme\">");
    text.append(record.time);
    text.append("\n</span><span id=\"pid\">");
    text.append(record.process);
    text.append("\n</span><span id=\"tid\">");
    text.append(record.thread);
    text.append("\n</span><span id=\"fln\">");
    text.append(record.fileAndLine);
    text.append("<br>");
    text.append(record.isError ? "\n</span><span id=\"err\"> " : "\n</span><span id=\"inf\"> ");
    text.append(record.message);
    text.append("\n<br>\n</span>");
    return text;
}

// Where the line that begins at `start` is to be broken; the text's length if nowhere.
std::uint32_t findBreak(const ByteString& text, std::uint32_t start) {
    std::uint32_t position = start + LINE_LIMIT;
    if (!isWordBreak(text.at(position)) && text.wordLengthAt(position) <= LONGEST_KEPT_WORD) {
        while (!isWordBreak(text.at(position)))
            --position;
    }
    return position;
}

// What stands for a character in HTML; null if it stands for itself.
const char* htmlFor(char character, char following) {
    switch (character) {
        case '&':
            return "&#38;";
        case '<':
            return "&#60;";
        case '>':
            return "&#62;";
        case ' ':
            return following == ' ' ? "&nbsp" : nullptr;
        case '\n':
            return "<br>";
        case '\t':
            return "&nbsp&nbsp&nbsp&nbsp";
        default:
            return nullptr;
    }
}

bool isAllDashes(const ByteString& text) {
    for (std::uint32_t index = 0; index < text.length(); ++index) {
        if (text.at(index) != '-') return false;
    }
    return true;
}

}  // namespace

void setLogHtml(bool html) {
    writesHtml = html;
}

void writeLogRecord(const char* fileName, const char* text) {
    const bool isError = logLocation().isError != 0;
    const OwnIds& ids = ownIds();
    Record record{isError ? "Error:" : "Info:", " ", ids.process, ids.thread, "", ByteString(text), isError};
    wrapLogText(record.message);
    // The other two fields that can hold free text are constants without anything to escape.
    if (writesHtml) htmlEscape(record.message);
    const ByteString built = writesHtml ? htmlRecord(record) : plainRecord(record);
    if (checkLogSize(fileName) && writesHtml) writeHtmlHead(fileName);
    logFile.append(fileName, built.cStr(), built.length());
}

void closeLogFile() {
    logFile.close();
}

bool checkLogSize(const char* fileName) {
    if (recordsSinceCheck != 0) {
        if (++recordsSinceCheck == RECORDS_PER_CHECK) recordsSinceCheck = 0;
        return false;
    }
    recordsSinceCheck = 1;
    std::FILE* file = platform::fopen(fileName, "rb");
    if (file == nullptr) return true;
    bool isTooLarge = false;
    if (std::fseek(file, 0, SEEK_END) == 0) {
        const long size = std::ftell(file);
        // A size that cannot be told is larger than the number that would tell it.
        isTooLarge = size > FILE_SIZE_LIMIT || size < 0;
    }
    std::fclose(file);
    if (!isTooLarge) return false;
    unlink(fileName, nullptr, nullptr);
    return true;
}

void writeHtmlHead(const char* fileName) {
    logFile.append(fileName, HTML_HEAD, sizeof HTML_HEAD - 1);
}

void wrapLogText(ByteString& text) {
    if (text.length() <= LINE_LIMIT) return;
    ByteString wrapped;
    std::uint32_t start = 0;
    while (start < text.length()) {
        const std::uint32_t lineFeed = text.find('\n', start);
        std::uint32_t end = 0;
        if (lineFeed != ByteString::NOT_FOUND && lineFeed - start <= LINE_LIMIT) {
            end = lineFeed + 1;
            wrapped.append(text.substr(start, end - start));
        } else if (lineFeed == ByteString::NOT_FOUND && text.length() - start <= LINE_LIMIT) {
            end = text.length();
            wrapped.append(text.substr(start));
        } else {
            end = findBreak(text, start);
            wrapped.append(text.substr(start, end - start));
            wrapped.append("\n");
        }
        start = end;
    }
    text = wrapped;
}

void htmlEscape(ByteString& text) {
    if (text.length() == 0) return;
    if (isAllDashes(text)) {
        text.assign("<hr>");
        return;
    }
    // One pass: nothing that is put in holds a character that is put in for another.
    ByteString escaped;
    for (std::uint32_t index = 0; index < text.length(); ++index) {
        const char character = text.at(index);
        const char* replacement = htmlFor(character, text.at(index + 1));
        if (replacement != nullptr) {
            escaped.append(replacement);
        } else {
            escaped.appendChar(1, character);
        }
    }
    text = escaped;
}

}  // namespace ovpatch
