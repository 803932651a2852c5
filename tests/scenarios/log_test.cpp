// The log: its records byte by byte, its settings, and names in a double-byte code page.
#include <regex>

#include "support/story.h"

namespace ovpatch::scenarios {
namespace {

// A manifest whose run is short and ends in an error; the agent's name makes long lines.
std::string shortRun(const std::string& agent) {
    return "[common]\naction=0\nitemcount=1\npatchagent.version=1\npatchagent=" + agent + "\n";
}

// The process and thread ids by those of the expected text.
std::string withoutIds(const std::string& log) {
    return std::regex_replace(log, std::regex("P\\[[0-9]+\\]([^T]*) T\\[[0-9]+\\]"), "P[5]$1 T[7]");
}

TEST(Log, IsWrittenByteForByte) {
    Device device;
    device.manifestText(
        shortRun("Program Data\\Orvelle  <R&D>\\agents of the new generation\\patch_agent.dll"));
    device.run();
    const std::string run =
        "\n\nInfo:  P[5] T[7] \nOvPatch action ready."
        "\n\nInfo:  P[5] T[7] \nOvPatch action update."
        "\n\nInfo:  P[5] T[7] \nupdate: start."
        "\n\nInfo:  P[5] T[7] \nphaseIniForUpdate: start."
        "\n\nInfo:  P[5] T[7] \nphaseIniForUpdate: common section key/value processing."
        "\n\nInfo:  P[5] T[7] \nphaseIniForUpdate: patch agent file(Program Data\\Orvelle  <R&D>\\agents of"
        "\n the new generation\\patch_agent.dll)."
        "\n\nError:  P[5] T[7] \nphaseIniForUpdate: fetch orvelle full path failed."
        "\n\nInfo:  P[5] T[7] \nphaseIniForUpdate: error quit."
        "\n\nError:  P[5] T[7] \nupdate: phaseIniForUpdate failed."
        "\n\nInfo:  P[5] T[7] \nwriteResult: start."
        "\n\nInfo:  P[5] T[7] \nwriteResult: done.";
    EXPECT_EQ(withoutIds(device.content("base\\OV_Log\\KxuDump.txt")), run);
    // The next run's records stand behind.
    device.run();
    EXPECT_EQ(withoutIds(device.content("base\\OV_Log\\KxuDump.txt")), run + run);

    // The one message that ends in a line feed of its own.
    Device other;
    other.lay({1, {engine()}});
    other.run();
    const std::string copy =
        "xcopy from: base\\OV_Temp\\2\\31\\* to: dst\n\n\nInfo:  P[5] T[7] \nPatchAgent CheckFileEx";
    EXPECT_NE(withoutIds(other.content("base\\OV_Log\\KxuDump.txt")).find(copy), std::string::npos);
}

TEST(Log, IsWrittenAsHtml) {
    Device device;
    device.file("base\\ovcfg.ini", "[Debug]\nhtml=1\n");
    device.manifestText(
        shortRun("Program Data\\R&D  <beta>\\agents\\an_agent_with_a_long_name_of_the_engine.dll"));
    device.run();
    const std::string head =
        "<html>\n<head>\n<style type=\"text/css\"><!--\nbody {background-color: white;}\n"
        "#typ\t{font-size:12pt; color:white;}\n#tme\t{font-size:12pt; color:white;}\n"
        "#pid\t{font-size:12pt; color:white;}\n#tid\t{font-size:12pt; color:white;}\n"
        "#fln\t{font-size:12pt; color:white;}\n#inf\t{font-size:12pt; color:black;}\n"
        "#err\t{font-size:12pt; color:red; font-weight: bold;}\n--></style>\n</head>\n"
        "<body><h1 align=center>Orvelle Log File</h1><br><br>\n\n\n\n";
    const auto record = [](const std::string& type, const std::string& message) {
        const std::string kind = type == "Info:" ? "inf" : "err";
        return "<span id=\"typ\"> " + type +
               "\n</span><span id=\"tme\"> \n</span><span id=\"pid\"> P[5]\n</span><span id=\"tid\"> T[7] "
               "\n</span><span id=\"fln\"><br>\n</span><span id=\"" +
               kind + "\"> " + message + "\n<br>\n</span>";
    };
    const std::string run = record("Info:", "OvPatch action ready.") +
                            record("Info:", "OvPatch action update.") + record("Info:", "update: start.") +
                            record("Info:", "phaseIniForUpdate: start.") +
                            record("Info:", "phaseIniForUpdate: common section key/value processing.") +
                            record("Info:",
                                   "phaseIniForUpdate: patch agent file(Program Data\\R&#38;D&nbsp "
                                   "&#60;beta&#62;\\agents\\an_agen<br>"
                                   "t_with_a_long_name_of_the_engine.dll).") +
                            record("Error:", "phaseIniForUpdate: fetch orvelle full path failed.") +
                            record("Info:", "phaseIniForUpdate: error quit.") +
                            record("Error:", "update: phaseIniForUpdate failed.") +
                            record("Info:", "writeResult: start.") + record("Info:", "writeResult: done.");
    EXPECT_EQ(withoutIds(device.content("base\\OV_Log\\KxuDump.htm")), head + run);
    EXPECT_FALSE(device.exists("base\\OV_Log\\KxuDump.txt"));
    device.run();
    EXPECT_EQ(withoutIds(device.content("base\\OV_Log\\KxuDump.htm")), head + run + run);
}

// An update that logs on both levels.
Story twoLevels(Device& device) {
    const Manifest manifest{1, {engine()}};
    device.lay(manifest);
    device.remove(manifest.items[0].source() + "old0.bin");
    device.order("CheckFileEx * answer 0");
    Story story(device, manifest);
    story.answers["new0.bin"] = 0;
    story.begins().item(0).succeeds();
    return story;
}

std::string bare(const Lines& records) {
    std::string text;
    for (const std::string& record : records)
        text += record.substr(2) + "\n";
    return text;
}

TEST(Log, IsFilteredByLevel) {
    enum Shown { All, Nine, None };
    const std::pair<const char*, Shown> settings[] = {
        {"", All},           {"Level=5\n", All},   {"Level=6\n", All},
        {"Level=-3\n", All}, {"Level=abc\n", All}, {"Level=7\n", Nine},
        {"Level=9\n", Nine}, {"Level=10\n", None},
    };
    for (const auto& [setting, shown] : settings) {
        SCOPED_TRACE(setting);
        Device device;
        Story story = twoLevels(device);
        device.file("base\\ovcfg.ini", std::string("[Debug]\n") + setting);
        if (shown == Nine) story.log = {"I UpdateEx: Call patchagent CheckfileEx( dst\\new0.bin ) return 0"};
        if (shown == None) story.log = {};
        const Outcome seen = device.run();
        const auto strip = [](std::string text) { return std::regex_replace(text, std::regex("\n+"), "\n"); };
        EXPECT_EQ(strip(text(story.log)), strip(text(seen.log)));
        EXPECT_EQ(seen.output, "");
        EXPECT_EQ(device.exists("base\\OV_Log\\KxuDump.txt"), shown != None);
        EXPECT_TRUE(device.exists("base\\OV_Log"));
        EXPECT_EQ(device.content("base\\ovcfg.ini"), std::string("[Debug]\n") + setting);
    }
}

TEST(Log, GoesWhereItsModeSays) {
    struct Mode {
        const char* settings;
        bool output, directory, plain, html;
    };
    const Mode modes[] = {
        {"log_mode=1\n", true, false, false, false},  {"log_mode=1\nhtml=1\n", true, false, false, false},
        {"log_mode=2\n", false, true, true, false},   {"log_mode=2\nhtml=1\n", false, true, false, true},
        {"html=2\n", false, true, true, false},       {"log_mode=3\n", false, true, false, false},
        {"log_mode=0\n", false, false, false, false}, {"log_mode=4\nhtml=1\n", false, false, false, false},
        {"log_mode=x\n", false, false, false, false},
    };
    for (const Mode& mode : modes) {
        SCOPED_TRACE(mode.settings);
        Device device;
        const Story story = twoLevels(device);
        device.file("base\\ovcfg.ini", std::string("[debug]\n") + mode.settings);
        const Outcome seen = device.run();
        EXPECT_EQ(seen.result, "result=0\n");
        EXPECT_EQ(seen.output, mode.output ? bare(story.log) : "");
        EXPECT_EQ(device.exists("base\\OV_Log"), mode.directory);
        EXPECT_EQ(device.exists("base\\OV_Log\\KxuDump.txt"), mode.plain);
        EXPECT_EQ(device.exists("base\\OV_Log\\KxuDump.htm"), mode.html);
    }
}

// A trail byte that looks like a separator is none, in a destination, in a directory and in a file's name.
TEST(CodePage, KeepsTrailBytesApartFromSeparators) {
    Device device;
    device.codePage932();
    Manifest manifest{1, {engine()}};
    const std::string so = "\x83\\";
    manifest.items[0].destination = "d" + so;
    device.lay(manifest);
    device.file(manifest.items[0].source() + so + "\\f" + so + ".bin", "f of the update");
    device.file("d" + so + "\\" + so + "\\f" + so + ".bin", "f as it was");
    Story story(device, manifest);
    story.begins().item(0).succeeds();
    EXPECT_EQ(story.tree.at("d" + so + "\\OV_Backup\\2\\31\\backup.001"), "f as it was");
    story.check(0);
}

}  // namespace
}  // namespace ovpatch::scenarios
