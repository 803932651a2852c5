// The directory OVSrc.tmp in which an old agent finds new versions of files, as the journal sees it.
#ifndef OVPATCH_OVPATCH_AGENT_STAGING_AREA_H
#define OVPATCH_OVPATCH_AGENT_STAGING_AREA_H

namespace ovpatch {

// Makes the directory, given without a separator at its end, if it is missing. What the run puts into one
// that it has made needs no telling. False when the journal could not be written; then nothing is to be put
// there.
bool openStagingArea(const char* directory);

// Around the writing of `file` in an open area. With false it must not be written.
bool beginStaged(const char* directory, const char* file);
void endStaged(const char* directory, const char* file);

}  // namespace ovpatch

#endif
