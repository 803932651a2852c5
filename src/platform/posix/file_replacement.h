// A file that is replaced as a whole: the new content grows under another name beside it and takes the name
// at the end.
#ifndef OVPATCH_PLATFORM_POSIX_FILE_REPLACEMENT_H
#define OVPATCH_PLATFORM_POSIX_FILE_REPLACEMENT_H

#include <limits.h>
#include <sys/stat.h>

#include "platform/file_state.h"

namespace ovpatch::posix {

// The steps are `inspect`, `create`, writing to `descriptor()`, `commit`. Destroyed before `commit`, it
// abandons. Each step answers false with the last error set.
class FileReplacement {
public:
    FileReplacement() = default;
    ~FileReplacement() { abandon(); }
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    // Looks at what stands under the name; a link is followed, and the file it points to is the one replaced.
    // ERROR_ACCESS_DENIED (5) for a directory or anything else that is no regular file, for a file whose
    // owner may not write, and for a link to nothing.
    // `looked` is the state of the name where the caller has just asked for it.
    bool inspect(const char* hostPath, const platform::FileState* looked = nullptr);

    // In its place, for a name that is to be taken for missing.
    bool takeForMissing(const char* hostPath);

    bool exists() const { return exists_; }
    // Of the file to be replaced, when it exists.
    const struct stat& status() const { return status_; }

    // Makes the new file, with `permissions` exactly, whatever the umask, if `exactPermissions` is set, else
    // less the umask. It gets the owner of the replaced file where the host allows it. `access` is O_WRONLY
    // or O_RDWR. ERROR_PATH_NOT_FOUND (3) when the directory is missing.
    bool create(int access, mode_t permissions, bool exactPermissions);

    // In its place, behind `takeForMissing`: makes the new file under the name itself, with `permissions`
    // exactly. ERROR_FILE_EXISTS (80) when the name is in use. Until `commit` whoever looks meets a part of
    // the file.
    bool createUnderName(int access, mode_t permissions);

    int descriptor() const { return descriptor_; }

    // Gives the new file the name. With `mustBeNew` it fails with ERROR_FILE_EXISTS (80) if the name has come
    // into use. After a failure the new file is gone and the old one as it was.
    bool commit(bool mustBeNew);

    // Removes the new file; the old one stays as it was. The last error stays too.
    void abandon();

private:
    bool look(const platform::FileState* looked);
    bool resolveLink(const char* hostPath);
    bool buildTemporaryPath();
    void removeTemporary();
    bool settle(bool exactPermissions, mode_t permissions);
    bool giveToOwner();

    char target_[PATH_MAX];
    char temporary_[PATH_MAX];
    struct stat status_ = {};
    bool exists_ = false;
    bool hasName_ = false;  // the new file has it from the start
    int descriptor_ = -1;
};

}  // namespace ovpatch::posix

#endif
