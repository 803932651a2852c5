// What a rollback is to do, worked out on a tree in memory: a second account of it, file by file and with the
// plain search for free names.
#pragma once

#include "rollback_disk.h"

namespace ovpatch::scenarios {

struct Expectation {
    int result;  // or kAgentDied: the tree is what is left then
    Told told;
    Tree tree;
};
inline constexpr int kAgentDied = -1;

// Of the agent's script the verbs "answer", "rewrite" and "abort" are understood.
Expectation foretell(const Manifest& manifest, const Tree& before, const Lines& script, AgentFate fate);

}  // namespace ovpatch::scenarios
