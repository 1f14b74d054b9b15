#include "companion/tools/ConfirmedTools.h"

#include "companion/support/InQuotes.h"

namespace vostel_companion {

using VostelMCPKit::MCPToolOutcome;
namespace MCPConfirmationLogic = VostelMCPKit::MCPConfirmationLogic;
using MCPConfirmationLogic::Status;

namespace {

/// Says what waits for the user, which client asked first and where the user answers.
std::string summaryOf(const OpenConfirmation& confirmation) {
    const std::string client = confirmation.client.empty() ? "an AI client" : inQuotes(confirmation.client);
    return confirmation.action.summary() + " (asked for by " + client +
           "; the user answers in Vostel's own terminal, or in any terminal after the command 'Vostel pending')";
}

} // namespace

MCPToolOutcome askForConfirmation(const ToolContext& context, const ToolCall& call, const ConfirmableAction& action,
                                  const std::function<MCPToolOutcome(const std::vector<std::string>&)>& done) {
    return withDatabase(context, call.cancellation, [&](Database& database) -> MCPToolOutcome {
        Confirmations confirmations{database, context.models, context.now, context.newID};
        const auto report = confirmations.ask(action, call.client);
        if (!report) return MCPToolOutcome::failed(report.error().description());
        const OpenConfirmation& confirmation = report->confirmation;
        if (report->isNew) context.notifyUser(confirmation);
        switch (report->status) {
        case Status::pending:
            return MCPToolOutcome::awaitingConfirmation(confirmation.request.id, summaryOf(confirmation));
        case Status::confirmed:
            return done(report->removed);
        case Status::denied:
        case Status::expired:
        case Status::unknown:
            break;
        }
        return MCPToolOutcome::failed(std::string{MCPConfirmationLogic::message(report->status)});
    });
}

} // namespace vostel_companion
