#include "ovpatch/agent/class_paths.h"

#include <cstring>

#include "foundation/bounded.h"
#include "ovpatch/log_lines.h"

namespace ovpatch {

namespace {

struct PathQuery {
    std::int32_t itemClass;
    std::uint32_t mask;
    const char* entryName;
    void (*PatchAgentApi::*entry)(char* path);
    char (ClassPaths::*buffer)[OVPATCH_PATH_SIZE];
};

// In the order of asking.
constexpr PathQuery PATH_QUERIES[] = {
    {OVPATCH_CLASS_PATTERN, OVPATCH_MASK_PATTERN, "GetPatternPath", &PatchAgentApi::GetPatternPath,
     &ClassPaths::pattern},
    {OVPATCH_CLASS_ENGINE, OVPATCH_MASK_ENGINE, "GetEnginePath", &PatchAgentApi::GetEnginePath,
     &ClassPaths::engine},
    {OVPATCH_CLASS_PRODUCT, OVPATCH_MASK_PRODUCT, "GetProductPath", &PatchAgentApi::GetProductPath,
     &ClassPaths::product},
};

const UpdateItem* firstOfClass(const UpdateStru& update, std::int32_t itemClass) {
    for (std::uint32_t i = 0; i < update.itemCount; ++i) {
        if (update.items[i].itemClass == itemClass) return &update.items[i];
    }
    return nullptr;
}

}  // namespace

void askClassPaths(const PatchAgentApi& agent, const UpdateStru& update, const char* caller,
                   ClassPaths* paths) {
    *paths = ClassPaths{};
    for (const PathQuery& query : PATH_QUERIES) {
        const UpdateItem* item = firstOfClass(update, query.itemClass);
        if (item == nullptr) continue;
        char* path = paths->*query.buffer;
        if (boundedStrncpy(path, item->destination, OVPATCH_PATH_SIZE) == nullptr) {
            path[0] = '\0';
            UPDATER_ERROR(6, "%s: destination does not fit, %s not called.", caller, query.entryName);
            continue;
        }
        UPDATER_INFO(6, "PatchAgent %s with: %s", query.entryName, path);
        (agent.*query.entry)(path);
        if (std::memchr(path, '\0', OVPATCH_PATH_SIZE) == nullptr) {
            path[0] = '\0';
            UPDATER_ERROR(6, "%s: path of %s does not fit.", caller, query.entryName);
            continue;
        }
        UPDATER_INFO(6, "PatchAgent %s mended: %s", query.entryName, path);
    }
}

const char* classPath(const ClassPaths& paths, std::int32_t itemClass) {
    for (const PathQuery& query : PATH_QUERIES) {
        if (query.itemClass == itemClass) return paths.*query.buffer;
    }
    return nullptr;
}

std::uint32_t classMask(const UpdateStru& update) {
    std::uint32_t mask = 0;
    for (std::uint32_t i = 0; i < update.itemCount; ++i) {
        for (const PathQuery& query : PATH_QUERIES) {
            if (query.itemClass == update.items[i].itemClass) mask |= query.mask;
        }
    }
    return mask;
}

}  // namespace ovpatch
