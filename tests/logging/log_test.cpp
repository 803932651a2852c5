// From a log line over the hubs to the listeners, and the settings that choose what is written.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <utility>

#include "fileops/code_page.h"
#include "foundation/patch_session.h"
#include "logging/log_line.h"
#include "logging/log_settings.h"
#include "logging/logger.h"
#include "tests/support/temp_tree.h"

namespace ovpatch {

std::string records;

// Writes down its own name and what it is handed; the one called 'o' detaches itself then.
struct Recorder : LogListener {
    explicit Recorder(char itsName) : name(itsName) {}
    std::int32_t handle(LogEvent* event) override {
        records += name + std::to_string(event->kind()) + " " + std::to_string(event->level()) + " ";
        records += event->text() + std::string("\n");
        if (name == 'o') detachInfoListener(this);
        return -1;
    }
    const char name;
};

TEST(Log, RecordsTakeTheRoadThatTheFlagNames) {
    Recorder info('i'), once('o'), high('h'), error('e');
    const std::pair<std::function<void()>, std::string> steps[] = {
        {[] { OVPATCH_LOG_INFO("nobody", 6, "lost"); }, ""},
        {[&] { attachInfoListener(&info), attachErrorListener(&error); }, ""},
        {[&] { attachInfoListener(&high, 7), attachInfoListener(&once); }, ""},
        {[] { OVPATCH_LOG_INFO("kx", -8, "%s", "text"); }, "o4 -8 text\nh4 -8 text\ni4 -8 text\n"},
        {[] { OVPATCH_LOG_ERROR("kx", 9, "bad"); }, "e2 9 bad\n"},
        {[] { logPrintf(6, "%s", "still"); }, "e2 6 still\n"},
        {[] { setLogLocation("kx", 1, 2), logPrintf(9, "to no hub"); }, ""},
        {[] { EXPECT_EQ(logLocation().line, 1U); }, ""},
        {[&] { detachInfoListener(&info), detachInfoListener(&error), detachInfoListener(&info); }, ""},
        {[] { OVPATCH_LOG_INFO("kx", 6, "low"); }, ""},
        {[] { EXPECT_TRUE(logReaches(6)); }, ""},
        {[] { OVPATCH_LOG_INFO("d\\kx", 7, "%s", std::string(10240, 'x').c_str()); },
         "h4 7 " + std::string(10239, 'x') + "\n"},
        {[&] { detachInfoListener(&high), detachErrorListener(&error); }, ""},
    };
    for (const auto& [step, expected] : steps) {
        step();
        EXPECT_EQ(std::exchange(records, ""), expected);
    }
    EXPECT_STREQ(logLocation().fileName.cStr(), "kx");
    EXPECT_EQ(infoHub.count() + errorHub.count(), 0U);
}

// Names below the base directory and the messages in them, in HTML escaped; the extract limit in MiB, and a
// 'd' if the code page, which was 932, has double-byte characters.
TEST(Logger, DoesAsItsSettingsSay) {
    const std::pair<const char*, const char*> cases[] = {
        {"[Debug]\ncode_page=0\nextract_limit_size=16\nLevel=6\nhtml=2",
         "OV_Log/ OV_Log/KxuDump.txt<6><b><9> 1024d"},
        {"code_page=0\nextract_limit_size=96\n[Debug]\nlog_mode=3", "OV_Log/ 96"},
        {"code_page=950\nextract_limit_size=-1\n[Debug]\nlog_mode=silent", "1024d"},
        {"code_page=-1\nextract_limit_size=4095x\n[Debug]\nLevel=10", "OV_Log/ 4095d"},
        {"[debug]\n;Level=9\nLEVEL = 7\n", "OV_Log/ OV_Log/KxuDump.txt<9> 1024d"},
        {"[Debug]\nLevel=none\nhtml=1\n", "OV_Log/ OV_Log/KxuDump.htm&#60;6 1024d"},
        {"[Debug]\nlog_mode=1\nhtml=1\nLevel=9", "out<9> 1024d"},
    };
    for (const auto& [settings, expected] : cases) {
        const test::TempTree tree;
        tree.write("ovcfg.ini", settings);
        std::strcpy(patchSession().baseDirectory, tree.path("").c_str());
        setCodePage(932);
        testing::internal::CaptureStdout();
        Logger logger(tree.path("").c_str());
        logger.start();
        OVPATCH_LOG_INFO("kx", 6, "<6>");
        OVPATCH_LOG_ERROR("kx", 6, "<b>");
        OVPATCH_LOG_INFO("kx", 9, "<9>");
        logger.stop();
        OVPATCH_LOG_ERROR("kx", 9, "<late>");
        auto all = tree.list();
        all.erase("ovcfg.ini");
        const std::string printed = testing::internal::GetCapturedStdout();
        if (!printed.empty()) all["out"] = printed;
        std::string found;
        for (const auto& [name, content] : all) {
            found += name;
            for (const char* word : {"<6>", "<b>", "<9>", "&#60;6", "<late>", " "})
                found += *word == ' ' || content.find(word) != std::string::npos ? word : "";
        }
        found += std::to_string(patchSession().extractLimit >> 20) + (isLeadByte('\x81') ? "d" : "");
        EXPECT_EQ(found, expected) << settings;
    }
    setCodePage(0);
    EXPECT_EQ(infoHub.count() + errorHub.count(), 0U);
}

}  // namespace ovpatch
