#include "companion/commands/ModelVerbs.h"

#include "companion/support/InQuotes.h"
#include "companion/support/TerminalSafe.h"

namespace vostel_companion {

namespace {

Exit failed(const ModelError& error, CommandContext& context) {
    context.printError(error.description());
    const bool isRefusal = std::holds_alternative<ModelError::Unknown>(error.is) ||
                           std::holds_alternative<ModelError::BelongsToSystem>(error.is) ||
                           std::holds_alternative<ModelError::Cancelled>(error.is);
    return isRefusal ? Exit::refused : Exit::failed;
}

} // namespace

Exit run(const Command::ListModels&, CommandContext& context) {
    const auto models = context.models.list();
    if (!models) return failed(models.error(), context);
    for (const Model& model : *models) {
        context.print((model.isInstalled ? "installed  " : "available  ") + model.identifier + "  " +
                      printableLine(model.displayName) + "\n");
    }
    return Exit::done;
}

Exit run(const Command::InstallModel& verb, CommandContext& context) {
    if (context.models.installedFolder(verb.identifier)) {
        context.print("The model " + inQuotes(verb.identifier) + " is installed already.\n");
        return Exit::done;
    }
    const auto installed = [&] {
        ProgressBar bar{context.progress, "Installing"};
        return context.models.install(verb.identifier,
                                      {.progress = [&](double fraction) { bar.show(fraction); },
                                       .isCancelled = [&] { return context.cancellation.isCancelled(); }});
    }();
    if (!installed) return failed(installed.error(), context);
    context.print("The model " + inQuotes(verb.identifier) + " is installed.\n");
    return Exit::done;
}

Exit run(const Command::RemoveModel& verb, CommandContext& context) {
    if (const auto removable = context.models.checkRemovable(verb.identifier); !removable) {
        return failed(removable.error(), context);
    }
    const auto lock = context.models.lock();
    if (!lock) return failed(lock.error(), context);
    const VostelMCPKit::UUID removal = context.newID();
    const auto isRemoved = context.models.takeAway(verb.identifier, removal);
    if (!isRemoved) return failed(isRemoved.error(), context);
    if (!*isRemoved) {
        context.printError("The model " + inQuotes(verb.identifier) + " is not installed.");
        return Exit::refused;
    }
    context.models.deleteTaken(removal);
    context.print("The model " + inQuotes(verb.identifier) + " was removed.\n");
    return Exit::done;
}

} // namespace vostel_companion
