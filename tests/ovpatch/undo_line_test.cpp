// What becomes of a change that is undone, by what stands at its file and its copies by then.
#include "ovpatch/recovery/undo_line.h"

#include <chrono>
#include <cstring>

#include "ovpatch/journal/keeper.h"
#include "tests/support/rows.h"

namespace ovpatch::test {

// `put <kind> <name>`: o is what was, m what was made of it, x somebody's; a is as long and as old as o, p a
// part of it, and e empty. `time` gives a file its time without fractions and so many seconds more. `undo
// <line> <kinds of its states> <names of its files> [parts]`: the change may have been cut off in its middle,
// or with `copy` the copying before it.
std::string undoing(const TempTree& tree, const Words& words) {
    static const std::map<std::string, std::pair<const char*, int>> contents = {
        {"o", {"old", 3}},   {"a", {"OLD", 3}}, {"m", {"made", 1}},
        {"x", {"other", 2}}, {"p", {"o", 0}},   {"e", {"", 0}}};
    static const auto now = fs::file_time_type::clock::now();
    static std::map<char, platform::FileState> states;
    const fs::path file = tree.root / words.back();
    if (words[0] == "put") {
        const auto& [content, hours] = contents.at(words[1]);
        tree.write(words[2], content);
        if (file.has_filename()) fs::last_write_time(file, now - std::chrono::hours(hours));
        states[words[1][0]] = stateOfFile(tree.path("\\" + words[2]).c_str());
    }
    if (words[0] == "link" && !ON_WINDOWS) fs::create_symlink(words[1], file);
    if (words[0] == "time")
        fs::last_write_time(file, std::chrono::floor<std::chrono::seconds>(fs::last_write_time(file)) +
                                      std::chrono::seconds(std::stoi(words[1])));
    if (words[0] != "undo") return "";
    static const Words kinds = {"directory", "tree", "add", "write", "remove", "restore", "swap", "put"};
    JournalLine line = {LineKind(std::find(kinds.begin(), kinds.end(), words[1]) - kinds.begin()), {}, {}, 0};
    for (std::size_t i = 0; i < words[2].size(); ++i)
        line.states[i] = states[words[2][i]];
    std::string paths[3];
    for (std::size_t i = 0; i < words[3].size(); ++i)
        line.texts[i] = (paths[i] = tree.path("\\" + words[3].substr(i, 1))).c_str();
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
        put x,e f; undo add m f / put o c; undo write,put om cf / put x f; put o c; undo write om cf -> changed f
        put x f; put e c; undo write -m cf / put m f; put e c; undo remove -- cf / put x f; put o c; undo remove o- cf -> changed f
        put x f; put m c; undo restore om ckf -> changed f
        put m x; link x f; undo add m f / put m x; link x f; undo write -m cf -> changed f | as-before
        undo add m f / put o f; undo write om,oo cf / put o f; put x,p c; undo write om cf / put x c; put o f; undo write oa cf -> as-before
        put o f; put p,m c; time -3 c; undo write om cf copy / put o f; put p x; link x c; undo write om cf copy -> as-before
        put o f; put m k; undo restore om ckf / put m c; put o f; undo swap om cf / put a c; put o f; undo swap oa cf -> as-before
        put x c; put m f; undo swap om cf / put o c; put x f; undo swap om cf -> as-before
        put x d/x; undo directory - d / put x d; undo directory - d -> as-before
        put x d/; undo directory - d -> as-before -d/
        put x d/s/y; undo tree - d -> as-before -d/ -d/s/ -d/s/y
        put m f; put o c; undo write,put om cf / put x f; put o c; undo write om cf parts / put o c; put a f; undo write oa cf -> back -c f=old
        put m f; put o c; time 0,-1 f; undo write om cf -> back -c f=old
        put m f; put o c; time 1,-2 f; undo write om cf -> changed f
        put m f; put a c; undo write om cf -> back -c f=OLD
        put m f; put e c; undo write -m cf / put x f; put x c; undo write -m cf parts -> back -c -f
        put m f; undo write om cf / put m f; put x c; undo write om cf / put m f; put p c; undo write om cf copy / undo remove o- cf -> failed f
        put o f; put o c; undo write,put om cf / put o f; put m,e c; undo write om cf / put o f; put x c; undo write om cf parts -> as-before -c
        put o f; put p c; time 0,-2 c; undo write om cf copy / put e c; undo remove -- cf / put o f; put o c; undo remove o- cf -> as-before -c
        put o f; put m k; put o c; undo restore om ckf / put m k; put e c; undo restore -m ckf -> as-before -c
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

}  // namespace ovpatch::test
