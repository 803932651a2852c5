// What a rollback is to do, worked out on a tree in memory: a second account of it, file by file and with the
// plain search for free names, which whole outcomes are compared with.
#pragma once

#include <string>
#include <vector>

#include "story.h"

namespace ovpatch::scenarios {

// Makes the manifest the order of a rollback and gives the agent these lines of script in place of all
// earlier ones.
void order(Device& device, const Manifest& manifest, const Lines& script = {});

// Orders a rollback, runs it and compares all that it leaves with what the model makes of the device. Of the
// script the model understands "answer", "rewrite" and "abort".
Outcome rollBack(Device& device, const Manifest& manifest, const Lines& script = {},
                 AgentFate fate = AgentFate::Serves);

// The device as an update left it: item i has `added[i]` files "a0.bin", ... and `written[i]` files "w0.bin",
// ... in its destination's directory "i<i>", with "old" where the copies are, and stands in the destination's
// ledger.
void install(Device& device, const Manifest& manifest, const std::vector<int>& added,
             const std::vector<int>& written);

// The files of a tree but for those below backup directories and the base directory.
Tree inPlace(const Tree& tree);

}  // namespace ovpatch::scenarios
