// The file operations as they are told, step by step and with every question asked each time: what the real
// ones, which save questions and listings, have to equal.
#ifndef OVPATCH_TESTS_FILEOPS_LITERAL_OPERATIONS_H
#define OVPATCH_TESTS_FILEOPS_LITERAL_OPERATIONS_H

#include <string>
#include <utility>
#include <vector>

#include "fileops/dir_listing.h"
#include "fileops/file_tests.h"
#include "fileops/make_directory.h"
#include "fileops/paths.h"
#include "fileops/remove.h"
#include "fileops/wide_path.h"
#include "platform/platform.h"

namespace ovpatch::test::literal {

inline bool isDir(const std::string& path) {
    return isDirectory(path.c_str());
}
inline bool isClosed(const std::string& path) {
    return endsWithSeparator(path.c_str());
}
inline std::string base(const std::string& path) {
    return baseName(path.c_str()).cStr();
}
inline std::string bare(const std::string& path) {
    return isClosed(path) ? path.substr(0, path.size() - 1) : path;
}
inline std::string normal(const char* path) {
    ByteString text(path);
    normalizeSlashes(text);
    return text.cStr();
}
inline bool matches(const std::string& wildcard, const std::string& name) {
    return matchWildcard(wildcard.c_str(), name.c_str());
}

struct Listing {
    std::string pattern;
    std::vector<std::string> paths;

    explicit Listing(std::string path) {
        if (!isClosed(path) && isDir(path)) path += "\\";
        path = normal(path.c_str());
        const std::string directory = directoryPart(path.c_str()).cStr();
        pattern = base(path);
        if (pattern.empty()) pattern = "*";
        bool hasExact = false;
        for (const std::string& name : namesIn(directory)) {
            if (!isDir(directory + name) && !matches(pattern, name)) continue;
            paths.push_back(directory + name);
            hasExact = hasExact || name == pattern;
        }
        if (hasWildcard(pattern.c_str()) || !hasExact) return;
        std::vector<std::string> kept;
        for (const std::string& entry : paths) {
            const std::string name = entry.substr(directory.size());
            if (name == pattern || !matches(pattern, name)) kept.push_back(entry);
        }
        paths = kept;
    }

    static std::vector<std::string> namesIn(const std::string& directory) {
        std::vector<std::string> names;
        WIN32_FIND_DATAW entry;
        const WidePath query((directory + "*").c_str());
        HANDLE search = query.fits() ? FindFirstFileW(query.text(), &entry) : INVALID_HANDLE_VALUE;
        if (search == INVALID_HANDLE_VALUE) return names;
        do {
            char name[4 * MAX_PATH];
            WideCharToMultiByte(CP_ACP, WC_COMPOSITECHECK, entry.cFileName, -1, name, sizeof name, nullptr,
                                nullptr);
            if (std::string(name) != "." && std::string(name) != "..") names.emplace_back(name);
        } while (FindNextFileW(search, &entry) != FALSE);
        FindClose(search);
        return names;
    }
};

inline std::int32_t unlink(const char* path, FileOpCallback callback, FileOpRecord* record) {
    const std::string copy = bare(normal(path));
    if (isDir(copy)) return removeEntry(copy.c_str(), callback, record);
    const Listing listing(copy);
    for (const std::string& entry : listing.paths) {
        if (isDir(entry) && !matches(listing.pattern, base(entry))) continue;
        const std::int32_t answer = removeEntry(entry.c_str(), callback, record);
        if (answer != 0) return answer;
    }
    return 0;
}

inline std::int32_t removeTree(const char* path, FileOpCallback callback, FileOpRecord* record) {
    const std::string copy = normal(path);
    const Listing listing(copy);
    for (const std::string& entry : listing.paths) {
        const bool directory = isDir(entry);
        if (directory && !matches(listing.pattern, base(entry))) continue;
        const std::int32_t answer =
            (directory ? literal::removeTree : ovpatch::removeEntry)(entry.c_str(), callback, record);
        if (answer != 0) return answer;
    }
    return isDir(bare(copy)) ? removeEntry(bare(copy).c_str(), callback, record) : 0;
}

inline std::int32_t copyOneFile(const char* source, const char* target, bool overwrite,
                                FileOpCallback callback, FileOpRecord* record) {
    beginFileOp(record, source, target);
    if (isDir(target)) return -5;
    const bool exists = fileExists(target);
    if (exists && !overwrite) return -6;
    setFileOperation(record, exists ? FILEOP_COPY_OVERWRITE : FILEOP_COPY_NEW);
    const std::int32_t answer = callBefore(callback, record);
    if (answer != 0) return answer == 2 ? 0 : answer;
    const WidePath from(source);
    const WidePath to(target);
    if (!from.fits() || !to.fits() || CopyFileW(from.text(), to.text(), FALSE) == FALSE) return -4;
    return callAfter(callback, record);
}

inline std::string start(const char* path) {
    const std::string text = normal(path);
    return !isClosed(text) && isDir(text) ? text + "\\" : text;
}

inline std::int32_t toFileName(const std::string& source, const std::string& target, bool overwrite,
                               FileOpCallback callback, FileOpRecord* record) {
    const std::int32_t answer = makeDirectory(directoryPart(target.c_str()).cStr(), callback, record);
    return answer != 0 ? answer
                       : literal::copyOneFile(source.c_str(), target.c_str(), overwrite, callback, record);
}

inline std::int32_t copyFiles(const char* sourcePath, const char* targetPath, bool overwrite,
                              FileOpCallback callback, FileOpRecord* record) {
    const std::string source = start(sourcePath);
    const std::string target = start(targetPath);
    if (!isClosed(target)) {
        if (hasWildcard(source.c_str()) || isClosed(source)) return -1;
        return toFileName(source, target, overwrite, callback, record);
    }
    std::int32_t answer = isDir(target) ? 0 : makeDirectory(target.c_str(), callback, record);
    if (answer != 0) return answer;
    for (const std::string& entry : Listing(source).paths) {
        if (isDir(entry)) continue;
        answer =
            literal::copyOneFile(entry.c_str(), (target + base(entry)).c_str(), overwrite, callback, record);
        if (answer != 0) return answer;
    }
    return 0;
}

inline std::int32_t xcopy(const char* sourcePath, const char* targetPath, bool overwrite,
                          FileOpCallback callback, FileOpRecord* record) {
    const std::string source = start(sourcePath);
    std::string target = start(targetPath);
    if (isClosed(source)) {
        if (!isClosed(target)) return -1;
        target += base(bare(source)) + "\\";
        const std::int32_t answer = makeDirectory(target.c_str(), callback, record);
        if (answer != 0) return answer;
    }
    if (!isClosed(target)) {
        if (hasWildcard(source.c_str())) return -1;
        return toFileName(source, target, overwrite, callback, record);
    }
    std::int32_t answer = isDir(target) ? 0 : makeDirectory(target.c_str(), callback, record);
    if (answer != 0) return answer;
    const Listing listing(source);
    for (const std::string& entry : listing.paths) {
        if (!isDir(entry)) {
            answer = literal::copyOneFile(entry.c_str(), (target + base(entry)).c_str(), overwrite, callback,
                                          record);
        } else if (matches(listing.pattern, base(entry))) {
            answer = literal::xcopy(entry.c_str(), target.c_str(), overwrite, callback, record);
        }
        if (answer != 0) return answer;
    }
    return 0;
}

inline std::int32_t moveFiles(const char* source, const char* target, bool overwrite, FileOpCallback callback,
                              FileOpRecord* record) {
    const std::int32_t answer = literal::copyFiles(source, target, overwrite, callback, record);
    return answer != 0 ? answer : literal::unlink(source, callback, record);
}

inline std::int32_t moveTree(const char* source, const char* target, bool overwrite, FileOpCallback callback,
                             FileOpRecord* record) {
    const std::int32_t answer = literal::xcopy(source, target, overwrite, callback, record);
    return answer != 0 ? answer : literal::removeTree(source, callback, record);
}

}  // namespace ovpatch::test::literal

#endif
