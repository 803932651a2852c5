// Keeping the journal of the run at hand. Its form stands in journal_line.h.
#ifndef OVPATCH_OVPATCH_JOURNAL_JOURNAL_H
#define OVPATCH_OVPATCH_JOURNAL_JOURNAL_H

#include <cstdint>

#include "foundation/byte_string.h"
#include "foundation/string_list.h"
#include "ovpatch/journal/journal_line.h"
#include "platform/locked_file.h"

namespace ovpatch {

// What is about to become of a file: WRITE, REMOVE or RESTORE, and its states before and, but for REMOVE,
// after.
struct FileChange {
    LineKind kind;
    platform::FileState old;
    platform::FileState made;
    const char* older;  // RESTORE only: what is moved over the file
    const char* file;
};

// Each of the first group tells a change before it is made. The first one makes the file. True when the line
// stands in it, and when the run goes on without a journal, because none is wanted or none can be had; false
// when the line could not be written, which the log says: then the change must not be made.
class Journal {
public:
    // Once, for a run with this base directory, if the settings want a journal. Nothing is made yet. From now
    // on each directory that makeDirectory makes is told.
    void prepare(const char* baseDirectory);

    // Whether changes have to be told; what is only done for the journal's sake can be left out otherwise.
    bool isKept() const { return wanted_; }

    // Whether a change has been told.
    bool isOpen() const { return file_.isHeld(); }

    // Makes the file now. False when another process has made it since: it has to be waited for. Without a
    // journal the answer is true.
    bool begin();

    bool directory(const char* path);
    // For a directory that has just been made, before anything is in it.
    bool tree(const char* path);
    bool isTree(const char* path) const;
    bool add(const platform::FileState& source, const char* file);
    // For a file that is saved as `copy` first.
    bool change(const FileChange& change, const char* copy);
    // What the line before told was not done after all: the copy's name is another's.
    bool nothing();

    // For a file that is written anew, by whatever means, between the two calls: tells it and keeps what
    // stands there under another name, which goes when the run is over.
    bool beginPut(const char* file);
    void endPut(const char* file);

    // A copy that the next step relies on has been made.
    void secure(const char* copy) const;

    // Puts a removal off until the run is over. False when there is no journal: then it has to be done now.
    bool drop(const char* file);
    bool dropTree(const char* directory);

    // The end of a run with an open journal, around the writing of its result file. After `finish` with
    // `written` false the journal stays, and the run counts as cut off; else what was put off is done, and
    // the journal goes.
    void beginResult(std::int32_t result, const platform::FileState& resultFile);
    void finish(bool written);

private:
    bool tell(const JournalLine& line);
    bool append(const char* bytes, std::size_t length);
    bool writeHead();
    bool putOff(LineKind kind, const char* path);
    void goWithout();
    void release();

    bool wanted_ = false;
    std::uint64_t reserved_ = 0;  // bytes of the file for which room is set aside
    bool told_ = false;           // that lines cannot be written
    ByteString path_;
    platform::LockedFile file_;
    StringList trees_;
    ByteString drops_;  // lines that nothing relies on before the end, when they go to the file, too
    char line_[JOURNAL_LINE_SIZE];
};

// That of this process.
Journal& journal();

}  // namespace ovpatch

#endif
