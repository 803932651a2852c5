#include "ovpatchctl/plan/backup_names.h"

#include "fileops/wide_path.h"
#include "ovpatch/ledger/backup_paths.h"
#include "ovpatch/ledger/ledger_file.h"

namespace ovpatch::ctl {

namespace {

constexpr char LONGEST_NAME[] = "backup.000";

}  // namespace

bool BackupNames::enter(const std::string& destination, std::int32_t itemClass, std::int32_t itemType) {
    char path[PATH_SIZE];
    names_ = nullptr;
    directory_.clear();
    if (itemBackupDir(destination.c_str(), itemClass, itemType, path, sizeof path) == 0) return false;
    directory_ = path;
    std::unique_ptr<TakenNames>& names = byDirectory_[directory_];
    if (names == nullptr) {
        names = std::make_unique<TakenNames>();
        names->enter(path);
    }
    names_ = names.get();
    return true;
}

void BackupNames::keep(const BackupItem& record) {
    takeCopyNames(record, names_);
}

const char* BackupNames::takeName() {
    char path[PATH_SIZE];
    if (names_ == nullptr || !backupCopyPath(directory_.c_str(), LONGEST_NAME, path, sizeof path) ||
        !WidePath(path).fits())
        return "the path of its copy is too long";
    if (const char* reason = world_->makeDirectory(directory_)) return reason;
    if (const char* reason = world_->refusesEntries(directory_)) return reason;
    const std::uint32_t number = names_->lowestFree();
    if (number == TakenNames::COUNT) return "all names for copies are taken";
    names_->take(number);
    return nullptr;
}

}  // namespace ovpatch::ctl
