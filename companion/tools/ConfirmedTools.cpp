#include "companion/tools/ConfirmedTools.h"

namespace vostel_companion {

using VostelMCPKit::MCPToolOutcome;
namespace MCPConfirmationLogic = VostelMCPKit::MCPConfirmationLogic;
using MCPConfirmationLogic::Status;

MCPToolOutcome askForConfirmation(const ToolContext& context, Cancellation& cancellation,
                                  const ConfirmableAction& action,
                                  const std::function<MCPToolOutcome(const std::vector<std::string>&)>& done) {
    return withDatabase(context, cancellation, [&](Database& database) -> MCPToolOutcome {
        Confirmations confirmations{database, context.models, context.now, context.newID};
        const auto report = confirmations.ask(action);
        if (!report) return MCPToolOutcome::failed(report.error().description());
        const OpenConfirmation& confirmation = report->confirmation;
        if (report->isNew) context.notifyUser(confirmation);
        switch (report->status) {
        case Status::pending:
            return MCPToolOutcome::awaitingConfirmation(confirmation.request.id, confirmation.action.summary());
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
