#include "fuzz/fuzz.h"
#include "kit/tools/MCPURLPolicy.h"

#include <algorithm>
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

} // namespace

/// The first line is the address that the host resolves to, the rest the link.
void check(std::string_view text) {
    const std::string address{text.substr(0, text.find('\n'))};
    const std::string_view url = text.substr(std::min(address.size() + 1, text.size()));

    std::optional<std::string> asked;
    const Decision decision = MCPURLPolicy::evaluate(url, [&](const std::string& host) {
        require(!asked, "the resolver is asked once");
        asked = host;
        return std::vector<std::string>{"8.8.8.8", address};
    });

    const bool isRefusedUnresolved = decision == Decision{Decision::Rejected{Reason::scheme}} ||
                                     decision == Decision{Decision::Rejected{Reason::host}};
    require(asked.has_value() == !isRefusedUnresolved, "only a link to the video service is resolved");
    if (!asked) return;

    require(isOfTheVideoService(*asked), "only the video service is resolved");
    // Whatever reads the link: the host stands right behind the slashes, and what follows cannot belong to it.
    const std::string lower = lowercased(url);
    const std::string start = "https://" + *asked;
    require(lower.starts_with(start), "the host that was judged stands where a host stands");
    const std::string_view rest = std::string_view{lower}.substr(start.size());
    require(rest.empty() || std::string_view{":/?#"}.contains(rest.front()), "the host ends where the link says");
    require(!rest.substr(0, rest.find('/')).contains('@'), "no user name hides another host");
    require(std::ranges::all_of(lower, [](char c) { return static_cast<unsigned char>(c) > 0x20 && c != '\\'; }),
            "no link that readers could take apart differently");

    if (decision == Decision{Decision::Allowed{}}) {
        require(address.find_first_not_of("0123456789abcdefABCDEF.:") == std::string::npos, "addresses are numeric");
        require(!address.starts_with("127.") && !address.starts_with("10."), "addresses are public");
    }
}
