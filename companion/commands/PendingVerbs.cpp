#include "companion/commands/PendingVerbs.h"

#include "companion/commands/FindByID.h"
#include "companion/support/InQuotes.h"
#include "companion/support/TerminalSafe.h"
#include "companion/terminal/ConfirmationPrompt.h"
#include "companion/terminal/Wording.h"

namespace vostel_companion {

using VostelMCPKit::MCPConfirmationLogic::Decision;
using VostelMCPKit::MCPConfirmationLogic::Request;

namespace {

std::chrono::seconds timeLeft(const Request& request, std::chrono::system_clock::time_point now) {
    return std::chrono::ceil<std::chrono::seconds>(request.createdAt + request.ttl - now);
}

/// Whether the answer came too late or for a second time, which is nobody's failure.
Exit exitOf(const ConfirmationError& error) {
    const bool isTooLate = std::holds_alternative<ConfirmationError::Expired>(error.is) ||
                           std::holds_alternative<ConfirmationError::AlreadyAnswered>(error.is) ||
                           std::holds_alternative<ConfirmationError::NotFound>(error.is);
    return isTooLate ? Exit::notAsAsked : Exit::failed;
}

} // namespace

Exit run(const Command::ListPending&, World& world) {
    Confirmations confirmations{world.database, world.models, world.now, world.newID};
    const auto open = confirmations.open();
    if (!open) return world.failed(open.error());
    if (open->empty()) world.tell("Nothing waits for your confirmation.");
    for (const OpenConfirmation& waiting : *open) {
        world.print(waiting.request.id.text() + "  " + clockText(timeLeft(waiting.request, world.now())) + " left  " +
                    printableLine(waiting.action.description()) + "\n");
    }
    return Exit::done;
}

Exit run(const Command::AnswerPending& verb, World& world) {
    static constexpr const char* tables[] = {"confirmations"};
    const auto id = findByID(world, tables, "request", verb.id);
    if (!id) return id.error();
    Confirmations confirmations{world.database, world.models, world.now, world.newID};
    const auto removed = confirmations.answer(*id, verb.decision);
    if (!removed) {
        world.tell(removed.error().description());
        return exitOf(removed.error());
    }
    world.print(outcomeText(verb.decision, *removed) + "\n");
    return Exit::done;
}

} // namespace vostel_companion
