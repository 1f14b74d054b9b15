#include "kit/concurrency/Actor.h"
#include "server/LineChannel.h"
#include "server/RunLoop.h"
#include "server/SerialExecutor.h"

#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace vostel_mcp {
namespace {

using VostelMCPKit::Task;

/// An actor that only enters its executor.
class Place final : public VostelMCPKit::Actor {
public:
    explicit Place(VostelMCPKit::Executor& executor) : Actor{executor} {}

    Task<std::thread::id> thread() {
        co_await isolated();
        co_return std::this_thread::get_id();
    }
    Task<void> count(int* counter) {
        co_await isolated();
        ++*counter;
    }
};

TEST(RunLoop, a_task_runs_on_the_calling_thread_until_it_has_ended) {
    RunLoop mainThread;
    std::thread::id ranOn;
    auto task = [](std::thread::id* out) -> Task<void> {
        *out = std::this_thread::get_id();
        co_return;
    };
    mainThread.run(task(&ranOn));
    EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST(RunLoop, continuations_from_other_threads_run_on_the_running_thread) {
    RunLoop mainThread;
    Place place{mainThread};
    InlineExecutor caller;
    int counter = 0;
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&] {
            for (int time = 0; time < 1000; ++time) spawn(place.count(&counter), caller);
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(counter, 0);

    std::thread::id ranOn;
    auto asking = [](Place& asked, std::thread::id* out) -> Task<void> { *out = co_await asked.thread(); };
    mainThread.run(asking(place, &ranOn));
    EXPECT_EQ(counter, 4000);
    EXPECT_EQ(ranOn, std::this_thread::get_id());
}

TEST(RunLoop, requested_idle_work_is_done_once_while_the_task_waits) {
    LineChannel channel;
    int done = 0;
    RunLoop mainThread{std::chrono::milliseconds{1}, [&] {
                           ++done;
                           channel.push({"idle"});
                       }};
    auto waiting = [](LineChannel& lines, RunLoop& loop) -> Task<void> {
        loop.requestIdleWork();
        loop.requestIdleWork();
        std::ignore = co_await lines.next();
    };
    mainThread.run(waiting(channel, mainThread));
    EXPECT_EQ(done, 1);
}

TEST(RunLoop, idle_work_may_be_requested_by_another_thread_while_the_task_waits) {
    LineChannel channel;
    RunLoop mainThread{std::chrono::milliseconds{0}, [&] { channel.finish(); }};
    std::thread other{[&] { mainThread.requestIdleWork(); }};
    auto waiting = [](LineChannel& lines) -> Task<void> { std::ignore = co_await lines.next(); };
    mainThread.run(waiting(channel));
    other.join();
}

} // namespace
} // namespace vostel_mcp
