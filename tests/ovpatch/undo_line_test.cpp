// What becomes of a change that is undone, by what stands at its file and its copies by then, and of all
// changes that a journal tells of.
#include "ovpatch/recovery/undo_line.h"

#include <chrono>
#include <cstring>

#include "foundation/patch_session.h"
#include "logging/log_hub.h"
#include "ovpatch/journal/keeper.h"
#include "ovpatch/recovery/cut_off_run.h"
#include "tests/support/rows.h"

namespace ovpatch::test {

std::map<char, platform::FileState> states;

// `put <kind> <name>`: o is what was, m what was made of it, x somebody's; a is as long and as old as o, l
// as long as m, p a part of o, e empty, and r a result. `time` gives a file its time without fractions and so
// many seconds more.
void lay(const TempTree& tree, const Words& words) {
    static const std::map<std::string, std::pair<const char*, int>> contents = {
        {"o", {"old", 3}}, {"a", {"OLD", 3}}, {"m", {"made", 1}}, {"x", {"other", 2}},
        {"p", {"o", 0}},   {"e", {"", 0}},    {"l", {"MADE", 2}}, {"r", {"result=0", 3}}};
    static const auto start = fs::file_time_type::clock::now();
    const fs::path file = tree.root / words.back();
    if (words[0] == "put") {
        const auto& [content, hours] = contents.at(words[1]);
        tree.write(words[2], content);
        const auto now = hours == 0 ? fs::file_time_type::clock::now() : start;
        if (file.has_filename()) fs::last_write_time(file, now - std::chrono::hours(hours));
        states[words[1][0]] = stateOfFile(tree.path("\\" + words[2]).c_str());
    }
    if (words[0] == "link" && !ON_WINDOWS) fs::create_symlink(words[1], file);
    if (words[0] == "time")
        fs::last_write_time(file, std::chrono::floor<std::chrono::seconds>(fs::last_write_time(file)) +
                                      std::chrono::seconds(std::stoi(words[1])));
}

// A line of a journal, with the kinds of its states and the names of its files, of which `path` makes paths.
struct Told {
    JournalLine line = {};
    std::string paths[3];

    Told(const Words& words, const std::function<std::string(char)>& path) {
        static const Words kinds = {"directory", "tree", "add",  "write", "remove",   "restore", "swap",
                                    "put",       "made", "void", "drop",  "dropTree", "result",  "done"};
        line.kind = LineKind(std::find(kinds.begin(), kinds.end(), words[1]) - kinds.begin());
        for (std::size_t i = 0; words.size() > 2 && i < words[2].size(); ++i)
            line.states[i] = states[words[2][i]];
        for (std::size_t i = 0; words.size() > 3 && i < words[3].size(); ++i)
            line.texts[i] = (paths[i] = path(words[3][i])).c_str();
    }
};

// `undo <line> <kinds of its states> <names of its files> [parts]`: the change may have been cut off in its
// middle, or with `copy` the copying before it.
std::string undoing(const TempTree& tree, const Words& words) {
    lay(tree, words);
    if (words[0] != "undo") return "";
    const Told told(words, [&](char name) { return tree.path(std::string("\\") + name); });
    const JournalLine& line = told.line;
    const std::string hint = words.size() > 4 ? words[4] : "";
    const UndoHints hints = {line.states[1], hint == "parts", hint != "", states['p'].seconds};
    const State before = tree.list();
    static std::string answer;  // while no call fails
    if (firstFault >= 0) failCall(firstFault);
    const Undone undone = undoLine(line, hints);
    if (firstFault >= 0 && failCall(-1) != 0) {  // at the second try it is done
        outlived = firstFault;
        if (undone.outcome == Undone::Outcome::FAILED) undoLine(line, hints);
        return answer + change(before, tree.list());
    }
    const char* const outcomes[] = {"as-before", "back", "changed", "failed"};
    answer = outcomes[static_cast<int>(undone.outcome)] +
             (undone.stays == nullptr ? "" : std::string(" ") + undone.stays[std::strlen(undone.stays) - 1]);
    return answer + change(before, tree.list());
}

TEST(UndoLine, Outcomes) {
    play(R"(put o g; put m h; put p i
        put m f; undo add m f / put x f; undo add m f parts / put m f; undo write -m cf / put m f; put x c; undo write -m cf -> back -f
        put x,e f; undo add m f / put o c; undo write,put om cf / put x,l f; put o c; undo write om cf -> changed f
        put x f; put e c; undo write -m cf / put m f; put e c; undo remove -- cf / put x f; put o c; undo remove o- cf -> changed f
        put x f; put m c; undo restore om ckf / put m f; put o c; time 1,-2 f; undo write om cf -> changed f
        put m x; link x f; undo add m f / put m x; link x f; undo write -m cf -> changed f | as-before
        undo add m f / put o f; undo write om,oo cf / put o f; put x,p c; undo write om cf / put x c; put o f; undo write oa cf / put e x; link x c; undo write -m cf -> as-before
        put o f; put p,m c; time -3 c; undo write om cf copy / put o f; put p x; link x c; undo write om cf copy -> as-before
        put o f; put m k; undo restore om ckf / put m c; put o f; undo swap om cf / put a c; put o f; undo swap oa cf -> as-before
        put x c; put m f; undo swap om cf / put o c; put x f; undo swap om cf -> as-before
        put x d/x; undo directory - d / put x d; undo directory,tree - d / put x s/y; link s d; undo tree - d -> as-before
        put x d/; undo directory - d -> as-before -d/
        put x d/s/y; undo tree - d -> as-before -d/ -d/s/ -d/s/y
        put m f; put o c; undo write,put om cf / put x f; put o c; undo write om cf parts / put o c; put a f; undo write oa cf / put m f; put o c; time 0,-1 f; undo write om cf -> back -c f=old
        put m f; put a c; undo write om cf -> back -c f=OLD
        put m f; put e c; undo write -m cf / put x f; put x c; undo write -m cf parts -> back -c -f
        put m f; undo write om cf / put m f; put x c; undo write om cf / put m f; put p c; undo write om cf copy / undo remove o- cf -> failed f
        put o f; put o c; undo write,put om cf / put o f; put m,e c; undo write om cf / put o f; put x c; undo write om cf parts -> as-before -c
        put o f; put p c; time 0,-2 c; undo write om cf copy / put e c; undo remove -- cf / put o f; put o c; undo remove o- cf / put o f; put m k; put o c; undo restore om ckf / put m k; put e c; undo restore -m ckf -> as-before -c
        put a c; put o f; undo write oa cf -> as-before -c | back -c f=OLD
        put o c; undo remove o- cf -> back -c +f=old
        put m f; put o c; undo restore om ckf -> back -c f=old +k=made
        put m f; put e c; undo restore -m ckf -> back -c -f +k=made
        put o f; put m c; undo restore om ckf -> as-before -c +k=made
        put m c; undo restore om ckf -> changed f -c +k=made
        put m f; put o c; put p,m k; undo restore om ckf -> back -c f=old
        put m f; put o c; put p k; undo restore om ckf parts -> back -c f=old k=made
        put m f; put x c; undo restore om ckf -> failed f +k=made
        put a c; put o f; undo restore oa ckf / put o f; put a c; undo restore oa ckf -> as-before -c +k=OLD | back -c f=OLD +k=old
        put o c; put a f; undo restore oa ckf -> back -c f=old +k=OLD
        put m f; put o c; undo swap om cf -> back c=made f=old | as-before
        put o c; put a f; undo swap oa cf -> back c=OLD f=old | as-before
    )",
         undoing);
}

struct Recorder : LogListener {
    std::string heard;
    std::int32_t handle(LogEvent* event) override { return heard += event->text() + std::string("; "), 0; }
};

// `line` and what `undo` has above adds a line to the journal, `text` anything else; `start` puts the run
// right. c and k are copies, l is a ledger and n its keeper, s a file elsewhere, r the result.
std::string starting(const TempTree& tree, const Words& words) {
    static const Words paths = {
        "OV_Backup/1/2/c", "OV_Backup/1/2/k", "OV_Backup/OvBackup.ini", "OV_Backup/ovk0.tmp", "sub/s",
        "PatchDll.ini",    "ovk1.tmp",        "OV_Temp/OvResult.ini"};
    const auto pathOf = [&](const std::string& name) {
        const std::size_t at = std::string("cklnspqr").find(name[0]);
        return at < paths.size() ? paths[at] + name.substr(1) : name;
    };
    static std::string journal;
    if (words[0] == "line") {
        const Told told(words, [&](char name) { return tree.path("/" + pathOf(std::string(1, name))); });
        static char text[JOURNAL_LINE_SIZE];
        journal.append(text, formatLine(told.line, text));
    }
    if (words[0] == "calm") firstFault = -2;
    if (words[0] == "text") journal += words[1];
    if (words[0] == "head") journal = "OvJournal 1 4711 \"" + tree.path("") + "\"\n";
    if (words[0] == "put") return lay(tree, {words[0], words[1], pathOf(words[2])}), "";
    if (words[0] != "start") return lay(tree, words), "";
    tree.write("OvJournal.txt", journal);
    patchSession().recovery = 1;
    Recorder recorder;
    attachInfoListener(&recorder);
    attachErrorListener(&recorder);
    const State before = tree.list();
    if (firstFault >= 0) failCall(firstFault);
    putCutOffRunRight(tree.path("").c_str());
    if (firstFault >= 0 && failCall(-1) != 0) outlived = firstFault;
    detachInfoListener(&recorder);
    detachErrorListener(&recorder);
    journal.clear();
    // Without what every start says, where things lie, and all of a journal but the words of its lines.
    std::string shown = recorder.heard + change(before, tree.list());
    shown = replaced(shown,
                     "recovery: a run was cut off[^;]*; |recovery: |, the state before is there|the journal "
                     "is kept[^;]*; |\\S*ovpatch_[0-9]+.|OV_Backup/1/2/",
                     "");
    shown = replaced(shown, "OvJournal.txt", "journal");
    return replaced(replaced(replaced(shown, "OvJournal .*\n", ""), "old1", "old"),
                    "(write|put|made|junk) [^;]*?\n", "$1,");
}

#ifndef _WIN32  // where the file of the last line may be a part
TEST(CutOffRun, Outcomes) {
    play(R"(put o g; put m h; put p i; put x OV_Backup/1/2/
        text OvJ; start ->  -journal
        text mine; start -> journal is no journal.;  -journal +journal.old=mine
        head; start / head; put m f; put o c.ovp; line swap om cf; start / head; put m f; put o c; line write om cf; line void; start / head; put o f; put p c; time -3 OV_Backup/1/2/c; line write om cf; start -> 0 files are back.;  -journal
        head; put x d/; text directory%20"d"%0A; start -> 0 files are back.;  -journal -d/
        head; put m f; put o c; line write om cf; start / head; put m f; put o c; line write om cf; put r r; line result r; start -> 1 files are back.;  -c -journal f=old
        head; put x l; put o n; line put o- nl; line made m- l; start -> OV_Backup/OvBackup.ini was changed since, it stays.; 0 files are back, 1 could not be put back.;  -journal +journal.old=put,made,
        head; put m,x l; put o n; line put o- nl; start -> 1 files are back.;  -OV_Backup/ovk0.tmp -journal OV_Backup/OvBackup.ini=old
        head; put x p; put o q; line put o- qp; put m l; put o n; line put o- nl; line made m- l; start -> 2 files are back.;  -OV_Backup/ovk0.tmp -journal -ovk1.tmp OV_Backup/OvBackup.ini=old PatchDll.ini=old
        head; put m f; put o c.ovp; line write om cf; start -> 1 files are back.;  -c.ovp -journal f=old
        head; put m f; put o k.ovp; put o c; line restore om ckf; start -> 1 files are back.;  -c -k.ovp -journal +k=old f=old
        head; put o c.ovp; line remove o- cf; start -> 1 files are back.;  -c.ovp -journal +f=old
        head; put m f; put o c; put x .ovp4711_1.tmp; put x .ovp4712_1.tmp; line write om cf; start -> 1 files are back.;  -.ovp4711_1.tmp -c -journal f=old
        head; put m f; put o c; put x .ovp4711_1.tmp; line write om cf; put m s; line add m- s; start -> 2 files are back.;  -c -journal -sub/s f=old
        head; put x p; put o q; put x .ovp4711_1.tmp; line put o- qp; put m s; line add m- s; start -> 2 files are back.;  -.ovp4711_1.tmp -journal -ovk1.tmp -sub/s PatchDll.ini=old
        head; put m f; put o c; line write om cf; text junk%20x%0A; start / calm; head; put m f; put o c; line write om cf; text junk%20x%0A%00; start -> 1 lines of journal cannot be read.; 1 files are back.;  -c -journal +journal.old=write,junk, f=old
        calm; head; put m f; put o c; line write om cf; put m s; line write om ks; put m e; line add m- e; start -> sub/s cannot be put back.; 2 files are back, 1 could not be put back.;  -c -journal -e +journal.old=write,write, f=old
        head; put o f; put p c; line write om cf; start -> 0 files are back.;  -c -journal
        head; put o f; put p c; line write om cf; put m e; line add m- e; start -> 1 files are back.;  -journal -e
        head; put m f; put o c; line write om cf; line drop -- c; line done; start / head; put o c; line drop -- c; put r r; line result r; time -9 OV_Temp/OvResult.ini; start -> it had told its result, what was left to tidy is done.;  -c -journal
    )",
         starting);
}
#endif

}  // namespace ovpatch::test
