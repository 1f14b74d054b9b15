#include "companion/commands/PendingVerbs.h"

#include "companion/commands/FindByID.h"
#include "companion/support/InQuotes.h"
#include "companion/support/TerminalSafe.h"
#include "companion/support/Wording.h"
#include "companion/terminal/ConfirmationPrompt.h"

namespace vostel_companion {

using VostelMCPKit::MCPConfirmationLogic::Decision;

namespace {

/// `refused` if the request was answered already or has expired.
Exit exitOf(const ConfirmationError& error) {
    const bool isTooLate = std::holds_alternative<ConfirmationError::Expired>(error.is) ||
                           std::holds_alternative<ConfirmationError::AlreadyAnswered>(error.is) ||
                           std::holds_alternative<ConfirmationError::NotFound>(error.is);
    return isTooLate ? Exit::refused : Exit::failed;
}

} // namespace

Exit run(const Command::ListPending&, CommandContext& context) {
    Confirmations confirmations{context.database, context.models, context.now, context.newID};
    const auto open = confirmations.open();
    if (!open) return context.failed(open.error());
    if (open->empty()) context.printError("Nothing waits for your confirmation.");
    for (const OpenConfirmation& waiting : *open) {
        const auto left = std::chrono::ceil<std::chrono::seconds>(waiting.timeLeft);
        context.print(waiting.request.id.text() + "  " + clockText(left) + " left  " +
                      (waiting.client.empty() ? "an AI client" : inQuotes(waiting.client)) + ": " +
                      printableLine(waiting.action.description()) + "\n");
    }
    if (!open->empty()) context.printError("To answer, run Vostel confirm ID or Vostel deny ID in a terminal.");
    return Exit::done;
}

Exit run(const Command::AnswerPending& verb, CommandContext& context) {
    if (verb.decision == Decision::confirmed && !context.requireTerminal("Confirming a request")) return Exit::refused;
    static constexpr const char* tables[] = {"confirmations"};
    const auto id = findByID(context, tables, "request", verb.id);
    if (!id) return id.error();
    Confirmations confirmations{context.database, context.models, context.now, context.newID};
    const auto removed = confirmations.answer(*id, verb.decision);
    if (!removed) {
        context.printError(removed.error().description());
        return exitOf(removed.error());
    }
    context.print(outcomeText(verb.decision, *removed) + "\n");
    return Exit::done;
}

} // namespace vostel_companion
