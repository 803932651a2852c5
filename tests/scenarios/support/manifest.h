// The manifests that the scenarios hand to the program.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ovpatch::scenarios {

// A version as the manifest writes it and as an agent of the new generation gets it.
struct Version {
    std::string text;
    std::uint32_t number;
    std::uint32_t build = 0;
    std::string inLedger = {};  // its text there, where that differs

    const std::string& written() const { return inLedger.empty() ? text : inLedger; }
};

struct Item {
    int itemClass;
    int type;
    Version from, to;
    std::string destination = "dst";
    std::string zip = {};    // no key when empty
    std::string force = {};  // no key when empty

    // Where the item's new files lie, below the base directory "base".
    std::string source() const {
        return "base\\OV_Temp\\" + std::to_string(itemClass) + "\\" + std::to_string(type) + "\\";
    }
    // Where the copies of what it overwrites lie.
    std::string backups() const {
        return destination + "\\OV_Backup\\" + std::to_string(itemClass) + "\\" + std::to_string(type) + "\\";
    }
};

struct Manifest {
    int generation = 1;
    std::string agent = {};  // no key when empty
    std::vector<Item> items = {};
    std::string backup = {};  // no key when empty
    std::string orvellePath = "base";
    std::string action = "0";

    std::string text() const;
};

// One item of each class, as most scenarios use them. All three go to "dst".
inline Item engine() {
    return {2, 0x1f, {"1.5", 0x00015000}, {"1.6.120", 0x00016000, 120}};
}
inline Item product() {
    return {1, 2, {"3.1234", 0x00031234}, {"4", 0x00040000, 0, "4.0"}};
}
inline Item pattern() {
    return {3, 5, {"1234", 1234}, {"1240", 1240}};
}

// The agent libraries, by the name under which Device::agent puts them on the device.
inline const char* const kOldAgent = "agent\\old.dll";
inline const char* const kNewAgent = "agent\\new.dll";

inline Manifest oldManifest(std::vector<Item> items) {
    return {0, kOldAgent, std::move(items)};
}
inline Manifest newManifest(std::vector<Item> items) {
    return {1, kNewAgent, std::move(items)};
}

}  // namespace ovpatch::scenarios
