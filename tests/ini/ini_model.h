// The plainest possible INI document, to hold the real one against: every search walks from the front.
#ifndef OVPATCH_TESTS_INI_INI_MODEL_H
#define OVPATCH_TESTS_INI_INI_MODEL_H

#include <string>
#include <vector>

struct ModelEntry {
    std::string key, value, leading, trailing;
};

struct ModelSection {
    std::string name, leading, body;
    std::vector<ModelEntry> entries;
};

class IniModel {
public:
    // Reads `text` as a file. Single bytes only.
    IniModel(const std::string& text, bool caseSensitive);

    // Sections are null for the head, as in the real document. Null when there is no such value.
    const std::string* getValue(const char* section, const std::string& key) const;
    void setValue(const char* section, const std::string& key, const std::string& value);
    void addValue(const char* section, const std::string& key, const std::string& value);
    bool deleteValue(const char* section, const std::string& key);
    void deleteSection(const char* section);
    std::string text() const;
    bool dirty() const { return dirty_; }

private:
    bool equal(const std::string& left, const std::string& right) const;
    int sectionIndex(const char* name) const;
    int entryIndex(const ModelSection& section, const std::string& key) const;

    bool caseSensitive_;
    bool dirty_ = false;
    std::vector<ModelSection> sections_;
    std::string trailing_;
};

#endif
