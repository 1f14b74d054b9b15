#include "fuzz/fuzz.h"
#include "kit/tools/MCPURLPolicy.h"

#include <algorithm>
#include <charconv>
#include <optional>

using namespace VostelMCPKit;
using MCPURLPolicy::Decision;
using MCPURLPolicy::Reason;

namespace {

bool isOfTheVideoService(std::string_view host) {
    return host == "youtube.com" || host == "youtu.be" || host.ends_with(".youtube.com");
}

std::string lowercased(std::string_view text) {
    std::string lower{text};
    std::ranges::transform(lower, lower.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; });
    return lower;
}

/// The host that Python's urlsplit finds. The downloader connects to it.
std::string hostForPython(std::string_view url) {
    std::string text;
    while (!url.empty() && static_cast<unsigned char>(url.front()) <= 0x20) url.remove_prefix(1);
    std::ranges::copy_if(url, std::back_inserter(text), [](char c) { return c != '\t' && c != '\r' && c != '\n'; });
    text.erase(0, text.find(':') + 1);
    if (!text.starts_with("//")) return {};
    std::string host = text.substr(2, text.find_first_of("/?#", 2) - 2);
    host.erase(0, host.rfind('@') + 1);
    if (host.contains('[')) return host.substr(0, host.find(']') + 1);
    return lowercased(host.substr(0, host.find(':')));
}

/// The host that a browser finds (WHATWG URL Standard): any number of slashes and backslashes, escapes decoded.
std::string hostForBrowsers(std::string_view url) {
    std::string text;
    while (!url.empty() && static_cast<unsigned char>(url.front()) <= 0x20) url.remove_prefix(1);
    std::ranges::copy_if(url, std::back_inserter(text), [](char c) { return c != '\t' && c != '\r' && c != '\n'; });
    text.erase(0, text.find(':') + 1);
    text.erase(0, std::min(text.find_first_not_of("/\\"), text.size()));
    std::string host = text.substr(0, text.find_first_of("/\\?#"));
    host.erase(0, host.rfind('@') + 1);
    if (host.starts_with('[')) return host.substr(0, host.find(']') + 1);
    host.erase(std::min(host.find(':'), host.size()));
    std::string decoded;
    for (std::size_t i = 0; i < host.size(); ++i) {
        unsigned value = 0;
        const char* digits = host.data() + i + 1;
        const bool isEscape =
            host[i] == '%' && i + 2 < host.size() && std::from_chars(digits, digits + 2, value, 16).ptr == digits + 2;
        decoded += isEscape ? static_cast<char>(value) : host[i];
        if (isEscape) i += 2;
    }
    return lowercased(decoded);
}

} // namespace

/// The first line is an address that the host resolves to. The rest is the link.
void check(std::string_view text) {
    const std::string address{text.substr(0, text.find('\n'))};
    const std::string_view url = text.substr(std::min(address.size() + 1, text.size()));

    std::optional<std::string> asked;
    const std::vector<std::string> addresses = {"8.8.8.8", address};
    const Decision decision = MCPURLPolicy::evaluate(url, [&](const std::string& host) {
        require(!asked, "the resolver is asked once");
        asked = host;
        return addresses;
    });

    const bool isRefusedUnresolved = decision == Decision{Decision::Rejected{Reason::scheme}} ||
                                     decision == Decision{Decision::Rejected{Reason::host}};
    require(asked.has_value() == !isRefusedUnresolved, "only a link to the video service is resolved");
    if (!asked) return;

    require(isOfTheVideoService(*asked), "only the video service is resolved");
    require(hostForPython(url) == *asked, "the downloader connects to the host that was judged");
    require(hostForBrowsers(url) == *asked, "a browser finds the host that was judged");
    require(std::ranges::all_of(url, [](char c) { return static_cast<unsigned char>(c) > 0x20 && c != '\\'; }),
            "no allowed link has characters that parsers treat differently");

    if (const auto* allowed = std::get_if<Decision::Allowed>(&decision.is)) {
        require(*allowed == Decision::Allowed{*asked, addresses}, "an allowed link has the host and addresses judged");
        require(address.find_first_not_of("0123456789abcdefABCDEF.:") == std::string::npos, "addresses are numeric");
        require(!address.starts_with("127.") && !address.starts_with("10."), "addresses are public");
    }
}
