// Copies that fail, sources and destinations in every state, and paths that do not fit.
#include "support/story.h"

namespace ovpatch::scenarios {
namespace {

TEST(Disk, KeepsAReadOnlyFileFromBeingReplaced) {
    Device device;
    const Manifest manifest{1, {engine()}};
    device.lay(manifest);
    device.readOnly("dst\\old0.bin");
    Story story(device, manifest);
    story.broken = "old0.bin";
    story.begins().item(0).undoes().quits();
    // The copy cannot be moved back onto it either, and stays.
    put(story.tree, "dst\\OV_Backup\\2\\31\\backup.000", "old0.bin as it was");
    story.check(16);
}

// Neither is put in the place of the other, and the agent is not asked about it.
TEST(Disk, KeepsFilesAndDirectoriesApart) {
    for (const int generation : {0, 1}) {
        for (const bool fileIsNew : {false, true}) {
            SCOPED_TRACE(testing::Message()
                         << "generation " << generation << (fileIsNew ? " file" : " directory"));
            Device device;
            const Manifest manifest{generation, {engine()}};
            device.lay(manifest);
            device.file(manifest.items[0].source() + (fileIsNew ? "p" : "p\\q"), "new");
            device.file(fileIsNew ? "dst\\p\\q" : "dst\\p", "stays");
            Story(device, manifest).begins().item(0).undoes().quits().check(16);
        }
    }
}

// An item's source may be empty or missing; its destination must be a directory, or be written as one.
TEST(Disk, DestinationsAreMadeOnlyWhereTheyAreWrittenAsDirectories) {
    enum There { Nothing, Directory, File };
    struct Case {
        int generation;
        const char* destination;
        There there;
        bool sourceIsThere;  // and empty
        int result;
    };
    const Case cases[] = {
        {1, "dst", Directory, true, 0}, {1, "dst", Directory, false, 0},
        {1, "dst\\", Nothing, true, 0}, {1, "dst\\", Directory, false, 0},
        {1, "dst", Nothing, true, 12},  {1, "aa\\bb\\dst\\", Nothing, false, 0},
        {1, "dst", Nothing, false, 12}, {1, "dst", File, true, 12},
        {1, "dst\\", File, false, 16},  {0, "dst", Directory, false, 0},
        {0, "dst", Nothing, false, 0},  // made for the files of the old agent
        {0, "dst", File, false, 12},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(testing::Message() << "generation " << one.generation << ", " << one.destination
                                        << " being " << one.there << ", result " << one.result);
        Device device;
        Manifest manifest{one.generation, {engine()}};
        manifest.items[0].destination = one.destination;
        device.manifest(manifest);
        if (one.sourceIsThere) device.directory(manifest.items[0].source());
        if (one.there == Directory) device.directory("dst");
        if (one.there == File) device.file("dst", "a file");
        Story story(device, manifest);
        story.begins().item(0);
        (one.result == 0 ? story.succeeds() : story.undoes().quits()).check(one.result);
    }
}

// A path made of directories with that many bytes.
std::string longPath(std::size_t length) {
    std::string path;
    while (length - path.size() > 101)
        path += std::string(100, 'd') + "\\";
    return path + std::string(length - path.size(), 'e');
}

Tree filesOnly(Tree tree) {
    for (auto entry = tree.begin(); entry != tree.end();) {
        entry = entry->first.back() == '\\' ? tree.erase(entry) : std::next(entry);
    }
    return tree;
}

// The second item's paths do not fit; the first item is undone, and no file is another than before.
TEST(Disk, PathsThatDoNotFitAreNeverShortened) {
    struct Case {
        const char* what;
        std::size_t destination;  // length, of an existing directory where it can be one
        std::size_t orvellePath;
        int result;
    };
    const Case cases[] = {
        {"destination", 260, 0, 12},
        {"destination, by far", 20000, 0, 12},
        {"source directory", 0, 245, 12},
        {"work area", 0, 260, 12},
        {"work area, by far", 0, 1500, 12},
        {"file at the destination", 252, 0, 16},
        {"copy of what is overwritten", 235, 0, 16},
    };
    for (const int generation : {0, 1}) {
        for (const Case& one : cases) {
            SCOPED_TRACE(testing::Message() << "generation " << generation << ", " << one.what);
            Device device;
            Manifest manifest{generation, {engine(), product()}};
            device.lay(manifest);
            if (one.destination != 0) manifest.items[1].destination = longPath(one.destination);
            if (one.orvellePath != 0) manifest.orvellePath = longPath(one.orvellePath);
            if (one.destination != 0 && one.destination < 260) {
                device.file(longPath(one.destination) + "\\old1.bin", "old1.bin far down");
            }
            device.manifest(manifest);
            const Tree before = filesOnly(device.tree());
            const Outcome seen = device.run();
            EXPECT_EQ(seen.exitValue, 0);
            EXPECT_EQ(seen.result, "result=" + std::to_string(one.result) + "\n");
            Tree after = filesOnly(seen.tree);
            // Below its own destination an old agent's files for a second item stay.
            for (const char* staged : {"\\OVSrc.tmp\\new1.bin", "\\OVSrc.tmp\\old1.bin"}) {
                if (generation == 0) after.erase(manifest.items[1].destination + staged);
            }
            EXPECT_EQ(text(before), text(after));
            const Lines quit = {"I updateWithPatchAgent: error quit.",
                                "E update: updateWithPatchAgent failed."};
            ASSERT_GT(seen.log.size(), 4u);
            EXPECT_EQ(Lines(seen.log.end() - 4, seen.log.end() - 2), quit);
            EXPECT_EQ(seen.calls.back() == "EndAction()", generation == 1);
        }
    }
}

// The longest path that fits, <destination>\OV_Backup\2\31\backup.000 with 259 bytes, is worked with in full.
TEST(Disk, PathsAtTheLimitAreServed) {
    Device device;
    Manifest manifest{1, {engine()}};
    manifest.items[0].destination = longPath(259 - std::string("\\OV_Backup\\2\\31\\backup.000").size());
    device.lay(manifest);
    Story(device, manifest).begins().item(0).succeeds().check(0);
}

}  // namespace
}  // namespace ovpatch::scenarios
