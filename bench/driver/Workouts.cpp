#include "bench/driver/Workouts.h"

#include "bench/driver/Answers.h"
#include "bench/driver/Client.h"
#include "bench/driver/Failure.h"
#include "bench/driver/ProcessFigures.h"
#include "bench/driver/Statistics.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <sched.h>
#include <tuple>

namespace vostel_bench {

namespace {

using Clock = std::chrono::steady_clock;

double microseconds(std::chrono::nanoseconds time) { return std::chrono::duration<double, std::micro>(time).count(); }
double milliseconds(std::chrono::nanoseconds time) { return std::chrono::duration<double, std::milli>(time).count(); }
double seconds(std::chrono::nanoseconds time) { return std::chrono::duration<double>(time).count(); }
Goal atMost(double value) { return {Goal::Kind::atMost, value}; }
Goal atLeast(double value) { return {Goal::Kind::atLeast, value}; }

/// Keeps this process, and what it starts meanwhile, on one processor; the stub application is kept there by the
/// caller.
class OnOneProcessor final {
public:
    OnOneProcessor() {
        ::sched_getaffinity(0, sizeof before_, &before_);
        cpu_set_t first;
        CPU_ZERO(&first);
        int processor = 0;
        while (!CPU_ISSET(processor, &before_)) ++processor;
        CPU_SET(processor, &first);
        if (::sched_setaffinity(0, sizeof first, &first) != 0) failWithErrno("cannot stay on one processor");
    }
    ~OnOneProcessor() { ::sched_setaffinity(0, sizeof before_, &before_); }
    OnOneProcessor(const OnOneProcessor&) = delete;
    OnOneProcessor& operator=(const OnOneProcessor&) = delete;

private:
    cpu_set_t before_{};
};

Block prepareStart(const Launch& launch, Inbox& inbox) {
    return [&launch, &inbox] {
        constexpr int starts = 5;
        const Requests greeting = Requests::initialize(1);
        std::vector<double> times;
        for (int index = 0; index < starts; ++index) {
            const Clock::time_point start = Clock::now();
            Session session(launch, inbox);
            const std::string_view answer = session.exchange(greeting, 1);
            times.push_back(milliseconds(Clock::now() - start));
            std::ignore = Answers::resultOf(answer, 1);
        }
        return std::vector{Statistics::median(times)};
    };
}

Block prepareToolList(const Launch& launch, Inbox& inbox) {
    // One id for all: then every answer must be the first one again, to the byte.
    constexpr std::uint64_t id = 7;
    const OnOneProcessor here;
    auto client = std::make_shared<Client>(launch, inbox);
    const Requests request = Requests::listTools(id);
    const std::string expected{client->session().exchange(request, 1)};
    std::ignore = Answers::resultOf(expected, id);
    const auto trip = [client, request, expected] {
        const Clock::time_point start = Clock::now();
        const std::string_view answer = client->session().exchange(request, 1);
        const Clock::time_point end = Clock::now();
        if (answer != expected) fail("a server changed its list of tools");
        return microseconds(end - start);
    };
    for (int index = 0; index < 300; ++index) std::ignore = trip();
    return [trip] {
        constexpr int trips = 500;
        const OnOneProcessor hereAgain;
        std::vector<double> times;
        for (int index = 0; index < trips; ++index) times.push_back(trip());
        return std::vector{Statistics::median(times)};
    };
}

Block prepareShortCalls(const Launch& launch, Inbox& inbox) {
    auto client = std::make_shared<Client>(launch, inbox);
    const Workload::Result result = Workload::result(Workload::shortCall.resultBytes);
    for (int index = 0; index < 300; ++index) client->call(Workload::shortCall, result, 1, 1);
    return [client, result] {
        constexpr int calls = 1000;
        std::vector<double> times;
        const auto cpuBefore = ProcessFigures::cpuTime(client->process());
        for (int index = 0; index < calls; ++index) {
            times.push_back(microseconds(client->call(Workload::shortCall, result, 1, 1)));
        }
        const auto cpu = ProcessFigures::cpuTime(client->process()) - cpuBefore;
        return std::vector{Statistics::quantile(times, 0.5), Statistics::quantile(times, 0.99),
                           microseconds(cpu) / calls};
    };
}

Block prepareCallsInFlight(const Launch& launch, Inbox& inbox) {
    constexpr std::size_t atOnce = 64;
    auto client = std::make_shared<Client>(launch, inbox);
    const Workload::Result result = Workload::result(Workload::shortCall.resultBytes);
    client->call(Workload::shortCall, result, 500, atOnce);
    return [client, result] {
        constexpr std::size_t calls = 4000;
        return std::vector{calls / seconds(client->call(Workload::shortCall, result, calls, atOnce))};
    };
}

/// Each block has a server of its own, since a peak stays: a first call to warm up, `calls` on the clock, one at a
/// time.
std::function<Block(const Launch&, Inbox&)> largeCalls(const Workload::Tool& tool, int calls) {
    return [&tool, calls](const Launch& launch, Inbox& inbox) -> Block {
        return [&tool, calls, &launch, &inbox, result = Workload::result(tool.resultBytes)] {
            Client client(launch, inbox);
            client.call(tool, result, 1, 1);
            std::vector<double> times;
            for (int index = 0; index < calls; ++index) times.push_back(milliseconds(client.call(tool, result, 1, 1)));
            return std::vector{Statistics::median(times),
                               ProcessFigures::mebibytes(ProcessFigures::peakMemory(client.process()))};
        };
    };
}

Block prepareBurst(const Launch& launch, Inbox& inbox) {
    return [&launch, &inbox, result = Workload::result(Workload::slowCall.resultBytes)] {
        constexpr std::size_t calls = 1000;
        Client client(launch, inbox);
        client.call(Workload::shortCall, result, 1, 1);
        const double time = milliseconds(client.call(Workload::slowCall, result, calls, calls));
        return std::vector{time, ProcessFigures::mebibytes(ProcessFigures::peakMemory(client.process()))};
    };
}

Block prepareProgress(const Launch& launch, Inbox& inbox) {
    auto client = std::make_shared<Client>(launch, inbox);
    return [client, result = Workload::result(Workload::progressFlood.resultBytes)] {
        const auto time = client->call(Workload::progressFlood, result, 1, 1);
        return std::vector{static_cast<double>(Workload::progressFlood.progressFrames) / seconds(time)};
    };
}

} // namespace

bool Goal::isMetBy(double measured) const {
    switch (kind) {
    case Kind::atMost:
        return measured <= value;
    case Kind::atLeast:
        return measured >= value;
    case Kind::none:
        return true;
    }
    return false;
}

std::vector<Workout> allWorkouts() {
    return {
        {.name = "start",
         .rows = {{"start, spawn to the reply of initialize", Unit::milliseconds, atMost(0.01)}},
         .prepare = prepareStart},
        {.name = "list",
         .rows = {{"tools/list, p50, all on one processor", Unit::microseconds, atMost(0.25)}},
         .prepare = prepareToolList},
        {.name = "call",
         .rows = {{"tools/call, 200 bytes, p50", Unit::microseconds, atMost(0.8)},
                  {"tools/call, 200 bytes, p99", Unit::microseconds, atMost(0.25)},
                  {"tools/call, 200 bytes, processor time", Unit::microseconds, atMost(0.5)}},
         .prepare = prepareShortCalls},
        {.name = "in-flight",
         .rows = {{"64 calls in flight, calls per second", Unit::perSecond, atLeast(1.5)}},
         .prepare = prepareCallsInFlight},
        {.name = "1-mib",
         .rows = {{"1 MiB transcript, time per call", Unit::milliseconds, atMost(0.35)},
                  {"1 MiB transcript, peak memory", Unit::mebibytes, atMost(0.25)}},
         .prepare = largeCalls(Workload::transcript1MiB, 20)},
        {.name = "16-mib",
         .rows = {{"16 MiB transcript, time per call", Unit::milliseconds, atMost(0.35)},
                  {"16 MiB transcript, peak memory", Unit::mebibytes, atMost(0.25)}},
         .prepare = largeCalls(Workload::transcript16MiB, 4)},
        {.name = "arguments",
         .rows = {{"10 MB of arguments, time per call", Unit::milliseconds, atMost(0.25)},
                  {"10 MB of arguments, peak memory", Unit::mebibytes, atMost(0.15)}},
         .prepare = largeCalls(Workload::largeArguments, 4)},
        {.name = "burst",
         .rows = {{"1000 calls at once, 200 ms each, time", Unit::milliseconds, atMost(0.75)},
                  {"1000 calls at once, peak memory", Unit::mebibytes, atMost(0.2)}},
         .prepare = prepareBurst},
        {.name = "progress",
         .rows = {{"100 000 progress frames, per second", Unit::perSecond, atLeast(150)}},
         .prepare = prepareProgress},
        {.name = "relay",
         .rows = {{"the same against a plain Node relay", Unit::perSecond, atLeast(5)}},
         .againstRelay = true,
         .prepare = prepareProgress},
    };
}

} // namespace vostel_bench
