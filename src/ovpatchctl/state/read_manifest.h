// The manifest of a base directory, as it stands there now.
#ifndef OVPATCH_OVPATCHCTL_STATE_READ_MANIFEST_H
#define OVPATCH_OVPATCHCTL_STATE_READ_MANIFEST_H

#include <cstdint>
#include <string>

#include "ovpatch/manifest/update_stru.h"

namespace ovpatch::ctl {

class ReadManifest {
public:
    explicit ReadManifest(const std::string& base);
    ~ReadManifest();
    ReadManifest(const ReadManifest&) = delete;
    ReadManifest& operator=(const ReadManifest&) = delete;

    const std::string& path() const { return path_; }

    // Whether it is there and its keys could be read; it may have no items.
    bool isRead() const { return isRead_; }

    // The program's own line for why it is there and cannot be read; empty when it is missing.
    const std::string& whyNot() const { return whyNot_; }

    const UpdateStru& content() const { return content_; }

private:
    std::string path_;
    std::string whyNot_;
    bool isRead_ = false;
    UpdateStru content_{};
};

}  // namespace ovpatch::ctl

#endif
