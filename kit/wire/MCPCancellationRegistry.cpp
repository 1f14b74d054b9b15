#include "kit/wire/MCPCancellationRegistry.h"

#include "kit/jsonrpc/MCPObjectBuilder.h"

namespace VostelMCPKit {

std::string MCPCancellationRegistry::registerCall(std::string externalID, std::optional<MCPValue> progressToken,
                                                  const UUID& fresh) {
    std::string wireID = fresh.text();
    calls.insert_or_assign(wireID, Call{externalID, std::move(progressToken)});
    wireIDsByExternalID.insert_or_assign(std::move(externalID), wireID);
    return wireID;
}

std::optional<std::string> MCPCancellationRegistry::wireID(const std::string& forExternalID) const {
    const auto found = wireIDsByExternalID.find(forExternalID);
    if (found == wireIDsByExternalID.end()) return std::nullopt;
    return found->second;
}

void MCPCancellationRegistry::cancel(const std::string& requestID) {
    if (const auto found = calls.find(requestID); found != calls.end()) found->second.cancelled = true;
}

bool MCPCancellationRegistry::shouldSendResponse(const std::string& requestID) const {
    const auto found = calls.find(requestID);
    return found == calls.end() || !found->second.cancelled;
}

std::optional<MCPNotification>
MCPCancellationRegistry::progressNotification(const std::string& requestID, double fraction,
                                              const std::optional<std::string>& message) const {
    const auto found = calls.find(requestID);
    if (found == calls.end()) return std::nullopt;
    const Call& call = found->second;
    if (call.cancelled || !call.progressToken) return std::nullopt;

    // In key order, which saves sorting: one call can send hundreds of thousands of reports.
    MCPObjectBuilder params;
    params.addIfPresent("message", message)
        .add("progress", fraction)
        .add("progressToken", *call.progressToken)
        .add("total", 1.0);
    return MCPNotification{"notifications/progress", params.take()};
}

void MCPCancellationRegistry::finish(const std::string& requestID) {
    const auto found = calls.find(requestID);
    if (found == calls.end()) return;
    wireIDsByExternalID.erase(found->second.externalID);
    calls.erase(found);
}

} // namespace VostelMCPKit
