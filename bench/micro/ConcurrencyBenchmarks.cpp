#include "kit/concurrency/Actor.h"
#include "posix/BlockingThread.h"
#include "server/SerialExecutor.h"

#include <atomic>
#include <benchmark/benchmark.h>
#include <cstdint>
#include <tuple>

using namespace VostelMCPKit;
using namespace vostel_mcp;

namespace {

class Counter final : public Actor {
public:
    explicit Counter(Executor& executor) : Actor{executor} {}

    Task<std::int64_t> next() {
        co_await isolated();
        co_return ++count_;
    }

private:
    std::int64_t count_ = 0;
};

Task<void> callRepeatedly(Counter& counter, benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(co_await counter.next());
}

/// A call into an actor and the return from it.
void ExecutorHop(benchmark::State& state) {
    InlineExecutor outside;
    SerialExecutor inside;
    Counter counter{inside};
    spawn(callRepeatedly(counter, state), outside);
}
BENCHMARK(ExecutorHop);

using Answered = std::expected<int, PosixError>;
constexpr posix::ThreadName name{"benchmark", "benchmark"};

Task<void> workOnce(const posix::ThreadStarter& starter, std::atomic<bool>& done) {
    auto work = []() -> Answered { return 1; };
    std::ignore = co_await posix::runBlocking(starter, name, work);
    done = true;
    done.notify_one();
}

/// One operation on a thread of its own, and waking the waiting thread.
void BlockingThreadRoundTrip(benchmark::State& state) {
    const posix::ThreadStarter starter = posix::startBlockingThread;
    InlineExecutor caller;
    std::atomic<bool> done = false;
    for (auto _ : state) {
        done = false;
        spawn(workOnce(starter, done), caller);
        done.wait(false);
    }
}
BENCHMARK(BlockingThreadRoundTrip)->UseRealTime()->Unit(benchmark::kMicrosecond);

} // namespace
