#include "ovpatch/agent/old_agent_staging.h"

#include <cstring>

#include "fileops/copy.h"
#include "fileops/file_tests.h"
#include "fileops/make_directory.h"
#include "fileops/paths.h"
#include "fileops/remove.h"
#include "foundation/bounded.h"
#include "foundation/patch_session.h"
#include "ini/kx_ini_util.h"
#include "ovpatch/agent/staging_area.h"
#include "ovpatch/journal/journal.h"

namespace ovpatch {

namespace {

constexpr char SOURCE_NAME[] = "OVSrc.tmp\\";
constexpr char SOURCE_AREA[] = "OVSrc.tmp";
constexpr char SOURCE_INI_NAME[] = "KxuPatch.ini";
constexpr char AGENT_INI_NAME[] = "PatchDll.ini";

bool join(char (&out)[OVPATCH_PATH_SIZE], const char* base, const char* file) {
    if (joinPath(out, OVPATCH_PATH_SIZE, base, file) == 0) return true;
    out[0] = '\0';
    return false;
}

bool isKnownMissing(const char* path) {
    bool known = true;
    return !pathExists(path, &known) && known;
}

void removeAgentIni(const char* path) {
    if (*path != '\0' && !isKnownMissing(path) && !journal().drop(path)) unlink(path, nullptr, nullptr);
}

void layOut(const char* agentIni, const char* target) {
    if (!journal().beginPut(target)) return;
    copyFiles(agentIni, target, true, nullptr, nullptr);
    journal().endPut(target);
}

}  // namespace

bool agentIniPath(const char* patchAgentFile, char (&out)[OVPATCH_PATH_SIZE]) {
    char stem[OVPATCH_PATH_SIZE];
    if (boundedStrncpy(stem, patchAgentFile, sizeof stem) == nullptr) return false;
    for (std::size_t i = std::strlen(stem); i > 1; --i) {
        if (stem[i - 1] == '.') {
            stem[i - 1] = '\0';
            break;
        }
    }
    return boundedSnprintf(out, sizeof out, "%s%s", stem, ".ini") != 0;
}

OldAgentStaging::OldAgentStaging(const char* destination, const char* patchAgentFile)
    : rootDirectory_{}, sourceIniPath_{}, sourceDirectory_{}, rootAgentIniPath_{}, baseAgentIniPath_{} {
    if (boundedStrncpy(rootDirectory_, destination, sizeof rootDirectory_) == nullptr) {
        rootDirectory_[0] = '\0';
        return;
    }
    if (!join(sourceDirectory_, rootDirectory_, SOURCE_NAME)) return;
    if (!join(sourceIniPath_, sourceDirectory_, SOURCE_INI_NAME)) return;
    layOutSource(patchAgentFile);
}

void OldAgentStaging::layOutSource(const char* patchAgentFile) {
    char area[OVPATCH_PATH_SIZE];
    join(area, rootDirectory_, SOURCE_AREA);
    {
        // The document writes itself when it goes; by then its directory is there.
        KxIniUtil sourceIni(sourceIniPath_, ';', false);
        sourceIni.setValue("MAIN", "SOURCE", sourceDirectory_);
        const bool isTold = openStagingArea(area);
        if (isTold) makeDirectory(sourceDirectory_, nullptr, nullptr);
        if (patchAgentFile != nullptr) layOutAgentIni(patchAgentFile);
        if (!isTold || !beginStaged(area, sourceIniPath_))
            sourceIni.setReadOnly();
        else if (sourceIni.isUnreadable())  // whatever stood there is no concern of this run
            sourceIni.save();
    }
    endStaged(area, sourceIniPath_);
}

void OldAgentStaging::layOutAgentIni(const char* patchAgentFile) {
    join(rootAgentIniPath_, rootDirectory_, AGENT_INI_NAME);
    join(baseAgentIniPath_, patchSession().baseDirectory, AGENT_INI_NAME);
    char agentIni[OVPATCH_PATH_SIZE];
    if (!agentIniPath(patchAgentFile, agentIni) || isKnownMissing(agentIni)) return;
    layOut(agentIni, rootAgentIniPath_);
    layOut(agentIni, baseAgentIniPath_);
}

OldAgentStaging::~OldAgentStaging() {
    // While there is a journal, what was there before may be needed until the run is over.
    if (sourceIniPath_[0] != '\0' && !journal().drop(sourceIniPath_))
        unlink(sourceIniPath_, nullptr, nullptr);
    // A removal ends at its first failure. What failed in passing goes at the second try.
    if (sourceDirectory_[0] != '\0' && !journal().dropTree(sourceDirectory_) &&
        removeTree(sourceDirectory_, nullptr, nullptr) != FILEOP_OK)
        removeTree(sourceDirectory_, nullptr, nullptr);
    removeAgentIni(rootAgentIniPath_);
    removeAgentIni(baseAgentIniPath_);
}

}  // namespace ovpatch
