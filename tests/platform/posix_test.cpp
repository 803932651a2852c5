// What the device has no counterpart of: links, permissions, bytes in names, limits, other processes.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <functional>

#include "platform/posix/host_path.h"
#include "platform/utf8.h"
#include "tests/platform/support/device.h"

// Comes in the middle of a copy, in place of what sets the time of the new file.
static std::function<int()> inTheMiddle;

extern "C" int futimens(int file, const timespec times[2]) noexcept {
    const std::string path = "/proc/self/fd/" + std::to_string(file);
    return inTheMiddle ? inTheMiddle() : utimensat(AT_FDCWD, path.c_str(), times, 0);
}

namespace ovpatch::test {

// Steps of the host, and those of the device, by another user where `nobody:` stands before them.
std::string onHost(const TempTree& tree, const Words& words) {
    const fs::path path = tree.root / words.at(1);
    const std::string& last = words.back();
    const auto mode = [&] { return static_cast<mode_t>(std::stoul(last, nullptr, 8)); };
    struct stat status = {};
    if (words[0] == "link") fs::create_symlink(last, path);
    if (words[0] == "hard") fs::create_hard_link(tree.root / last, path);
    if (words[0] == "pipe") return std::to_string(mkfifo(path.c_str(), 0666));
    // A host may refuse to give a file away.
    if (words[0] == "own") firstFault = -2;
    if (words[0] == "own") return std::to_string(chown(path.c_str(), last[0] - '0', last[1] - '0'));
    if (words[0] == "chmod") return std::to_string(chmod(path.c_str(), mode()));
    if (words[0] == "umask") return std::to_string(umask(mode()));
    if (words[0] == "owner")
        return std::to_string(stat(path.c_str(), &status) +
                              static_cast<int>(10 * status.st_uid + status.st_gid));
    if (words[0] == "nobody:") {
        EXPECT_EQ(seteuid(65534), 0);
        const std::string answer = act(tree, Words(words.begin() + 1, words.end()));
        EXPECT_EQ(seteuid(0), 0);
        return answer;
    }
    const auto open = [] { return std::distance(fs::directory_iterator("/proc/self/fd"), {}); };
    const auto before = open();
    const std::string answer = device(tree, words);
    return answer + (open() == before ? "" : " leaves something open");
}

TEST(Posix, OutcomesOnLinks) {
    play(
        R"(put dir/real old; put file new; link link dir/real; link dirlink dir; link none nowhere; link a b; link b a
        attr dirlink,dirlink/ -> directory
        attr link -> plain
        find dirlink -> dirlink/ end
        find * / discard none; link none file/x; find * -> a b dir/ dirlink/ file link none end
        state dir/real -> 3
        state link -> link 3
        state none,dirlink,a -> link yes
        state missing,file/x -> no
        link? link,dirlink,dirlink/,dirlink//,none,a / state a*,~5000 -> yes
        link? dir/real,dir/,dirlink/real,/ / move link,dirlink,none new / move file link,dirlink,none,a/new / swap file link,none,dirlink / swap link file -> no
        attr none / rmdir dirlink/missing -> 2
        open none w,at,w+ / copy,steps file none,dirlink -> 5
        name link,dirlink,none new -> 50
        create link,none -> 80
        mkdir link,none -> 183
        rmdir link,dirlink/real -> 267
        attr a / copy,steps file a / open a rb,w,at -> 1921
        copy,steps,twin link new -> ok +new=old
        copy,steps file link,dirlink/real -> ok dir/real=new
        open link r -> old
        open link w -> , closed dir/real=X
        open link at -> , dir/real=oldX closed dir/real=oldX
        del,discard link / chmod dir/real 444; del link -> ok -link
        back file link -> ok -file dir/real=new
        back link file -> 5
        put link.ovp x; tidy link -> ok
        put gone.ovp x; tidy gone -> ok -gone.ovp +gone=x
        del,rmdir none / discard none; link none file/x,none; rmdir none -> ok -none
        del dirlink / rmdir dirlink,dirlink/,dirlink// -> ok -dirlink
    )",
        onHost);
}

TEST(Posix, OutcomesOnPermissionsAndNames) {
    play(
        R"(umask . 022; put file old; put other new; chmod other 640; put sealed kept; chmod sealed 444; put shut 1; chmod shut 0; put list/sub/; chmod list 744; pipe pipe; put odd/..%5Cfile; put odd/a%2A
        copy,steps other file -> ok file=new:640
        umask . 077; chmod other 666; copy,steps other file -> ok file=new:666
        umask . 077; open new w -> , closed +new=X:600
        chmod other 4755; copy,steps other new -> ok +new=new:755
        chmod other 4755; copy,steps other new; chmod new 600; move new file -> yes -new file=new:600
        chmod file 622; open file w -> , closed file=X:622
        find pipe -> pipe end
        nobody: can file -> ok
        can pipe / nobody: can shut / open pipe rb,w,at,r+ / copy,steps pipe file,new / copy,steps file pipe -> 5
        nobody: open shut rb / nobody: attr list/sub / nobody: create,mkdir new / nobody: del file -> 5
        nobody: find list/* -> sub end
        find list/* -> sub/ end
        link away list/sub; nobody: find * -> away file list/ odd/ other pipe sealed shut end
        own file 10; copy,steps,back other file; owner file / own file 10; open file w; owner file -> 10
        copy,steps other file; owner file -> 0

        move other file -> yes -other file=new:640
        move file new -> yes -file +new=old
        hard two file; move file two -> yes -file
        name file new; move new file -> yes -new
        own file 11; own other 11; chmod other 644; move file other -> yes -file other=old
        move file a*,missing/new,pipe,sealed,list / move missing,a*,pipe,list,sealed new -> no
        swap other file -> yes file=new:640 other=old
        swap other file; reswap other file -> yes file=old other=new:640
        own file 01; swap,copy,back other file; owner file -> 1
        swap missing,list,pipe,file file / swap file missing,list,pipe,sealed -> no
        own file 11; chmod other 4755; back other file -> ok -other file=new:755
        back pipe file / back other pipe / new,save other list,pipe -> 5
        chmod file 4644,2644,1644; move file new / own file 11; move file new,other / own other 11; move file other -> no
        hard two file; move file,two new / hard two file; hard three file; move file two -> no
        move file file,list/../file / hard two file; move file file,list/../file / hard two file; put file.ovp kept; move file two -> no
        name file new -> ok +new=old
        name file new; copy,steps other file; open new r -> old
        name missing new -> 2
        name file missing/new -> 3
        name list,pipe,sealed new / hard two file; name file new / chmod file 4644; name file new / own file 11; chmod other 4755; back other file; name file new -> 50
        name file other,list -> 80
        name a* new / name file a* -> 123

        find odd/* -> ..?file a* end
        find k*,l?st/* / open odd/..?file,odd/a* rb / copy,steps odd/..?file,odd/a* new -> 123
        find list/ -> 2
        find - / del - -> 3
        put list/%01; put list/~; put list/B; put list/%80; put list/%FF%FE; find list/* -> %01 B sub/ ~ %80 %FF%FE end
        mkdir,create,del,attr ~256 / mkdir,del,attr,find,can ~5000 / open ~5000 rb,w -> 206
        copy,steps file ~255; open ~255 rb -> old
    )",
        onHost);
    const TempTree tree;
    std::string names;
    for (int i = 0; i < 1000; ++i) {
        tree.write(std::to_string(1000 + i * 7 % 1000));
        names += std::to_string(1000 + i) + " ";
    }
    EXPECT_EQ(device(tree, {"find", "*"}), names + "end");
}

TEST(Posix, APathIsTakenAnew) {
    posix::HostPath path;
    EXPECT_TRUE(path.assign(TEXT("a\\b")) && path.assign(TEXT("c")));
    EXPECT_STREQ(path.cStr(), "c");
    EXPECT_TRUE(path.assign("d"));
    EXPECT_STREQ(path.cStr(), "d");
}

// The code page is settled once for a process, so each has one.
TEST(PosixDeathTest, InADoubleByteCodePageAPairIsOneUnitAndItsTrailByteNoSeparator) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto check = [](const char* codePage) {
        setenv("OVPATCH_ANSI_CODE_PAGE", codePage, 1);
        // A trail byte 0x5C, the bounds of the lead ranges, a lead byte before 0x3F and one at the end.
        const std::string text = "\x83\x5C\x81\x40\xE0\x40\x80\xA0\x7E\xDF\xFC\xFC\xFD\x7E\xFF\x81\x3F\x9F";
        const std::string page = codePage;
        const std::string lengths = page == "1252"  ? std::string(text.size(), '1')
                                    : page == "932" ? "22211112111111"
                                                    : "222122211111";
        WideText units;
        const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text.at(at)); };
        for (std::size_t i = 0, at = 0; i < lengths.size(); at += lengths[i++] == '2' ? 2 : 1)
            units += static_cast<WCHAR>(lengths[i] == '2' ? byte(at) * 256 + byte(at + 1) : byte(at));
        EXPECT_TRUE(widen(text) == units && narrow(units) == text);
        EXPECT_EQ(widen("\x83\x41").size(), page == "1252" ? 2U : 1U);
        for (const WideText& foreign : {WideText(TEXT("a\u0141")), WideText{0x8330}, WideText{0x2040}})
            EXPECT_TRUE(narrow(foreign).empty() && !DeleteFileW(foreign.c_str()) && GetLastError() == 1113);
        if (page != "1252")
            play(R"(put a%83%5Cb pair
                find * -> a%83%5Cb end
                del a%83%5Cb -> ok -a%83%5Cb
                open a%83%5Cb r -> pair)",
                 device);
        std::exit(testing::Test::HasFailure() ? 1 : 0);
    };
    for (const char* codePage : {"932", "936", "949", "950", "1252"})
        EXPECT_EXIT(check(codePage), testing::ExitedWithCode(0), "") << codePage;
}

TEST(Posix, AFileIsReplacedAsAWholeOrNotAtAllWhileOthersAreThere) {
    const TempTree tree;
    tree.write("target", "old");
    tree.write("source", "new");
    // Somebody else is there when the new file is to get its name.
    inTheMiddle = [&] { return tree.write("new", "other"), 0; };
    EXPECT_EQ(device(tree, {"new", "source", "new"}), "80 +new=other");
    inTheMiddle = [&] { return tree.write("dir/"), 0; };
    EXPECT_EQ(device(tree, {"copy", "source", "dir"}), "5 +dir/=");
    inTheMiddle = [] { return errno = ENOTTY, -1; };
    EXPECT_EQ(device(tree, {"copy", "source", "target"}), "31");
    inTheMiddle = nullptr;
    EXPECT_EQ(tree.read("target"), "old");
    std::FILE* file = platform::fopen(tree.path("\\target").c_str(), "w");
    fs::remove(tree.root / "target");
    tree.write("target/");
    EXPECT_TRUE(std::fputc('n', file) == 'n' && std::fclose(file) != 0 && GetLastError() == 5);
    EXPECT_EQ(tree.list().size(), 4U);
}

// The room is there before it is needed, and what does not fit leaves the end where it was.
TEST(Posix, AHeldFileHasItsRoomAndNoPartOfALine) {
    const TempTree tree;
    platform::LockedFile file;
    ASSERT_EQ(file.create(widen(tree.path("\\held")).c_str()), platform::LockedFile::Outcome::HELD);
    struct stat status = {};
    file.reserve(1000000);
    EXPECT_TRUE(file.append("first\n+", 7) && file.truncate(6));
    EXPECT_TRUE(stat((tree.root / "held").c_str(), &status) == 0 && status.st_blocks * 512 >= 1000000);
    EXPECT_EQ(status.st_mode, S_IFREG | 0644U);
    rlimit limit = {};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit low = {8, limit.rlim_max};
    const auto before = std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &low);
    EXPECT_FALSE(file.append("second\n", 7) || file.appendLines("second\n", 7));
    setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, before);
    EXPECT_EQ(GetLastError(), ERROR_FILE_TOO_LARGE);
    EXPECT_EQ(tree.read("held"), "first\n");
    EXPECT_TRUE(file.append("third\n", 6));
    EXPECT_EQ(tree.read("held"), "first\nthird\n");
}

// What begins with no character of UTF-8 is 0; the others are as long as they are.
TEST(Posix, TextIsUtf8AsFarAsItIsValid) {
    std::string out;
    const auto lengthOf = [&](const std::string& text) {
        return platform::nextAsUtf8(text.c_str(), text.size(), &out);
    };
    for (const std::string text : {"a", "\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF",
                                   "\xEE\x80\x80", "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_TRUE(text.size() == 1 || lengthOf(text.substr(0, text.size() - 1)) == 0);
        EXPECT_TRUE(lengthOf(text + "\xBF") == text.size() && out == text) << text;
        out.clear();
    }
    for (const std::string text :
         {"\x80\x80", "\xC1\xBF", "\xC2\x41", "\xE0\x9F\xBF", "\xE1\x80\x7F", "\xED\xA0\x80",
          "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF"})
        EXPECT_TRUE(lengthOf(text) == 0 && out.empty()) << int(text[0]);
}

TEST(Posix, LockFilesAndHandlesOfEachKind) {
    const auto numberOf = [](const WideText& name) {
        return CreateMutexW(nullptr, TRUE, name.c_str()) == nullptr ? GetLastError() : 0;
    };
    EXPECT_EQ(numberOf(TEXT("")), 123U);
    EXPECT_EQ(numberOf(WideText(251, 'n')) + numberOf(WideText(5000, 'n')), 412U);
    const std::string name = TempTree().root.filename().string();
    const std::string path = "/tmp/" + name + "______-.Z9A0z.lock";
    fs::create_symlink("/tmp/" + name, path);
    EXPECT_EQ(numberOf(widen(name + " /@[`{-.Z9A0z")), 1921U);
    fs::remove(path);
    const mode_t mask = umask(077);
    const HANDLE mutex = CreateMutexW(nullptr, TRUE, widen(name + "\\:@[`{-.Z9A0z").c_str());
    umask(mask);
    EXPECT_EQ(fs::status(path).permissions(), fs::perms{0666});
    EXPECT_TRUE(WaitForSingleObject(mutex, 1) == WAIT_FAILED && GetLastError() == ERROR_INVALID_PARAMETER);
    EXPECT_TRUE(fs::remove(path));
    const HANDLE unowned = CreateMutexW(nullptr, FALSE, widen(name).c_str());
    EXPECT_TRUE(!ReleaseMutex(unowned) && CloseHandle(unowned) && fs::remove("/tmp/" + name + ".lock"));
    WIN32_FIND_DATAW entry;
    const HANDLE search = FindFirstFileW(TEXT("/tmp"), &entry);
    for (const HANDLE wrong : {HANDLE{}, INVALID_HANDLE_VALUE, mutex, search}) {
        SetLastError(ERROR_SUCCESS);
        EXPECT_TRUE(wrong == mutex || (WaitForSingleObject(wrong, 0) == WAIT_FAILED && !ReleaseMutex(wrong) &&
                                       !CloseHandle(wrong)));
        EXPECT_TRUE(wrong == search ||
                    (!FindNextFileW(wrong, &entry) && GetLastError() == 6 && !FindClose(wrong)));
        EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    }
    EXPECT_TRUE(CloseHandle(mutex) && FindClose(search));
}

}  // namespace ovpatch::test
