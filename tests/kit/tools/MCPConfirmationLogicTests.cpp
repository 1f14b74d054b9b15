#include "kit/tools/MCPConfirmationLogic.h"
#include "tests/support/Table.h"

#include <gtest/gtest.h>
#include <limits>

namespace VostelMCPKit {
namespace {

using namespace MCPConfirmationLogic;
using namespace std::chrono_literals;
using Time = std::chrono::system_clock::time_point;
using Seconds = std::chrono::duration<double>;

constexpr Time created{1'750'000'000s};

TEST(MCPConfirmationLogic, status_follows_from_decision_and_deadline) {
    constexpr double infinite = std::numeric_limits<double>::infinity();
    constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
    constexpr double largest = std::numeric_limits<double>::max();
    struct Row {
        const char* when;
        Time createdAt;
        double ttl;
        std::optional<Decision> decision;
        Time now;
        Status expected;
    };
    const Row rows[] = {
        {"just made", created, 300, {}, created, Status::pending},
        {"a moment before the deadline", created, 300, {}, created + 300s - 1us, Status::pending},
        {"at the deadline", created, 300, {}, created + 300s, Status::expired},
        {"after the deadline", created, 300, {}, created + 301s, Status::expired},
        {"a deadline between two seconds, before", created, 0.25, {}, created + 249ms, Status::pending},
        {"a deadline between two seconds, at it", created, 0.25, {}, created + 250ms, Status::expired},
        {"no time at all", created, 0, {}, created, Status::expired},
        {"the clock was set back", created, 0, {}, created - 1h, Status::pending},
        {"confirmed in time", created, 300, Decision::confirmed, created + 1s, Status::confirmed},
        {"denied in time", created, 300, Decision::denied, created + 1s, Status::denied},
        {"confirmed after the deadline", created, 300, Decision::confirmed, created + 1h, Status::confirmed},
        {"denied after the deadline", created, 300, Decision::denied, created + 1h, Status::denied},
        {"negative", created, -1, {}, created, Status::expired},
        {"negative, and the clock was set back further", created, -1, {}, created - 2s, Status::pending},
        {"negative beyond the clock", created, -largest, {}, Time::min(), Status::expired},
        {"longer than the clock reaches", created, 1e18, {}, Time::max(), Status::pending},
        {"the largest number", created, largest, {}, Time::max(), Status::pending},
        {"infinite", created, infinite, {}, Time::max(), Status::pending},
        {"infinitely negative", created, -infinite, {}, Time::min(), Status::expired},
        {"not a number", created, notANumber, {}, created, Status::expired},
        {"not a number, but answered", created, notANumber, Decision::confirmed, created, Status::confirmed},
        {"made at the start of time, asked at its end", Time::min(), 300, {}, Time::max(), Status::expired},
        {"made at the end of time, asked at its start", Time::max(), 300, {}, Time::min(), Status::pending},
        {"a deadline beyond the end of time", Time::max(), 300, {}, Time::max(), Status::pending},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) {
        EXPECT_EQ(status(Request{{}, row.createdAt, Seconds{row.ttl}, row.decision}, row.now), row.expected);
    });
}

TEST(MCPConfirmationLogic, a_missing_request_is_unknown) { EXPECT_EQ(status(std::nullopt, created), Status::unknown); }

TEST(MCPConfirmationLogic, each_status_has_its_sentence) {
    struct Row {
        const char* when;
        Status status;
        const char* expected;
    };
    const Row rows[] = {
        {"pending", Status::pending,
         "Waiting for the user to confirm or deny this action in Vostel. Ask again shortly."},
        {"confirmed", Status::confirmed, "The user confirmed this action, and it has been performed."},
        {"denied", Status::denied, "The user denied this action. It was not performed."},
        {"expired", Status::expired,
         "This confirmation request expired before the user responded, and the action was not performed. Create a new "
         "request if it is still needed."},
        {"unknown", Status::unknown,
         "No confirmation request exists for this id — it may be mistyped or already cleaned up. Create a new request "
         "if the action is still needed."},
    };
    vostel_tests::forEachRow(rows, [&](const Row& row) { EXPECT_EQ(message(row.status), row.expected); });
}

TEST(MCPConfirmationLogic, requests_compare_by_every_field) {
    const Request request{*UUID::parse("00000000-0000-0000-0000-000000000001"), created, 300s, {}};
    EXPECT_EQ(request, Request{request});
    const Request others[] = {
        {UUID{}, created, 300s, {}},
        {request.id, created + 1s, 300s, {}},
        {request.id, created, 301s, {}},
        {request.id, created, 300s, Decision::denied},
    };
    for (const Request& other : others) EXPECT_NE(request, other);
}

} // namespace
} // namespace VostelMCPKit
