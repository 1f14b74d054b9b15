#include "kit/tools/MCPConfirmationLogic.h"

#include <cstdint>
#include <utility>

namespace VostelMCPKit::MCPConfirmationLogic {

namespace {

using Clock = std::chrono::system_clock;

/// In ticks of the clock. A double, because the distance between the two ends of the clock's range does not fit the
/// clock's own duration.
double elapsed(Clock::time_point from, Clock::time_point to) {
    const auto distance = [](Clock::time_point earlier, Clock::time_point later) {
        return static_cast<double>(static_cast<std::uint64_t>(later.time_since_epoch().count()) -
                                   static_cast<std::uint64_t>(earlier.time_since_epoch().count()));
    };
    return from <= to ? distance(from, to) : -distance(to, from);
}

} // namespace

Status status(const std::optional<Request>& request, Clock::time_point now) {
    if (!request) return Status::unknown;

    // Deliberate: an answer counts even when it came after the deadline.
    if (request->decision) return *request->decision == Decision::confirmed ? Status::confirmed : Status::denied;

    const std::chrono::duration<double, Clock::period> ttl = request->ttl;
    return elapsed(request->createdAt, now) < ttl.count() ? Status::pending : Status::expired;
}

std::string_view message(Status status) {
    switch (status) {
    case Status::pending:
        return "Waiting for the user to confirm or deny this action in Vostel. Ask again shortly.";
    case Status::confirmed:
        return "The user confirmed this action, and it has been performed.";
    case Status::denied:
        return "The user denied this action. It was not performed.";
    case Status::expired:
        return "This confirmation request expired before the user responded, and the action was not performed. "
               "Create a new request if it is still needed.";
    case Status::unknown:
        return "No confirmation request exists for this id — it may be mistyped or already cleaned up. Create a new "
               "request if the action is still needed.";
    }
    std::unreachable();
}

} // namespace VostelMCPKit::MCPConfirmationLogic
