// Reading the records of a log.
#ifndef OVPATCH_OVPATCHCTL_LOG_LOG_RECORDS_H
#define OVPATCH_OVPATCHCTL_LOG_LOG_RECORDS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace ovpatch::ctl {

struct LogRecord {
    bool isError;
    std::int32_t process;
    std::string message;  // in one piece, as it was told; device text
};

struct LogRecords {
    std::vector<LogRecord> records;
    std::size_t strayBytes = 0;  // that belong to no record: the log is damaged, or its last record cut off
};

// The records of a log's text, be it KxuDump.txt or KxuDump.htm: the text itself tells which. Its line ends
// may be another host's.
LogRecords readLogRecords(std::string_view text);

}  // namespace ovpatch::ctl

#endif
