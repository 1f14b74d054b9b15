// A program outside our source tree that links the kit, as the application does. It reads the server's entry in a
// client's configuration, checks two links, and prints a tool's result. Its output must equal expected.txt.
#include "outcome.h"

#include <cstdio>
#include <kit/clients/MCPClientConfigLogic.h>
#include <kit/jsonrpc/JSONReader.h>
#include <kit/tools/MCPURLPolicy.h>
#include <string>
#include <variant>

using namespace VostelMCPKit;

namespace {

std::string statusOfEntry() {
    using namespace MCPClientConfigLogic;
    const auto entry = readJSON(R"({"type":"stdio","command":"/Volumes/Old/vostel-mcp","args":[]})");
    const auto ours = makeEntry("/Applications/Vostel.app/Contents/MacOS/vostel-mcp", {});
    if (!entry || !ours) return "not read";
    const InstallationStatus status = compareInstallation(claudeCodeCommand(*entry), *ours);
    if (const auto* stale = std::get_if<InstallationStatus::StalePath>(&status.is)) {
        return "stale: " + stale->previousCommand;
    }
    return "not stale";
}

std::string decisionOn(const char* link) {
    using namespace MCPURLPolicy;
    // A real program omits the second argument. A test must not depend on the network.
    const Resolver resolver = [](const std::string&) { return std::vector<std::string>{"203.0.113.7"}; };
    const Decision decision = evaluate(link, resolver);
    return std::holds_alternative<Decision::Allowed>(decision.is) ? "allowed" : "rejected";
}

} // namespace

int main() {
    std::printf("entry: %s\n", statusOfEntry().c_str());
    for (const char* link : {"https://www.youtube.com/watch?v=abc", "http://www.youtube.com/watch?v=abc"}) {
        std::printf("%s: %s\n", link, decisionOn(link).c_str());
    }
    std::printf("result: %s\n", renderedOutcome().c_str());
}
