#include "ovpatch/manifest/update_stru.h"

#include <cstdlib>

#include "ovpatch/manifest/owned_text.h"

namespace ovpatch {

void freeUpdateStru(UpdateStru* update) {
    if (update == nullptr) return;
    releaseText(&update->patchAgentFile);
    releaseText(&update->orvellePath);
    if (update->items == nullptr) return;
    for (std::uint32_t i = 0; i < update->itemCount; ++i) {
        releaseText(&update->items[i].destination);
        releaseText(&update->items[i].itemZip);
    }
    std::free(update->items);
    update->items = nullptr;
}

}  // namespace ovpatch
