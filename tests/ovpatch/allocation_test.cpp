// Both transactions with every single one of their allocations failing in turn.
#define OVPATCH_TESTS_FAULTY_ALLOCATION_ITSELF
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>

#include "foundation/patch_session.h"
#include "ini/kx_ini_util.h"
#include "ovpatch/agent/agent_loader.h"
#include "ovpatch/manifest/manifest_reader.h"
#include "ovpatch/rollback/rollback_transaction.h"
#include "ovpatch/update/update_transaction.h"
#include "tests/fileops/temp_tree.h"
#include "tests/ovpatch/faulty_allocation.h"

namespace ovpatch {
namespace {

namespace fs = std::filesystem;

int startCalls = 0;

// A product with some files, the work area of an update of them, and the way back.
class AllocationTest : public testing::Test {
protected:
    void SetUp() override {
        home_ = fs::current_path();
        fs::current_path(tree_.root());
        startCalls = 0;
    }

    void TearDown() override {
        faulty::arm(0);
        fs::current_path(home_);
    }

    static void write(const fs::path& path, const std::string& text) {
        fs::create_directories(path.parent_path());
        std::ofstream(path) << text;
    }

    // Two items of 20 overwritten and 20 new files, so that the lists grow once.
    static void lay() {
        for (const char* entry : {"base", "dst", "other"})
            fs::remove_all(entry);
        for (int i = 0; i < 20; ++i) {
            const std::string number = std::to_string(10 + i);
            write("base/OV_Temp/1/1/old" + number, "new");
            write("base/OV_Temp/1/1/new" + number, "new");
            write("base/OV_Temp/2/1/eng" + number, "new");
            write("dst/old" + number, "old" + number);
            write("other/eng" + number, "old" + number);
        }
        write("base/manifest.ini",
              "[common]\nitemcount=2\naction=0\npatchagent.version=1\npatchagent=none\norvelle_path=base\n"
              "[item_0]\nclass=1\ntype=1\norigin.version=1\nresult.version=2\ndestination=dst\nitem.zip=a\n"
              "[item_1]\nclass=2\ntype=1\norigin.version=1\nresult.version=2\ndestination=other\n");
    }

    // Everything below both destinations, directories and safety copies left out.
    static std::map<std::string, std::string> product() {
        std::map<std::string, std::string> files;
        for (const char* root : {"dst", "other"}) {
            for (const auto& entry : fs::recursive_directory_iterator(root)) {
                const std::string path = entry.path().generic_string();
                const bool copy = path.find("backup.") != std::string::npos;
                if (!entry.is_regular_file() || copy) continue;
                std::ostringstream text;
                text << std::ifstream(entry.path()).rdbuf();
                files[path] = text.str();
            }
        }
        return files;
    }

    using Transaction = std::int32_t (*)(const PatchAgentApi&, const UpdateStru&);

    // The result with allocation `failing` counted from the start of the transaction, or of the manifest's
    // reading.
    static std::int32_t run(Transaction transaction, int failing, bool whileReading) {
        KxIniUtil manifest("base/manifest.ini", ';', false);
        UpdateStru update;
        faulty::arm(whileReading ? failing : 0);
        const std::int32_t read = phaseIniForUpdate(manifest, &update);
        if (read != 0) return 100 + read;
        PatchAgentApi agent{};
        loadNewPatchAgent(nullptr, &agent);
        agent.StartAction = []() -> std::int32_t {
            ++startCalls;
            return 0;
        };
        if (!whileReading) faulty::arm(failing);
        const std::int32_t result = transaction(agent, update);
        freeUpdateStru(&update);
        unloadPatchAgent(&agent);
        return result;
    }

    fs::path home_;
    const test::TempTree tree_;
};

// What is in `after` and not in `before`.
std::set<std::string> strays(const std::map<std::string, std::string>& before,
                             const std::map<std::string, std::string>& after) {
    std::set<std::string> found;
    for (const auto& [path, text] : after) {
        if (before.count(path) == 0) found.insert(path);
    }
    return found;
}

TEST_F(AllocationTest, manifestIsRefusedWhole) {
    lay();
    ASSERT_EQ(0, run(updateWithPatchAgent, 0, false));
    int failures = 0;
    for (int n = 1;; ++n) {
        lay();
        const std::int32_t result = run(updateWithPatchAgent, n, true);
        if (result != 99) break;
        ++failures;
        EXPECT_EQ(0u, product().count("dst/new10"));
    }
    // Agent, work area path, items, two destinations, item.zip.
    EXPECT_EQ(6, failures);
}

TEST_F(AllocationTest, updateUndoesItself) {
    lay();
    const auto before = product();
    ASSERT_EQ(0, run(updateWithPatchAgent, 0, false));
    const auto updated = product();
    const int total = faulty::asked();
    ASSERT_GT(total, 60);

    std::map<std::int32_t, int> results;
    for (int n = 1; n <= total; ++n) {
        lay();
        startCalls = 0;
        const std::int32_t result = run(updateWithPatchAgent, n, false);
        ++results[result];
        SCOPED_TRACE("allocation " + std::to_string(n) + " result " + std::to_string(result));
        auto after = product();
        if (n <= 2) {
            EXPECT_EQ(48, result);
            EXPECT_EQ(0, startCalls) << "the agent must not be called without a run ledger";
        }
        if (result == 0) {
            // Only what follows the copying may fail without an undo: the ledger is not brought up to date
            // then.
            for (const char* ledger : {"dst/OV_Backup/OvBackup.ini", "other/OV_Backup/OvBackup.ini"})
                after.erase(ledger);
            auto expected = updated;
            for (const char* ledger : {"dst/OV_Backup/OvBackup.ini", "other/OV_Backup/OvBackup.ini"})
                expected.erase(ledger);
            EXPECT_EQ(expected, after);
            continue;
        }
        // A new file that could not be noted stays behind, as no list names it.
        const auto left = strays(before, after);
        EXPECT_LE(left.size(), 1u);
        for (const auto& path : left)
            after.erase(path);
        EXPECT_EQ(before, after);
    }
    EXPECT_EQ(4, results[48]);  // agent name, records, and each item's destination
    EXPECT_GE(results[16], 60);
}

TEST_F(AllocationTest, rollbackUndoesItself) {
    lay();
    ASSERT_EQ(0, run(updateWithPatchAgent, 0, false));
    const auto updated = product();
    ASSERT_EQ(0, run(rollbackWithPatchAgent, 0, false));
    const auto rolledBack = product();
    const int total = faulty::asked();
    std::map<std::int32_t, int> results;
    for (int n = 1; n <= total; ++n) {
        lay();
        ASSERT_EQ(0, run(updateWithPatchAgent, 0, false));
        startCalls = 0;
        const std::int32_t result = run(rollbackWithPatchAgent, n, false);
        ++results[result];
        SCOPED_TRACE("allocation " + std::to_string(n) + " result " + std::to_string(result));
        if (n <= 2) {
            EXPECT_EQ(48, result);
            EXPECT_EQ(0, startCalls) << "the agent must not be called without a run ledger";
        }
        auto after = product();
        // The second item's destination fails after the first item is done, and nothing is undone there.
        if (result == 0 || (result == 48 && after.at("dst/old10") == "old10")) continue;
        EXPECT_EQ(updated, after);
    }
    EXPECT_EQ(4, results[48]);
    EXPECT_GE(results[16], 60);
    EXPECT_EQ("old10", rolledBack.at("dst/old10"));
}

}  // namespace
}  // namespace ovpatch
