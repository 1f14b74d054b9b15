// Which wire id belongs to which id of the client, for each forwarded call.
//
//     external id  the AI client's JSON-RPC id as text: the number 7 and the string "7" are both "7"
//     wire id      the upper-case UUID by which the application knows the call; other functions call it `requestID`
#pragma once

#include "kit/jsonrpc/MCPMessages.h"
#include "kit/support/UUID.h"

#include <optional>
#include <string>
#include <unordered_map>

namespace VostelMCPKit {

/// A value, not thread-safe. The call proxy, an actor, owns one. An id that is not registered is not an error: each
/// function says what it does then.
struct MCPCancellationRegistry {
    /// A forwarded call that has not finished.
    struct Call {
        /// The AI client's id as text.
        std::string externalID;
        /// As the client gave it, of any JSON type. Absent when the client asked for no progress.
        std::optional<MCPValue> progressToken;
        /// The client cancelled the call. Never cleared.
        bool cancelled = false;

        bool operator==(const Call&) const = default;
    };

    /// By wire id.
    std::unordered_map<std::string, Call> calls;
    /// By external id.
    std::unordered_map<std::string, std::string> wireIDsByExternalID;

    /// Registers a call and returns its wire id, which is the text of `fresh`; pass a new random UUID for each call.
    /// Deliberate: an external id that is still in use is taken over by the newer call, and the older one can no longer
    /// be found by it. If memory runs out, `finish` removes what was stored.
    std::string registerCall(std::string externalID, std::optional<MCPValue> progressToken, const UUID& fresh);

    /// Absent when no call has this external id.
    [[nodiscard]] std::optional<std::string> wireID(const std::string& forExternalID) const;
    /// Marks the call with this wire id as cancelled; does nothing when there is none.
    void cancel(const std::string& requestID);
    /// False only when a call with this wire id is registered and cancelled.
    [[nodiscard]] bool shouldSendResponse(const std::string& requestID) const;
    /// The notifications/progress for the client. Absent when no call has this wire id, when it is cancelled, and when
    /// the client asked for no progress. `fraction` is finite, 0 to 1; it is passed on unchanged.
    [[nodiscard]] std::optional<MCPNotification> progressNotification(const std::string& requestID, double fraction,
                                                                      const std::optional<std::string>& message) const;
    /// Removes the call with this wire id; does nothing when there is none. Deliberate: its external id is removed too,
    /// even if it belongs to a newer call by now.
    void finish(const std::string& requestID);
    /// For an owner that reports or awaits running calls. The server does neither.
    [[nodiscard]] std::size_t activeCallCount() const { return calls.size(); }

    bool operator==(const MCPCancellationRegistry&) const = default;
};

} // namespace VostelMCPKit
