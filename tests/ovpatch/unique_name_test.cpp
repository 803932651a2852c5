#include "ovpatch/ledger/unique_name.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "ovpatch/ledger/backup_paths.h"
#include "tests/fileops/temp_tree.h"

namespace ovpatch {
namespace {

namespace fs = std::filesystem;

class UniqueNameTest : public testing::Test {
protected:
    static std::string nameOf(std::uint32_t number) {
        char digits[4];
        encodeBase36(number, digits);
        return std::string("backup.") + digits;
    }

    // The search as it is told: from the first name on, for every file.
    static std::string lowestFree(const fs::path& directory) {
        for (std::uint32_t number = 0; number < TakenNames::COUNT; ++number) {
            if (!fs::exists(directory / nameOf(number))) return nameOf(number);
        }
        return "";
    }

    static std::string create(const fs::path& directory, TakenNames* names) {
        char path[PATH_SIZE];
        const std::string base = directory.string() + "\\";
        const std::int32_t done = names != nullptr ? crtUniFile(base.c_str(), path, sizeof path, names)
                                                   : crtUniFile(base.c_str(), path, sizeof path);
        return done == 1 ? std::string(path).substr(base.size()) : "";
    }

    const test::TempTree tree_;
    const fs::path place_ = tree_.root();
};

TEST_F(UniqueNameTest, suffixesCountInBase36) {
    const char* const rows[][3] = {
        {".009", "1", ".00a"}, {".00z", "1", ".010"}, {".zzz", "1", ".000"}, {".000", "36", ".010"}};
    for (const auto& row : rows) {
        char suffix[5];
        std::copy(row[0], row[0] + 5, suffix);
        nextUniqueSuffix(suffix, static_cast<std::uint32_t>(std::atoi(row[1])));
        EXPECT_STREQ(row[2], suffix) << row[0];
    }
}

// Names are taken and freed at random; the choice must be the one of the search that tries them all.
TEST_F(UniqueNameTest, choosesAsTheLiteralSearchDoes) {
    for (const bool remembering : {true, false}) {
        const fs::path directory = place_ / (remembering ? "with" : "without") / "made" / "on demand";
        std::mt19937 random(7);
        TakenNames names;
        std::vector<std::string> present;
        for (int step = 0; step < 400; ++step) {
            if (step == 100) {
                // Another process's files, and names that only look like ours.
                for (const char* other :
                     {"backup.0zz", "backup.00Q", "backup.0000", "xbackup.000", "backup"}) {
                    std::ofstream(directory / other).put('x');
                }
                names.forget();
            }
            if (!present.empty() && random() % 3 == 0) {
                std::swap(present[random() % present.size()], present.back());
                fs::remove(directory / present.back());
                names.release(present.back().c_str());
                present.pop_back();
            } else {
                const std::string expected = lowestFree(directory);
                present.push_back(create(directory, remembering ? &names : nullptr));
                ASSERT_EQ(expected, present.back()) << "step " << step;
            }
        }
    }
}

TEST_F(UniqueNameTest, refusesWhenNothingCanBeHad) {
    const fs::path full = place_ / "full";
    fs::create_directories(full);
    TakenNames names;
    ASSERT_EQ("backup.000", create(full, &names));
    for (std::uint32_t number = 1; number < TakenNames::COUNT; ++number)
        names.take(number);
    EXPECT_EQ("", create(full, &names));
    names.release(nameOf(40000).c_str());
    EXPECT_EQ(nameOf(40000), create(full, &names));

    std::ofstream(place_ / "file").put('x');
    EXPECT_EQ("", create(place_ / "file" / "below", &names)) << "a file stands where the directory must be";
    EXPECT_EQ("", create(place_ / std::string(240, 'd'), &names)) << "the path does not fit";
    EXPECT_FALSE(fs::exists(place_ / std::string(240, 'd') / "backup.000"));
}

TEST(BackupPaths, geometry) {
    struct Row {
        const char* base;
        const char* source;
        const char* backup;
    };
    const Row rows[] = {
        {"\\Data\\Update", "\\Data\\Update\\OV_Temp\\1\\10\\", "\\Data\\Update\\OV_Backup\\1\\10\\"},
        {"\\Data\\Update\\", "\\Data\\Update\\OV_Temp\\1\\10\\", "\\Data\\Update\\OV_Backup\\1\\10\\"},
        {"/Data/", "/Data/\\OV_Temp\\1\\10\\", "/Data/\\OV_Backup\\1\\10\\"},
        {"", "\\OV_Temp\\1\\10\\", "\\OV_Backup\\1\\10\\"},
    };
    char path[PATH_SIZE];
    for (const Row& row : rows) {
        itemSourceDir(row.base, 1, 10, path, sizeof path);
        EXPECT_STREQ(row.source, path);
        EXPECT_EQ(std::string(row.backup).size(), itemBackupDir(row.base, 1, 10, path, sizeof path));
        EXPECT_STREQ(row.backup, path);
    }
    const std::string longest(259 - sizeof "\\OV_Temp\\1\\10\\" + 1, 'x');
    EXPECT_EQ(259u, itemSourceDir(longest.c_str(), 1, 10, path, sizeof path));
    EXPECT_EQ(0u, itemSourceDir((longest + "x").c_str(), 1, 10, path, sizeof path));
    EXPECT_STREQ("", path);
    EXPECT_EQ(0u, itemBackupDir(std::string(2000, 'x').c_str(), 1, 10, path, sizeof path));
}

}  // namespace
}  // namespace ovpatch
