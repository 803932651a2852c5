// What a file is at a moment, and the steps that keep or bring back what stands under a name.
//
// They serve a run that may be cut off at any point, and the next one, which puts things right. Unlike the
// device's own operations they do not mind a file that is read-only.
#ifndef OVPATCH_PLATFORM_FILE_STATE_H
#define OVPATCH_PLATFORM_FILE_STATE_H

#include <cstdint>

#include "platform/platform.h"

namespace platform {

struct FileState {
    bool exists = false;
    bool isFile = false;  // a regular file; a link is followed, but one to nothing exists and is none
    bool isLink = false;
    bool isUnknown = false;    // it could not be looked at; then it exists and is no file
    std::uint64_t size = 0;    // in bytes
    std::int64_t seconds = 0;  // of the last modification, since 1970
    std::uint32_t nanoseconds = 0;
    std::uint64_t id =
        0;  // tells the files of one file system apart at a time; 0 on a host without such a number
    // What the steps that spare a copy ask for; the host's own numbers.
    std::uint64_t device = 0;
    std::uint32_t mode = 0;
    std::uint32_t names = 0;
    std::uint32_t owner = 0;
    std::uint32_t group = 0;
};

// What the path names now. A path that the host has no name for exists and is no file, too.
FileState stateOf(LPCWSTR path);

// Whether CopyFileW and fopen for writing write in place, so that a kill can leave a part of a file under its
// name.
bool canLeaveParts();

// A file that is about to be copied, looked at once: on a host where that is how a copy begins, it is open
// from `open` to `copyTo`.
class CopySource {
public:
    CopySource() = default;
    ~CopySource() { close(); }
    CopySource(const CopySource&) = delete;
    CopySource& operator=(const CopySource&) = delete;

    // False, with the last error of CopyFileW, when it cannot be opened; then `copyTo` fails in the same way.
    bool open(LPCWSTR path);

    bool isOpen() const { return opened_ != -1; }

    // Of the opened file.
    const FileState& state() const { return state_; }

    // Tells what the target of `copyTo` is, where the caller has just looked at it.
    void expectTarget(const FileState& target) { target_ = target; }

    // The same for one that was missing a moment ago.
    void expectNoTarget() { expectsNone_ = true; }

    // What CopyFileW does, with its answers, and ends the look.
    bool copyTo(LPCWSTR target, bool failIfExists);

    // What CopyFileW with `failIfExists` does, with its answers, but in place: a kill can leave a part. For a
    // name that nobody looks for before the copy is done.
    bool copyToNew(LPCWSTR target);

    void close();

private:
    std::intptr_t opened_ = -1;  // the host's
    FileState state_;
    FileState target_;
    bool expectsNone_ = false;
};

// Puts `copy` in the place of the file `target`, or under that name where there is none, whatever the
// permissions of either: content, permissions and time come back, and `copy` is gone. A `target` that is a
// link stays one. False with the last error set; then both are as they were.
bool putBack(LPCWSTR copy, LPCWSTR target);

// Does in one step what CopyFileW of `copy` over `file` would do, but so that what `file` held stands under
// the name `copy` afterwards. False when the host has no such step or the files are not fit for it: then
// nothing has changed but, perhaps, the owner of `copy`.
bool exchangeFiles(LPCWSTR copy, LPCWSTR file);

// Takes an exchangeFiles back, whatever has become of the two since.
bool exchangeBack(LPCWSTR copy, LPCWSTR file);

// Makes `newName` stand for the same content as `file`: a second name where the host has such, else a copy.
// False with the last error set, 80 when the name exists.
bool duplicate(LPCWSTR file, LPCWSTR newName);

// Removes a file or a link, whatever its permissions. True also when there is none; false for a directory.
bool discard(LPCWSTR path);

// Removes what process number `process`, killed while it replaced the file `target`, left of the new one
// beside it; with 0 what any process left. Nothing happens on a host that replaces in place.
void tidyReplacement(LPCWSTR target, DWORD process);

// Finishes or takes back what a kill left of a moveFileOver of `source`.
void tidyMove(LPCWSTR source);

// From now on what this process replaces is found as that of process number `process`: for one that goes on
// with the work of another. With 0 it goes under its own number again.
void nameReplacementsAfter(DWORD process);

}  // namespace platform

#endif
