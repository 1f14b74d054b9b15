#include "kit/concurrency/Actor.h"
#include "kit/concurrency/Task.h"
#include "tests/support/ManualExecutor.h"

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace VostelMCPKit {
namespace {

using vostel_tests::ManualExecutor;
using Trace = std::vector<std::string>;

static_assert(!std::is_copy_constructible_v<Task<int>> && !std::is_copy_assignable_v<Task<int>>);
static_assert(!std::is_move_assignable_v<Task<int>>);
static_assert(!std::is_copy_constructible_v<Actor> && !std::is_copy_assignable_v<Actor>);

Task<void> nothing() { co_return; }

/// An actor that records what runs in it.
class Recorder final : public Actor {
public:
    explicit Recorder(Executor& executor) : Actor{executor} {}

    Task<int> add(std::string line) {
        co_await isolated();
        lines.push_back(std::move(line));
        co_return static_cast<int>(lines.size());
    }
    Task<int> addTwice(std::string line) {
        co_await isolated();
        lines.push_back(line + " begins");
        const int count = co_await add(line + " inside");
        lines.push_back(line + " ends");
        co_return count;
    }
    Task<void> outAndBack(Recorder* other, std::string line) {
        co_await isolated();
        lines.push_back(line + " leaves");
        std::ignore = co_await other->add(line);
        lines.push_back(line + " is back");
    }
    /// Enters the actor and ends there.
    Task<void> visit() { co_await isolated(); }

    Trace lines;
};

TEST(Task, runs_only_when_it_is_awaited) {
    ManualExecutor executor;
    Recorder recorder{executor};
    { const Task<int> dropped = recorder.add("never"); }
    Task<int> task = recorder.add("once");
    executor.drain();
    EXPECT_TRUE(recorder.lines.empty());
    EXPECT_EQ(executor.run(std::move(task)), 1);
    EXPECT_EQ(recorder.lines, Trace{"once"});
}

Task<void> holding(std::shared_ptr<int> /*object*/) { co_return; }

TEST(Task, that_is_never_awaited_drops_its_parameters) {
    const auto object = std::make_shared<int>(1);
    {
        Task<void> task = holding(object);
        EXPECT_EQ(object.use_count(), 2);
        const Task<void> moved = std::move(task);
        EXPECT_EQ(object.use_count(), 2);
    }
    EXPECT_EQ(object.use_count(), 1);
}

Task<void> awaitingLate(std::shared_ptr<int> object, Recorder* recorder) {
    std::ignore = co_await recorder->add("in");
    *object = 2;
}

TEST(Task, frees_its_frame_and_its_parameters_when_it_has_ended) {
    ManualExecutor executor;
    Recorder recorder{executor};
    const auto object = std::make_shared<int>(1);
    spawn(awaitingLate(object, &recorder), executor);
    EXPECT_GT(object.use_count(), 1);
    executor.drain();
    EXPECT_EQ(object.use_count(), 1);
    EXPECT_EQ(*object, 2);
}

Task<std::unique_ptr<int>> boxed(int value) { co_return std::make_unique<int>(value); }
Task<std::unique_ptr<int>> passedOn(int value) {
    auto box = co_await boxed(value);
    ++*box;
    co_return box;
}

TEST(Task, its_result_may_be_move_only) {
    ManualExecutor executor;
    const auto result = executor.run(passedOn(41));
    ASSERT_TRUE(result.has_value() && *result != nullptr);
    EXPECT_EQ(**result, 42);
}

Task<std::string> concatenation(int depth) {
    if (depth == 0) co_return std::string{};
    std::string inner = co_await concatenation(depth - 1);
    inner += static_cast<char>('a' + depth % 26);
    co_return inner;
}

TEST(Task, results_come_back_through_many_levels) {
    ManualExecutor executor;
    const auto result = executor.run(concatenation(100));
    ASSERT_TRUE(result);
    EXPECT_EQ(result->size(), 100U);
    EXPECT_EQ(result->substr(0, 3), "bcd");
}

Task<void> traced(std::string name, Trace* trace) {
    trace->push_back(name + " begins");
    co_await nothing();
    trace->push_back(name + " ends");
}

TEST(Spawn, runs_nothing_before_its_executor_does_and_then_in_order) {
    ManualExecutor executor;
    Trace trace;
    spawn(traced("first", &trace), executor);
    spawn(traced("second", &trace), executor);
    EXPECT_TRUE(trace.empty());
    EXPECT_TRUE(executor.step());
    EXPECT_EQ(trace, (Trace{"first begins", "first ends"}));
    executor.drain();
    EXPECT_EQ(trace, (Trace{"first begins", "first ends", "second begins", "second ends"}));
}

TEST(Spawn, frees_everything_at_its_end) {
    ManualExecutor executor;
    const auto object = std::make_shared<int>(1);
    spawn(holding(object), executor);
    EXPECT_EQ(object.use_count(), 2);
    EXPECT_TRUE(executor.step());
    EXPECT_EQ(object.use_count(), 1);
    EXPECT_FALSE(executor.step());
}

Task<void> addTo(Recorder* recorder, std::string line, Trace* trace) {
    trace->push_back(line + " before");
    std::ignore = co_await recorder->add(line);
    trace->push_back(line + " after");
}

TEST(Actor, its_continuations_run_on_its_executor_and_the_awaiter_continues_on_its_own) {
    ManualExecutor callers;
    ManualExecutor own;
    Recorder recorder{own};
    Trace trace;
    spawn(addTo(&recorder, "x", &trace), callers);

    EXPECT_FALSE(own.step());
    EXPECT_TRUE(callers.step());
    EXPECT_EQ(trace, Trace{"x before"});
    EXPECT_TRUE(recorder.lines.empty());
    EXPECT_FALSE(callers.step());

    EXPECT_TRUE(own.step());
    EXPECT_EQ(recorder.lines, Trace{"x"});
    EXPECT_EQ(trace, Trace{"x before"});
    EXPECT_FALSE(own.step());

    EXPECT_TRUE(callers.step());
    EXPECT_EQ(trace, (Trace{"x before", "x after"}));
    EXPECT_FALSE(callers.step());
}

TEST(Actor, serves_its_callers_in_the_order_in_which_they_come) {
    ManualExecutor callers;
    ManualExecutor own;
    Recorder recorder{own};
    Trace trace;
    for (const char* name : {"a", "b", "c"}) spawn(addTo(&recorder, name, &trace), callers);
    callers.drain();
    EXPECT_EQ(trace, (Trace{"a before", "b before", "c before"}));
    own.drain();
    EXPECT_EQ(recorder.lines, (Trace{"a", "b", "c"}));
    callers.drain();
    EXPECT_EQ(trace, (Trace{"a before", "b before", "c before", "a after", "b after", "c after"}));
}

Task<void> addTwiceTo(Recorder* recorder, std::string line) { std::ignore = co_await recorder->addTwice(line); }

TEST(Actor, its_own_operations_do_not_queue_again) {
    ManualExecutor callers;
    ManualExecutor own;
    Recorder recorder{own};
    spawn(addTwiceTo(&recorder, "a"), callers);
    spawn(addTwiceTo(&recorder, "b"), callers);
    callers.drain();
    EXPECT_TRUE(own.step());
    EXPECT_EQ(recorder.lines, (Trace{"a begins", "a inside", "a ends"}));
    EXPECT_TRUE(own.step());
    EXPECT_FALSE(own.step());
    callers.drain();
}

TEST(Actor, serialises_the_continuations_between_suspensions_not_whole_operations) {
    ManualExecutor callers;
    ManualExecutor ours;
    ManualExecutor theirs;
    Recorder recorder{ours};
    Recorder other{theirs};
    spawn(recorder.outAndBack(&other, "a"), callers);
    spawn(addTwiceTo(&recorder, "b"), callers);
    callers.drain();
    ours.drain();
    EXPECT_EQ(recorder.lines, (Trace{"a leaves", "b begins", "b inside", "b ends"}));
    EXPECT_TRUE(theirs.step());
    EXPECT_EQ(other.lines, Trace{"a"});
    ours.drain();
    EXPECT_EQ(recorder.lines.back(), "a is back");
    callers.drain();
}

TEST(Actor, a_caller_on_its_executor_continues_without_a_post) {
    ManualExecutor own;
    Recorder recorder{own};
    Trace trace;
    spawn(addTo(&recorder, "x", &trace), own);
    EXPECT_TRUE(own.step());
    EXPECT_EQ(trace, (Trace{"x before", "x after"}));
    EXPECT_FALSE(own.step());
}

/// Runs every continuation at once, inside post.
class InlineExecutor final : public Executor {
public:
    void post(std::coroutine_handle<> continuation) override {
        ++posted;
        continuation.resume();
    }

    int posted = 0;
};

/// The lowest and highest address of the stack that were seen.
struct StackUse {
    std::uintptr_t lowest = UINTPTR_MAX;
    std::uintptr_t highest = 0;

    void look() {
        const auto address = reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0));
        lowest = std::min(lowest, address);
        highest = std::max(highest, address);
    }
    [[nodiscard]] std::uintptr_t bytes() const { return highest - lowest; }
};

/// A call that stays on the stack takes more than ten bytes, so this many would exceed the limit.
constexpr int manyTimes = 100'000;
constexpr std::uintptr_t fewBytes = 65'536;

Task<int> looking(StackUse* stack, int value) {
    stack->look();
    co_return value;
}

Task<std::int64_t> summing(StackUse* stack) {
    std::int64_t sum = 0;
    for (int round = 0; round < manyTimes; ++round) {
        sum += co_await looking(stack, round);
        stack->look();
    }
    co_return sum;
}

TEST(Task, many_that_end_at_once_use_no_stack) {
    ManualExecutor executor;
    StackUse stack;
    EXPECT_EQ(executor.run(summing(&stack)), std::int64_t{manyTimes} * (manyTimes - 1) / 2);
    EXPECT_LT(stack.bytes(), fewBytes);
}

Task<int> visiting(Recorder* recorder, int times, StackUse* stack) {
    for (int round = 0; round < times; ++round) {
        co_await recorder->visit();
        stack->look();
    }
    co_return times;
}

TEST(Task, many_visits_to_an_actor_that_runs_at_once_use_no_stack) {
    ManualExecutor callers;
    InlineExecutor own;
    Recorder recorder{own};
    StackUse stack;
    EXPECT_EQ(callers.run(visiting(&recorder, manyTimes, &stack)), manyTimes);
    EXPECT_EQ(own.posted, manyTimes);
    EXPECT_LT(stack.bytes(), fewBytes);
}

TEST(Task, many_visits_to_an_actor_elsewhere_use_no_stack) {
    ManualExecutor callers;
    ManualExecutor own;
    Recorder recorder{own};
    StackUse stack;
    std::optional<int> result;
    const auto store = [](Task<int> task, std::optional<int>* into) -> Task<void> {
        into->emplace(co_await std::move(task));
    };
    spawn(store(visiting(&recorder, manyTimes, &stack), &result), callers);
    while (callers.step() || own.step()) {}
    EXPECT_EQ(result, manyTimes);
    EXPECT_LT(stack.bytes(), fewBytes);
}

/// Runs posted continuations on a thread. The destructor waits until all have run.
class ThreadExecutor final : public Executor {
public:
    ThreadExecutor() : thread_{[this] { run(); }} {}
    ~ThreadExecutor() {
        {
            const std::lock_guard lock{mutex_};
            ending_ = true;
            changed_.notify_one();
        }
        thread_.join();
    }
    void post(std::coroutine_handle<> continuation) override {
        const std::lock_guard lock{mutex_};
        continuations_.push_back(continuation);
        changed_.notify_one();
    }
    [[nodiscard]] std::thread::id id() const { return thread_.get_id(); }

private:
    void run() {
        for (std::unique_lock lock{mutex_};;) {
            changed_.wait(lock, [this] { return ending_ || !continuations_.empty(); });
            if (continuations_.empty()) return;
            const auto continuation = continuations_.front();
            continuations_.pop_front();
            lock.unlock();
            continuation.resume();
            lock.lock();
        }
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::coroutine_handle<>> continuations_;
    bool ending_ = false;
    std::thread thread_;
};

/// Counts without a lock and without an atomic, because the actor serialises its operations.
class Counter final : public Actor {
public:
    explicit Counter(ThreadExecutor& executor) : Actor{executor}, executor_{executor} {}

    Task<std::int64_t> increment() {
        co_await isolated();
        if (std::this_thread::get_id() != executor_.id()) ++onWrongThread_;
        co_return ++count_;
    }
    Task<std::int64_t> onWrongThread() {
        co_await isolated();
        co_return onWrongThread_;
    }

private:
    ThreadExecutor& executor_;
    std::int64_t count_ = 0;
    std::int64_t onWrongThread_ = 0;
};

struct Result {
    std::mutex mutex;
    std::condition_variable changed;
    int ended = 0;
    std::int64_t onWrongThread = 0;
    std::int64_t highest = 0;
};

Task<void> incrementing(Counter* counter, const ThreadExecutor* home, int times, Result* result) {
    std::int64_t highest = 0;
    std::int64_t onWrongThread = 0;
    for (int round = 0; round < times; ++round) {
        highest = co_await counter->increment();
        if (std::this_thread::get_id() != home->id()) ++onWrongThread;
    }
    onWrongThread += co_await counter->onWrongThread();
    const std::lock_guard lock{result->mutex};
    result->highest = std::max(result->highest, highest);
    result->onWrongThread += onWrongThread;
    ++result->ended;
    result->changed.notify_one();
}

Task<void> noteAroundYield(Trace* trace) {
    trace->push_back("before");
    co_await yield();
    trace->push_back("after");
}

Task<void> note(Trace* trace) {
    trace->push_back("other");
    co_return;
}

TEST(Task, yielding_lets_the_executor_run_other_posted_coroutines) {
    ManualExecutor executor;
    Trace trace;
    spawn(noteAroundYield(&trace), executor);
    spawn(note(&trace), executor);
    executor.drain();
    EXPECT_EQ(trace, (Trace{"before", "other", "after"}));
}

TEST(Task, may_end_on_one_thread_while_its_awaiter_suspends_on_another) {
    constexpr int callers = 4;
    constexpr int times = 5'000;
    Result result;
    ThreadExecutor own;
    Counter counter{own};
    ThreadExecutor first;
    ThreadExecutor second;
    for (int caller = 0; caller < callers; ++caller) {
        ThreadExecutor& home = caller % 2 == 0 ? first : second;
        spawn(incrementing(&counter, &home, times, &result), home);
    }
    std::unique_lock lock{result.mutex};
    result.changed.wait(lock, [&] { return result.ended == callers; });
    EXPECT_EQ(result.onWrongThread, 0);
    EXPECT_EQ(result.highest, callers * times);
}

} // namespace
} // namespace VostelMCPKit
