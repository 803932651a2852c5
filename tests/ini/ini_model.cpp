#include "tests/ini/ini_model.h"

#include <algorithm>

namespace {

std::string trimmed(const std::string& text) {
    const char* const blanks = " \t\n\f\r";
    const std::size_t first = text.find_first_not_of(blanks);
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string folded(std::string text) {
    for (char& c : text) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c + 0x20);
    }
    return text;
}

}  // namespace

IniModel::IniModel(const std::string& text, bool caseSensitive)
    : caseSensitive_(caseSensitive), sections_(1) {
    std::string loose;
    std::size_t start = 0;
    for (bool more = true; more;) {
        const std::size_t end = text.find('\n', start);
        more = end != std::string::npos;
        const std::string line = trimmed(text.substr(start, more ? end - start : end));
        start = end + 1;
        const std::size_t equals = line.find('=');
        if (line.size() >= 2 && line.front() == '[' && line.back() == ']') {
            sections_.push_back({trimmed(line.substr(1, line.size() - 2)), loose, "", {}});
            loose.clear();
        } else if (!line.empty() && line.front() != ';' && equals != std::string::npos && equals > 0) {
            sections_.back().entries.push_back(
                {trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1)), loose, ""});
            loose.clear();
        } else {
            loose += line + (more ? "\n" : "");
        }
    }
    trailing_ = loose;
}

bool IniModel::equal(const std::string& left, const std::string& right) const {
    return caseSensitive_ ? left == right : folded(left) == folded(right);
}

int IniModel::sectionIndex(const char* name) const {
    if (name == nullptr) return 0;
    for (std::size_t i = 1; i < sections_.size(); ++i) {
        if (equal(sections_[i].name, trimmed(name))) return static_cast<int>(i);
    }
    return -1;
}

int IniModel::entryIndex(const ModelSection& section, const std::string& key) const {
    for (std::size_t i = 0; i < section.entries.size(); ++i) {
        if (equal(section.entries[i].key, trimmed(key))) return static_cast<int>(i);
    }
    return -1;
}

const std::string* IniModel::getValue(const char* section, const std::string& key) const {
    const int index = sectionIndex(section);
    if (index < 0) return nullptr;
    const ModelSection& found = sections_[static_cast<std::size_t>(index)];
    const int entry = entryIndex(found, key);
    return entry < 0 ? nullptr : &found.entries[static_cast<std::size_t>(entry)].value;
}

void IniModel::setValue(const char* section, const std::string& key, const std::string& value) {
    const std::string* const found = getValue(section, key);
    if (found == nullptr) return addValue(section, key, value);
    dirty_ = true;
    *const_cast<std::string*>(found) = value;
}

void IniModel::addValue(const char* section, const std::string& key, const std::string& value) {
    dirty_ = true;
    int index = sectionIndex(section);
    if (index < 0) {
        index = static_cast<int>(sections_.size());
        sections_.push_back({trimmed(section), "", "", {}});
    }
    sections_[static_cast<std::size_t>(index)].entries.push_back({key, value, "", ""});
}

bool IniModel::deleteValue(const char* section, const std::string& key) {
    const int index = sectionIndex(section);
    if (index < 0) return false;
    ModelSection& found = sections_[static_cast<std::size_t>(index)];
    const int entry = entryIndex(found, key);
    dirty_ = entry >= 0;
    if (entry < 0) return false;
    const auto gone = found.entries.begin() + entry;
    (entry == 0 ? found.body : (gone - 1)->trailing) += gone->leading + gone->trailing;
    found.entries.erase(gone);
    return true;
}

void IniModel::deleteSection(const char* section) {
    const int index = sectionIndex(section);
    if (index < 0) return;
    dirty_ = index > 0 || !sections_[0].entries.empty();
    if (index == 0) return sections_[0].entries.clear();
    sections_.erase(sections_.begin() + index);
}

std::string IniModel::text() const {
    std::string made;
    for (const ModelSection& section : sections_) {
        made += section.leading;
        if (!section.name.empty()) made += "[" + section.name + "]\n";
        made += section.body;
        for (const ModelEntry& entry : section.entries) {
            made += entry.leading + entry.key + "=" + entry.value + "\n" + entry.trailing;
        }
    }
    return made + trailing_;
}
