// The state of an action that the user must confirm, and what the model is told about it.
//
// The application stores the requests. These functions only evaluate one. They are thread-safe and keep no state.
//
//     const auto status = MCPConfirmationLogic::status(storedRequest, std::chrono::system_clock::now());
//     if (status == MCPConfirmationLogic::Status::pending) return MCPToolOutcome::awaitingConfirmation(id, summary);
#pragma once

#include "kit/support/UUID.h"

#include <chrono>
#include <optional>
#include <string_view>

namespace VostelMCPKit::MCPConfirmationLogic {

/// The user's answer.
enum class Decision {
    /// Do it.
    confirmed,
    /// Do not do it.
    denied
};

/// The state of a request.
enum class Status {
    /// No answer yet, and there is still time.
    pending,
    /// The user allowed it.
    confirmed,
    /// The user refused it.
    denied,
    /// No answer came in time.
    expired,
    /// There is no such request.
    unknown,
};

/// One request, as the application stores it.
struct Request {
    /// That of MCPToolOutcome::AwaitingConfirmation.
    UUID id;
    /// When the tool was called.
    std::chrono::system_clock::time_point createdAt;
    /// How long the request stays open without an answer. Every value is safe. With a negative value or NaN, a request
    /// without an answer is expired from the start.
    std::chrono::duration<double> ttl{};
    /// Absent until the user has answered.
    std::optional<Decision> decision;

    bool operator==(const Request&) const = default;
};

/// Deliberate: an answer counts whenever it was given, even after the deadline. Without an answer the request is
/// pending while `now` is before its deadline, and expired from the deadline on. An absent request is unknown.
[[nodiscard]] Status status(const std::optional<Request>& request, std::chrono::system_clock::time_point now);

/// The sentence for the model. A constant, so the view never dangles.
[[nodiscard]] std::string_view message(Status status);

} // namespace VostelMCPKit::MCPConfirmationLogic
