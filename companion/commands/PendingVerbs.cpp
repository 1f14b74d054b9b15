#include "companion/commands/PendingVerbs.h"

#include "companion/commands/FindByID.h"
#include "companion/commands/Wording.h"
#include "companion/support/InQuotes.h"
#include "companion/support/Printable.h"

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

std::string outcomeText(Decision decision, const std::vector<std::string>& removed) {
    if (decision == Decision::denied) return "Denied; nothing was removed.";
    if (removed.empty()) return "Confirmed; there was nothing left to remove.";
    std::string text = "Confirmed; removed ";
    for (std::size_t index = 0; index < removed.size(); ++index) {
        text += (index > 0 ? ", " : "") + inQuotes(removed[index]);
    }
    return text + ".";
}

} // namespace vostel_companion
