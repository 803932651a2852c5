// Free names for copies, and ledgers in memory.
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <vector>

#include "ovpatch/ledger/backup_paths.h"
#include "ovpatch/ledger/ledger_file.h"
#include "ovpatch/ledger/ledger_reader.h"
#include "ovpatch/ledger/unique_name.h"
#include "tests/support/temp_tree.h"

namespace ovpatch {

// The name with this number; creates a file with the lowest free one in that directory.
std::string nameOf(std::uint32_t number) {
    char digits[4];
    encodeBase36(number, digits);
    return std::string("backup.") + digits;
}
std::string create(const std::string& directory, TakenNames* names) {
    char path[PATH_SIZE];
    const bool done = names != nullptr ? crtUniFile(directory.c_str(), path, sizeof path, names) == 1
                                       : crtUniFile(directory.c_str(), path, sizeof path) == 1;
    return done ? std::string(path).substr(directory.size()) : "";
}

TEST(UniqueName, CountsInBase36) {
    for (std::string row : {".009 1.00a", ".00z 1.010", ".zzz 1.000", ".000 7.007", ".0zw 5.101"}) {
        row[4] = '\0';
        nextUniqueSuffix(&row[0], static_cast<std::uint32_t>(row[5] - '0'));
        EXPECT_EQ(row.substr(0, 4), row.substr(6));
    }
}

// Names are taken and freed, with the help of what is known of them and without; some are another's, some
// only look like ours.
TEST(UniqueName, IsTheLowestFreeOne) {
    const test::TempTree tree;
    std::mt19937 random(7);
    TakenNames names;
    std::vector<std::string> present;
    for (int step = 0; step < 600; ++step) {
        for (const char* other : {"backup.0zz", "backup.00Q", "backup.0000", "xbackup.000", "backup"})
            if (step == 100) tree.write(std::string("made/here/") + other), names.forget();
        if (!present.empty() && random() % 3 == 0) {
            std::swap(present[random() % present.size()], present.back());
            test::fs::remove(tree.root / "made/here" / present.back());
            names.release(present.back().c_str());
            present.pop_back();
            continue;
        }
        std::uint32_t lowest = 0;
        while (test::fs::exists(tree.root / "made/here" / nameOf(lowest)))
            ++lowest;
        const bool helped = random() % 4 != 0;
        present.push_back(create(tree.path("\\made\\here\\"), helped ? &names : nullptr));
        ASSERT_EQ(present.back(), nameOf(lowest)) << "step " << step;
        if (!helped) names.take(present.back().c_str());
        EXPECT_TRUE(names.isTaken(present.back().c_str()));
    }
}

TEST(UniqueName, IsRefusedWhenNoneCanBeHad) {
    const test::TempTree tree;
    TakenNames names;
    const std::string full = tree.path("\\full\\"), tooLong = "\\" + std::string(240, 'd') + "\\";
    EXPECT_EQ(create(tree.path("\\other\\"), &names), "backup.000");
    EXPECT_EQ(create(full, &names), "backup.000") << "what is taken in another directory does not count";
    for (std::uint32_t number = 1; number < TakenNames::COUNT; ++number)
        names.take(nameOf(number).c_str());
    EXPECT_EQ(create(full, &names), "");
    names.release(nameOf(40000).c_str());
    EXPECT_EQ(create(full, &names), nameOf(40000));
    tree.write("file");
    EXPECT_EQ(create(tree.path("\\file\\below\\"), &names), "");
    EXPECT_EQ(create(tree.path(tooLong), &names), "") << "the path does not fit";
    EXPECT_FALSE(test::fs::exists(tree.root / std::string(240, 'd') / "backup.000"));
}

TEST(Ledger, MayBeNullAndReleasedAgain) {
    KxIniUtil document(nullptr, LEDGER_COMMENT, false);
    BackupStru ledger = {};
    EXPECT_EQ(phaseIniForBackup(nullptr, &ledger), 0);
    EXPECT_EQ(phaseIniForBackup(&document, nullptr), 0);
    UpdateStru update = {};
    update.items = static_cast<UpdateItem*>(std::calloc(update.itemCount = 1, sizeof(UpdateItem)));
    initBackupStru(update, &ledger);
    for (BackupStru* released : {&ledger, &ledger, static_cast<BackupStru*>(nullptr)})
        freeBackupStru(released);
    for (UpdateStru* released : {&update, &update, static_cast<UpdateStru*>(nullptr)})
        freeUpdateStru(released);
}

}  // namespace ovpatch
