#include "companion/tools/ModelTools.h"

#include "companion/support/Semaphore.h"
#include "companion/tools/Arguments.h"
#include "companion/tools/ConfirmedTools.h"
#include "companion/tools/ResultSize.h"

#include <memory>

namespace vostel_companion {

using VostelMCPKit::MCPToolOutcome;
using VostelMCPKit::MCPValue;

namespace {

/// Each one copies as fast as the disk can; two at once would only be slower.
constexpr std::size_t installationsAtOnce = 1;

MCPToolOutcome listModels(const ToolContext& context, const ToolCall& call) {
    const Arguments arguments{call, "models_list", {}};
    if (const auto& wrong = arguments.wrong()) return failedOutcome(*wrong);
    const auto models = context.models.list();
    if (!models) return failedOutcome(models.error().description());
    return fittingOutcome(models->size(), [&](std::size_t count) -> MCPToolOutcome {
        std::string text = "Speech recognition models:";
        std::vector<MCPValue> values;
        for (const Model& model : std::span{*models}.first(count)) {
            text += "\n" + model.identifier + " · " + model.displayName +
                    (model.isInstalled ? " · installed" : " · not installed");
            values.push_back(MCPValue::object({{"identifier", model.identifier},
                                               {"displayName", model.displayName},
                                               {"installed", model.isInstalled}}));
        }
        return {MCPToolOutcome::Text{std::move(text), MCPValue::object({{"models", MCPValue::takingArray(values)}})}};
    });
}

MCPToolOutcome installModel(const ToolContext& context, Turns& turns, const ToolCall& call) {
    Arguments arguments{call, "model_install", {"identifier"}};
    const std::string identifier = arguments.neededText("identifier");
    if (const auto& wrong = arguments.wrong()) return failedOutcome(*wrong);
    const auto turn = turns.wait(call.cancellation);
    if (!turn) return failedOutcome(ModelError{ModelError::Cancelled{}}.description());
    const auto done =
        context.models.install(identifier, {call.progress, [&call] { return call.cancellation.isCancelled(); }});
    if (!done) return failedOutcome(done.error().description());
    return {MCPToolOutcome::Text{"The model " + identifier + " is installed.",
                                 MCPValue::object({{"identifier", identifier}, {"installed", true}})}};
}

MCPToolOutcome removedModel(const std::string& identifier, bool wasInstalled) {
    std::string text{
        VostelMCPKit::MCPConfirmationLogic::message(VostelMCPKit::MCPConfirmationLogic::Status::confirmed)};
    text += "\nThe model " + identifier + (wasInstalled ? " was removed." : " was not installed.");
    return {MCPToolOutcome::Text{std::move(text),
                                 MCPValue::object({{"identifier", identifier}, {"removed", wasInstalled}})}};
}

MCPToolOutcome removeModel(const ToolContext& context, const ToolCall& call) {
    Arguments arguments{call, "model_remove", {"identifier"}};
    const std::string identifier = arguments.neededText("identifier");
    if (const auto& wrong = arguments.wrong()) return failedOutcome(*wrong);
    return askForConfirmation(
        context, call.cancellation, {ConfirmableAction::RemoveModel{identifier}},
        [&](const std::vector<std::string>& removed) { return removedModel(identifier, !removed.empty()); });
}

} // namespace

void addModelTools(ToolTable& tools, const ToolContext& context) {
    const auto turns = std::make_shared<Turns>(installationsAtOnce);
    tools["models_list"] = [context](const ToolCall& call) { return listModels(context, call); };
    tools["model_install"] = [context, turns](const ToolCall& call) { return installModel(context, *turns, call); };
    tools["model_remove"] = [context](const ToolCall& call) { return removeModel(context, call); };
}

} // namespace vostel_companion
