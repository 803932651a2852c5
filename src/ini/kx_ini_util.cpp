#include "ini/kx_ini_util.h"

#include <new>

#include "fileops/code_page.h"
#include "foundation/file_stream.h"
#include "foundation/out_of_memory.h"
#include "platform/platform.h"

namespace ovpatch {

namespace {

bool isBlankName(const char* name) {
    return name == nullptr || name[0] == 0;
}

// Fills `line` with the bytes up to the next line feed. False when the file ended instead; what precedes the
// end is a line all the same.
bool readLine(InputFileStream& stream, ByteString& line) {
    line.assign("");
    for (int byte = stream.get(); byte != -1; byte = stream.get()) {
        if (byte == '\n') return true;
        line.appendChar(1, static_cast<char>(byte));
    }
    return false;
}

bool isHeader(const ByteString& line) {
    if (line.length() < 2) return false;
    const std::uint32_t last = line.length() - 1;
    return line.at(0) == '[' && line.at(last) == ']' && !isTrailByte(line.cStr(), line.cStr() + last);
}

ByteString trimmedPart(const ByteString& line, std::uint32_t start, std::uint32_t count) {
    ByteString part = line.substr(start, count);
    part.trimWhitespace();
    return part;
}

IniSection* newSection(const ByteString& name, bool caseSensitive) {
    IniSection* const section = new (std::nothrow) IniSection(name, caseSensitive);
    if (section == nullptr) outOfMemory("a document");
    return section;
}

}  // namespace

KxIniUtil::KxIniUtil(const char* fileName, char commentChar, bool caseSensitive)
    : dirty_(false),
      readOnly_(isBlankName(fileName)),
      unreadable_(false),
      caseSensitive_(caseSensitive),
      commentChar_(static_cast<signed char>(commentChar)),
      fileName_(fileName),
      firstSection_(newSection(ByteString(), caseSensitive)),
      lastSection_(firstSection_),
      index_(caseSensitive) {
    if (fileName_.length() != 0) load();
}

KxIniUtil::~KxIniUtil() {
    if (dirty_ && !readOnly_ && !unreadable_) save();
    clear();
    delete firstSection_;
}

const char* KxIniUtil::getValue(const char* section, const char* key) const {
    if (isBlankName(key)) return nullptr;
    IniSection* const found = findSection(section);
    const IniEntry* const entry = found == nullptr ? nullptr : found->find(key);
    return entry == nullptr ? nullptr : entry->value.cStr();
}

void KxIniUtil::setValue(const char* section, const char* key, const char* value) {
    IniSection* const found = findSection(section);
    IniEntry* const entry = found == nullptr ? nullptr : found->find(key);
    if (entry == nullptr) {
        addValue(section, key, value);
        return;
    }
    dirty_ = true;
    entry->value.assign(value);
}

void KxIniUtil::addValue(const char* section, const char* key, const char* value) {
    if (isBlankName(key)) return;
    dirty_ = true;
    IniSection* target = findSection(section);
    if (target == nullptr) {
        const std::string_view name = trimmedName(section);
        target = &appendSection(ByteString(name.data(), static_cast<std::uint32_t>(name.size())));
    }
    target->append(ByteString(key), ByteString(value));
}

int KxIniUtil::deleteValue(const char* section, const char* key) {
    IniSection* const found = findSection(section);
    if (found == nullptr) return 0;
    IniEntry* const entry = found->find(key);
    dirty_ = entry != nullptr;
    if (entry == nullptr) return 0;
    found->remove(*entry);
    return 1;
}

void KxIniUtil::deleteSection(const char* section) {
    IniSection* const found = findSection(section);
    if (found == nullptr) return;
    if (found == firstSection_) {
        dirty_ = !found->isEmpty();
        found->clear();
        return;
    }
    dirty_ = true;
    index_.removed(*found);
    found->previous->next = found->next;
    (found->next == nullptr ? lastSection_ : found->next->previous) = found->previous;
    delete found;
}

int KxIniUtil::save() const {
    return saveAs(fileName_.cStr());
}

int KxIniUtil::saveAs(const char* fileName) const {
    if (isBlankName(fileName)) return 0;
    OutputFileStream stream(fileName, MODE_OUT | MODE_TRUNC);
    if (stream.isFail()) return 0;
    for (const IniSection* section = firstSection_; section != nullptr; section = section->next) {
        section->write(stream);
    }
    stream << trailingText_;
    const bool isWritten = !stream.isBad() && !stream.isEof();
    stream.close();
    return isWritten && !stream.isFail() ? 1 : 0;
}

void KxIniUtil::setReadOnly() {
    readOnly_ = true;
}

void KxIniUtil::load() {
    InputFileStream stream(fileName_.cStr(), MODE_IN | MODE_BINARY);
    if (stream.isFail()) {
        unreadable_ = !platform::tellsMissing(GetLastError());
    } else if (!readLines(stream)) {
        unreadable_ = true;
        clear();
    }
}

// False when the file could not be read to its end.
bool KxIniUtil::readLines(InputFileStream& stream) {
    ByteString line;
    ByteString looseText;
    bool more = true;
    while (more) {
        more = readLine(stream, line);
        line.trimWhitespace();
        if (takeLine(line, looseText)) {
            looseText.assign("");
            continue;
        }
        looseText.append(line);
        if (more) looseText.appendChar(1, '\n');
    }
    if (stream.isBad()) return false;
    trailingText_.assign(looseText);
    return true;
}

// Leaves nothing but an empty head section.
void KxIniUtil::clear() {
    index_.clear();
    while (firstSection_->next != nullptr) {
        IniSection* const section = firstSection_->next;
        firstSection_->next = section->next;
        delete section;
    }
    firstSection_->clear();
    lastSection_ = firstSection_;
}

// Takes in a trimmed line with the loose text before it, unless it is loose text itself. The text is copied
// into a block of its size; the caller's grows with the largest.
bool KxIniUtil::takeLine(const ByteString& line, const ByteString& looseText) {
    if (isHeader(line)) {
        appendSection(trimmedPart(line, 1, line.length() - 2)).leadingText.assign(looseText);
        return true;
    }
    if (static_cast<signed char>(line.at(0)) == commentChar_) return false;
    const std::uint32_t equals = line.find('=');
    if (equals == ByteString::NOT_FOUND || equals == 0) return false;
    IniEntry& entry =
        lastSection_->append(trimmedPart(line, 0, equals), trimmedPart(line, equals + 1, ByteString::WHOLE));
    entry.leadingText.assign(looseText);
    return true;
}

IniSection* KxIniUtil::findSection(const char* name) const {
    return name == nullptr ? firstSection_ : index_.find(firstSection_->next, trimmedName(name));
}

IniSection& KxIniUtil::appendSection(const ByteString& name) {
    IniSection* const section = newSection(name, caseSensitive_);
    section->previous = lastSection_;
    lastSection_->next = section;
    lastSection_ = section;
    index_.added(*section);
    return *section;
}

}  // namespace ovpatch
