// Whether a link that came from a model may be fetched: encrypted, to the video service, at public addresses only.
//
// A text that the model has read may have told it to pass a harmful link. So no link is trusted.
//
//     const auto decision = MCPURLPolicy::evaluate("https://youtu.be/abc");
//     if (const auto* allowed = std::get_if<MCPURLPolicy::Decision::Allowed>(&decision.is)) {
//         connect(allowed->addresses);           // do not resolve allowed->host again
//     }
#pragma once

#include "kit/tools/MCPSystemResolver.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace VostelMCPKit::MCPURLPolicy {

/// This host and every subdomain of it.
inline constexpr std::string_view mainHost = "youtube.com";
/// This host alone.
inline constexpr std::string_view shortLinkHost = "youtu.be";

/// Why a link is refused. The first rule that fails decides, in this order.
enum class Reason {
    /// The link has no scheme, or another one than https.
    scheme,
    /// The link is not a valid URL, has no host, or its host is not one of the video service's.
    host,
    /// The host has no address.
    unresolvedHost,
    /// At least one address of the host is private, or is not a numeric address.
    privateAddress,
};

/// What the rules say about one link.
struct Decision {
    /// The link may be fetched, from these addresses only.
    struct Allowed {
        /// In lower case.
        std::string host;
        /// All addresses of the host, as numeric strings in the resolver's order. Connect to one of these: a name may
        /// resolve to another address a moment later.
        std::vector<std::string> addresses;

        bool operator==(const Allowed&) const = default;
    };
    /// The link must not be fetched.
    struct Rejected {
        /// For the user's message.
        Reason reason;
        bool operator==(const Rejected&) const = default;
    };

    std::variant<Allowed, Rejected> is;

    bool operator==(const Decision&) const = default;
};

/// Returns all addresses of a host as numeric strings; empty when there are none.
using Resolver = std::function<std::vector<std::string>(const std::string& host)>;

/// Evaluates `url` by its scheme, its host and the host's addresses. User name, password, port, path, query and
/// fragment have no influence.
///
/// Asks `resolve` at most once, and only for a host of the video service. Blocks as long as `resolve` does; the
/// system's resolver, which is the default, may take seconds. An empty function resolves nothing. Thread-safe if
/// `resolve` is.
[[nodiscard]] Decision evaluate(std::string_view url, const Resolver& resolve = resolveBySystem);

/// Deleted, because no link can be allowed without a resolver.
Decision evaluate(std::string_view url, std::nullptr_t) = delete;

// Not a complete guard against addresses that are not public: these two know the ranges below and no others. A program
// that connects to arbitrary hosts must refuse more, for example 0.0.0.0, :: and 100.64.0.0/10.

/// `address` in network order. True for 10.0.0.0/8, 127.0.0.0/8, 169.254.0.0/16, 172.16.0.0/12 and 192.168.0.0/16.
/// Deliberate: false for 0.0.0.0/8, 100.64.0.0/10 and multicast.
[[nodiscard]] bool isPrivateIPv4(const std::array<std::uint8_t, 4>& address);

/// `address` in network order. True for ::1, fc00::/7, fe80::/10, and an IPv4-mapped address whose IPv4 address is
/// private. Deliberate: false for ::, for multicast, and for an IPv4 address inside a NAT64 or 6to4 address.
[[nodiscard]] bool isPrivateIPv6(const std::array<std::uint8_t, 16>& address);

} // namespace VostelMCPKit::MCPURLPolicy

/// For an application that keeps decisions in an unordered container. Consistent with equality.
template <>
struct std::hash<VostelMCPKit::MCPURLPolicy::Decision> {
    std::size_t operator()(const VostelMCPKit::MCPURLPolicy::Decision& decision) const noexcept;
};
