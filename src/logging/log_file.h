// Writes records to the log file, as text or as HTML. No failure is reported to anybody.
#ifndef OVPATCH_LOGGING_LOG_FILE_H
#define OVPATCH_LOGGING_LOG_FILE_H

namespace ovpatch {

class ByteString;

// Chooses between HTML and plain text for all further records.
void setLogHtml(bool html);

// Appends one record to the file, which has it when the call returns. A file that cannot be opened loses the
// record. Whether it is an error, the last setLogLocation says.
void writeLogRecord(const char* fileName, const char* text);

// Lets go of the file of the last record, which may stay open from one to the next. Whoever removes, renames
// or replaces it between two need not care: the next record goes to what has the name then.
void closeLogFile();

// Keeps the file from growing without end: on the first record and then on every hundredth a file of more
// than 1 MiB is deleted. True when the next record starts a new file.
bool checkLogSize(const char* fileName);

// Appends the head of an HTML log.
void writeHtmlHead(const char* fileName);

// Breaks lines of more than 75 bytes; where that would cut a word of 15 bytes or fewer, in front of the byte
// before the word, which leads the next line.
void wrapLogText(ByteString& text);

// Makes `text` fit for HTML: `&`, `<` and `>` escaped, line feeds, tabs and runs of blanks kept visible. A
// text of nothing but dashes becomes a rule.
void htmlEscape(ByteString& text);

}  // namespace ovpatch

#endif
