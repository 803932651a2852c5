#include "ovpatchctl/state/read_manifest.h"

#include "fileops/file_tests.h"
#include "ini/kx_ini_util.h"
#include "ovpatch/manifest/manifest_reader.h"
#include "ovpatchctl/files/base_directory.h"
#include "ovpatchctl/state/captured_errors.h"

namespace ovpatch::ctl {

ReadManifest::ReadManifest(const std::string& base) : path_(belowBase(base, "OV_Temp\\OvPatch.ini")) {
    bool known = true;
    if (!pathExists(path_.c_str(), &known) && known) return;
    const CapturedErrors errors;
    KxIniUtil document(path_.c_str(), ';', false);
    document.setReadOnly();
    if (document.isUnreadable())
        whyNot_ = "OvPatch: " + path_ + " cannot be read.";
    else if (document.getValue("common", "action") == nullptr)
        whyNot_ = "OvPatch fetch (common:action) failed.";
    else if (phaseIniForUpdate(document, &content_) < 0)
        whyNot_ = errors.first();
    else
        isRead_ = true;
}

ReadManifest::~ReadManifest() {
    freeUpdateStru(&content_);
}

}  // namespace ovpatch::ctl
