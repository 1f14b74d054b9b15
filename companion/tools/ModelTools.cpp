#include "companion/tools/ModelTools.h"

#include "companion/support/Semaphore.h"
#include "companion/support/Wording.h"
#include "companion/tools/Arguments.h"
#include "companion/tools/ConfirmedTools.h"
#include "companion/tools/Rendering.h"
#include "companion/tools/ResultSize.h"
#include "companion/tools/ToolSignatures.h"

#include <memory>

namespace vostel_companion {

using VostelMCPKit::MCPToolOutcome;

namespace {

/// One installation already uses the disk or the network fully. Two at once would not be faster.
constexpr std::size_t installationsAtOnce = 1;

MCPToolOutcome listModels(const ToolContext& context, const ToolCall& call) {
    const auto arguments = readArguments<ModelsList>(call);
    if (!arguments) return MCPToolOutcome::failed(arguments.error());
    const auto models = context.models.list();
    if (!models) return MCPToolOutcome::failed(models.error().description());
    return fittingOutcome(models->size(), [&](std::size_t count) {
        std::string text = "Speech recognition models:";
        ModelsList::Result result;
        for (const Model& model : std::span{*models}.first(count)) {
            text += "\n" + model.identifier + " · " + model.displayName +
                    (model.isInstalled ? " · installed" : " · not installed");
            result.models.push_back({model.identifier, model.displayName, model.isInstalled});
        }
        return doneOutcome<ModelsList>(std::move(text), result);
    });
}

MCPToolOutcome installModel(const ToolContext& context, Semaphore& installations, const ToolCall& call) {
    const auto arguments = readArguments<ModelInstall>(call);
    if (!arguments) return MCPToolOutcome::failed(arguments.error());
    const auto permit = installations.acquire(call.cancellation, reportWaiting(call.progress));
    if (!permit) return MCPToolOutcome::failed(ModelError{ModelError::Cancelled{}}.description());
    const std::string& identifier = arguments->identifier;
    const auto progress = [&](double fraction) {
        call.progress({fraction, "Installing the model " + identifier + ", " + percentText(fraction) + " done"});
    };
    const auto done =
        context.models.install(identifier, {progress, [&call] { return call.cancellation.isCancelled(); }});
    if (!done) return MCPToolOutcome::failed(done.error().description());
    return doneOutcome<ModelInstall>("The model " + identifier + " is installed.", {identifier, /*installed=*/true});
}

MCPToolOutcome removedModel(const std::string& identifier, bool wasInstalled) {
    std::string text{
        VostelMCPKit::MCPConfirmationLogic::message(VostelMCPKit::MCPConfirmationLogic::Status::confirmed)};
    text += "\nThe model " + identifier + (wasInstalled ? " was removed." : " was not installed.");
    return doneOutcome<ModelRemove>(std::move(text), {identifier, wasInstalled});
}

MCPToolOutcome removeModel(const ToolContext& context, const ToolCall& call) {
    const auto arguments = readArguments<ModelRemove>(call);
    if (!arguments) return MCPToolOutcome::failed(arguments.error());
    const std::string& identifier = arguments->identifier;
    return askForConfirmation(
        context, call, {ConfirmableAction::RemoveModel{identifier}},
        [&](const std::vector<std::string>& removed) { return removedModel(identifier, !removed.empty()); });
}

} // namespace

void addModelTools(ToolTable& tools, const ToolContext& context) {
    const auto installations = std::make_shared<Semaphore>(installationsAtOnce);
    tools[ModelsList::name] = [context](const ToolCall& call) { return listModels(context, call); };
    tools[ModelInstall::name] = [context, installations](const ToolCall& call) {
        return installModel(context, *installations, call);
    };
    tools[ModelRemove::name] = [context](const ToolCall& call) { return removeModel(context, call); };
}

} // namespace vostel_companion
