// What all parts of a run share.
#ifndef OVPATCH_FOUNDATION_PATCH_SESSION_H
#define OVPATCH_FOUNDATION_PATCH_SESSION_H

#include <cstdint>

namespace ovpatch {

// Values of `flush`.
constexpr std::int32_t FLUSH_AT_END = 1;     // what a run has done is on the disk before its result is told
constexpr std::int32_t FLUSH_EACH_STEP = 2;  // and so is each thing that a step relies on, before the step

// The state of the one run that a process makes. Sizes are bytes, terminators included; every text starts
// empty and every number 0.
struct PatchSession {
    // The directory that the manifest, the work area, the settings and the log lie under. Written before
    // anything else of a run.
    char baseDirectory[260];
    // The manifest's OVLib, SavLib and RstLib values; their first 20 bytes; empty when absent.
    char ovLib[21];
    char savLib[21];
    char rstLib[21];
    // The extract_limit_size of the settings file.
    std::uint32_t extractLimit;
    // The recovery and flush settings of the settings file: whether a run that is cut off is put right by the
    // next one, and what is forced to the disk.
    std::int32_t recovery;
    std::int32_t flush;
};

// The session of this process.
PatchSession& patchSession();

}  // namespace ovpatch

#endif
