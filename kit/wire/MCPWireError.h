// Why one side of the socket cannot use what the other side sent. It is sent inside a response.
#pragma once

#include "kit/jsonrpc/Hashing.h"

#include <cstdint>
#include <string>
#include <variant>

namespace VostelMCPKit {

// The cases have no member initialisers. With them, VersionMismatch could not be the first case of the variant.
/// A plain value, hashable.
struct MCPWireError {
    /// The two programs speak different versions of the protocol.
    struct VersionMismatch {
        static constexpr std::string_view kind = "versionMismatch";
        /// The version that vostel-mcp sent.
        std::int64_t helper;
        /// The application's own version.
        std::int64_t app;

        static void codingKeys(auto& self, auto& key) {
            key("helper", self.helper);
            key("app", self.app);
        }
        bool operator==(const VersionMismatch&) const = default;
    };
    /// A frame's header announced more bytes than the reader accepts.
    struct FrameTooLarge {
        static constexpr std::string_view kind = "frameTooLarge";
        /// What the header announced, in bytes.
        std::int64_t declared;
        /// MCPWireFraming::maxFrameLength.
        std::int64_t limit;

        static void codingKeys(auto& self, auto& key) {
            key("declared", self.declared);
            key("limit", self.limit);
        }
        bool operator==(const FrameTooLarge&) const = default;
    };

    std::variant<VersionMismatch, FrameTooLarge> is;

    /// A sentence for the user.
    [[nodiscard]] std::string description() const;

    static void codingKeys(auto& self, auto& key) { key.oneOf("kind", self.is); }

    bool operator==(const MCPWireError&) const = default;
};

} // namespace VostelMCPKit
