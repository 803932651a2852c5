// INI files as documents in memory.
#ifndef OVPATCH_INI_KX_INI_UTIL_H
#define OVPATCH_INI_KX_INI_UTIL_H

#include <cstdint>

#include "foundation/byte_string.h"
#include "ini/ini_section.h"
#include "ini/list_index.h"

namespace ovpatch {

// One INI file: sections of key lines, in file order, and all the loose text (comments, blank lines, lines
// that are neither header nor key line) that stands before them. Loading and saving keeps everything but the
// white space around lines, names and "=" signs, and the header of a section without a name.
//
// Keys above the first header belong to the head section, which always exists and is reached with a null
// section name, and only with that. Queries are trimmed (see trimWhitespace) before they are compared, and
// fold ASCII letters unless the document tells case apart. A key that stands in a section several times, and
// a section that stands in the document several times, is found where it stands first.
//
// All names and values are zero-terminated 8-bit text. Keys and values are stored as handed in, so that a key
// with blanks at its ends is not found before the file is read again; the name of a new section is trimmed.
// When memory runs out the process ends (see outOfMemory).
class KxIniUtil {
public:
    // Reads `fileName`. A file that is missing gives an empty document, which nothing tells but its lookups,
    // and so does one that cannot be read, see isUnreadable. With a null or empty name the document lives in
    // memory only and is read-only. Lines that begin with `commentChar` are comments.
    KxIniUtil(const char* fileName, char commentChar, bool caseSensitive);
    // Saves a document that was changed, unless it is read-only or its file unreadable; a failure passes
    // unseen.
    ~KxIniUtil();
    KxIniUtil(const KxIniUtil&) = delete;
    KxIniUtil& operator=(const KxIniUtil&) = delete;

    // Whether the file is there, or may be, and could not be read to its end. The document is empty then, for
    // nothing less than the whole of the file may be taken for it, and only save and saveAs write it.
    bool isUnreadable() const { return unreadable_; }

    bool hasSection(const char* section) const { return findSection(section) != nullptr; }

    // The value of the key, owned by the document and good until its line is changed or deleted. Null when
    // `key` is null or empty and when the section or the key isn't there; an empty text for an empty value.
    const char* getValue(const char* section, const char* key) const;

    // Gives the first line of the key this value; without one, as addValue. Marks the document as changed,
    // also when the value stays the same. A null or empty `key` changes nothing; a null `value` is an empty
    // one.
    void setValue(const char* section, const char* key, const char* value);

    // Appends a line to the section, whether or not it has one of that key. A section that isn't there is
    // made at the end of the document. Otherwise as setValue.
    void addValue(const char* section, const char* key, const char* value);

    // Removes the first line of the key; the loose text before it stays. Answers 1, or 0 when there is no
    // such line. In a section that exists, the document counts as changed exactly if a line was removed: a
    // miss takes back an earlier mark.
    int deleteValue(const char* section, const char* key);

    // Removes a section with all text that belongs to it and marks the document as changed; a section that
    // isn't there changes nothing. The head section (null) only loses its lines, and the document counts as
    // changed exactly if it had any.
    void deleteSection(const char* section);

    // As saveAs with the name that the document was made with.
    int save() const;

    // Writes the document. Answers 1 when all of it was written, and 0 otherwise, also for a null or empty
    // name. The document stays changed and keeps its own name.
    int saveAs(const char* fileName) const;

    // The destructor must not write.
    void setReadOnly();

private:
    void load();
    bool readLines(InputFileStream& stream);
    void clear();
    bool takeLine(const ByteString& line, const ByteString& looseText);
    IniSection* findSection(const char* name) const;
    IniSection& appendSection(const ByteString& name);

    bool dirty_;
    bool readOnly_;
    bool unreadable_;
    bool caseSensitive_;
    signed char commentChar_;
    ByteString fileName_;
    ByteString trailingText_;   // the loose text behind the last header or key line
    IniSection* firstSection_;  // the head section; never null
    IniSection* lastSection_;
    mutable ListIndex<IniSection> index_;  // of the sections behind the head
};

}  // namespace ovpatch

#endif
