#include "manifest.h"

#include "device.h"

namespace ovpatch::scenarios {

std::string joined(const std::string& directory, const std::string& name) {
    const bool trailByte = directory.size() > 1 && isLeadByte932(directory[directory.size() - 2]);
    return directory.back() == '\\' && !trailByte ? directory + name : directory + "\\" + name;
}

std::string Manifest::text() const {
    const auto line = [](const char* key, const std::string& value) {
        return value.empty() ? "" : key + ("=" + value) + "\n";
    };
    std::string text = "[common]\naction=0\n" + line("itemcount", std::to_string(items.size())) +
                       line("patchagent.version", std::to_string(generation)) + line("patchagent", agent) +
                       line("backup", backup) + line("orvelle_path", orvellePath);
    for (std::size_t i = 0; i < items.size(); ++i) {
        const Item& item = items[i];
        text += "[item_" + std::to_string(i) + "]\n" + line("class", std::to_string(item.itemClass)) +
                line("type", hex(static_cast<std::uint32_t>(item.type))) +
                line("origin.version", item.from.text) + line("result.version", item.to.text) +
                line("destination", item.destination) + line("forceupdate", item.force) +
                line("item.zip", item.zip);
    }
    return text;
}

}  // namespace ovpatch::scenarios
