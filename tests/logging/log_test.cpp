// logPrintf, the events and the hubs.
#include "logging/log.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "logging/log_hub.h"
#include "logging/log_line.h"

namespace ovpatch {
namespace {

// Writes down what it is handed: its own name, the kind, the level and the text.
class Recorder : public LogListener {
public:
    Recorder(std::string name, std::vector<std::string>& records)
        : name_(std::move(name)), records_(records) {}
    std::int32_t handle(LogEvent* event) override {
        records_.push_back(name_ + std::to_string(event->kind()) + " " + std::to_string(event->level()) +
                           " " + event->text());
        return -1;
    }

private:
    std::string name_;
    std::vector<std::string>& records_;
};

using Records = std::vector<std::string>;

// Detaches itself on its first record.
class OneTimeListener : public LogListener {
public:
    std::int32_t handle(LogEvent*) override {
        ++calls;
        detachInfoListener(this);
        return 0;
    }
    int calls = 0;
};

TEST(Log, AListenerMayDetachItselfInACall) {
    Records records;
    Recorder behind("b", records);
    OneTimeListener once;
    attachInfoListener(&behind);
    attachInfoListener(&once);
    OVPATCH_LOG_INFO("kxovupdater", 6, "first");
    OVPATCH_LOG_INFO("kxovupdater", 6, "second");
    detachInfoListener(&behind);
    EXPECT_EQ(once.calls, 1);
    EXPECT_EQ(records, (Records{"b4 6 first", "b4 6 second"}));
}

TEST(Log, RecordsTakeTheRoadThatTheFlagNames) {
    Records records;
    Recorder info("i", records);
    Recorder laterInfo("l", records);
    Recorder error("e", records);
    OVPATCH_LOG_INFO("nobody", 6, "lost");
    attachInfoListener(&info);
    attachInfoListener(&laterInfo);
    attachErrorListener(&error);

    OVPATCH_LOG_INFO("dir\\kxovupdater", 6, "%s %d", "text", -1);
    EXPECT_STREQ(logLocation().fileName.cStr(), "kxovupdater");
    EXPECT_EQ(logLocation().line, static_cast<std::uint32_t>(__LINE__) - 2);
    OVPATCH_LOG_ERROR("kxovupdater", 9, "bad");
    logPrintf(6, "%s", "still bad");
    setLogLocation("kxovupdater", 1, 2);
    logPrintf(9, "to no hub");
    EXPECT_EQ(records, (Records{"l4 6 text -1", "i4 6 text -1", "e2 9 bad", "e2 6 still bad"}));

    records.clear();
    detachInfoListener(&error);
    detachInfoListener(&laterInfo);
    detachInfoListener(&laterInfo);
    OVPATCH_LOG_INFO("kxovupdater", 6, "again");
    EXPECT_EQ(records, (Records{"i4 6 again"}));
    detachInfoListener(&info);
    detachErrorListener(&error);
    EXPECT_EQ(infoHub.count() + errorHub.count(), 0U);
}

TEST(Log, CutsATextAt10239Bytes) {
    Records records;
    Recorder info("", records);
    attachInfoListener(&info);
    const std::string prefix = "4 6 ";
    for (const std::size_t length : {std::size_t{10239}, std::size_t{10240}, std::size_t{30000}}) {
        OVPATCH_LOG_INFO("kxovupdater", 6, "%s", std::string(length, 'x').c_str());
        EXPECT_EQ(records.back(), prefix + std::string(10239, 'x'));
    }
    detachInfoListener(&info);
}

TEST(Log, ListenersSeeEveryLevelButThoseTheyPromiseToDrop) {
    Records records;
    Recorder all("a", records);
    Recorder high("h", records);
    attachInfoListener(&high, 7);
    OVPATCH_LOG_INFO("kxovupdater", 6, "six");
    OVPATCH_LOG_INFO("kxovupdater", 7, "seven");
    attachInfoListener(&all);
    OVPATCH_LOG_INFO("kxovupdater", -8, "low");
    EXPECT_EQ(records, (Records{"h4 7 seven", "a4 -8 low", "h4 -8 low"}));
    detachInfoListener(&all);
    detachInfoListener(&high);
}

}  // namespace
}  // namespace ovpatch
