// What came of one tool call, as the application that ran the tool sees it.
//
// An outcome never travels: the application renders it into an MCPCallResult and sends that.
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
    /// The user has not switched this tool on; `reason` names the setting that is off.
    struct Disabled {
        std::string reason;

        bool operator==(const Disabled&) const = default;
    };

    std::variant<Disabled> is;

    /// The sentence that the model is given.
    [[nodiscard]] std::string description() const;

    bool operator==(const MCPDenial&) const = default;
};

/// The tool ran and failed.
struct MCPToolError {
    /// Shown to the model as it stands.
    std::string message;

    bool operator==(const MCPToolError&) const = default;
};

struct MCPToolOutcome {
    /// The tool ran: text for the model and, when the tool declares an output schema, the value that matches it.
    struct Text {
        std::string text;
        std::optional<MCPValue> structured;

        bool operator==(const Text&) const = default;
    };

    /// Nothing has happened yet: the user is asked first. `summary` says what for.
    struct AwaitingConfirmation {
        UUID id;
        std::string summary;

        bool operator==(const AwaitingConfirmation&) const = default;
    };

    std::variant<Text, AwaitingConfirmation, MCPDenial, MCPToolError> is;

    bool operator==(const MCPToolOutcome&) const = default;
};

} // namespace VostelMCPKit

template <>
struct std::hash<VostelMCPKit::MCPToolOutcome> {
    std::size_t operator()(const VostelMCPKit::MCPToolOutcome& outcome) const noexcept;
};
