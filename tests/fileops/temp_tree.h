// A directory of its own for a test, in which trees are laid out and read back.
#ifndef OVPATCH_TESTS_FILEOPS_TEMP_TREE_H
#define OVPATCH_TESTS_FILEOPS_TEMP_TREE_H

#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>
#include <string>

namespace ovpatch::test {

class TempTree {
public:
    TempTree() {
        // In memory, where the host has such a place.
        const std::filesystem::path fast = "/dev/shm";
        root_ = std::filesystem::is_directory(fast) ? fast : std::filesystem::temp_directory_path();
        // Of the same length every time, so that paths in two trees fit or do not fit alike.
        root_ /= "ovpatch_" + std::to_string(1000000000 + std::random_device()() % 1000000000);
        std::filesystem::create_directory(root_);
    }
    ~TempTree() { std::filesystem::remove_all(root_); }
    TempTree(const TempTree&) = delete;
    TempTree& operator=(const TempTree&) = delete;

    const std::filesystem::path& root() const { return root_; }

    // The device's path of `name`, which is taken as it stands: "" is the root, "\\a" the entry a.
    std::string path(const std::string& name) const {
        std::string text = root_.string();
        for (char& c : text)
            c = c == '/' ? '\\' : c;
        return text + name;
    }
    // `path` as it looks from the root.
    std::string local(const char* devicePath) const {
        if (devicePath == nullptr) return "-";
        const std::string text(devicePath);
        const std::string prefix = path("");
        return text.compare(0, prefix.size(), prefix) == 0 ? text.substr(prefix.size()) : text;
    }

    // Makes a directory for each host name that ends in "/", a file with its own name in it for any other.
    void make(const std::string& name) const {
        const std::filesystem::path full = root_ / name;
        std::filesystem::create_directories(name.back() == '/' ? full : full.parent_path());
        if (name.back() != '/') write(name, name);
    }
    void write(const std::string& name, const std::string& content) const {
        std::ofstream(root_ / name, std::ios::binary) << content;
    }
    std::string read(const std::string& name) const {
        std::ifstream stream(root_ / name);
        std::ostringstream content;
        content << stream.rdbuf();
        return content.str();
    }
    void clear() const {
        std::filesystem::remove_all(root_);
        std::filesystem::create_directory(root_);
    }

    // All entries in order, with their contents: "a/ a/b=content ".
    std::string all() const {
        std::map<std::string, std::string> entries;
        if (!std::filesystem::exists(root_)) return "gone";
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root_)) {
            const std::string name = entry.path().generic_string().substr(root_.string().size() + 1);
            entries[name] = entry.is_symlink() ? "@ " : entry.is_directory() ? "/ " : "=" + read(name) + " ";
        }
        std::string text;
        for (const auto& [name, content] : entries)
            text += name + content;
        return text;
    }

private:
    std::filesystem::path root_;
};

}  // namespace ovpatch::test

#endif
