// Copies, moves, removals and listings as rows. Each operation is also done without its callback, without the
// record and with an index, where its short cuts are: the outcome has to be the same.

#include "fileops/code_page.h"
#include "fileops/copy.h"
#include "fileops/dir_listing.h"
#include "fileops/file_tests.h"
#include "fileops/look_failure.h"
#include "fileops/make_directory.h"
#include "fileops/name_index.h"
#include "fileops/paths.h"
#include "fileops/remove.h"
#include "tests/support/rows.h"

namespace ovpatch::test {

// A callback's record, the calls as "n0\source>\target" (n new, o overwrite, f file, m make, r remove) and
// what it is to answer by their beginnings.
struct Recorder {
    const TempTree& tree;
    State answers = {};
    std::string calls = {};
    FileOpRecord record = {77, this, nullptr, nullptr, 99, 99};

    static std::int32_t call(FileOpRecord* record) {
        auto* self = static_cast<Recorder*>(record->userData);
        const std::size_t root = self->tree.path("").size();
        std::string call =
            "nofmr"[record->operation] + std::to_string(record->phase) + (record->sourcePath + root);
        const auto answer = self->answers.find(call);
        if (record->targetPath != nullptr) call += std::string(">") + (record->targetPath + root);
        self->calls += " " + call;
        return answer == self->answers.end() ? 0 : std::stoi(answer->second);
    }
};

// With `!` before a copy's name an existing target is to stay.
std::int32_t run(const std::string& name, const char* path, const char* target, FileOpCallback callback,
                 FileOpRecord* record, NameIndex* index) {
    const bool stays = name[0] == '!';
    const std::string copy = name.substr(stays ? 1 : 0);
    if (copy == "one") return copyOneFile(path, target, !stays, callback, record);
    if (copy == "copy") return copyFiles(path, target, !stays, callback, record);
    if (copy == "xcopy") return xcopy(path, target, !stays, callback, record);
    if (copy == "move") return moveFiles(path, target, !stays, callback, record);
    if (copy == "xmove") return moveTree(path, target, !stays, callback, record);
    if (name == "entry") return removeEntry(path, callback, record);
    if (name == "unlink") return unlink(path, callback, record, index);
    if (name == "tree") return removeTree(path, callback, record, index);
    return makeDirectory(path, callback, record);
}

const Words OPERATIONS = {"one",    "copy", "xcopy", "move",  "xmove", "entry",
                          "unlink", "tree", "make",  "!copy", "!xmove"};

// The number of the last look of the device that has failed, behind a `!`.
std::string told;
void hear(const char*, std::uint32_t number) {
    told = "!" + std::to_string(number);
}

// The answer, behind a failure how far the record came, the calls, and what has changed.
std::string done(const TempTree& tree, const Words& words) {
    const auto answer = [&](const TempTree& place, FileOpCallback callback, FileOpRecord* record,
                            NameIndex* index) {
        const auto path = [&](std::size_t at) {
            return words.size() <= at || words[at] == "-" ? "" : place.path(words[at]);
        };
        return std::to_string(run(words[0], path(1).c_str(), path(2).c_str(), callback, record, index));
    };
    const State before = tree.list();
    const TempTree others[3];
    for (const TempTree& other : others) {
        fs::remove(other.root);
        fs::copy(tree.root, other.root, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    }
    Recorder recorder{tree};
    for (const std::string& word : words)
        if (const Words pair = split(word, "="); pair.size() == 2) recorder.answers[pair[0]] = pair[1];
    const std::string outcome = answer(tree, Recorder::call, &recorder.record, nullptr);
    const std::string changed = change(before, tree.list());
    const std::string end = std::to_string(recorder.record.operation) + std::to_string(recorder.record.phase);
    const std::string heard = told;
    FileOpRecord alone = {77, nullptr, nullptr, nullptr, 99, 99};
    NameIndex index;
    for (int way = 0; way < 3 && recorder.answers.empty(); ++way) {
        const std::string again =
            answer(others[way], nullptr, way == 1 ? &alone : nullptr, way == 2 ? &index : nullptr);
        EXPECT_EQ(again + change(before, others[way].list()), outcome + changed) << way;
        EXPECT_TRUE(way != 1 || std::to_string(alone.operation) + std::to_string(alone.phase) == end);
    }
    return outcome + heard + (outcome[0] == '-' && end[0] != '9' ? "at" + end : "") + recorder.calls +
           changed;
}

// What a listing gives, directories with "/" behind.
std::string listed(const std::string& path, std::size_t root) {
    DirListing listing(path.c_str());
    std::string text;
    while (listing.hasNext()) {
        const ByteString entry = listing.nextPath();
        text += (entry.cStr() + root) + std::string(listing.lastIsDirectory() ? "/ " : " ");
    }
    EXPECT_EQ(listing.nextPath().length(), 0U);
    return text + (listing.isComplete() ? "end" : "unread" + told);
}

std::string step(const TempTree& tree, const Words& words) {
    told.clear();
    setLookFailureListener(hear);
    const std::string path = tree.path(words.at(1));
    if (words[0] == "put") return tree.write(words[1], words.size() > 2 ? words[2] : ""), "";
    if (words[0] == "cp") return setCodePage(static_cast<std::uint32_t>(std::stoul(words[1]))), "";
    if (words[0] == "link") return fs::create_symlink(words[2], tree.root / words[1]), "";
    if (words[0] == "seal") return fs::permissions(tree.root / words[1], fs::perms::owner_read), "";
    if (words[0] == "list") return listed(path, tree.path("").size());
    if (words[0] != "test") return done(tree, words);
    const auto test = [&](bool (*question)(const char*, bool*), const char* yes) {
        bool known = false;
        const bool is = question(path.c_str(), &known);
        EXPECT_EQ(question(path.c_str(), nullptr), is);
        return std::string(is ? yes : known ? "" : "?");
    };
    return test(isDirectory, "directory,") + test(fileExists, "file,") + test(pathExists, "exists");
}

TEST(Walks, Copying) {
    play(R"(put f f; put s/a 1; put s/b/c 2; put s/e/; put t/x t
        one,!one \f \t\y -> 0 n0\f>\t\y n1\f>\t\y +t/y=f
        one \f \t\x -> 0 o0\f>\t\x o1\f>\t\x t/x=f
        !one \f \t\x -> -6
        one \f \t,\t\ -> -5
        one \g \t\x -> -4at10 o0\g>\t\x
        one \s \t\y -> -4at00 n0\s>\t\y
        one \f \u\y -> -4at00 n0\f>\u\y
        one,!one \f \f\ -> -4at00 n0\f>\f\
        one \t\x \t\x -> -4at10 o0\t\x>\t\x
        one \f \t\x o0\f=2 -> 0 o0\f>\t\x
        one \f \t\x o0\f=8 -> 8 o0\f>\t\x
        one \f \t\x o1\f=9 -> 9 o0\f>\t\x o1\f>\t\x t/x=f
        one \f \t\x o1\f=2 -> 0 o0\f>\t\x o1\f>\t\x t/x=f
        one,copy,xcopy,move,xmove - \x / one,copy,xcopy,move,xmove \f - -> -1

        copy /f /t,\t\,/t/ -> 0 n0\f>\t\f n1\f>\t\f +t/f=f
        copy \f \u/v\y -> 0 m0\u\v\ m0\u\ m1\u\ m1\u\v\ n0\f>\u\v\y n1\f>\u\v\y +u/= +u/v/= +u/v/y=f
        copy \s \u\ -> 0 m0\u\ m1\u\ n0\s\a>\u\a n1\s\a>\u\a +u/= +u/a=1
        copy \s\* \u / copy \s \f / xcopy \s,\s\,\s\*,\? \u -> -1
        copy \g,\g\* \u\ / xcopy \g\* \u\ -> 0 m0\u\ m1\u\ +u/=
        copy \g \t\y -> -4at00 m0\t\ m1\t\ n0\g>\t\y
        copy \f \f\y -> -5at30 m0\f\
        copy \f \u\y,\u\ m0\u\=7 -> 7 m0\u\
        copy \s\* \t n0\s\a=3 -> 3 n0\s\a>\t\a
        !copy \f \t\x -> -6at30 m0\t\ m1\t\

        xcopy \s \t,\t\ -> 0 m0\t\s\ m1\t\s\ n0\s\a>\t\s\a n1\s\a>\t\s\a m0\t\s\b\ m1\t\s\b\ n0\s\b\c>\t\s\b\c n1\s\b\c>\t\s\b\c m0\t\s\e\ m1\t\s\e\ +t/s/= +t/s/a=1 +t/s/b/= +t/s/b/c=2 +t/s/e/=
        xcopy \s\b,\s\b\ \u/ -> 0 m0\u\b\ m0\u\ m1\u\ m1\u\b\ n0\s\b\c>\u\b\c n1\s\b\c>\u\b\c +u/= +u/b/= +u/b/c=2
        xcopy \s\B* \t -> 0 m0\t\b\ m1\t\b\ n0\s\b\c>\t\b\c n1\s\b\c>\t\b\c +t/b/= +t/b/c=2
        xcopy \f \t\x -> 0 m0\t\ m1\t\ o0\f>\t\x o1\f>\t\x t/x=f
        xcopy \s\* \t n0\s\a=2 m0\t\b\=2 n0\s\b\c=2 -> 0 n0\s\a>\t\a m0\t\b\ m0\t\b\ n0\s\b\c>\t\b\c m0\t\e\ m1\t\e\ +t/e/=
        xcopy \s\* \t n0\s\b\c=1 -> 1 n0\s\a>\t\a n1\s\a>\t\a m0\t\b\ m1\t\b\ n0\s\b\c>\t\b\c +t/a=1 +t/b/=
        xcopy \s \t m0\t\s\=6 -> 6 m0\t\s\
        xcopy \s\a \u\ m0\u\=6 -> 6 m0\u\

        move \f \t\x -> 0 m0\t\ m1\t\ o0\f>\t\x o1\f>\t\x f0\f f1\f -f t/x=f
        !move \f \t\y -> 0 m0\t\ m1\t\ n0\f>\t\y n1\f>\t\y f0\f f1\f -f +t/y=f
        !move \f \t\x -> -6at30 m0\t\ m1\t\
        move \g \t\x -> -4at10 m0\t\ m1\t\ o0\g>\t\x
        move \t\x \t\x -> -4at10 m0\t\ m1\t\ o0\t\x>\t\x
        xmove \s\b \u\ -> 0 m0\u\b\ m0\u\ m1\u\ m1\u\b\ n0\s\b\c>\u\b\c n1\s\b\c>\u\b\c f0\s\b\c f1\s\b\c r0\s\b r1\s\b -s/b/ -s/b/c +u/= +u/b/= +u/b/c=2
        put t/c/; xmove \s\b\* \t -> -5
    )",
         step);
}

TEST(Walks, RemovingMakingListingAndTesting) {
    play(R"(put d/a 1; put d/ab 2; put d/e/; put d/s/x 3
        entry \d\a -> 0 f0\d\a f1\d\a -d/a
        entry \d\e,\d\e -> 0 r0\d\e r1\d\e -d/e/
        entry \d\s -> -1at41 r0\d\s
        entry \d\none -> -1at21 f0\d\none
        entry \d\a f1\d\a=4 -> 4 f0\d\a f1\d\a -d/a
        entry \d\a f0\d\a=2 -> 0 f0\d\a
        unlink \d/none,\d\z*,\none\x / tree \none,\d\a\,\none\x,\d\z*,\d\a\\ -> 0
        unlink,tree \d/a -> 0 f0\d\a f1\d\a -d/a
        unlink,tree \d\A -> 0 f0\d\a f1\d\a -d/a | 0 f0\d\A f1\d\A -d/a
        unlink,tree \d\a* -> 0 f0\d\a f1\d\a f0\d\ab f1\d\ab -d/a -d/ab
        unlink \d\e,\d\e\,\d\e/ / tree \d\e,\d/e\\ -> 0 r0\d\e r1\d\e -d/e/
        unlink \d,\d\ -> -1at41 r0\d
        unlink \d\* -> -1at41 f0\d\a f1\d\a f0\d\ab f1\d\ab r0\d\e r1\d\e r0\d\s -d/a -d/ab -d/e/
        unlink \d\a* f0\d\a=2 -> 0 f0\d\a f0\d\ab f1\d\ab -d/ab
        tree \d\s,\d\s/ -> 0 f0\d\s\x f1\d\s\x r0\d\s r1\d\s -d/s/ -d/s/x
        tree \d,\d\ -> 0 f0\d\a f1\d\a f0\d\ab f1\d\ab r0\d\e r1\d\e f0\d\s\x f1\d\s\x r0\d\s r1\d\s r0\d r1\d -d/ -d/a -d/ab -d/e/ -d/s/ -d/s/x
        tree \d\*,/d/* -> 0 f0\d\a f1\d\a f0\d\ab f1\d\ab r0\d\e r1\d\e f0\d\s\x f1\d\s\x r0\d\s r1\d\s -d/a -d/ab -d/e/ -d/s/ -d/s/x
        tree \d\? r1\d\e=5 -> 5 f0\d\a f1\d\a r0\d\e r1\d\e -d/a -d/e/
        tree \d f0\d\a=5 -> 5 f0\d\a
        seal d/s/x; tree \d\s -> -1at21 f0\d\s\x
        entry,unlink,tree - -> -1
        make - -> 0
        make \d -> 0 m0\d m1\d
        make \d\a -> -5at30 m0\d\a
        make \d\e/f\g\ -> 0 m0\d\e/f\g\ m0\d\e/f\ m1\d\e/f\ m1\d\e/f\g\ +d/e/f/= +d/e/f/g/=
        make \d\n m0\d\n=2 -> 0 m0\d\n
        make \d\n\m m0\d\n\=3 -> -5at30 m0\d\n\m m0\d\n\
        make \d m0\d=3 -> 3 m0\d
        make \d m1\d=3 -> 3 m0\d m1\d
        list \d,\d\,\d/,/d\* -> \d\a \d\ab \d\e/ \d\s/ end
        list \d\*B -> \d\ab \d\e/ \d\s/ end
        list \d\a,\d\A -> \d\a \d\e/ \d\s/ end
        list \d\none* -> \d\e/ \d\s/ end
        list \d\e,\none\* -> end
        test \d,\d\,\d/ -> directory,exists
        test \d\a -> file,exists
        test \none,\d\*,\d\a\,\none\ ->
    )",
         step);
    for (const std::string& name : OPERATIONS)
        EXPECT_EQ(run(name, nullptr, "x", nullptr, nullptr, nullptr), -1);
    for (const auto question : {isDirectory, fileExists, pathExists}) {
        bool known = false;
        EXPECT_TRUE(!question(nullptr, nullptr) && !question("", &known) && known);
    }
    for (const char* root : {"/", "\\", "\\/"})
        EXPECT_EQ(unlink(root, nullptr, nullptr) + removeTree(root, nullptr, nullptr) +
                      makeDirectory(root, nullptr, nullptr),
                  -2);
}

#ifndef _WIN32
TEST(Walks, LinksCaseVariantsAndPathsThatDoNotFit) {
    const std::string rows =
        R"(put kept/x 1; put d/new 2; put d/NEW 3; put d/nEw/x 4; put e/NEW 5; put e/nEw/; put f f; put HALF/HALF 6; link tree kept; link file kept/x; link none nowhere; link ring ring
        test \ring,\ring\x -> ???
        list \ring,\ring\,\ring\x -> unread!1921
        one \f \ring / copy \f \ring / copy,xcopy \ring \e / copy,xcopy,xmove \ring\* \e / unlink,tree \ring\* -> -4!1921
        unlink,tree \ring -> 0 f0\ring f1\ring -ring
        unlink,tree \ring\x -> -1at21 f0\ring\x
        list \d\new -> \d\new end
        list \e\new -> \e\NEW \e\nEw/ end
        unlink,tree \d\new -> 0 f0\d\new f1\d\new -d/new
        unlink,tree \e\new -> 0 f0\e\NEW f1\e\NEW r0\e\nEw r1\e\nEw -e/NEW -e/nEw/
        unlink \E\new / tree \E\ -> 0
        unlink \tree,\tree\ / tree \tree,\tree\,\tree\\,\tRee -> 0 r0\tree r1\tree -tree
        unlink,tree \file,\*ile -> 0 f0\file f1\file -file
        unlink,tree \none,\nOne -> 0 f0\none f1\none -none
        put g/a/; link g/b a; unlink \g\* -> 0 r0\g\a r1\g\a r0\g\b r1\g\b -g/a/ -g/b
        one \HALF\HALF \f -> -4at10 o0\HALF\HALF>\f
        copy \f \HALF\HALF -> -4at10 m0\HALF\ m1\HALF\ o0\f>\HALF\HALF
        make \HALF\HALFx -> -5at30 m0\HALF\HALFx
        entry,unlink \HALF\HALF / tree \HALF,\HALF\HALF -> -1at21 f0\HALF\HALF
        test \HALF\HALF -> file,
        put HALF/HALFd/; put HALF/d%2A/; list \HALF -> \HALF\d* \HALF\HALF \HALF\HALFd end
    )";
    play(test::replaced(rows, "HALF", std::string(130, 'p')), step);
    // Here the device and we divide a path at different places.
    if (std::getenv("OVPATCH_ANSI_CODE_PAGE") == nullptr)
        play(R"(cp 932; put x%83/a 1; put y%83/
            unlink,tree \x%83\a -> 0
            unlink \y%83\ -> 0 r0\y%83\ r1\y%83\ -y%83/)",
             step);
    setCodePage(0);
    const TempTree tree;
    const std::string name(258 - tree.path("").size(), 'n');
    tree.write(name + "/");
    tree.write(name + "n/");
    EXPECT_TRUE(pathExists(tree.path("\\" + name).c_str()) && !pathExists(tree.path("\\n" + name).c_str()));
    EXPECT_EQ(listed(tree.path("\\"), tree.path("").size()), "\\" + name + "/ \\" + name + "n end");
    fs::current_path(tree.root);
    EXPECT_EQ(makeDirectory("dd", nullptr, nullptr), 0);
    EXPECT_EQ(listed("", 0), "dd/ " + name + "/ " + name + "n/ end");
    fs::current_path("/");
    fs::create_symlink("ring", tree.root / "ring");
    EXPECT_TRUE(NameIndex().canMatch(tree.path("\\ring\\x").c_str()));
}
#endif

// A step by chance, some with bytes that one of two code pages takes for half a character.
TEST(Walks, ShortCutsChangeNothing) {
    std::mt19937 engine(1);
    const auto one = [&](const Words& all) { return all[engine() % all.size()]; };
    const auto name = [&] {
        return one({"a", "A", "aB", "AB", "ab", "b", "x\x83", "\x83\\", "\x83\\zz", "\x83\x83\\"});
    };
    const auto path = [&] {
        std::string text;
        for (auto left = engine() % 3; left > 0; --left)
            text += one({"\\", "\\", "/", "\\\\"}) + name();
        return text + one({"\\", "/"}) + one({name(), name(), "*", "a*", "?", "*B", "\x83*"}) +
               one({"", "", "\\", "/"});
    };
    const int rounds = ON_WINDOWS ? 100 : 300;  // each takes long there
    for (int round = 0; round < rounds && !testing::Test::HasFailure(); ++round) {
        setCodePage(round % 2 == 0 ? 0 : 932);
        const TempTree tree;
        for (int count = 0; count < 10; ++count) {
            std::error_code ignored;
            const fs::path directory = engine() % 2 == 0 ? tree.root : tree.root / name();
            fs::create_directories(directory, ignored);
            std::ofstream(directory / name()) << count;
        }
        const Words words = {one(OPERATIONS), path(), path()};
        done(tree, words);
        EXPECT_FALSE(testing::Test::HasFailure()) << words[0] << " " << words[1] << " " << words[2];
    }
    setCodePage(0);
}

}  // namespace ovpatch::test
