#include "kit/tools/MCPURLPolicy.h"

#include "kit/support/ASCII.h"
#include "kit/support/match.h"

#include <algorithm>
#include <arpa/inet.h>
#include <optional>
#include <span>
#include <sys/socket.h>
#include <utility>

namespace VostelMCPKit::MCPURLPolicy {

namespace {

/// Takes the scheme and its colon off `url` (RFC 3986, section 3.1).
std::optional<std::string> takeScheme(std::string_view& url) {
    const auto isSchemeCharacter = [](char c) {
        return isASCIILetter(c) || isASCIIDigit(c) || c == '+' || c == '-' || c == '.';
    };
    const std::size_t colon = url.find(':');
    if (colon == std::string_view::npos || colon == 0) return std::nullopt;
    const std::string_view scheme = url.substr(0, colon);
    if (!isASCIILetter(scheme.front()) || !std::ranges::all_of(scheme, isSchemeCharacter)) return std::nullopt;
    url.remove_prefix(colon + 1);
    return asciiLowerCase(scheme);
}

/// No URL contains these. Some URL parsers drop tabs and line breaks, end the URL at a space, or read a backslash as a
/// slash. They would find another host.
bool isForbidden(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte <= 0x20 || byte == 0x7F || c == '\\';
}

/// The characters that a host or a user name contains unescaped: "unreserved" and "sub-delims" of RFC 3986.
bool isPlain(char c) { return isASCIILetter(c) || isASCIIDigit(c) || std::string_view{"-._~!$&'()*+,;="}.contains(c); }

/// Characters of RFC 3986, section 3.2.1.
bool isUserInformation(std::string_view text) {
    for (; !text.empty(); text.remove_prefix(1)) {
        if (text.front() != '%') {
            if (!isPlain(text.front()) && text.front() != ':') return false;
        } else if (text.size() < 3 || !hexDigit(text[1]) || !hexDigit(text[2])) {
            return false;
        }
    }
    return true;
}

/// The host of a URL in lower case. `afterScheme` is the part after the scheme and its colon. Absent when it is not the
/// rest of a URL, or when the host is an IPv6 address.
std::optional<std::string> host(std::string_view afterScheme) {
    if (!afterScheme.starts_with("//") || std::ranges::any_of(afterScheme, isForbidden)) return std::nullopt;
    afterScheme.remove_prefix(2);
    std::string_view authority = afterScheme.substr(0, afterScheme.find_first_of("/?#"));

    if (const std::size_t at = authority.find('@'); at != std::string_view::npos) {
        if (!isUserInformation(authority.substr(0, at))) return std::nullopt;
        authority.remove_prefix(at + 1);
    }
    const std::size_t colon = authority.find(':');
    if (colon != std::string_view::npos && !std::ranges::all_of(authority.substr(colon + 1), isASCIIDigit))
        return std::nullopt;

    // Deliberate: no percent escapes in the host, although RFC 3986 has them. Not all URL parsers decode them.
    const std::string_view name = authority.substr(0, colon);
    if (name.empty() || !std::ranges::all_of(name, isPlain)) return std::nullopt;
    return asciiLowerCase(name);
}

bool isOfTheVideoService(std::string_view host) {
    if (host == mainHost || host == shortLinkHost) return true;
    if (!host.ends_with(mainHost)) return false;
    return host.substr(0, host.size() - mainHost.size()).ends_with('.');
}

bool isPrivate(const std::string& address) {
    std::array<std::uint8_t, 4> four;
    std::array<std::uint8_t, 16> sixteen;
    // The system's parser stops at a NUL and would not see the rest.
    if (address.contains('\0')) return true;
    if (::inet_pton(AF_INET, address.c_str(), four.data()) == 1) return isPrivateIPv4(four);
    if (::inet_pton(AF_INET6, address.c_str(), sixteen.data()) == 1) return isPrivateIPv6(sixteen);
    return true;
}

} // namespace

Decision evaluate(std::string_view url, const Resolver& resolve) {
    const auto rejected = [](Reason reason) { return Decision{Decision::Rejected{reason}}; };

    // Deliberate: the unencrypted web scheme is refused too.
    if (takeScheme(url) != "https") return rejected(Reason::scheme);
    const std::optional<std::string> name = host(url);
    if (!name || !isOfTheVideoService(*name)) return rejected(Reason::host);

    std::vector<std::string> addresses;
    if (resolve) addresses = resolve(*name);
    if (addresses.empty()) return rejected(Reason::unresolvedHost);
    if (std::ranges::any_of(addresses, isPrivate)) return rejected(Reason::privateAddress);
    return Decision{Decision::Allowed{*name, std::move(addresses)}};
}

bool isPrivateIPv4(const std::array<std::uint8_t, 4>& address) {
    // Deliberate: these ranges and no others; 0.0.0.0/8, 100.64.0.0/10 and multicast pass.
    const auto [a, b, c, d] = address;
    return a == 10 || a == 127 || (a == 169 && b == 254) || (a == 172 && b >= 16 && b <= 31) || (a == 192 && b == 168);
}

bool isPrivateIPv6(const std::array<std::uint8_t, 16>& address) {
    constexpr std::array<std::uint8_t, 16> loopback{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    constexpr std::array<std::uint8_t, 12> mappedPrefix{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF};
    const bool isUniqueLocal = (address[0] & 0xFE) == 0xFC;
    const bool isLinkLocal = address[0] == 0xFE && (address[1] & 0xC0) == 0x80;
    if (address == loopback || isUniqueLocal || isLinkLocal) return true;
    return std::ranges::equal(mappedPrefix, std::span{address}.first<12>()) &&
           isPrivateIPv4({address[12], address[13], address[14], address[15]});
}

} // namespace VostelMCPKit::MCPURLPolicy

std::size_t std::hash<VostelMCPKit::MCPURLPolicy::Decision>::operator()(
    const VostelMCPKit::MCPURLPolicy::Decision& decision) const noexcept {
    using VostelMCPKit::MCPURLPolicy::Decision;
    const std::hash<std::string> hashOf;
    return VostelMCPKit::match(
        decision.is,
        [&](const Decision::Allowed& allowed) {
            std::size_t result = hashOf(allowed.host);
            for (const std::string& address : allowed.addresses) result = result * 31 + hashOf(address);
            return result;
        },
        [](const Decision::Rejected& rejected) { return static_cast<std::size_t>(rejected.reason); });
}
