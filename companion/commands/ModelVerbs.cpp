#include "companion/commands/ModelVerbs.h"

#include "companion/support/InQuotes.h"
#include "companion/support/TerminalSafe.h"

namespace vostel_companion {

namespace {

Exit failed(const ModelError& error, World& world) {
    world.tell(error.description());
    const bool isRefusal = std::holds_alternative<ModelError::Unknown>(error.is) ||
                           std::holds_alternative<ModelError::BelongsToSystem>(error.is) ||
                           std::holds_alternative<ModelError::Cancelled>(error.is);
    return isRefusal ? Exit::notAsAsked : Exit::failed;
}

} // namespace

Exit run(const Command::ListModels&, World& world) {
    const auto models = world.models.list();
    if (!models) return failed(models.error(), world);
    for (const Model& model : *models) {
        world.print((model.isInstalled ? "installed  " : "available  ") + model.identifier + "  " +
                    printableLine(model.displayName) + "\n");
    }
    return Exit::done;
}

Exit run(const Command::InstallModel& verb, World& world) {
    if (world.models.installedFolder(verb.identifier)) {
        world.print("The model " + inQuotes(verb.identifier) + " is installed already.\n");
        return Exit::done;
    }
    const auto installed = [&] {
        ProgressBar bar{world.progress, "Installing"};
        return world.models.install(verb.identifier, {.progress = [&](double share) { bar.show(share); },
                                                      .isCancelled = [&] { return world.cancellation.isCancelled(); }});
    }();
    if (!installed) return failed(installed.error(), world);
    world.print("The model " + inQuotes(verb.identifier) + " is installed.\n");
    return Exit::done;
}

Exit run(const Command::RemoveModel& verb, World& world) {
    if (const auto removable = world.models.checkRemovable(verb.identifier); !removable)
        return failed(removable.error(), world);
    const auto lock = world.models.lock();
    if (!lock) return failed(lock.error(), world);
    const VostelMCPKit::UUID removal = world.newID();
    const auto isRemoved = world.models.takeAway(verb.identifier, removal);
    if (!isRemoved) return failed(isRemoved.error(), world);
    if (!*isRemoved) {
        world.tell("The model " + inQuotes(verb.identifier) + " is not installed.");
        return Exit::notAsAsked;
    }
    world.models.deleteTaken(removal);
    world.print("The model " + inQuotes(verb.identifier) + " was removed.\n");
    return Exit::done;
}

} // namespace vostel_companion
