#include "fileops/file_op.h"

namespace ovpatch {

void beginFileOp(FileOpRecord* record, const char* sourcePath, const char* targetPath) {
    if (record == nullptr) return;
    record->sourcePath = sourcePath;
    record->targetPath = targetPath;
    record->phase = 0;
    record->opened = nullptr;
}

void setFileOperation(FileOpRecord* record, std::uint32_t operation) {
    if (record != nullptr) record->operation = operation;
}

std::int32_t callBefore(FileOpCallback callback, FileOpRecord* record) {
    return callback != nullptr && record != nullptr ? callback(record) : FILEOP_GO_ON;
}

std::int32_t callAfter(FileOpCallback callback, FileOpRecord* record) {
    if (record != nullptr) record->phase = 1;
    const std::int32_t answer = callBefore(callback, record);
    return answer == FILEOP_SKIP ? FILEOP_OK : answer;
}

}  // namespace ovpatch
