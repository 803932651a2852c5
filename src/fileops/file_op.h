// What the operations on files and directories have in common: the record and the callback around each
// object, and the codes they answer.
#ifndef OVPATCH_FILEOPS_FILE_OP_H
#define OVPATCH_FILEOPS_FILE_OP_H

#include <cstdint>

namespace platform {
class CopySource;
}

namespace ovpatch {

// Answers of the operations. A callback's own value is handed on unchanged.
constexpr std::int32_t FILEOP_OK = 0;              // done, or skipped by the callback, or nothing matched
constexpr std::int32_t FILEOP_BAD_PARAMETER = -1;  // an unusable path, or the device would not delete
constexpr std::int32_t FILEOP_COPY_FAILED = -4;    // the device would not copy, or not tell what there is
constexpr std::int32_t FILEOP_NO_DIRECTORY = -5;   // a copy's target is a directory, or one cannot be made
constexpr std::int32_t FILEOP_TARGET_EXISTS = -6;  // the target exists and must not be overwritten

// Values of `operation`.
constexpr std::uint32_t FILEOP_COPY_NEW = 0;
constexpr std::uint32_t FILEOP_COPY_OVERWRITE = 1;
constexpr std::uint32_t FILEOP_DELETE_FILE = 2;
constexpr std::uint32_t FILEOP_MAKE_DIRECTORY = 3;
constexpr std::uint32_t FILEOP_REMOVE_DIRECTORY = 4;

// Answers of a callback. Any other value stops the operation, which then answers that value.
constexpr std::int32_t FILEOP_GO_ON = 0;
constexpr std::int32_t FILEOP_SKIP = 2;  // leave this object alone; behind the act the same as FILEOP_GO_ON

// What a callback is told. The caller of the operation owns the record and sets the first two fields, which
// the operations neither read nor write; they set the others, also when there is no callback.
struct FileOpRecord {
    std::uint32_t recordSize;  // the size of the record in bytes
    void* userData;            // the caller's own
    const char* sourcePath;    // the object acted on; good during the call only
    const char* targetPath;    // the target of a copy, else null; good during the call only
    std::uint32_t operation;   // FILEOP_COPY_NEW to FILEOP_REMOVE_DIRECTORY
    std::uint32_t phase;       // 0 before the act, 1 after it; there is no call at 1 after a failure
    // Null, unless the callback before a copy sets it: the source, opened already, that is then copied.
    platform::CopySource* opened = nullptr;
};

// Called around each object, if both it and a record were given.
using FileOpCallback = std::int32_t (*)(FileOpRecord* record);

// Fills `record`, which may be null, for the object at hand and sets `phase` to 0.
void beginFileOp(FileOpRecord* record, const char* sourcePath, const char* targetPath);

// Sets `operation`; `record` may be null.
void setFileOperation(FileOpRecord* record, std::uint32_t operation);

// Calls the callback at phase 0: FILEOP_GO_ON when there is none.
std::int32_t callBefore(FileOpCallback callback, FileOpRecord* record);

// Sets phase 1 and calls the callback. Answers what the operation answers.
std::int32_t callAfter(FileOpCallback callback, FileOpRecord* record);

}  // namespace ovpatch

#endif
