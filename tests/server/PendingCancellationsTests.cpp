#include "server/PendingCancellations.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>

namespace vostel_mcp {
namespace {

using namespace std::literals;

constexpr auto forEver = 10min;

TEST(PendingCancellations, without_any_there_is_nothing_to_wait_for) {
    PendingCancellations pending;
    pending.drain(forEver);
    pending.add();
    pending.add();
    pending.remove(false);
    pending.connected();
    pending.remove(true);
    pending.drain(forEver);
}

TEST(PendingCancellations, the_last_one_that_is_removed_ends_the_wait) {
    PendingCancellations pending;
    pending.add();
    pending.add();
    std::thread application{[&] {
        pending.remove(false);
        pending.remove(false);
    }};
    pending.drain(forEver);
    application.join();
}

TEST(PendingCancellations, one_that_is_never_taken_is_waited_for_no_longer_than_the_limit) {
    PendingCancellations pending;
    pending.add();
    pending.drain(1ms);
}

TEST(PendingCancellations, one_that_is_connected_is_waited_for_beyond_the_limit) {
    PendingCancellations pending;
    pending.add();
    pending.connected();
    std::atomic<bool> written = false;
    std::thread writer{[&] {
        written = true;
        pending.remove(true);
    }};
    pending.drain(0ms);
    EXPECT_TRUE(written);
    writer.join();
}

} // namespace
} // namespace vostel_mcp
