// Copies that fail, sources and destinations in every state, and paths that do not fit.
#include "support/story.h"

namespace ovpatch::scenarios {
namespace {

const char* const kDiskAccess = "updateWithPatchAgent: xcopy failed, disk access.";
const char* const kBadParameters = "updateWithPatchAgent: xcopy failed, bad parameters.";

TEST(Disk, KeepsAReadOnlyFileFromBeingReplaced) {
    Device device;
    const Manifest manifest = newManifest({engine()});
    device.lay(manifest);
    device.readOnly("dst\\old0.bin");
    Tree tree = device.tree();
    Story story(manifest);
    story.parses().loads().opens().starts(0).copies(0);
    story.file("new0.bin", Fate::Added).file("old0.bin", Fate::Overwritten);
    story.error(kDiskAccess).ends(false).undoes().quits();
    // The copy cannot be moved back onto it either, and stays.
    put(tree, "dst\\OV_Backup\\2\\31\\backup.000", "old0.bin as it was");
    expectOutcome(device.run(), story, 16, tree);
}

// Neither is put in the place of the other, and the agent is not asked about it.
TEST(Disk, KeepsFilesAndDirectoriesApart) {
    struct Clash {
        const char* what;
        const char* source;  // a further new file of the item
        const char* there;   // what stands in its way: a directory ("\" behind) or a file
    };
    const Clash clashes[] = {
        {"a file meets a directory", "p.bin", "dst\\p.bin\\"},
        {"a directory meets a file", "sub\\p.bin", "dst\\sub"},
    };
    for (const int generation : {0, 1}) {
        for (const Clash& clash : clashes) {
            SCOPED_TRACE(clash.what);
            Device device;
            const Manifest manifest = generation == 0 ? oldManifest({engine()}) : newManifest({engine()});
            device.lay(manifest);
            device.file(manifest.items[0].source() + clash.source, "in the way");
            if (std::string(clash.there).back() == '\\') {
                device.directory(clash.there);
            } else {
                device.file(clash.there, "stays");
            }
            Tree tree = device.tree();
            Story story(manifest);
            story.parses().loads().opens().starts(0).copies(0);
            story.file("new0.bin", Fate::Added).file("old0.bin", Fate::Overwritten);
            story.error(kDiskAccess).ends(false).undoes().quits();
            putDirectory(tree, manifest.items[0].backups());
            expectOutcome(device.run(), story, 16, tree);
        }
    }
}

enum class There { Nothing, Directory, File };

// An item's source may be empty or missing; its destination must be a directory, or be written as one.
TEST(Disk, DestinationsAreMadeOnlyWhereTheyAreWrittenAsDirectories) {
    struct Case {
        int generation;
        const char* destination;
        There there;
        bool sourceIsEmpty;  // or missing
        int result;
    };
    const Case cases[] = {
        {1, "dst", There::Directory, false, 0},
        {1, "dst", There::Directory, true, 0},
        {1, "dst\\", There::Nothing, false, 0},
        {1, "dst\\", There::Directory, true, 0},
        {1, "aa\\bb\\dst\\", There::Nothing, true, 0},
        {1, "dst", There::Nothing, true, 12},
        {1, "dst", There::Nothing, false, 12},
        {1, "dst", There::File, true, 12},
        {1, "dst\\", There::File, true, 16},
        {0, "dst", There::Directory, false, 0},
        {0, "dst", There::Nothing, true, 0},  // made for the files of the old agent
        {0, "dst", There::File, true, 12},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(testing::Message()
                     << "generation " << one.generation << ", " << one.destination << " being "
                     << static_cast<int>(one.there) << ", result " << one.result);
        Device device;
        Manifest manifest = one.generation == 0 ? oldManifest({engine()}) : newManifest({engine()});
        manifest.items[0].destination = one.destination;
        device.manifest(manifest);
        if (one.sourceIsEmpty) device.directory(manifest.items[0].source());
        if (one.there == There::Directory) device.directory("dst");
        if (one.there == There::File) device.file("dst", "a file");
        Tree tree = device.tree();
        Story story(manifest);
        story.parses().loads().opens().starts(0).copies(0);
        if (one.result == 0) {
            story.ends().closes().merges().isDone();
            const std::string slash = std::string(one.destination).back() == '\\' ? "" : "\\";
            put(tree, one.destination + slash + "OV_Backup\\OvBackup.ini",
                ledgerHead(manifest, 1) + (one.generation == 0 ? "transaction=0, \n" : "") +
                    ledgerRecord(0, manifest.items[0], {}, {}));
        } else {
            story.error(one.result == 12 ? kBadParameters : kDiskAccess).ends(false).undoes().quits();
        }
        expectOutcome(device.run(), story, one.result, tree);
    }
}

// A path made of directories with that many bytes.
std::string longPath(std::size_t length) {
    std::string path;
    while (length - path.size() > 101)
        path += std::string(100, 'd') + "\\";
    return path + std::string(length - path.size(), 'e');
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
        {"destination, by far", 2000, 0, 12},
        {"destination, which its manifest's line hardly holds", 20000, 0, 12},
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
            Manifest manifest =
                generation == 0 ? oldManifest({engine(), product()}) : newManifest({engine(), product()});
            device.lay(manifest);
            if (one.destination != 0) {
                manifest.items[1].destination = longPath(one.destination);
                if (one.destination < 260)
                    device.file(longPath(one.destination) + "\\old1.bin", "old1.bin far down");
            }
            if (one.orvellePath != 0) manifest.orvellePath = longPath(one.orvellePath);
            device.manifest(manifest);
            const Tree before = files(device.tree());
            const Outcome seen = device.run();
            EXPECT_EQ(seen.exitValue, 0);
            EXPECT_EQ(seen.result, "result=" + std::to_string(one.result) + "\n");
            Tree after = files(seen.tree);
            // Below its own destination an old agent's files for a second item stay.
            for (const char* staged : {"\\OVSrc.tmp\\new1.bin", "\\OVSrc.tmp\\old1.bin"}) {
                if (generation == 0) after.erase(manifest.items[1].destination + staged);
            }
            EXPECT_EQ(text(before), text(after));
            const Lines quit = {"I updateWithPatchAgent: error quit.",
                                "E update: updateWithPatchAgent failed."};
            ASSERT_GT(seen.log.size(), 4u);
            EXPECT_EQ(Lines(seen.log.end() - 4, seen.log.end() - 2), quit);
            if (generation == 1) {
                EXPECT_EQ(seen.calls.back(), "EndAction()");
            }
        }
    }
}

// The longest paths that fit are worked with in full.
TEST(Disk, PathsAtTheLimitAreServed) {
    Device device;
    Manifest manifest = newManifest({engine()});
    // <destination>\OV_Backup\2\31\backup.000 has 259 bytes.
    const std::string destination = longPath(259 - std::string("\\OV_Backup\\2\\31\\backup.000").size());
    manifest.items[0].destination = destination;
    device.lay(manifest);
    Tree tree = device.tree();
    Story story(manifest);
    story.parses().loads().opens().starts(0).copies(0);
    story.file("new0.bin", Fate::Added).file("old0.bin", Fate::Overwritten).ends().closes().merges().isDone();
    putUpdated(tree, manifest, 0);
    put(tree, destination + "\\OV_Backup\\OvBackup.ini", ledgerHead(manifest, 1) + laidRecord(manifest, 0));
    expectOutcome(device.run(), story, 0, tree);
}

}  // namespace
}  // namespace ovpatch::scenarios
