// What one line of standard input is. MCPDispatchLogic::classify decides it.
//
// The cases have no JSON form of their own. They have codingKeys only so that they can be hashed.
#pragma once

#include "kit/jsonrpc/MCPMessages.h"

#include <variant>
#include <vector>

namespace VostelMCPKit {

/// A plain value. Read it with match, one lambda for each case.
struct MCPIncoming {
    /// A JSON array; its elements are kept as they are and not examined.
    struct Batch {
        /// In their order; none for an empty array.
        std::vector<MCPValue> elements;
        static void codingKeys(auto& self, auto& key) { key("elements", self.elements); }
        bool operator==(const Batch&) const = default;
    };
    /// The line could not be used.
    struct Malformed {
        /// What to send back.
        MCPError error;
        static void codingKeys(auto& self, auto& key) { key("error", self.error); }
        bool operator==(const Malformed&) const = default;
    };
    /// Nothing but white space.
    struct Empty {
        static void codingKeys(auto&, auto&) {}
        bool operator==(const Empty&) const = default;
    };

    std::variant<MCPRequest, MCPNotification, Batch, Malformed, Empty> is;

    bool operator==(const MCPIncoming&) const = default;
};

} // namespace VostelMCPKit

template <>
struct std::hash<VostelMCPKit::MCPIncoming> {
    std::size_t operator()(const VostelMCPKit::MCPIncoming& incoming) const noexcept {
        return std::hash<decltype(incoming.is)>{}(incoming.is);
    }
};
