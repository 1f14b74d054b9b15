#include "kit/tools/MCPURLPolicy.h"

#include "kit/support/match.h"

#include <algorithm>
#include <arpa/inet.h>
#include <optional>
#include <span>
#include <sys/socket.h>

namespace VostelMCPKit::MCPURLPolicy {

namespace {

// By hand instead of <cctype>, which asks the locale.
bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

std::string lowercased(std::string_view text) {
    std::string lower{text};
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return lower;
}

/// Takes the scheme and its colon off `url` (RFC 3986, section 3.1).
std::optional<std::string> takeScheme(std::string_view& url) {
    const auto isSchemeCharacter = [](char c) { return isLetter(c) || isDigit(c) || c == '+' || c == '-' || c == '.'; };
    const std::size_t colon = url.find(':');
    if (colon == std::string_view::npos || colon == 0) return std::nullopt;
    const std::string_view scheme = url.substr(0, colon);
    if (!isLetter(scheme.front()) || !std::ranges::all_of(scheme, isSchemeCharacter)) return std::nullopt;
    url.remove_prefix(colon + 1);
    return lowercased(scheme);
}

/// Readers drop tabs and line breaks, stop at spaces, or take a backslash for a slash; none of them belongs in a URL.
bool isAmbiguous(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte <= 0x20 || byte == 0x7F || c == '\\';
}

/// A number that a port can have, or nothing, which stands for the usual one.
bool isPort(std::string_view text) {
    if (text.size() > 5 || !std::ranges::all_of(text, isDigit)) return false;
    int number = 0;
    for (char digit : text) number = number * 10 + (digit - '0');
    return number <= 65'535;
}

/// Letters, digits, hyphens and underscores between single dots. Percent escapes, address literals, a final dot and
/// every character beyond ASCII are outside: some reader makes another host of them.
bool isPlainHostName(std::string_view host) {
    const auto isNameCharacter = [](char c) { return isLetter(c) || isDigit(c) || c == '-' || c == '_' || c == '.'; };
    return !host.empty() && std::ranges::all_of(host, isNameCharacter) && !host.starts_with('.') &&
           !host.ends_with('.') && !host.contains("..");
}

/// The host of what follows the scheme, in lower case; absent when there is none that every reader would agree on.
std::optional<std::string> host(std::string_view afterScheme) {
    if (!afterScheme.starts_with("//") || std::ranges::any_of(afterScheme, isAmbiguous)) return std::nullopt;
    const std::string_view rest = afterScheme.substr(2);
    const std::string_view authority = rest.substr(0, rest.find_first_of("/?#"));

    // Deliberate: no "user@host", although its host is well defined: no link to a video needs it, and it is how one
    // host is made to look like another. Some readers let only a slash end the authority, so "host?@other" is one, too.
    if (rest.substr(0, rest.find('/')).contains('@')) return std::nullopt;

    const std::size_t colon = authority.find(':');
    const std::string_view name = authority.substr(0, colon);
    if (!isPlainHostName(name)) return std::nullopt;
    if (colon != std::string_view::npos && !isPort(authority.substr(colon + 1))) return std::nullopt;
    return lowercased(name);
}

bool isOfTheVideoService(std::string_view host) {
    if (host == mainHost || host == shortLinkHost) return true;
    if (!host.ends_with(mainHost)) return false;
    return host.substr(0, host.size() - mainHost.size()).ends_with('.');
}

bool isPrivate(const std::string& address) {
    std::array<std::uint8_t, 4> four;
    std::array<std::uint8_t, 16> sixteen;
    // The system's parser stops at a NUL and would not see what stands behind it.
    if (address.contains('\0')) return true;
    if (inet_pton(AF_INET, address.c_str(), four.data()) == 1) return isPrivateIPv4(four);
    if (inet_pton(AF_INET6, address.c_str(), sixteen.data()) == 1) return isPrivateIPv6(sixteen);
    return true;
}

} // namespace

Decision evaluate(std::string_view url, const Resolver& resolve) {
    const auto rejected = [](Reason reason) { return Decision{Decision::Rejected{reason}}; };

    // Deliberate: the unencrypted web scheme is refused too.
    if (takeScheme(url) != "https") return rejected(Reason::scheme);
    const std::optional<std::string> name = host(url);
    if (!name || !isOfTheVideoService(*name)) return rejected(Reason::host);

    const std::vector<std::string> addresses = resolve(*name);
    if (addresses.empty()) return rejected(Reason::unresolvedHost);
    if (std::ranges::any_of(addresses, isPrivate)) return rejected(Reason::privateAddress);
    return Decision{Decision::Allowed{}};
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
    return VostelMCPKit::match(
        decision.is, [](const Decision::Allowed&) { return std::size_t{0}; },
        [](const Decision::Rejected& rejected) { return static_cast<std::size_t>(rejected.reason) + 1; });
}
