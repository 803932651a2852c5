#include "tests/platform/support/test_tree.h"

#include <algorithm>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

namespace ovpatch::test {

TestTree::TestTree() {
    static int counter = 0;
    const std::string name =
        "ovpatch_platform_" + std::to_string(GetCurrentProcessId()) + "_" + std::to_string(counter++);
    root_ = fs::temp_directory_path() / name;
    fs::remove_all(root_);
    fs::create_directories(root_);
}

TestTree::~TestTree() {
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root_))
        if (entry.is_regular_file() && !entry.is_symlink())
            fs::permissions(entry.path(), fs::perms::owner_write, fs::perm_options::add);
    fs::remove_all(root_);
}

std::string TestTree::text(const std::string& name) const {
    std::string path = host(name).string();
    std::replace(path.begin(), path.end(), '/', '\\');
    return path;
}

WideText TestTree::wide(const std::string& name) const {
    return widen(text(name));
}

void TestTree::put(const std::string& name, const std::string& content) const {
    std::ofstream(host(name), std::ios::binary) << content;
}

void TestTree::setReadOnly(const std::string& name, bool readOnly) const {
    const fs::perms bits = fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
    fs::permissions(host(name), bits, readOnly ? fs::perm_options::remove : fs::perm_options::add);
}

std::string TestTree::get(const std::string& name) const {
    std::ifstream file(host(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string TestTree::names() const {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(root_))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    std::string joined;
    for (const std::string& name : names)
        joined += (joined.empty() ? "" : " ") + name;
    return joined;
}

WideText widen(const std::string& bytes) {
    WideText units;
    for (const char byte : bytes)
        units.push_back(static_cast<WCHAR>(static_cast<unsigned char>(byte)));
    return units;
}

}  // namespace ovpatch::test
