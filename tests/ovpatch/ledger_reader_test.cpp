#include <gtest/gtest.h>

#include <cstdint>

#include "ini/kx_ini_util.h"
#include "ovpatch/ledger/ledger_file.h"
#include "ovpatch/ledger/ledger_reader.h"

namespace ovpatch {
namespace {

void addItem(KxIniUtil* ledger, const char* section, const char* added, const char* written) {
    ledger->addValue(section, "class", "4294967295");
    ledger->addValue(section, "type", "ffffffff");
    ledger->addValue(section, "origin.version", "1.0");
    ledger->addValue(section, "result.version", "1.1");
    ledger->addValue(section, "added.filecount", added);
    ledger->addValue(section, "written.filecount", written);
}

// A ledger with counts that no memory holds ends at the first missing key, without asking for the memory.
TEST(LedgerReader, wildCountsEndAtTheFirstMissingKey) {
    const char* const counts[] = {"2147483647", "-1", "4294967295", "2000000000"};
    for (const char* count : counts) {
        for (int place = 0; place < 3; ++place) {
            KxIniUtil ledger(nullptr, ';', false);
            ledger.addValue("common", "itemcount", place == 0 ? count : "1");
            ledger.addValue("common", "patchagent.version", "1");
            addItem(&ledger, "item_0", place == 1 ? count : "0", place == 2 ? count : "0");
            BackupStru stored;
            EXPECT_EQ(0, phaseIniForBackup(&ledger, &stored)) << count << " at " << place;
        }
    }
}

TEST(LedgerReader, readsWhatTheWriterWrote) {
    KxIniUtil ledger(nullptr, ';', false);
    ledger.addValue("common", "itemcount", "1");
    ledger.addValue("common", "patchagent.version", "7");
    ledger.addValue("common", "patchagent", "");
    addItem(&ledger, "item_0", "1", "2");
    ledger.addValue("item_0", "written.1", "backup.001, b");
    ledger.addValue("item_0", "written.0", "backup.000, a");
    ledger.addValue("item_0", "added.0", "c");
    ledger.addValue("item_0", "added.0", "never seen");
    BackupStru stored;
    ASSERT_EQ(1, phaseIniForBackup(&ledger, &stored));
    EXPECT_EQ(7, stored.patchAgentVersion);
    EXPECT_STREQ("", stored.patchAgentFile);
    const BackupItem* item = findBackupItem(stored, -1, -1);
    ASSERT_NE(nullptr, item);
    EXPECT_STREQ("c", item->addedFiles[0]);
    EXPECT_STREQ("backup.000, a", item->writtenFiles[0]);
    EXPECT_STREQ("backup.001, b", item->writtenFiles[1]);
    KxIniUtil copy(nullptr, ';', false);
    addLedgerRecord(&copy, "item_0", *item);
    EXPECT_STREQ("4294967295", copy.getValue("item_0", "class"));
    EXPECT_STREQ("ffffffff", copy.getValue("item_0", "type"));
    EXPECT_STREQ("2", copy.getValue("item_0", "written.filecount"));
    freeBackupStru(&stored);
    freeBackupStru(&stored);
    EXPECT_EQ(0, phaseIniForBackup(nullptr, &stored));
}

}  // namespace
}  // namespace ovpatch
