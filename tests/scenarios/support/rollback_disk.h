// What the model of a rollback reads and writes: files in a tree, and ledgers.
#pragma once

#include <optional>
#include <string>

#include "story.h"

namespace ovpatch::scenarios {

// Operations of the device, on a tree. A directory that cannot be made or a copy that fails gives false, a
// file for which there is no room an empty name.
std::string nameOf(const std::string& path);
bool makesDirectory(Tree& tree, const std::string& path);
std::string takesName(Tree& tree, const std::string& directory);
bool copies(Tree& tree, const std::string& from, std::string to);
void moves(Tree& tree, const std::string& from, const std::string& to);
void removes(Tree& tree, const std::string& path);

// The end of a name of a copy, as they are counted.
std::string suffix(std::size_t n);

// What a run says and asks.
struct Told {
    Lines log = {}, calls = {};

    Told& info(const std::string& line) { return log.push_back("I " + line), *this; }
    Told& error(const std::string& line) { return log.push_back("E " + line), *this; }
};

// Reads a ledger in the form in which the program writes it and tells the reader's lines; nothing comes back
// when it cannot be read.
std::optional<Ledger> readLedger(const std::string& text, Told& told);

}  // namespace ovpatch::scenarios
