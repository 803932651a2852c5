#include "foundation/patch_session.h"

namespace ovpatch {

PatchSession& patchSession() {
    static PatchSession session = {};
    return session;
}

}  // namespace ovpatch
