// Whether a link that came from a model may be fetched: encrypted, to the video service, at public addresses only.
//
// The model may have been steered by text it read, so the link is hostile until proven otherwise. What is judged here
// is text that some fetcher will read again by rules of its own; a link that two readers could take for different hosts
// is therefore refused, even where the standards give it one meaning.
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

enum class Reason { scheme, host, unresolvedHost, privateAddress };

struct Decision {
    struct Allowed {
        bool operator==(const Allowed&) const = default;
    };
    struct Rejected {
        Reason reason;
        bool operator==(const Rejected&) const = default;
    };

    std::variant<Allowed, Rejected> is;

    bool operator==(const Decision&) const = default;
};

/// The addresses of a host as numeric strings, none when there are none.
using Resolver = std::function<std::vector<std::string>(const std::string& host)>;

/// Judges `url`. The resolver is asked at most once, with the host in lower case, and only when the link points to the
/// video service. Whoever fetches must connect to the addresses that were judged here: a name may resolve differently
/// a moment later.
[[nodiscard]] Decision evaluate(std::string_view url, const Resolver& resolve = resolveBySystem);

/// `address` in network order.
[[nodiscard]] bool isPrivateIPv4(const std::array<std::uint8_t, 4>& address);
[[nodiscard]] bool isPrivateIPv6(const std::array<std::uint8_t, 16>& address);

} // namespace VostelMCPKit::MCPURLPolicy

template <>
struct std::hash<VostelMCPKit::MCPURLPolicy::Decision> {
    std::size_t operator()(const VostelMCPKit::MCPURLPolicy::Decision& decision) const noexcept;
};
