// From the command line to the run. The process's entry, `WinMain`, is declared by the platform.
#ifndef OVPATCH_OVPATCH_RUNNER_PROGRAM_ENTRY_H
#define OVPATCH_OVPATCH_RUNNER_PROGRAM_ENTRY_H

#include <cstddef>
#include <cstdint>

namespace ovpatch {

constexpr std::size_t COMMAND_LINE_SIZE = 520;
constexpr std::int32_t MOST_TOKENS = 3;

// The pieces of the command line between and outside its double quotes, trimmed, empty ones left out. A slot
// holds any piece of a command line whole.
struct CommandTokens {
    std::int32_t count;
    char text[MOST_TOKENS][COMMAND_LINE_SIZE];
};

// Splits `commandLine` into `tokens`, which must be all zero. False when there are more than three.
bool splitCommandLine(const char* commandLine, CommandTokens* tokens);

// Takes the lock, settles the base directory and runs: with exactly two tokens the second is the base
// directory, otherwise the directory part of the first is. Answers the exit value: that of runPatchSession,
// or 2 when the base directory does not fit a command line's size.
std::int32_t patchMain(const CommandTokens& tokens);

}  // namespace ovpatch

#endif
