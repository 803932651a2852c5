#include "logging/logger.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "fileops/code_page.h"
#include "foundation/patch_session.h"
#include "logging/log_hub.h"
#include "logging/log_line.h"
#include "logging/log_settings.h"
#include "tests/fileops/temp_tree.h"

namespace ovpatch {
namespace {

class LoggerTest : public testing::Test {
protected:
    void SetUp() override {
        const std::string base = tree.path("");
        ASSERT_LT(base.size(), sizeof patchSession().baseDirectory);
        std::strcpy(patchSession().baseDirectory, base.c_str());
        setCodePage(0);
    }
    void TearDown() override { setCodePage(0); }

    // The text of the messages that a run with these settings leaves in a file of that name.
    std::string messages(const std::string& settings, const char* file) {
        tree.clear();
        if (!settings.empty()) tree.write("ovcfg.ini", settings);
        Logger logger(tree.path("").c_str());
        logger.start();
        OVPATCH_LOG_INFO("kxovupdater", 6, "<six>");
        OVPATCH_LOG_ERROR("kxovupdater", 6, "<six bad>");
        OVPATCH_LOG_INFO("kxovupdater", 9, "<nine>");
        logger.stop();
        logger.stop();
        OVPATCH_LOG_ERROR("kxovupdater", 9, "<late>");
        EXPECT_EQ(infoHub.count() + errorHub.count(), 0U);
        std::string found;
        const std::string text = file == nullptr ? "" : tree.read(file);
        for (const char* word :
             {"Info:", "Error:", "<six>", "<six bad>", "<nine>", "&#60;six&#62;", "<late>"}) {
            if (text.find(word) != std::string::npos) found += word;
        }
        return found;
    }
    bool exists(const char* name) const { return std::filesystem::exists(tree.root() / name); }

    test::TempTree tree;
};

constexpr const char* TEXT_LOG = "OV_Log/KxuDump.txt";
constexpr const char* HTML_LOG = "OV_Log/KxuDump.htm";
constexpr const char* ALL = "Info:Error:<six><six bad><nine>";

TEST_F(LoggerTest, FiltersByLevel) {
    const std::pair<const char*, const char*> cases[] = {
        {"", ALL},
        {"[Debug]\nLevel=6\n", ALL},
        {"[debug]\n;Level=9\nLEVEL = 7\n", "Info:<nine>"},
        {"[Debug]\nLevel=9\n", "Info:<nine>"},
        {"[Debug]\nLevel=10\n", ""},
        {"[Debug]\nLevel=none\n", ALL},
        {"[Debug]\nhtml=2\n", ALL},
    };
    for (const auto& [settings, expected] : cases)
        EXPECT_EQ(messages(settings, TEXT_LOG), expected) << settings;
}

TEST_F(LoggerTest, ModesChooseTheOutput) {
    EXPECT_EQ(messages("[Debug]\nhtml=1\n", HTML_LOG), "Info:Error:&#60;six&#62;");
    EXPECT_FALSE(exists(TEXT_LOG));

    testing::internal::CaptureStdout();
    EXPECT_EQ(messages("[Debug]\nlog_mode=1\nhtml=1\nLevel=9", nullptr), "");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "<nine>\n");
    EXPECT_FALSE(logSettings().html || exists("OV_Log"));

    messages("[Debug]\nlog_mode=3", nullptr);
    EXPECT_EQ(tree.all(), "OV_Log/ ovcfg.ini=[Debug]\nlog_mode=3 ");
    messages("[Debug]\nlog_mode=silent", nullptr);
    EXPECT_FALSE(exists("OV_Log"));
}

TEST_F(LoggerTest, TheHeadSectionSetsCodePageAndExtractLimit) {
    struct Case {
        const char* settings;
        std::uint32_t limit;
        bool isDoubleByte;
    };
    const Case cases[] = {
        {"", 0x40000000, true},
        {"code_page=0\nextract_limit_size=16", 0x1000000, false},
        {"code_page=950\nextract_limit_size=-1", 0x40000000, true},
        {"code_page=-1\nextract_limit_size=4095x", 0xFFF00000, true},
        {"[Debug]\ncode_page=0\nextract_limit_size=16", 0x40000000, true},
    };
    for (const Case& c : cases) {
        setCodePage(932);
        tree.write("ovcfg.ini", c.settings);
        Logger logger(tree.path("").c_str());
        EXPECT_EQ(patchSession().extractLimit, c.limit) << c.settings;
        EXPECT_EQ(isLeadByte('\x81'), c.isDoubleByte) << c.settings;
    }
}

}  // namespace
}  // namespace ovpatch
