// What has become of an action that the user must confirm, and how the model is told.
//
// The store of requests belongs to the application; here a request and the time become a status.
#pragma once

#include "kit/support/UUID.h"

#include <chrono>
#include <optional>
#include <string_view>

namespace VostelMCPKit::MCPConfirmationLogic {

enum class Decision { confirmed, denied };

enum class Status { pending, confirmed, denied, expired, unknown };

struct Request {
    UUID id;
    std::chrono::system_clock::time_point createdAt;
    /// How long the request stays open without an answer; chosen by whoever makes the request. Any value is safe: a
    /// negative one sets the deadline before the request, and one that is not a number leaves no time at all.
    std::chrono::duration<double> ttl{};
    /// Absent until the user has answered.
    std::optional<Decision> decision;

    bool operator==(const Request&) const = default;
};

/// An answer counts whenever it was given; without one the request is open until strictly before its deadline.
[[nodiscard]] Status status(const std::optional<Request>& request, std::chrono::system_clock::time_point now);

/// The sentence that the model is given.
[[nodiscard]] std::string_view message(Status status);

} // namespace VostelMCPKit::MCPConfirmationLogic
