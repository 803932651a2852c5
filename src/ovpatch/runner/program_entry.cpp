#include "ovpatch/runner/program_entry.h"

#include <cstring>
#include <memory>
#include <new>

#include "fileops/paths.h"
#include "foundation/bounded.h"
#include "foundation/tokenizer.h"
#include "ovpatch/runner/run_mutex.h"
#include "ovpatch/runner/run_session.h"
#include "platform/platform.h"

namespace ovpatch {

namespace {

constexpr std::size_t TOKEN_SIZE = 260;
constexpr std::int32_t EXIT_TOO_MANY_TOKENS = 0;
constexpr std::int32_t EXIT_NOT_STARTED = 2;

// False when the base directory does not fit.
bool settleBaseDirectory(const CommandTokens& tokens, char* out, std::size_t size) {
    const char* token = tokens.text[tokens.count == 2 ? 1 : 0];
    // A token beyond the limit of a path counts as a base directory that is too long, whatever its directory
    // part.
    if (tokens.count == 2 || std::strlen(token) >= TOKEN_SIZE)
        return boundedStrncpy(out, token, size) != nullptr;
    boundedStrncpy(out, directoryPart(token).cStr(), size);
    return true;
}

}  // namespace

bool splitCommandLine(const char* commandLine, CommandTokens* tokens) {
    const StringList pieces = splitString(commandLine, '"');
    for (std::uint32_t i = 0; i < pieces.stringCount(); ++i) {
        const ByteString piece = tokenAt(pieces, static_cast<std::int32_t>(i));
        if (piece.length() == 0) continue;
        if (tokens->count == MOST_TOKENS) return false;
        boundedStrncpy(tokens->text[tokens->count++], piece.cStr(), COMMAND_LINE_SIZE);
    }
    return true;
}

std::int32_t patchMain(const CommandTokens& tokens) {
    HANDLE mutex = nullptr;
    const bool alone = acquireRunMutex(&mutex);
    char baseDirectory[COMMAND_LINE_SIZE];
    const std::int32_t exitValue = settleBaseDirectory(tokens, baseDirectory, sizeof baseDirectory)
                                       ? runPatchSession(baseDirectory, alone)
                                       : EXIT_NOT_STARTED;
    releaseRunMutex(mutex);
    return exitValue;
}

}  // namespace ovpatch

int WINAPI WinMain(HINSTANCE /*instance*/, HINSTANCE /*previousInstance*/, LPWSTR commandLine,
                   int /*showFlag*/) {
    using namespace ovpatch;
    char text[COMMAND_LINE_SIZE] = {};
    const int size = static_cast<int>(sizeof text);
    // A command line that does not fit is refused whole.
    if (WideCharToMultiByte(CP_ACP, WC_COMPOSITECHECK, commandLine, -1, text, size, nullptr, nullptr) == 0) {
        return EXIT_NOT_STARTED;
    }
    const std::unique_ptr<CommandTokens> tokens(new (std::nothrow) CommandTokens());
    if (tokens == nullptr) return EXIT_NOT_STARTED;
    if (!splitCommandLine(text, tokens.get())) return EXIT_TOO_MANY_TOKENS;
    return patchMain(*tokens);
}
