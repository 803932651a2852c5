// The device as a run would find it in its course: what stands there now, and over it what the run would have
// made and removed by then. Nothing is ever written.
#ifndef OVPATCH_OVPATCHCTL_PLAN_WORLD_H
#define OVPATCH_OVPATCHCTL_PLAN_WORLD_H

#include <map>
#include <optional>
#include <string>

namespace ovpatch::ctl {

enum class Stand {
    NOTHING,
    FILE,  // that can be opened for reading
    DIRECTORY,
    NOT_READABLE,  // a file that may not be read, and anything else that is neither
    UNKNOWN,       // the device cannot tell
};

// Paths are device text; a separator at the end is passed over.
class World {
public:
    Stand at(const std::string& path);
    bool isDirectory(const std::string& path) { return at(path) == Stand::DIRECTORY; }

    // Whether it stands there now, by no doing of the run.
    bool isUntouched(const std::string& path) { return !changed(path); }

    // Whether a file stands there that may be read and not written.
    bool isReadOnly(const std::string& path);

    // What the run does. A copy is as read-only as what it was made of.
    void copyFile(const std::string& source, const std::string& target);
    void makeFile(const std::string& path) { changes_[key(path)] = {Stand::FILE, false}; }
    void remove(const std::string& path) { changes_[key(path)] = {Stand::NOTHING, false}; }

    // Makes a directory and the parents that it lacks. Null when that is done or it is there; else why it
    // cannot be.
    const char* makeDirectory(const std::string& path);

    // Null when a file can be made in the directory, or one replaced; else why not.
    const char* refusesEntries(const std::string& directory);

    // The nearest directory above the path, or the path itself, that stands there now.
    std::string standingDirectory(const std::string& path);

private:
    struct Entry {
        Stand stands;
        bool isReadOnly;
    };

    std::optional<Entry> changed(const std::string& path);
    std::string key(const std::string& path);
    std::string directoryKey(const std::string& directory);

    std::map<std::string, Entry> changes_;
    std::map<std::string, std::string> directoryKeys_;
    std::map<std::string, const char*> refusals_;
};

}  // namespace ovpatch::ctl

#endif
