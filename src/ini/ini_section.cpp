#include "ini/ini_section.h"

#include <new>
#include <utility>

#include "foundation/out_of_memory.h"

namespace ovpatch {

IniSection::IniSection(const ByteString& sectionName, bool caseSensitive)
    : name_(sectionName), index_(caseSensitive) {}

IniSection::~IniSection() {
    clear();
}

IniEntry* IniSection::find(const char* key) {
    return index_.find(firstEntry_, trimmedName(key));
}

IniEntry& IniSection::append(ByteString key, ByteString value) {
    IniEntry* const entry = new (std::nothrow) IniEntry;
    if (entry == nullptr) outOfMemory("a document");
    entry->key = std::move(key);
    entry->value = std::move(value);
    entry->previous = lastEntry_;
    (lastEntry_ == nullptr ? firstEntry_ : lastEntry_->next) = entry;
    lastEntry_ = entry;
    index_.added(*entry);
    return *entry;
}

void IniSection::remove(IniEntry& entry) {
    ByteString& textBefore = entry.previous == nullptr ? bodyText : entry.previous->trailingText;
    textBefore.append(entry.leadingText);
    textBefore.append(entry.trailingText);
    index_.removed(entry);
    (entry.previous == nullptr ? firstEntry_ : entry.previous->next) = entry.next;
    (entry.next == nullptr ? lastEntry_ : entry.next->previous) = entry.previous;
    delete &entry;
}

void IniSection::clear() {
    index_.clear();
    while (firstEntry_ != nullptr) {
        IniEntry* const entry = firstEntry_;
        firstEntry_ = entry->next;
        delete entry;
    }
    lastEntry_ = nullptr;
}

void IniSection::write(OutputFileStream& stream) const {
    stream << leadingText;
    if (name_.length() != 0) stream << "[" << name_ << "]" << endLine;
    stream << bodyText;
    for (const IniEntry* entry = firstEntry_; entry != nullptr; entry = entry->next) {
        stream << entry->leadingText << entry->key << "=" << entry->value << endLine << entry->trailingText;
    }
}

}  // namespace ovpatch
