// Free names for copies, and the reader of ledgers.
#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "ini/kx_ini_util.h"
#include "ovpatch/ledger/backup_paths.h"
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
        if (step == 100) {
            for (const char* other : {"backup.0zz", "backup.00Q", "backup.0000", "xbackup.000", "backup"})
                tree.write(std::string("made/here/") + other);
            names.forget();
        }
        if (!present.empty() && random() % 3 == 0) {
            std::swap(present[random() % present.size()], present.back());
            test::fs::remove(tree.root / "made/here" / present.back());
            names.release(present.back().c_str());
            EXPECT_FALSE(names.isTaken(present.back().c_str()));
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

// 40 items of 40 files; a count beyond that, which no memory may hold, ends at the first missing key.
TEST(LedgerReader, ReadsWhatIsThereAndNoMore) {
    const test::TempTree tree;
    BackupStru stored;
    EXPECT_EQ(phaseIniForBackup(nullptr, &stored), 0);
    for (const std::string count : {"40", "0", "41", "2147483647", "-1", "4294967295"}) {
        for (int place = 0; place < 3; ++place) {
            const auto at = [&](int its) { return (place == its ? count : "40") + "\n"; };
            std::string files, text = "[common]\npatchagent=\npatchagent.version=-7\nitemcount=" + at(0);
            for (int k = 39; k >= 0; --k)
                for (const std::string list : {"added.", "written."})
                    files += list + std::to_string(k) + "=" + list[0] + std::to_string(k) + "\n";
            for (int n = 0; n < 40; ++n)
                text += "[item_" + std::to_string(n) +
                        "]\nclass=4294967295\ntype=fffffff0\norigin.version=1.0\n" +
                        "result.version=1.1\nadded.filecount=" + at(1) + "written.filecount=" + at(2) + files;
            tree.write("ledger", text + "added.39=never seen\n");
            KxIniUtil ledger(tree.path("\\ledger").c_str(), ';', false);
            ASSERT_EQ(phaseIniForBackup(&ledger, &stored), count == "0" || count == "40" ? 1 : 0)
                << count << place;
            if (count == "0") freeBackupStru(&stored);
            if (count != "40") continue;
            const BackupItem& item = stored.items[39];
            EXPECT_STREQ(stored.patchAgentFile, "");
            EXPECT_EQ(stored.patchAgentVersion, -7);
            EXPECT_EQ(findBackupItem(stored, -1, -16), stored.items);
            EXPECT_EQ(std::string(item.addedFiles[39]) + item.writtenFiles[39], "a39w39");
            EXPECT_EQ(item.addedCapacity + item.writtenCapacity, 80U);
            freeBackupStru(&stored);
        }
    }
}

}  // namespace ovpatch
