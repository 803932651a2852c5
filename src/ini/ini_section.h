// The sections and key lines that an INI document is made of.
#ifndef OVPATCH_INI_INI_SECTION_H
#define OVPATCH_INI_INI_SECTION_H

#include "foundation/byte_string.h"
#include "foundation/file_stream.h"
#include "ini/list_index.h"

namespace ovpatch {

// One key line. A ledger has tens of thousands of them: see ByteString on what an empty text costs.
struct IniEntry {
    ByteString key;
    ByteString value;
    ByteString leadingText;   // the loose text that stood before the line
    ByteString trailingText;  // loose text that removed lines behind this one left
    IniEntry* next = nullptr;
    IniEntry* previous = nullptr;
    IniEntry* nextSame = nullptr;  // kept by the section's index

    const ByteString& name() const { return key; }
};

// A header with its key lines, in file order. The section owns its entries.
class IniSection {
public:
    // `sectionName` without brackets and trimmed; empty for the head section.
    IniSection(const ByteString& sectionName, bool caseSensitive);
    ~IniSection();
    IniSection(const IniSection&) = delete;
    IniSection& operator=(const IniSection&) = delete;

    const ByteString& name() const { return name_; }
    bool isEmpty() const { return firstEntry_ == nullptr; }

    // The first entry of that key, which is trimmed before; null when there is none.
    IniEntry* find(const char* key);
    // Appends an entry with empty texts at the end.
    IniEntry& append(ByteString key, ByteString value);
    // Removes an entry of this section. Its texts stay, behind what precedes it.
    void remove(IniEntry& entry);
    // Frees all entries.
    void clear();
    // Writes the section, from its leading text to the last line.
    void write(OutputFileStream& stream) const;

    ByteString leadingText;  // the loose text that stood before the header
    ByteString bodyText;     // loose text between header and first key, left by removed lines
    IniSection* next = nullptr;
    IniSection* previous = nullptr;
    IniSection* nextSame = nullptr;  // kept by the document's index

private:
    ByteString name_;
    IniEntry* firstEntry_ = nullptr;
    IniEntry* lastEntry_ = nullptr;  // null exactly if firstEntry_ is
    ListIndex<IniEntry> index_;
};

}  // namespace ovpatch

#endif
