// The manifests that the scenarios hand to the program.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace ovpatch::scenarios {

// A path below a directory, which may have its "\" behind.
std::string joined(const std::string& directory, const std::string& name);

// A version as the manifest writes it and as an agent of the new generation gets it.
struct Version {
    std::string text;
    std::uint32_t number;
    std::uint32_t build = 0;
    std::string inLedger = {};  // its text there, where that differs
};

struct Item {
    int itemClass;
    int type;
    Version from, to;
    std::string destination = "dst";
    std::string zip = {};    // no key when empty
    std::string force = {};  // no key when empty

    // "2\31\": what its directories are named by.
    std::string directory() const { return std::to_string(itemClass) + "\\" + std::to_string(type) + "\\"; }
    std::string source() const { return "base\\OV_Temp\\" + directory(); }
    std::string backups() const { return joined(destination, "OV_Backup\\" + directory()); }
};

// The agent libraries, by the name under which Device::manifest puts them on the device.
inline const char* const kOldAgent = "agent\\old.dll";
inline const char* const kNewAgent = "agent\\new.dll";

struct Manifest {
    int generation = 1;
    std::vector<Item> items = {};
    std::string agent = generation == 0 ? kOldAgent : kNewAgent;  // no key when empty
    std::string backup = {};                                      // no key when empty
    std::string orvellePath = "base";

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
inline Manifest threeClasses(int generation) {
    return {generation, {engine(), product(), pattern()}};
}

}  // namespace ovpatch::scenarios
