// The operations of the layer as steps of rows.
#ifndef OVPATCH_TESTS_PLATFORM_SUPPORT_DEVICE_H
#define OVPATCH_TESTS_PLATFORM_SUPPORT_DEVICE_H

#include <cerrno>
#include <cstring>
#include <set>
#include <string>

#include "platform/file_state.h"
#include "platform/locked_file.h"
#include "platform/platform.h"
#include "tests/support/rows.h"

namespace ovpatch::test {

using WideText = std::basic_string<WCHAR>;

// By the layer's own conversion; empty where it fails.
inline WideText widen(const std::string& text) {
    WCHAR wide[6000] = {};
    MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, text.c_str(), -1, wide, 6000);
    return wide;
}

inline std::string narrow(const WideText& wide) {
    char text[6000] = "";
    WideCharToMultiByte(CP_ACP, WC_COMPOSITECHECK, wide.c_str(), -1, text, 6000, nullptr, nullptr);
    return text;
}

// The tree with what is unusual about the permissions of its files.
inline State stateOf(const TempTree& tree) {
    State state = tree.list();
    for (auto& [name, content] : state) {
        const auto mode = static_cast<unsigned>(fs::symlink_status(tree.root / name).permissions()) & 0777;
        if (content == "@" || name.back() == '/' || mode == (ON_WINDOWS ? 0666U : 0644U)) continue;
        content += ":" + std::to_string(mode / 64) + std::to_string(mode / 8 % 8) + std::to_string(mode % 8);
    }
    return state;
}

// The names that a query yields but for `.` and `..`, directories with `/` behind.
inline std::string found(const std::string& query) {
    WIN32_FIND_DATAW entry;
    const HANDLE search = FindFirstFileW(widen(query).c_str(), &entry);
    if (search == INVALID_HANDLE_VALUE) return std::to_string(GetLastError());
    std::string names;
    do {
        const std::string name = narrow(entry.cFileName);
        const bool isDirectory = (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        if (name != "." && name != "..") names += name + (isDirectory ? "/ " : " ");
    } while (FindNextFileW(search, &entry));
    EXPECT_TRUE(GetLastError() == ERROR_NO_MORE_FILES && FindClose(search));
    return names + "end";
}

// What a stream reads, and that nothing can be written to it or what the tree shows when an X is flushed.
inline std::string streamed(const TempTree& tree, const std::string& path, const std::string& mode) {
    std::FILE* file = platform::fopen(path.c_str(), mode.c_str());
    if (file == nullptr) return std::to_string(GetLastError());
    char content[100] = "";
    if (mode[0] == 'r' && (std::fread(content, 1, 99, file) == 99 || std::feof(file) == 0)) {
        const DWORD number = GetLastError();
        return std::fclose(file) == 0 ? std::to_string(number) : "";
    }
    std::rewind(file);
    if (firstFault >= 0) failCall(-1);  // what is being written can be there in part
    const State before = stateOf(tree);
    const bool writes = std::fputc('X', file) == 'X' && std::fflush(file) == 0;
    const std::string shown = change(before, stateOf(tree));
    EXPECT_TRUE(std::fclose(file) == 0 || (ON_WINDOWS && !writes));
    return content + (writes ? "," + shown + " closed" : std::string());
}

inline std::string attributes(DWORD value) {
    if (value == INVALID_FILE_ATTRIBUTES) return std::to_string(GetLastError());
    if ((value & FILE_ATTRIBUTE_DIRECTORY) != 0) return "directory";
    return (value & FILE_ATTRIBUTE_READONLY) != 0 ? "read-only" : "plain";
}

// Answers of operations: "ok" or the number that they leave, what they tell, and how the tree has changed.
// A name is one in the tree, but for `-`, the empty path, and those that begin with a `/`; ~9 has nine
// letters.
inline std::string act(const TempTree& tree, const Words& words) {
    const auto pathOf = [&](const std::string& name) {
        if (name == "-" || name[0] == '/') return name == "-" ? "" : name;
        return tree.path("\\" + (name[0] == '~' ? std::string(std::stoul(name.substr(1)), 'n') : name));
    };
    const std::string& what = words[0];
    const std::string path = pathOf(words.at(1));
    const std::string other = words.size() > 2 ? words[2] : "-";
    const WideText first = widen(path);
    const WideText second = widen(pathOf(other));
    const auto ok = [](BOOL done) { return done ? "ok" : std::to_string(GetLastError()); };
    const auto yes = [](bool answer) { return answer ? "yes" : "no"; };
    SetLastError(0);
    if (what == "attr") return attributes(GetFileAttributesW(first.c_str()));
    if (what == "copy") return ok(CopyFileW(first.c_str(), second.c_str(), FALSE));
    if (what == "new") return ok(CopyFileW(first.c_str(), second.c_str(), TRUE));
    // The same by steps, the first of which takes the target for missing, whatever it is.
    platform::CopySource opened;
    if ((what == "steps" || what == "save") && !opened.open(first.c_str()))
        return ok(CopyFileW(first.c_str(), second.c_str(), what == "save"));
    if (what == "save") return ok(opened.copyToNew(second.c_str()));
    opened.expectNoTarget();
    if (what == "steps") return ok(opened.copyTo(second.c_str(), false));
    if (what == "mkdir") return ok(CreateDirectoryW(first.c_str(), nullptr));
    if (what == "rmdir") return ok(RemoveDirectoryW(first.c_str()));
    if (what == "del") return ok(DeleteFileW(first.c_str()));
    if (what == "find") return found(path);
    if (what == "open") return streamed(tree, path, other);
    if (what == "can") return ok(platform::canOpenForReading(path.c_str()));
    const platform::FileState state = platform::stateOf(first.c_str());
    if (what == "state")
        return (state.isLink ? "link " : "") +
               (state.isFile ? std::to_string(state.size) : yes(state.exists));
    bool link = false;
    if (what == "link?") return platform::isLink(first.c_str(), &link) ? yes(link) : ok(FALSE);
    if (what == "move") return yes(platform::moveFileOver(first.c_str(), second.c_str()));
    if (what == "back") return ok(platform::putBack(first.c_str(), second.c_str()));
    if (what == "swap") return yes(platform::exchangeFiles(first.c_str(), second.c_str()));
    if (what == "reswap") return yes(platform::exchangeBack(first.c_str(), second.c_str()));
    if (what == "twin") return ok(platform::duplicate(first.c_str(), second.c_str()));
    if (what == "discard") return ok(platform::discard(first.c_str()));
    if (what == "tidy") platform::tidyMove(first.c_str());
    if (what == "name") return ok(platform::giveSecondName(first.c_str(), second.c_str()));
    if (what == "create") {
        const HANDLE file = CreateFileW(first.c_str(), 0, FILE_SHARE_READ, nullptr, CREATE_NEW, 0, nullptr);
        return ok(file != INVALID_HANDLE_VALUE && CloseHandle(file));
    }
    if (what == "put") tree.write(words[1], other == "-" ? "" : other);
    if (what == "chmod")
        fs::permissions(tree.root / words[1], static_cast<fs::perms>(std::stoul(other, nullptr, 8)));
    return "ok";
}

// What a step answers, and how the tree has changed. One of which a call fails has done it all the same, or
// tells why not and has changed nothing; then its next call fails.
inline std::string device(const TempTree& tree, const Words& words) {
    static const std::map<int, std::string> numbers = {{EIO, "1117"},   {ENOMEM, "8"}, {EMFILE, "4"},
                                                       {ENFILE, "4"},   {EPERM, "5"},  {EACCES, "5"},
                                                       {ENOSPC, "112"}, {EXDEV, "17"}};
    // What is no number tells no more; 31 tells of a question that is forbidden, 3 and 5 of what was asked
    // thereafter.
    static const std::map<std::string, std::set<std::string>> failures = {
        {"state", {"yes", "link yes"}}, {"move", {"no"}}, {"swap", {"no"}}, {"reswap", {"no"}}};
    const auto known = failures.find(words[0]);
    const std::set<std::string> failed =
        known != failures.end() ? known->second : std::set<std::string>{"3", "5", "31"};
    const State before = stateOf(tree);
    for (int n = firstFault;; ++n) {
        if (n >= 0) failCall(n);
        std::string answer = act(tree, words);
        const int fault = n >= 0 ? failCall(-1) : 0;
        answer += change(before, stateOf(tree));
        const auto number = numbers.find(fault);
        // What a host does not have is done otherwise.
        if (fault != 0 && failed.count(answer) != 0 && (fault != ENOSYS || answer == "no")) continue;
        // A new file to append to stays.
        const std::string told = words[0] == "open" ? answer.substr(0, answer.find(" +new=")) : answer;
        if (number != numbers.end() && told == number->second) continue;
        if (fault != 0 && outlived < 0) outlived = n;
        return answer;
    }
}

}  // namespace ovpatch::test

#endif
