#include "ovpatch/ledger/backup_paths.h"

#include <cstring>

#include "fileops/code_page.h"
#include "fileops/paths.h"
#include "foundation/bounded.h"

namespace ovpatch {

namespace {

constexpr char WORK_AREA[] = "OV_Temp\\";
constexpr char BACKUP_AREA[] = "OV_Backup\\";
constexpr char BACKUP_ROOT[] = "OV_Backup";
constexpr char LEDGER_NAME[] = "OvBackup.ini";

bool endsInBackslash(const char* text) {
    const std::size_t length = std::strlen(text);
    return length > 0 && text[length - 1] == '\\' && !isTrailByte(text, text + length - 1);
}

std::size_t areaDir(const char* base, const char* area, std::int32_t itemClass, std::int32_t itemType,
                    char* out, std::size_t size) {
    if (size > 0) out[0] = '\0';
    char directory[1024];
    if (boundedStrncpy(directory, base, sizeof directory) == nullptr) return 0;
    if (!endsInBackslash(directory) && boundedStrncat(directory, "\\", sizeof directory) == nullptr) return 0;
    if (boundedStrncat(directory, area, sizeof directory) == nullptr) return 0;
    return formatItemDir(directory, itemClass, itemType, out, size);
}

// A failure leaves nothing usable behind.
bool join(const char* base, const char* file, char* out, std::size_t size) {
    if (CatURIWithFile(out, static_cast<std::int32_t>(size), base, file) == 0) return true;
    if (size > 0) out[0] = '\0';
    return false;
}

}  // namespace

std::size_t itemSourceDir(const char* base, std::int32_t itemClass, std::int32_t itemType, char* out,
                          std::size_t size) {
    return areaDir(base, WORK_AREA, itemClass, itemType, out, size);
}

std::size_t itemBackupDir(const char* destination, std::int32_t itemClass, std::int32_t itemType, char* out,
                          std::size_t size) {
    return areaDir(destination, BACKUP_AREA, itemClass, itemType, out, size);
}

std::size_t formatItemDir(const char* directory, std::int32_t itemClass, std::int32_t itemType, char* out,
                          std::size_t size) {
    const std::size_t length =
        boundedSnprintf(out, size, "%s%u%s%u%s", directory, static_cast<std::uint32_t>(itemClass), "\\",
                        static_cast<std::uint32_t>(itemType), "\\");
    if (length == 0 && size > 0) out[0] = '\0';
    return length;
}

bool backupRoot(const char* destination, char* out, std::size_t size) {
    return join(destination, BACKUP_ROOT, out, size);
}

bool ledgerPath(const char* destination, char* out, std::size_t size) {
    char root[1024];
    if (size > sizeof root || !backupRoot(destination, root, size)) {
        if (size > 0) out[0] = '\0';
        return false;
    }
    return join(root, LEDGER_NAME, out, size);
}

bool backupCopyPath(const char* backupDirectory, const char* name, char* out, std::size_t size) {
    const char* bare = fileNamePart(name);
    return join(backupDirectory, bare != nullptr ? bare : name, out, size);
}

std::int32_t sameFileCheck(const char* /*first*/, const char* /*second*/) {
    return 0;
}

}  // namespace ovpatch
