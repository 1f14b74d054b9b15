#include "kit/tools/MCPSystemResolver.h"
#include "kit/tools/MCPURLPolicy.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace VostelMCPKit {
namespace {

using Addresses = std::vector<std::string>;

TEST(MCPSystemResolver, numeric_hosts_are_their_own_addresses) {
    EXPECT_EQ(resolveBySystem("127.0.0.1"), Addresses{"127.0.0.1"});
    EXPECT_EQ(resolveBySystem("8.8.8.8"), Addresses{"8.8.8.8"});
    EXPECT_EQ(resolveBySystem("0:0:0:0:0:0:0:1"), Addresses{"::1"});
}

TEST(MCPSystemResolver, a_name_that_cannot_exist_has_no_address) {
    using namespace std::string_literals;
    const std::string names[] = {"", "a..b", std::string(300, 'a'), "127.0.0.1\0.example"s};
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        EXPECT_EQ(resolveBySystem(name), Addresses{});
    }
}

TEST(MCPSystemResolver, it_is_the_resolver_of_the_policy_unless_another_is_given) {
    using namespace MCPURLPolicy;
    // A name with such a long label resolves on no machine.
    EXPECT_EQ(evaluate("https://" + std::string(64, 'a') + ".youtube.com/"),
              MCPURLPolicy::Decision{MCPURLPolicy::Decision::Rejected{Reason::unresolvedHost}});
}

} // namespace
} // namespace VostelMCPKit
