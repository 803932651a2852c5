// The files that an old-generation agent finds on disk while it is loaded.
//
// Below the destination of the manifest's first item:
//
//   OVSrc.tmp\KxuPatch.ini   section MAIN, key SOURCE: the path of the directory below
//   OVSrc.tmp\               the new versions of the files checked so far, in an update
//   PatchDll.ini             a copy of the agent's own INI file, if it exists; also in the base directory
//
// Nothing is logged, and none of the steps can fail the run: without a file the agent's answers decide.
#ifndef OVPATCH_OVPATCH_AGENT_OLD_AGENT_STAGING_H
#define OVPATCH_OVPATCH_AGENT_OLD_AGENT_STAGING_H

#include "ovpatch/patch_agent.h"

namespace ovpatch {

// The path of an agent's own INI file: that of the agent with its extension replaced. The last point of the
// whole path counts, wherever it stands, but never the very first byte. False when the result does not fit.
bool agentIniPath(const char* patchAgentFile, char (&out)[OVPATCH_PATH_SIZE]);

class OldAgentStaging {
public:
    // Lays the files out. `patchAgentFile` may be null. A file whose path does
    // not fit is left out, and so are those after it in the list above.
    OldAgentStaging(const char* destination, const char* patchAgentFile);

    // Removes them, after the library has been freed; with a journal, when the run is over. A PatchDll.ini
    // that stood there before goes too.
    ~OldAgentStaging();

    OldAgentStaging(const OldAgentStaging&) = delete;
    OldAgentStaging& operator=(const OldAgentStaging&) = delete;

private:
    void layOutSource(const char* patchAgentFile);
    void layOutAgentIni(const char* patchAgentFile);

    // Each is empty when there is none, or when it did not fit.
    char rootDirectory_[OVPATCH_PATH_SIZE];
    char sourceIniPath_[OVPATCH_PATH_SIZE];
    char sourceDirectory_[OVPATCH_PATH_SIZE];  // with its trailing separator
    char rootAgentIniPath_[OVPATCH_PATH_SIZE];
    char baseAgentIniPath_[OVPATCH_PATH_SIZE];
};

}  // namespace ovpatch

#endif
