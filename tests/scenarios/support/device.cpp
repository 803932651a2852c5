#include "device.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <iconv.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <thread>

namespace ovpatch::scenarios {
namespace {

namespace fs = std::filesystem;

constexpr auto kTimeLimit = std::chrono::seconds(90);
const char* const kResult = "OV_Temp\\OvResult.ini";

std::string setting(const char* name, const char* otherwise) {
    const char* const value = std::getenv(name);
    return value != nullptr && *value != '\0' ? value : otherwise;
}

std::string read(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(in), {}};
    // Behind a launcher text mode may widen the line ends.
    if (throughLauncher()) bytes.erase(std::remove(bytes.begin(), bytes.end(), '\r'), bytes.end());
    return bytes;
}

Lines linesOf(const std::string& text) {
    std::istringstream in(text);
    Lines lines;
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

// Cuts the text of a log into its records and checks the shape of each head; `process` is the id that they
// must show, or 0.
Lines recordsOf(const std::string& text, int process) {
    static const std::regex head("\n\n(Info|Error):  P\\[(-?[0-9]+)\\] T\\[-?[0-9]+\\] \n");
    Lines records;
    std::size_t end = 0;
    for (std::sregex_iterator at(text.begin(), text.end(), head), none; at != none; ++at) {
        const auto begin = static_cast<std::size_t>(at->position());
        if (records.empty()) {
            EXPECT_EQ(begin, 0u) << "text in front of the first record: " << text.substr(0, begin);
        } else {
            records.back() += text.substr(end, begin - end);
        }
        if (process != 0) {
            EXPECT_EQ((*at)[2].str(), std::to_string(process));
        }
        records.push_back((*at)[1].str().substr(0, 1) + " ");
        end = begin + static_cast<std::size_t>(at->length());
    }
    if (records.empty()) {
        EXPECT_EQ(text, "") << "a log without a record";
    } else {
        records.back() += text.substr(end);
    }
    for (std::string& record : records)
        record.erase(std::remove(record.begin(), record.end(), '\n'), record.end());
    return records;
}

std::string converted(std::string text, const char* from, const char* to) {
    const iconv_t conversion = iconv_open(to, from);
    std::string result(text.size() * 4 + 1, '\0');
    char* in = text.data();
    char* out = result.data();
    std::size_t inLeft = text.size();
    std::size_t outLeft = result.size();
    EXPECT_NE(iconv(conversion, &in, &inLeft, &out, &outLeft), static_cast<std::size_t>(-1)) << text;
    iconv_close(conversion);
    result.resize(result.size() - outLeft);
    return result;
}

}  // namespace

bool isLeadByte932(char byte) {
    const auto value = static_cast<unsigned char>(byte);
    return (value >= 0x81 && value <= 0x9F) || (value >= 0xE0 && value <= 0xFC);
}

bool throughLauncher() {
    return !setting("OVPATCH_LAUNCHER", "").empty();
}

Device::Device() {
    std::string name = (fs::temp_directory_path() / "ovpatch-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw fs::filesystem_error("mkdtemp", name, {});
    root_ = name;
    fs::create_directories(root_ / "device");
}

Device::~Device() {
    std::error_code ignored;
    fs::remove_all(root_, ignored);
}

fs::path Device::host(const std::string& path) const {
    std::string name = path;
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (codePage932_ && isLeadByte932(name[i])) {
            ++i;
        } else if (name[i] == '\\') {
            name[i] = '/';
        }
    }
    return root_ / "device" / (namesAreConverted() ? converted(name, "CP932", "UTF-8") : name);
}

bool Device::namesAreConverted() const {
    return codePage932_ && throughLauncher();
}

void Device::codePage932() {
    codePage932_ = true;
    environment_.push_back("OVPATCH_ANSI_CODE_PAGE=932");
    file("base\\ovcfg.ini", "code_page=932\n");
}

void Device::file(const std::string& path, const std::string& content) {
    fs::create_directories(host(path).parent_path());
    std::ofstream out(host(path), std::ios::binary);
    out << content;
    ASSERT_TRUE(out.good()) << path;
}

void Device::directory(const std::string& path) {
    fs::create_directories(host(path));
}
void Device::remove(const std::string& path) {
    fs::remove_all(host(path));
}
bool Device::exists(const std::string& path) const {
    return fs::exists(host(path));
}

void Device::readOnly(const std::string& path) {
    fs::permissions(host(path), fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read);
}

std::string Device::content(const std::string& path) const {
    return fs::is_regular_file(host(path)) ? read(host(path)) : "(none)";
}

void Device::agent(const std::string& name, const std::string& path) {
    const fs::path library =
        fs::path(setting("OVPATCH_TEST_AGENTS", OVPATCH_DEFAULT_AGENTS)) /
        ("agent_" + name + setting("OVPATCH_AGENT_SUFFIX", OVPATCH_DEFAULT_AGENT_SUFFIX));
    fs::create_directories(host(path).parent_path());
    fs::copy_file(library, host(path), fs::copy_options::overwrite_existing);
}

void Device::order(const std::string& line) {
    std::ofstream(host("agent.script"), std::ios::app | std::ios::binary) << line << '\n';
}

void Device::noOrders() {
    remove("agent.script");
}

void Device::manifest(const Manifest& manifest) {
    agent("old", kOldAgent);
    agent("new", kNewAgent);
    manifestText(manifest.text());
}

void Device::manifestText(const std::string& text) {
    file("base\\OV_Temp\\OvPatch.ini", text);
}

void Device::lay(const Manifest& manifest) {
    this->manifest(manifest);
    for (std::size_t i = 0; i < manifest.items.size(); ++i) {
        const Item& item = manifest.items[i];
        const std::string n = std::to_string(i) + ".bin";
        file(item.source() + "new" + n, "new" + n + " of the update");
        file(item.source() + "old" + n, "old" + n + " of the update");
        file(item.destination + "\\old" + n, "old" + n + " as it was");
    }
}

std::string Device::inBase(const std::string& path) const {
    return base.empty() ? path : base + "\\" + path;
}

Tree Device::tree() const {
    Tree tree;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root_ / "device")) {
        std::string name = entry.path().lexically_relative(root_ / "device").string();
        if (namesAreConverted()) name = converted(name, "UTF-8", "CP932");
        std::replace(name.begin(), name.end(), '/', '\\');
        if (name.rfind("agent", 0) == 0 || name.rfind(inBase("OV_Log"), 0) == 0 || name == inBase(kResult))
            continue;
        if (entry.is_directory()) {
            tree[name + "\\"] = "";
        } else {
            tree[name] = read(entry.path());
        }
    }
    return tree;
}

int Device::start(const Lines& arguments) {
    Lines words;
    std::istringstream launcher(setting("OVPATCH_LAUNCHER", ""));
    for (std::string word; launcher >> word;)
        words.push_back(word);
    words.push_back(fs::absolute(setting("OVPATCH_PROGRAM", OVPATCH_DEFAULT_PROGRAM)).string());
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);

    const std::string device = (root_ / "device").string();
    const pid_t process = fork();
    if (process != 0) return process;
    const std::string streams = (root_ / std::to_string(getpid())).string();
    for (std::string& variable : environment_)
        putenv(variable.data());
    const int out = open((streams + ".out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int err = open((streams + ".err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (out >= 0 && err >= 0 && dup2(out, 1) == 1 && dup2(err, 2) == 2 && chdir(device.c_str()) == 0) {
        execvp(argv[0], argv.data());
    }
    _exit(126);
}

int Device::await(int process) {
    int status = 0;
    const auto limit = std::chrono::steady_clock::now() + kTimeLimit;
    while (waitpid(process, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > limit) {
            ADD_FAILURE() << "the run does not end";
            kill(process, SIGKILL);
            waitpid(process, &status, 0);
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

Outcome Device::finish(int process) {
    Outcome outcome;
    outcome.exitValue = await(process);
    const std::string streams = (root_ / std::to_string(process)).string();
    outcome.output = read(streams + ".out");
    if (!throughLauncher()) {
        EXPECT_EQ(read(streams + ".err"), "");
    }
    outcome.result = content(inBase(kResult));
    const std::string log = content(inBase("OV_Log\\KxuDump.txt"));
    if (log != "(none)") {
        outcome.log = recordsOf(log.substr(std::min(logRead_, log.size())), throughLauncher() ? 0 : process);
        logRead_ = log.size();
    }
    const std::string calls = read(host("agent.calls"));
    outcome.calls = linesOf(calls.substr(callsRead_));
    callsRead_ = calls.size();
    outcome.tree = tree();
    return outcome;
}

Outcome Device::run(const Lines& arguments) {
    return finish(start(arguments));
}

std::string text(const Lines& lines) {
    std::string text;
    for (const std::string& line : lines)
        text += line + "\n";
    return text;
}

std::string text(const Tree& tree) {
    std::string text;
    for (const auto& [path, content] : tree) {
        text += path + (content.empty() ? "\n" : ":\n");
        std::istringstream in(content);
        // The mark shows where a line has its line feed, and blanks in front of it.
        for (std::string line; std::getline(in, line);)
            text += "    " + line + (in.eof() ? "\n" : "|\n");
    }
    return text;
}

std::string hex(unsigned number) {
    std::ostringstream out;
    out << std::hex << number;
    return out.str();
}

}  // namespace ovpatch::scenarios
