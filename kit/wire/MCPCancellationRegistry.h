// The bookkeeping between the two names of a forwarded call: the AI client's request id as text (the external id) and
// the wire id under which the application knows the call.
#pragma once

#include "kit/jsonrpc/MCPMessages.h"
#include "kit/support/UUID.h"

#include <optional>
#include <string>
#include <unordered_map>

namespace VostelMCPKit {

/// A plain value without locking; the call proxy owns one and changes it one operation at a time.
struct MCPCancellationRegistry {
    struct Call {
        std::string externalID;
        /// As the client gave it, of any JSON type.
        std::optional<MCPValue> progressToken;
        /// Set once the client gave up on the call; never cleared.
        bool cancelled = false;

        bool operator==(const Call&) const = default;
    };

    /// By wire id.
    std::unordered_map<std::string, Call> calls;
    std::unordered_map<std::string, std::string> wireIDsByExternalID;

    /// Registers a call under the fresh UUID and returns its wire id. Deliberate: an external id that is still in use
    /// is taken over by the newer call; the older one can no longer be found by it. (`register` is a reserved word.)
    std::string registerCall(std::string externalID, std::optional<MCPValue> progressToken, const UUID& fresh);

    [[nodiscard]] std::optional<std::string> wireID(const std::string& forExternalID) const;
    void cancel(const std::string& requestID);
    /// False only for a call that is registered and cancelled.
    [[nodiscard]] bool shouldSendResponse(const std::string& requestID) const;
    /// The notifications/progress for the client; absent when the call is gone or cancelled, or did not ask for it.
    [[nodiscard]] std::optional<MCPNotification> progressNotification(const std::string& requestID, double fraction,
                                                                      const std::optional<std::string>& message) const;
    /// Forgets the call. Deliberate: its external id is forgotten too, even when it names a newer call by now.
    void finish(const std::string& requestID);
    [[nodiscard]] std::size_t activeCallCount() const { return calls.size(); }

    bool operator==(const MCPCancellationRegistry&) const = default;
};

} // namespace VostelMCPKit
