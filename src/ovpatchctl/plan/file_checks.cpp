#include "ovpatchctl/plan/file_checks.h"

#include <cstdio>
#include <cstring>
#include <memory>

#include "fileops/paths.h"
#include "fileops/wide_path.h"
#include "ovpatch/journal/keeper.h"

namespace ovpatch::ctl {

namespace {

using Stream = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

Stream open(const std::string& path) {
    return {platform::fopen(path.c_str(), "rb"), std::fclose};
}

// A file, where what stands there can be replaced by one.
bool isReplaceable(const platform::FileState& state) {
    return state.isFile || !state.exists;
}

bool isOneFile(const platform::FileState& left, const platform::FileState& right) {
    return left.id != 0 && left.id == right.id && left.device == right.device;
}

}  // namespace

std::optional<Refusal> refusesCopy(World* world, const std::string& source, const std::string& target) {
    if (world->at(source) != Stand::FILE) return Refusal{"source-unreadable", "the new file cannot be read"};
    if (!WidePath(target.c_str()).fits() || hasWildcard(target.c_str()))
        return Refusal{"bad-path", "the device can have no file of that path"};
    if (world->isUntouched(target)) {
        const platform::FileState old = stateOfFile(target.c_str());
        if (!isReplaceable(old))
            return Refusal{"in-the-way", "something that is no file stands in its place"};
        if (old.exists && isOneFile(stateOfFile(source.c_str()), old))
            return Refusal{"one-file", "the new file is the old one, under another name"};
    }
    if (world->isReadOnly(target)) return Refusal{"read-only", "the file is read-only"};
    const ByteString directory = directoryPart(target.c_str());
    if (directory.length() != 0 && !world->isDirectory(directory.cStr()))
        return Refusal{"not-writable", "its directory is not there"};
    if (const char* reason = world->refusesEntries(directory.cStr())) return Refusal{"not-writable", reason};
    return std::nullopt;
}

bool holdTheSame(const std::string& left, const std::string& right) {
    if (stateOfFile(left.c_str()).size != stateOfFile(right.c_str()).size) return false;
    const Stream first = open(left);
    const Stream second = open(right);
    if (first == nullptr || second == nullptr) return false;
    char one[32768];
    char other[sizeof one];
    std::size_t count = 0;
    do {
        count = std::fread(one, 1, sizeof one, first.get());
        if (std::fread(other, 1, sizeof other, second.get()) != count || std::memcmp(one, other, count) != 0)
            return false;
    } while (count == sizeof one);
    return std::ferror(first.get()) == 0 && std::ferror(second.get()) == 0;
}

}  // namespace ovpatch::ctl
