#include "kit/wire/MCPCancellationRegistry.h"
#include "tests/support/JSON.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>
#include <string>

namespace VostelMCPKit {
namespace {

using vostel_tests::json;
using vostel_tests::written;

UUID uuid(std::uint8_t number) {
    UUID result;
    result.bytes[15] = number;
    return result;
}

constexpr const char* first = "00000000-0000-0000-0000-000000000001";
constexpr const char* second = "00000000-0000-0000-0000-000000000002";

TEST(MCPCancellationRegistry, starts_empty) {
    const MCPCancellationRegistry registry;
    EXPECT_EQ(registry.activeCallCount(), 0U);
    EXPECT_TRUE(registry.calls.empty());
    EXPECT_TRUE(registry.wireIDsByExternalID.empty());
    EXPECT_EQ(registry.wireID("1"), std::nullopt);
    EXPECT_EQ(registry.wireID(""), std::nullopt);
}

TEST(MCPCancellationRegistry, a_registered_call_is_found_under_its_fresh_wire_ID) {
    MCPCancellationRegistry registry;
    EXPECT_EQ(registry.registerCall("5", 7, *UUID::parse("0a1b2c3d-4e5f-6789-abcd-ef0123456789")),
              "0A1B2C3D-4E5F-6789-ABCD-EF0123456789");
    EXPECT_EQ(registry.wireID("5"), "0A1B2C3D-4E5F-6789-ABCD-EF0123456789");
    EXPECT_EQ(registry.wireID("6"), std::nullopt);
    EXPECT_EQ(registry.activeCallCount(), 1U);
    EXPECT_EQ(registry.calls.at("0A1B2C3D-4E5F-6789-ABCD-EF0123456789"),
              (MCPCancellationRegistry::Call{"5", 7, /*cancelled=*/false}));
}

TEST(MCPCancellationRegistry, only_a_cancelled_call_gets_no_response) {
    MCPCancellationRegistry registry;
    registry.registerCall("a", {}, uuid(1));
    registry.registerCall("b", {}, uuid(2));
    EXPECT_TRUE(registry.shouldSendResponse(first));
    EXPECT_TRUE(registry.shouldSendResponse("never registered"));
    registry.cancel(first);
    EXPECT_FALSE(registry.shouldSendResponse(first));
    EXPECT_TRUE(registry.shouldSendResponse(second));
    registry.cancel(first);
    EXPECT_FALSE(registry.shouldSendResponse(first));
    EXPECT_EQ(registry.activeCallCount(), 2U);
    EXPECT_EQ(registry.wireID("a"), first);
    registry.finish(first);
    EXPECT_TRUE(registry.shouldSendResponse(first));
}

TEST(MCPCancellationRegistry, cancelling_or_finishing_an_unknown_call_changes_nothing) {
    MCPCancellationRegistry registry;
    registry.registerCall("a", 1, uuid(1));
    const MCPCancellationRegistry before = registry;
    registry.cancel("a");
    registry.cancel(second);
    registry.finish("a");
    registry.finish(second);
    EXPECT_EQ(registry, before);
}

TEST(MCPCancellationRegistry, a_finished_call_is_removed) {
    MCPCancellationRegistry registry;
    registry.registerCall("a", 1, uuid(1));
    registry.registerCall("b", 1, uuid(2));
    registry.finish(first);
    EXPECT_EQ(registry.activeCallCount(), 1U);
    EXPECT_EQ(registry.wireID("a"), std::nullopt);
    EXPECT_EQ(registry.wireID("b"), second);
    EXPECT_EQ(registry.progressNotification(first, 0.5, {}), std::nullopt);
    registry.finish(first);
    EXPECT_EQ(registry.activeCallCount(), 1U);
    registry.finish(second);
    EXPECT_EQ(registry, MCPCancellationRegistry{});
}

TEST(MCPCancellationRegistry, progress_carries_the_token_as_the_client_gave_it) {
    struct Row {
        const char* when;
        const char* token;
        double fraction;
        std::optional<std::string> message;
        const char* expected;
    };
    const Row rows[] = {
        {"a string, and a message", "\"t1\"", 0.25, "Listening",
         R"({"jsonrpc":"2.0","method":"notifications/progress","params":{"message":"Listening","progress":0.25,)"
         R"("progressToken":"t1","total":1}})"},
        {"a number, and no message",
         "7",
         0.5,
         {},
         R"({"jsonrpc":"2.0","method":"notifications/progress","params":{"progress":0.5,"progressToken":7,"total":1}})"},
        {"a fraction as token",
         "1.5",
         1.0,
         {},
         R"({"jsonrpc":"2.0","method":"notifications/progress","params":{"progress":1,"progressToken":1.5,"total":1}})"},
        {"null as token", "null", 0.0, "",
         R"({"jsonrpc":"2.0","method":"notifications/progress","params":{"message":"","progress":0,)"
         R"("progressToken":null,"total":1}})"},
        {"an object as token, and a fraction passed on unscaled",
         R"({"b":[1],"a":2})",
         42.5,
         {},
         R"({"jsonrpc":"2.0","method":"notifications/progress","params":{"progress":42.5,)"
         R"("progressToken":{"a":2,"b":[1]},"total":1}})"},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        MCPCancellationRegistry registry;
        const std::string wireID = registry.registerCall("a", json(row.token), uuid(1));
        const auto notification = registry.progressNotification(wireID, row.fraction, row.message);
        ASSERT_TRUE(notification);
        EXPECT_EQ(written(*notification), row.expected);
        EXPECT_EQ(*(*notification->params)["progress"], MCPValue{row.fraction});
        EXPECT_EQ(*(*notification->params)["total"], MCPValue{1.0});
    });
}

TEST(MCPCancellationRegistry, no_progress_reaches_a_client_that_does_not_want_it) {
    MCPCancellationRegistry registry;
    registry.registerCall("without token", {}, uuid(1));
    registry.registerCall("cancelled", "t", uuid(2));
    EXPECT_EQ(registry.progressNotification(first, 0.5, "m"), std::nullopt);
    EXPECT_NE(registry.progressNotification(second, 0.5, "m"), std::nullopt);
    registry.cancel(second);
    EXPECT_EQ(registry.progressNotification(second, 0.5, "m"), std::nullopt);
    EXPECT_EQ(registry.progressNotification("never registered", 0.5, "m"), std::nullopt);
    EXPECT_EQ(registry.progressNotification("cancelled", 0.5, "m"), std::nullopt);
}

TEST(MCPCancellationRegistry, a_newer_call_takes_over_an_external_ID_that_is_still_in_use) {
    MCPCancellationRegistry registry;
    registry.registerCall("a", {}, uuid(1));
    registry.registerCall("a", {}, uuid(2));
    EXPECT_EQ(registry.wireID("a"), second);
    EXPECT_EQ(registry.activeCallCount(), 2U);
    registry.cancel(*registry.wireID("a"));
    EXPECT_TRUE(registry.shouldSendResponse(first));
    EXPECT_FALSE(registry.shouldSendResponse(second));
}

TEST(MCPCancellationRegistry, finishing_either_of_two_calls_removes_their_common_external_ID) {
    for (const char* finished : {first, second}) {
        SCOPED_TRACE(finished);
        MCPCancellationRegistry registry;
        registry.registerCall("a", {}, uuid(1));
        registry.registerCall("a", {}, uuid(2));
        registry.finish(finished);
        EXPECT_EQ(registry.wireID("a"), std::nullopt);
        EXPECT_EQ(registry.activeCallCount(), 1U);
        EXPECT_EQ(registry.calls.count(finished), 0U);
    }
}

} // namespace
} // namespace VostelMCPKit
