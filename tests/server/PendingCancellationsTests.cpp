#include "server/PendingCancellations.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>

namespace vostel_mcp {
namespace {

using namespace std::literals;

constexpr auto forEver = 10min;

TEST(PendingCancellations, without_any_there_is_no_wait) {
    PendingCancellations pending;
    pending.drain(forEver, forEver);
    pending.add();
    pending.released();
    pending.held();
    pending.released();
    pending.remove();
    pending.drain(forEver, forEver);
}

TEST(PendingCancellations, the_last_one_that_is_removed_ends_the_wait) {
    PendingCancellations pending;
    pending.add();
    pending.add();
    std::thread application{[&] {
        for (int count = 0; count < 2; ++count) {
            pending.released();
            pending.remove();
        }
    }};
    pending.drain(forEver, forEver);
    application.join();
}

TEST(PendingCancellations, one_that_the_application_holds_is_waited_for_no_longer_than_its_limit) {
    PendingCancellations pending;
    pending.add();
    pending.drain(1ms, forEver);
    pending.released();
    pending.held();
    pending.drain(1ms, forEver);
}

TEST(PendingCancellations, one_that_only_this_process_delays_is_waited_for_beyond_the_applications_limit) {
    PendingCancellations pending;
    pending.add();
    pending.released();
    std::atomic<bool> written = false;
    std::thread writer{[&] {
        written = true;
        pending.remove();
    }};
    pending.drain(0ms, forEver);
    EXPECT_TRUE(written);
    writer.join();
}

TEST(PendingCancellations, one_that_begins_to_be_held_ends_the_wait_for_this_process) {
    PendingCancellations pending;
    pending.add();
    pending.released();
    std::thread connecting{[&] { pending.held(); }};
    pending.drain(0ms, forEver);
    connecting.join();
}

TEST(PendingCancellations, one_is_given_up_when_this_process_takes_too_long) {
    PendingCancellations pending;
    pending.add();
    pending.released();
    pending.drain(0ms, 1ms);
}

} // namespace
} // namespace vostel_mcp
