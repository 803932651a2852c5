#include "ovpatchctl/plan/start_plan.h"

#include "fileops/file_tests.h"
#include "foundation/bounded.h"
#include "foundation/patch_session.h"
#include "foundation/tokenizer.h"
#include "ini/kx_ini_util.h"
#include "logging/logger.h"
#include "ovpatch/agent/agent_api.h"
#include "ovpatch/journal/journal_line.h"
#include "ovpatch/manifest/manifest_reader.h"
#include "ovpatch/manifest/number_text.h"
#include "ovpatch/result_codes.h"
#include "ovpatchctl/files/base_directory.h"
#include "ovpatchctl/plan/agent_plan.h"
#include "ovpatchctl/plan/rollback_plan.h"
#include "ovpatchctl/plan/update_plan.h"
#include "ovpatchctl/plan/world.h"
#include "ovpatchctl/report/exit_status.h"
#include "ovpatchctl/report/texts.h"
#include "ovpatchctl/state/captured_errors.h"

namespace ovpatch::ctl {

namespace {

constexpr char MANIFEST[] = "OV_Temp\\OvPatch.ini";
constexpr char RESULT[] = "OV_Temp\\OvResult.ini";

// The records of a manifest, for as long as they are needed.
struct Manifest {
    Manifest() = default;
    ~Manifest() { freeUpdateStru(&update); }
    Manifest(const Manifest&) = delete;
    Manifest& operator=(const Manifest&) = delete;

    UpdateStru update{};
};

// As the program takes its second argument.
std::string settleBase(const std::string& argument) {
    if (argument.find('"') != std::string::npos)
        throw Failure(EXIT_USAGE, "BASE holds a double quote, and OvPatch cannot be given such a directory");
    std::string base = tokenAt(splitString(argument.c_str(), '"'), 0).cStr();
    if (base.empty()) throw Failure(EXIT_USAGE, "BASE is blank: OvPatch would not take it for a directory");
    return base;
}

void checkBase(World* world, Plan* plan) {
    const std::string result = belowBase(plan->base, "OV_Temp");
    if (belowBase(plan->base, RESULT).empty() || world->at(result) != Stand::DIRECTORY)
        plan->result.reset();
    else if (world->refusesEntries(result) != nullptr)
        plan->remark("result", "the result cannot be written here", result);
    if (const char* reason = world->makeDirectory(belowBase(plan->base, "OV_Log")))
        plan->remark("log", std::string("the log cannot be written: ") + reason,
                     belowBase(plan->base, "OV_Log"));
    const std::string journal = belowBase(plan->base, JOURNAL_NAME);
    if (!journal.empty() && patchSession().recovery != 0 && world->at(journal) != Stand::NOTHING) {
        plan->isCutOff = true;
        plan->remark(
            "cut-off",
            "a run was cut off or is still on: a start first puts back the state before it, and what is told "
            "here of files can differ then",
            journal);
    }
}

void planItems(KxIniUtil& document, World* world, Plan* plan) {
    const bool isRollback = plan->action == Action::ROLLBACK;
    Manifest manifest;
    const CapturedErrors errors;
    const std::int32_t read = phaseIniForUpdate(document, &manifest.update);
    if (read < 0)
        return plan->fail("manifest", RESULT_INVALID,
                          "the manifest lacks something: " + shown(errors.first()),
                          belowBase(plan->base, MANIFEST));
    if (read > 0)
        return plan->fail("no-items", isRollback ? RESULT_NO_ROLLBACK_ITEMS : RESULT_NO_UPDATE_ITEMS,
                          "the manifest has no items", belowBase(plan->base, MANIFEST));
    const std::int32_t generation = manifest.update.patchAgentVersion;
    if (generation != OLD_GENERATION && generation != NEW_GENERATION)
        return plan->fail("generation", RESULT_INVALID,
                          "patchagent.version names no known generation of agents",
                          belowBase(plan->base, MANIFEST));
    plan->backup = manifest.update.backup != 0;
    planAgent(manifest.update.patchAgentFile, generation, plan);
    if (generation == OLD_GENERATION) planStaging(manifest.update, world);
    (isRollback ? planRollback : planUpdate)(manifest.update, world, plan);
}

void planManifest(World* world, Plan* plan) {
    const std::string path = belowBase(plan->base, MANIFEST);
    if (path.empty())
        return plan->fail("base-too-long", RESULT_NO_ACTION, "the path of the manifest is too long",
                          plan->base);
    if (!pathExists(path.c_str()))
        return plan->fail("no-manifest", RESULT_NO_ACTION, "there is no manifest", path);
    KxIniUtil document(path.c_str(), ';', false);
    document.setReadOnly();
    if (document.isUnreadable())
        return plan->fail("manifest-unreadable", RESULT_NO_ACTION, "the manifest cannot be read", path);
    const char* action = document.getValue("common", "action");
    const std::int32_t number = action == nullptr ? -1 : readDecimal(action);
    if (number == 2) return;
    if (number != 0 && number != 1)
        return plan->fail("no-action", RESULT_NO_ACTION, "the manifest names no action that is known", path);
    plan->action = number == 0 ? Action::UPDATE : Action::ROLLBACK;
    planItems(document, world, plan);
}

}  // namespace

Plan planStart(const std::string& base) {
    Plan plan;
    plan.base = settleBase(base);
    PatchSession& session = patchSession();
    if (boundedStrncpy(session.baseDirectory, plan.base.c_str(), sizeof session.baseDirectory) == nullptr) {
        plan.fail("base-too-long", RESULT_NO_ACTION,
                  "the path is too long: the program would not start to work", plan.base);
        return plan;
    }
    if (!isDirectory(plan.base.c_str()))
        throw Failure(EXIT_NO_INPUT, "no such directory: " + shown(plan.base));
    // Reads the settings; it is not started, so that nothing is logged.
    const Logger settings(plan.base.c_str());
    plan.result = RESULT_DONE;
    World world;
    checkBase(&world, &plan);
    planManifest(&world, &plan);
    return plan;
}

}  // namespace ovpatch::ctl
