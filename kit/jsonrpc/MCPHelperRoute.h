// Where one incoming message goes. MCPDispatchLogic::route decides it.
#pragma once

#include "kit/jsonrpc/MCPIncoming.h"

#include <variant>

namespace VostelMCPKit {

/// A plain value. Its cases have codingKeys only so that they can be hashed.
struct MCPHelperRoute {
    /// Written as one line.
    struct Reply {
        /// Complete, with the id of its request.
        MCPResponse response;
        static void codingKeys(auto& self, auto& key) { key("response", self.response); }
        bool operator==(const Reply&) const = default;
    };
    /// Written as one line that names no request.
    struct ReplyWithoutID {
        /// See MCPDispatchLogic::frameWithoutID.
        MCPError error;
        static void codingKeys(auto& self, auto& key) { key("error", self.error); }
        bool operator==(const ReplyWithoutID&) const = default;
    };
    /// Passed to the call proxy unchanged.
    struct ForwardToApplication {
        /// A request or a notification.
        MCPIncoming incoming;
        bool operator==(const ForwardToApplication&) const = default;
    };
    /// No output at all.
    struct Ignore {
        static void codingKeys(auto&, auto&) {}
        bool operator==(const Ignore&) const = default;
    };

    std::variant<Reply, ReplyWithoutID, ForwardToApplication, Ignore> is;

    bool operator==(const MCPHelperRoute&) const = default;
};

} // namespace VostelMCPKit

template <>
struct std::hash<VostelMCPKit::MCPHelperRoute::ForwardToApplication> {
    std::size_t operator()(const VostelMCPKit::MCPHelperRoute::ForwardToApplication& forward) const noexcept {
        return std::hash<VostelMCPKit::MCPIncoming>{}(forward.incoming);
    }
};

template <>
struct std::hash<VostelMCPKit::MCPHelperRoute> {
    std::size_t operator()(const VostelMCPKit::MCPHelperRoute& route) const noexcept {
        return std::hash<decltype(route.is)>{}(route.is);
    }
};
