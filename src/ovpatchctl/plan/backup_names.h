// The names that a run would give to backup and safety copies.
#ifndef OVPATCH_OVPATCHCTL_PLAN_BACKUP_NAMES_H
#define OVPATCH_OVPATCHCTL_PLAN_BACKUP_NAMES_H

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "ovpatch/ledger/backup_stru.h"
#include "ovpatch/ledger/taken_names.h"
#include "ovpatchctl/plan/world.h"

namespace ovpatch::ctl {

class BackupNames {
public:
    explicit BackupNames(World* world) : world_(world) {}

    // Chooses the item's backup directory, for `takeName`. False when its path does not fit.
    bool enter(const std::string& destination, std::int32_t itemClass, std::int32_t itemType);

    // The item's backup directory, with a separator at its end.
    const std::string& directory() const { return directory_; }

    // Keeps the names that a record lists from being given.
    void keep(const BackupItem& record);

    // Gives the next free name to a copy. Null when that is done; else why there is none.
    const char* takeName();

private:
    World* world_;
    std::string directory_;
    TakenNames* names_ = nullptr;
    std::map<std::string, std::unique_ptr<TakenNames>> byDirectory_;
};

}  // namespace ovpatch::ctl

#endif
