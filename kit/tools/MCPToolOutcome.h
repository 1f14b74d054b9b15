// The outcome of a tool call, as the application that ran the tool sees it. It has no JSON form of its own: the
// application renders it into an MCPCallResult and sends that.
//
//     return MCPToolOutcome::text("2 rules", structured);
//     return MCPToolOutcome::failed("There is no transcript with this id.");
#pragma once

#include "kit/jsonrpc/MCPValue.h"
#include "kit/support/UUID.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <variant>

namespace VostelMCPKit {

/// Why the application refused to run a tool.
struct MCPDenial {
    /// The user has not switched this tool on.
    struct Disabled {
        /// Names the setting that is off. It becomes part of a sentence, in parentheses.
        std::string reason;

        bool operator==(const Disabled&) const = default;
    };

    std::variant<Disabled> is;

    /// The sentence for the model.
    [[nodiscard]] std::string description() const;

    bool operator==(const MCPDenial&) const = default;
};

/// The tool ran and failed.
struct MCPToolError {
    /// The model receives it unchanged.
    std::string message;

    bool operator==(const MCPToolError&) const = default;
};

/// A value. Copies are independent; use one object from one thread at a time. All text is UTF-8.
struct MCPToolOutcome {
    /// The tool ran.
    struct Text {
        /// For the model. MCPCallResult fences it as untrusted.
        std::string text;
        /// The result as the tool's output schema describes it. Present when the tool declares one.
        std::optional<MCPValue> structured;

        bool operator==(const Text&) const = default;
    };

    /// Nothing has happened yet: the user is asked first.
    struct AwaitingConfirmation {
        /// The id of the request, which MCPConfirmationLogic evaluates.
        UUID id;
        /// What the user is asked to allow.
        std::string summary;

        bool operator==(const AwaitingConfirmation&) const = default;
    };

    std::variant<Text, AwaitingConfirmation, MCPDenial, MCPToolError> is;

    /// The tool ran; see Text.
    [[nodiscard]] static MCPToolOutcome text(std::string text, std::optional<MCPValue> structured = {});
    /// The user is asked first; see AwaitingConfirmation.
    [[nodiscard]] static MCPToolOutcome awaitingConfirmation(const UUID& id, std::string summary);
    /// The tool is disabled; see MCPDenial::Disabled.
    [[nodiscard]] static MCPToolOutcome denied(std::string reason);
    /// The tool ran and failed; the model receives `message` unchanged.
    [[nodiscard]] static MCPToolOutcome failed(std::string message);

    bool operator==(const MCPToolOutcome&) const = default;
};

} // namespace VostelMCPKit

/// For an application that keeps outcomes in an unordered container. Consistent with equality.
template <>
struct std::hash<VostelMCPKit::MCPToolOutcome> {
    std::size_t operator()(const VostelMCPKit::MCPToolOutcome& outcome) const noexcept;
};
