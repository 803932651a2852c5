// What holds on both hosts.
#include <atomic>
#include <chrono>
#include <thread>
#include <tuple>

#include "tests/platform/support/device.h"

namespace ovpatch::test {

TEST(Contract, Outcomes) {
    play(R"(put file abc; put locked kept; chmod locked 444; put dir/inner in; put empty/
        attr dir,dir/,empty -> directory
        attr locked -> read-only
        attr file,dir/inner,dir/../file -> plain
        find * -> dir/ empty/ file locked end
        find dir/inner -> inner end
        find empty/* -> 2 | end
        can file,locked,dir/inner -> ok
        link? file,dir,dir/,dir/inner / move file dir/,locked,dir -> no
        attr,del,rmdir,find,can,link? missing / copy,steps missing file,new,missing/x / open missing,new r,rb,r+ -> 2
        can missing/x,missing/x/y -> 2 | 3
        can file/x,- / attr,link? missing/x,missing/x/y,file/x,- / find missing/*,missing/x -> 3
        find file/x -> 3 | 123
        del missing/x,file/x,- / create,mkdir missing/new,file/new,- / rmdir missing/below -> 3
        copy,steps missing/x,file/x,- file,new / copy,steps,new,save file missing/x,locked/x,- -> 3
        open missing/x,file/x,- rb,wb,at,r+ -> 3
        rmdir - -> 3 | 123
        attr,can,link?,del,create,mkdir,rmdir fil*,fil?,d?r/inner -> 123
        copy,steps,new,save fil*,fil?,d?r/inner new / copy,steps,new,save file n*,n?,d?r/inner / open fil*,d?r/inner,new? rb,wb,at,r+ -> 123
        copy,steps locked new; copy,steps file new / copy,steps file dir,empty,locked / copy,steps dir,empty file,new -> 5
        del locked,dir,empty / can dir / open dir rb,w,at,r+ / open locked w,at,r+,wb,w+ -> 5
        copy,steps file file,dir/../file -> 32
        new,save file dir/inner / create new; create new / create file,dir,locked / twin file locked,dir -> 80
        name file locked -> 80 | 50
        open file x,rx,bw,+ -> 87
        rmdir dir,dir/ -> 145
        mkdir dir,dir/,file,locked -> 183
        rmdir file,dir/inner -> 267
        copy,steps file new,dir/../new / new,save,twin file new -> ok +new=abc
        copy,steps locked file -> ok file=kept:444 | ok file=kept
        create new -> ok +new=
        mkdir new,new/ -> ok +new/=
        mkdir new; mkdir new/below/ -> ok +new/below/=
        rmdir empty,empty/ -> ok -empty/
        del file -> ok -file
        back file new -> ok -file +new=abc
        back file locked -> ok -file locked=abc
        back locked file -> ok -locked file=kept:444
        back missing file,new / twin missing new -> 2
        back dir file,new / back file dir / twin dir new / discard dir -> 5
        twin locked new -> ok +new=kept:444
        discard missing,missing/x,file/x -> ok
        discard locked / chmod locked 644; del locked -> ok -locked
        open file r,rb,rt -> abc
        open file r+,r+b,rb+ -> abc, file=Xbc closed file=Xbc
        open file a,ab,at,a+,a+b -> , file=abcX closed file=abcX
        open file w,wb,w+,w+b -> , closed file=X | , file=X closed file=X
        open new a,at,a+ -> , new=X closed +new=X
        open new w,wb,w+ -> , closed +new=X | , new=X closed +new=X
    )",
         device);
    WCHAR wide[] = TEXT("~~~~~");
    char text[] = "~~~~~";
    for (const int capacity : {0, 3, 4}) {
        const int answer = capacity == 3 ? 0 : 4;
        EXPECT_EQ(MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, "abc", -1, wide, capacity), answer);
        EXPECT_EQ(WideCharToMultiByte(CP_ACP, 0, TEXT("abc"), -1, text, capacity, nullptr, nullptr), answer);
        EXPECT_TRUE(answer != 0 || GetLastError() == 122);
    }
    for (const auto& [page, size, capacity] : {std::tuple(99U, -1, 5), {CP_ACP, 0, 5}, {CP_ACP, -1, -1}}) {
        SetLastError(ERROR_SUCCESS);
        const int units = MultiByteToWideChar(page, MB_PRECOMPOSED, "xyz", size, wide, capacity);
        EXPECT_TRUE(units == 0 && GetLastError() == 87);
        SetLastError(ERROR_SUCCESS);
        const int bytes = WideCharToMultiByte(page, 0, TEXT("xyz"), size, text, capacity, nullptr, nullptr);
        EXPECT_TRUE(bytes == 0 && GetLastError() == 87);
    }
    EXPECT_EQ(narrow(wide) + text, "abcabc");
    EXPECT_TRUE(wide[4] == '~' && text[4] == '~');
}

// One short of, equal to and one above what is copied at a time, and several times of it.
TEST(Contract, ACopyHasTheContentAndTheTimeAtEverySize) {
    const TempTree tree;
    for (const std::size_t size : {0U, 1U, 65536U, 1048575U, 1048576U, 1048577U, 3145735U}) {
        std::string content(size, '\0');
        for (std::size_t i = 0; i < size; ++i)
            content[i] = static_cast<char>(i * 7 + i / 251);
        tree.write("source", content);
        fs::last_write_time(tree.root / "source",
                            fs::file_time_type::clock::now() - std::chrono::hours(1000));
        EXPECT_EQ(device(tree, {"copy", "source", "target"}).substr(0, 2), "ok");
        EXPECT_TRUE(tree.read("target") == content) << size;
        EXPECT_EQ(fs::last_write_time(tree.root / "target"), fs::last_write_time(tree.root / "source"));
    }
}

// Lines that end short of, at and behind what is written through memory at a time, beside appended bytes.
TEST(Contract, AHeldFileHasWhatWasAppendedHoweverItWas) {
    const TempTree tree;
    const WideText path = widen(tree.path("\\held"));
    platform::LockedFile file;
    ASSERT_EQ(file.create(path.c_str()), platform::LockedFile::Outcome::HELD);
    file.reserve(4U << 20);
    std::string content, back;
    for (const std::size_t size :
         {4096U, 131072U - 4096U, 1U, 131071U, 3U, 140000U, 70000U, 9U, 200000U, 5000U}) {
        const std::string text = std::string(size - 1, static_cast<char>('a' + content.size() % 26)) + "\n";
        EXPECT_TRUE(size % 2 == 0 ? file.appendLines(text.data(), size) : file.append(text.data(), size));
        content += text;
        back.assign(content.size(), ' ');
        EXPECT_TRUE(file.size() == content.size() && file.read(0, back.data(), back.size()) &&
                    back == content)
            << size;
        EXPECT_EQ(tree.read("held").find_last_not_of('\0') + 1, ON_WINDOWS ? 0 : content.size());
    }
    EXPECT_TRUE(file.truncate(150000) && file.appendLines("x\n", 2));
    file.release();
    EXPECT_TRUE(tree.read("held") == content.substr(0, 150000) + "x\n");
}

// The streams of the C library itself are the measure, at sizes around those of all buffers involved.
TEST(Contract, AnySequenceOfReadsWritesAndSeeksGoesAsOnAnOrdinaryStream) {
    std::mt19937 engine(20040113);
    const auto dice = [&](unsigned sides) { return static_cast<unsigned>(engine()) % sides; };
    for (const char* mode : {"rb", "r+b", "w+b", "wb", "a+b"}) {
        const TempTree tree;
        std::string content(150001, '\0');
        std::generate(content.begin(), content.end(), [&] { return static_cast<char>(dice(256)); });
        for (const char* name : {"0", "1"})
            tree.write(name, content);
        std::FILE* files[] = {platform::fopen(tree.path("\\0").c_str(), mode),
                              std::fopen((tree.root / "1").string().c_str(), mode)};
        for (int i = 0; i < 400; ++i) {
            const auto offset = static_cast<long>(dice(170000));
            const unsigned what = dice(6), size = dice(dice(3) == 0 ? 199999 : 9000), fromEnd = dice(4);
            std::string shown[2];
            for (const int which : {0, 1}) {
                std::FILE* file = files[which];
                // The C library asks for a seek between reading and writing.
                int answer = std::fseek(file, fromEnd ? offset : -offset / 2, fromEnd ? SEEK_SET : SEEK_END);
                std::string block(size, static_cast<char>(i));
                for (int repeat = 0; repeat < 4; ++repeat) {
                    shown[which] += std::to_string(answer) + "@" + std::to_string(std::ftell(file)) + " ";
                    if (what == 0) answer = static_cast<int>(std::fread(block.data(), 1, size, file));
                    if (what == 1) answer = std::fgetc(file) + (std::feof(file) == 0 ? 0 : 1000);
                    if (what == 2) answer = static_cast<int>(std::fwrite(block.data(), 1, size, file));
                    if (what == 3) answer = std::fputc(i % 256, file);
                    if (what >= 4) answer = std::fflush(file);
                    if (what == 5) answer = std::fputc(i % 256, file) + std::fflush(file) + std::fgetc(file);
                    if (what == 0) shown[which] += block;
                }
            }
            ASSERT_TRUE(shown[0] == shown[1]) << mode << i << " " << what;
        }
        EXPECT_EQ(std::fclose(files[0]), std::fclose(files[1]));
        EXPECT_TRUE(tree.read("0") == tree.read("1")) << mode;
    }
}

// What the entries of a library answer, or the numbers that are left.
std::string entriesOf(const std::string& path) {
    SetLastError(0);
    const HMODULE library = LoadLibraryW(widen(path).c_str());
    if (library == nullptr) return std::to_string(GetLastError());
    std::string shown;
    // The second is exported by a library that this one depends on.
    for (const std::string& name :
         {std::string("answerOfTestLibrary"), std::string("strtol"), std::string(260, 'n')}) {
        const auto entry = reinterpret_cast<void (*)()>(GetProcAddressW(library, widen(name).c_str()));
        shown += std::to_string(entry == nullptr ? static_cast<int>(GetLastError())
                                                 : reinterpret_cast<int (*)()>(entry)()) +
                 " ";
    }
    return shown + (FreeLibrary(library) ? "freed" : "kept");
}

TEST(Contract, LibrariesAreLoadedAndTheirOwnEntriesFound) {
    const TempTree tree;
    tree.write("garbage.so", "no library");
    for (const char* path : {TEST_LIBRARY, TEST_LIBRARY_DIRECTORY "/" TEST_LIBRARY})
        EXPECT_EQ(entriesOf(path), "42 127 122 freed");
    EXPECT_EQ(entriesOf(tree.path("\\garbage.so")), "193");
    fs::copy(TEST_LIBRARY_DIRECTORY "/" TEST_LIBRARY, tree.root / "cut.so");
    fs::resize_file(tree.root / "cut.so", fs::file_size(tree.root / "cut.so") / 3);
    EXPECT_EQ(entriesOf(tree.path("\\cut.so")), "193");
    EXPECT_EQ(entriesOf(tree.path("\\missing.so")) + entriesOf("no_such_library.so") +
                  entriesOf(std::string(4090, 'n')),
              "126126126");
    EXPECT_TRUE(ON_WINDOWS || entriesOf("") == "126");
    EXPECT_TRUE(GetProcAddressW(nullptr, TEXT("strtol")) == nullptr &&
                GetLastError() == ERROR_INVALID_HANDLE);
}

// A thread owns a mutex on one host, a handle on the other.
TEST(Contract, AMutexIsTakenReleasedAndLeftByItsOwner) {
    const std::string name = "ovpatch-test-" + TempTree().root.filename().string();
    const auto make = [&](DWORD error) {
        SetLastError(77);
        const HANDLE mutex = CreateMutexW(nullptr, TRUE, widen(name).c_str());
        EXPECT_EQ(mutex == nullptr ? 77 : GetLastError(), error);
        return mutex;
    };
    const HANDLE mutex = make(0);
    for (const bool releases : {true, false}) {
        std::atomic<bool> waits = false;
        std::thread waiter([&] {
            const HANDLE second = make(ERROR_ALREADY_EXISTS);
            EXPECT_EQ(WaitForSingleObject(second, 0), DWORD{WAIT_TIMEOUT});
            EXPECT_TRUE(!ReleaseMutex(second) && GetLastError() == 288);
            waits = true;
            EXPECT_EQ(WaitForSingleObject(second, INFINITE), DWORD{WAIT_OBJECT_0});
            EXPECT_TRUE((!releases || ReleaseMutex(second)) && CloseHandle(second));
        });
        while (!waits)
            std::this_thread::yield();
        EXPECT_TRUE(ReleaseMutex(mutex));
        EXPECT_TRUE(!ReleaseMutex(mutex) && GetLastError() == 288);
        waiter.join();
        EXPECT_EQ(WaitForSingleObject(mutex, INFINITE), ON_WINDOWS && !releases ? 128U : 0U);
    }
    EXPECT_TRUE(CloseHandle(mutex));
    fs::remove("/tmp/" + name + ".lock");
}

// What the probe shows for words of the host's shell, with P for its own path, and whether it ends as told.
std::string probed(const std::string& words) {
    const TempTree tree;
    const std::string line = (ON_WINDOWS ? "" : "OVPATCH_ANSI_CODE_PAGE=932 ") +
                             fs::path(ENTRY_PROBE).make_preferred().string() + " >" +
                             (tree.root / "shown").string() + " " + words;
    const int value = std::system(line.c_str());
    const std::string shown = tree.read("shown");
    EXPECT_EQ(static_cast<std::size_t>(ON_WINDOWS ? value : value >> 8),
              test::replaced(shown, "<.*?>", "u").size() % 100)
        << shown;
    return test::replaced(shown, "^\"[^\"]*platform_entry_probe[^\"]*\"", "P");
}

TEST(Contract, TheArgumentsReachTheEntryAsOneLineInQuotes) {
    const std::pair<const char*, const char*> rows[] = {
        {"", "P"},
        {"/base \"a b\" \"\"", "P \"/base\" \"a b\" \"\""},
        {R"("\"\x\a.exe\" \"\base\"")", R"("\x\a.exe" "\base")"},
        {R"(a\"b c)", R"(P "a"b" "c")"},
        {ON_WINDOWS ? "*" : "'*'", "P \"*\""},
        {ON_WINDOWS ? "\\\"x\\\"" : "'\"\x83\\\xE9\"'", ON_WINDOWS ? "\"x\"" : "\"<835c><e9>\""},
        // No file of the program's takes the number of a standard stream that is closed.
        {ON_WINDOWS ? "" : "0<&-", "P"},
        {ON_WINDOWS ? "" : "0<&- 2>&-", "P"},
    };
    for (const auto& [words, line] : rows)
        EXPECT_EQ(probed(words), line);
}

}  // namespace ovpatch::test
