#include "kit/tools/MCPSystemResolver.h"
#include "kit/tools/MCPURLPolicy.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace VostelMCPKit {
namespace {

using Addresses = std::vector<std::string>;

TEST(MCPSystemResolver, NumericHostsAreTheirOwnAddresses) {
    EXPECT_EQ(resolveBySystem("127.0.0.1"), Addresses{"127.0.0.1"});
    EXPECT_EQ(resolveBySystem("8.8.8.8"), Addresses{"8.8.8.8"});
    EXPECT_EQ(resolveBySystem("0:0:0:0:0:0:0:1"), Addresses{"::1"});
}

TEST(MCPSystemResolver, ANameThatCannotExistHasNoAddress) {
    using namespace std::string_literals;
    const std::string names[] = {"", "a..b", std::string(300, 'a'), "127.0.0.1\0.example"s};
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        EXPECT_EQ(resolveBySystem(name), Addresses{});
    }
}

TEST(MCPSystemResolver, ItIsTheResolverOfThePolicyUnlessAnotherIsGiven) {
    using namespace MCPURLPolicy;
    // No name of the video service can resolve with a label this long, on any machine.
    EXPECT_EQ(evaluate("https://" + std::string(64, 'a') + ".youtube.com/"),
              MCPURLPolicy::Decision{MCPURLPolicy::Decision::Rejected{Reason::unresolvedHost}});
}

} // namespace
} // namespace VostelMCPKit
