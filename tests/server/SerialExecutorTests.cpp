#include "kit/concurrency/Actor.h"
#include "server/SerialExecutor.h"

#include <atomic>
#include <deque>
#include <gtest/gtest.h>
#include <latch>
#include <string>
#include <thread>
#include <vector>

namespace vostel_mcp {
namespace {

using VostelMCPKit::Task;

using Events = std::vector<std::string>;

/// An actor that notices when two threads are inside it.
class Visited final : public VostelMCPKit::Actor {
public:
    explicit Visited(VostelMCPKit::Executor& executor) : Actor{executor} {}

    Task<void> visit() {
        co_await isolated();
        noteVisit();
    }
    /// Visits this actor, the other one, and this one again.
    Task<void> visitAndVisit(Visited& other) {
        co_await isolated();
        noteVisit();
        co_await other.visit();
        noteVisit();
    }

    /// Not atomic: only the actor's isolation separates the threads.
    int visits = 0;
    bool hadCompany = false;

private:
    void noteVisit() {
        if (inside_.exchange(true)) hadCompany = true;
        ++visits;
        inside_ = false;
    }

    std::atomic<bool> inside_ = false;
};

/// Records its beginning, its end and what it posted in between.
class Noting final : public VostelMCPKit::Actor {
public:
    Noting(VostelMCPKit::Executor& executor, std::string name, Events& events)
        : Actor{executor}, name_{std::move(name)}, events_{events} {}

    Task<void> note() {
        co_await isolated();
        events_.push_back(name_);
    }
    Task<void> noteAround(Noting& other, VostelMCPKit::Executor& executor) {
        co_await isolated();
        events_.push_back(name_ + " begins");
        spawn(other.note(), executor);
        events_.push_back(name_ + " ends");
    }

private:
    const std::string name_;
    Events& events_;
};

void onThreads(int count, const std::function<void()>& body) {
    std::latch ready{count};
    std::vector<std::thread> threads;
    for (int number = 0; number < count; ++number) {
        threads.emplace_back([&] {
            ready.arrive_and_wait();
            body();
        });
    }
    for (std::thread& thread : threads) thread.join();
}

TEST(SerialExecutor, one_continuation_at_a_time_runs_however_many_threads_post) {
    SerialExecutor turn;
    InlineExecutor caller;
    Visited actor{turn};
    onThreads(8, [&] {
        for (int time = 0; time < 2000; ++time) spawn(actor.visit(), caller);
    });
    EXPECT_EQ(actor.visits, 8 * 2000);
    EXPECT_FALSE(actor.hadCompany);
}

TEST(SerialExecutor, actors_that_call_each_other_from_many_threads_never_deadlock) {
    SerialExecutor turn;
    SerialExecutor otherTurn;
    InlineExecutor caller;
    Visited actor{turn};
    Visited other{otherTurn};
    onThreads(8, [&] {
        for (int time = 0; time < 500; ++time) {
            spawn(actor.visitAndVisit(other), caller);
            spawn(other.visitAndVisit(actor), caller);
        }
    });
    EXPECT_EQ(actor.visits, 8 * 500 * 3);
    EXPECT_EQ(other.visits, 8 * 500 * 3);
    EXPECT_FALSE(actor.hadCompany || other.hadCompany);
}

TEST(SerialExecutor, a_continuation_runs_on_the_thread_that_posts_it_before_post_returns) {
    SerialExecutor turn;
    InlineExecutor caller;
    Events events;
    Noting noting{turn, "a", events};
    spawn(noting.note(), caller);
    EXPECT_EQ(events, Events{"a"});
}

TEST(SerialExecutor, a_continuation_that_is_posted_inside_another_runs_after_its_end) {
    SerialExecutor turn;
    SerialExecutor otherTurn;
    InlineExecutor caller;
    Events events;
    Noting outer{turn, "outer", events};
    Noting same{turn, "inner", events};
    Noting elsewhere{otherTurn, "elsewhere", events};
    spawn(outer.noteAround(same, caller), caller);
    EXPECT_EQ(events, (Events{"outer begins", "outer ends", "inner"}));
    events.clear();
    spawn(outer.noteAround(elsewhere, caller), caller);
    EXPECT_EQ(events, (Events{"outer begins", "outer ends", "elsewhere"}));
}

TEST(InlineExecutor, chains_of_any_length_take_no_stack) {
    InlineExecutor caller;
    SerialExecutor turn;
    SerialExecutor otherTurn;
    Visited actor{turn};
    Visited other{otherTurn};
    // Each round ends two tasks and changes executors four times.
    auto manyRounds = [](Visited& one, Visited& two) -> Task<void> {
        for (int round = 0; round < 30'000; ++round) co_await one.visitAndVisit(two);
    };
    spawn(manyRounds(actor, other), caller);
    EXPECT_EQ(actor.visits, 2 * 30'000);
    EXPECT_EQ(other.visits, 30'000);
}

/// A new executor for a test that closes it. Never destroyed, because its lock is never released then.
SerialExecutor& executorToClose() {
    static auto* const executors = new std::deque<SerialExecutor>;
    return executors->emplace_back();
}

TEST(SerialExecutor, closing_it_waits_for_the_running_continuation) {
    SerialExecutor& turn = executorToClose();
    InlineExecutor caller;
    std::latch isInside{1};
    std::latch mayLeave{1};
    std::atomic<bool> hasLeft = false;
    auto staying = [](SerialExecutor& inside, std::latch& entered, std::latch& released,
                      std::atomic<bool>& left) -> Task<void> {
        class Place final : public VostelMCPKit::Actor {
        public:
            using Actor::isolated;
            explicit Place(VostelMCPKit::Executor& executor) : Actor{executor} {}
        };
        Place place{inside};
        co_await place.isolated();
        entered.count_down();
        released.wait();
        left = true;
    };
    std::thread other{[&] { spawn(staying(turn, isInside, mayLeave, hasLeft), caller); }};
    isInside.wait();
    std::thread releasing{[&] { mayLeave.count_down(); }};
    turn.close();
    EXPECT_TRUE(hasLeft);
    other.join();
    releasing.join();
}

TEST(SerialExecutor, it_can_be_closed_from_inside) {
    SerialExecutor& turn = executorToClose();
    bool closed = false;
    auto closing = [](SerialExecutor& inside, bool* done) -> Task<void> {
        inside.close();
        *done = true;
        co_return;
    };
    spawn(closing(turn, &closed), turn);
    EXPECT_TRUE(closed);
}

} // namespace
} // namespace vostel_mcp
