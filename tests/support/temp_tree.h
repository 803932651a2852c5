// A directory of a test's own, in which trees are laid out and read back from the host's side.
#ifndef OVPATCH_TESTS_SUPPORT_TEMP_TREE_H
#define OVPATCH_TESTS_SUPPORT_TEMP_TREE_H

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <string>

namespace ovpatch::test {

namespace fs = std::filesystem;

// Names are the host's and relative to the directory, which goes at the end with all it holds.
struct TempTree {
    // Its name has the same length every time, so that paths in two trees fit or do not fit alike.
    const fs::path root = fs::temp_directory_path() /
                          ("ovpatch_" + std::to_string(100000000 + std::random_device()() % 900000000));

    TempTree() { fs::create_directory(root); }
    ~TempTree() {
        for (const auto& entry : fs::recursive_directory_iterator(root))
            if (!entry.is_symlink()) fs::permissions(entry, fs::perms::owner_write, fs::perm_options::add);
        fs::remove_all(root);
    }
    TempTree(const TempTree&) = delete;
    TempTree& operator=(const TempTree&) = delete;

    // The device's path of `name`, which is taken as it stands: "" is the directory, "\\a" its entry a.
    std::string path(const std::string& name) const {
        std::string text = root.string();
        std::replace(text.begin(), text.end(), '/', '\\');
        return text + name;
    }
    // Writes a file, or makes a directory where the name ends in "/", and the directories above it.
    void write(const std::string& name, const std::string& content = "") const {
        fs::create_directories((root / name).parent_path());
        if (name.back() != '/') std::ofstream(root / name, std::ios::binary) << content;
    }
    std::string read(const std::string& name) const {
        std::ifstream file(root / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    // Contents by name. A directory has "/" behind its name, a link "@" for its content.
    std::map<std::string, std::string> list() const {
        std::map<std::string, std::string> all;
        for (const auto& entry : fs::recursive_directory_iterator(root)) {
            const std::string name = entry.path().lexically_relative(root).generic_string();
            if (!entry.is_symlink() && entry.is_directory())
                all[name + "/"];
            else
                all[name] = entry.is_symlink() ? "@" : entry.is_regular_file() ? read(name) : "";
        }
        return all;
    }
};

}  // namespace ovpatch::test

#endif
