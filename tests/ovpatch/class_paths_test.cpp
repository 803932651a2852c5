#include "ovpatch/agent/class_paths.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "ovpatch/agent/agent_loader.h"

namespace ovpatch {
namespace {

// A path that fills the whole buffer has no end in it; its shortened form must not be used.
TEST(ClassPaths, anAnswerWithoutAnEndIsNoPath) {
    PatchAgentApi agent{};
    loadOldPatchAgent(nullptr, &agent);
    agent.GetEnginePath = [](char* path) { std::memset(path, 'x', OVPATCH_PATH_SIZE); };
    agent.GetProductPath = [](char* path) { std::strcpy(path, "mended"); };
    std::string destination = "dst";
    std::string tooLong(OVPATCH_PATH_SIZE, 'x');
    UpdateItem items[] = {{2, 1, {}, {}, 0, destination.data(), nullptr},
                          {1, 1, {}, {}, 0, destination.data(), nullptr},
                          {3, 1, {}, {}, 0, tooLong.data(), nullptr}};
    const UpdateStru update = {0, 0, 1, items, 3, nullptr, nullptr};
    ClassPaths paths;
    askClassPaths(agent, update, "test", &paths);
    EXPECT_STREQ("", classPath(paths, 2));
    EXPECT_STREQ("mended", classPath(paths, 1));
    EXPECT_STREQ("", classPath(paths, 3));
    EXPECT_EQ(nullptr, classPath(paths, 4));
    EXPECT_EQ(7u, classMask(update));
}

}  // namespace
}  // namespace ovpatch
