#include "bench/driver/Scenarios.h"

#include "bench/driver/Answers.h"
#include "bench/driver/Client.h"
#include "bench/driver/Failure.h"
#include "bench/driver/ProcessFigures.h"
#include "bench/driver/Statistics.h"

#include <chrono>
#include <cstdint>
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

/// Keeps this process, its new child processes and the stub application on one processor.
class OnOneProcessor final {
public:
    explicit OnOneProcessor(pid_t application) : application_{application} {
        ::sched_getaffinity(0, sizeof before_, &before_);
        cpu_set_t first;
        CPU_ZERO(&first);
        int processor = 0;
        while (!CPU_ISSET(processor, &before_)) ++processor;
        CPU_SET(processor, &first);
        if (!pin(first)) failWithErrno("cannot stay on one processor");
    }
    ~OnOneProcessor() { pin(before_); }
    OnOneProcessor(const OnOneProcessor&) = delete;
    OnOneProcessor& operator=(const OnOneProcessor&) = delete;

private:
    bool pin(const cpu_set_t& processors) const {
        return ::sched_setaffinity(0, sizeof processors, &processors) == 0 &&
               ::sched_setaffinity(application_, sizeof processors, &processors) == 0;
    }

    const pid_t application_;
    cpu_set_t before_{};
};

using Figures = std::vector<double>;

Figures start(const Launch& launch, Inbox& inbox) {
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
    return {Statistics::median(times)};
}

Figures toolLists(const Launch& launch, Inbox& inbox) {
    constexpr int warmUp = 300;
    constexpr int trips = 500;
    // All requests have the same id, so every answer must equal the first one.
    constexpr std::uint64_t id = 7;
    const OnOneProcessor here{launch.application};
    Client client(launch, inbox);
    const Requests request = Requests::listTools(id);
    const std::string expected{client.session().exchange(request, 1)};
    std::ignore = Answers::resultOf(expected, id);
    std::vector<double> times;
    for (int index = 0; index < warmUp + trips; ++index) {
        const Clock::time_point start = Clock::now();
        const std::string_view answer = client.session().exchange(request, 1);
        const Clock::time_point end = Clock::now();
        if (answer != expected) fail("a server changed its list of tools");
        if (index >= warmUp) times.push_back(microseconds(end - start));
    }
    return {Statistics::median(times)};
}

const Workload::Result& shortResult() {
    static const Workload::Result result = Workload::result(Workload::shortCall);
    return result;
}

/// The time of each call in microseconds. The calls are made one after the other.
std::vector<double> shortCallTimes(Client& client, int calls) {
    std::vector<double> times;
    for (int index = 0; index < calls; ++index) {
        times.push_back(microseconds(client.call(Workload::shortCall, shortResult(), 1, 1)));
    }
    return times;
}

Figures shortCalls(Client& client) {
    constexpr int calls = 1000;
    const auto cpuBefore = ProcessFigures::cpuTime(client.process());
    const std::vector<double> times = shortCallTimes(client, calls);
    const auto cpu = ProcessFigures::cpuTime(client.process()) - cpuBefore;
    return {Statistics::quantile(times, 0.5), Statistics::quantile(times, 0.99), microseconds(cpu) / calls};
}

double callsInFlightPerSecond(Client& client) {
    constexpr std::size_t atOnce = 64;
    constexpr std::size_t calls = 4000;
    client.call(Workload::shortCall, shortResult(), 500, atOnce);
    return calls / seconds(client.call(Workload::shortCall, shortResult(), calls, atOnce));
}

Figures shortCallsOneAtATime(const Launch& launch, Inbox& inbox) {
    Client client(launch, inbox);
    std::ignore = shortCallTimes(client, 300);
    return shortCalls(client);
}

Figures shortCallsOnOneProcessor(const Launch& launch, Inbox& inbox) {
    const OnOneProcessor here{launch.application};
    return {shortCallsOneAtATime(launch, inbox).front()};
}

Figures shortCallsInFlight(const Launch& launch, Inbox& inbox) {
    Client client(launch, inbox);
    return {callsInFlightPerSecond(client)};
}

/// Few sessions of an AI client last that long. But a runtime with a just-in-time compiler reaches its best speed only
/// after many calls.
Figures shortCallsInAnOldSession(const Launch& launch, Inbox& inbox) {
    Client client(launch, inbox);
    std::ignore = shortCallTimes(client, 10'000);
    Figures figures = shortCalls(client);
    figures.push_back(callsInFlightPerSecond(client));
    return figures;
}

/// One call to warm up, then `calls` measured calls, one after the other.
std::function<Figures(const Launch&, Inbox&)> largeCalls(const Workload::Tool& tool, int calls) {
    return [&tool, calls](const Launch& launch, Inbox& inbox) -> Figures {
        const auto result = Workload::result(tool);
        Client client(launch, inbox);
        client.call(tool, result, 1, 1);
        std::vector<double> times;
        for (int index = 0; index < calls; ++index) times.push_back(milliseconds(client.call(tool, result, 1, 1)));
        return {Statistics::median(times), ProcessFigures::mebibytes(ProcessFigures::peakMemory(client.process()))};
    };
}

/// How much memory the server needs for a value of many small parts. Only one call, because it takes long.
std::function<Figures(const Launch&, Inbox&)> amplification(const Workload::Tool& tool) {
    return [&tool](const Launch& launch, Inbox& inbox) -> Figures {
        Client client(launch, inbox);
        const double time = milliseconds(client.call(tool, Workload::result(tool), 1, 1));
        return {ProcessFigures::mebibytes(ProcessFigures::peakMemory(client.process())), time};
    };
}

/// The same for a line of the client.
Figures amplifiedLine(const Launch& launch, Inbox& inbox) {
    constexpr std::size_t bytes = 100U << 20U;
    Client client(launch, inbox);
    const Requests request = Requests::emptyArrays(bytes);
    const Clock::time_point start = Clock::now();
    client.session().exchange(request, 1);
    const double time = milliseconds(Clock::now() - start);
    return {ProcessFigures::mebibytes(ProcessFigures::peakMemory(client.process())), time};
}

Figures burst(const Launch& launch, Inbox& inbox) {
    constexpr std::size_t calls = 1000;
    Client client(launch, inbox);
    client.call(Workload::shortCall, shortResult(), 1, 1);
    const auto result = Workload::result(Workload::slowCall);
    const double time = milliseconds(client.call(Workload::slowCall, result, calls, calls));
    return {time, ProcessFigures::mebibytes(ProcessFigures::peakMemory(client.process()))};
}

Figures progress(const Launch& launch, Inbox& inbox) {
    Client client(launch, inbox);
    const auto result = Workload::result(Workload::progressFlood);
    const auto time = client.call(Workload::progressFlood, result, 1, 1);
    return {static_cast<double>(Workload::progressFlood.progressFrames) / seconds(time)};
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

std::vector<Scenario> allScenarios() {
    using Baseline = Scenario::Baseline;
    const auto amplified = [](const char* name, const char* what, const Workload::Tool& tool) {
        const std::string text = std::string{"60 MiB of "} + what;
        return Scenario{.name = name,
                        .rows = {{text + ", peak memory", Unit::mebibytes, atMost(360), {}},
                                 {text + ", time", Unit::milliseconds, {}, {}}},
                        .baseline = Baseline::none,
                        .measure = amplification(tool)};
    };
    return {
        {.name = "start",
         .rows = {{"start, spawn to the reply of initialize", Unit::milliseconds, atMost(0.003), atMost(1.2)}},
         .measure = start},
        {.name = "list",
         .rows = {{"tools/list, p50, all on one processor", Unit::microseconds, atMost(0.05), atMost(1.5)}},
         .measure = toolLists},
        {.name = "call",
         .rows = {{"tools/call, 200 bytes, p50", Unit::microseconds, atMost(0.45), atMost(1.15)},
                  {"tools/call, 200 bytes, p99", Unit::microseconds, atMost(0.25), {}},
                  {"tools/call, 200 bytes, processor time", Unit::microseconds, atMost(0.5), {}}},
         .measure = shortCallsOneAtATime},
        {.name = "call-on-one-processor",
         .rows = {{"tools/call, p50, all on one processor", Unit::microseconds, atMost(0.35), atMost(0.85)}},
         .measure = shortCallsOnOneProcessor},
        {.name = "in-flight",
         .rows = {{"64 calls in flight, calls per second", Unit::perSecond, atLeast(3), atLeast(2)}},
         .measure = shortCallsInFlight},
        {.name = "old-session",
         .rows = {{"after 10 000 calls: tools/call, p50", Unit::microseconds, {}, {}},
                  {"after 10 000 calls: tools/call, p99", Unit::microseconds, {}, {}},
                  {"after 10 000 calls: processor time", Unit::microseconds, {}, {}},
                  {"after 10 000 calls: 64 in flight", Unit::perSecond, {}, {}}},
         .measure = shortCallsInAnOldSession},
        {.name = "1-mib",
         .rows = {{"1 MiB transcript, time per call", Unit::milliseconds, atMost(0.1), atMost(2.5)},
                  {"1 MiB transcript, peak memory", Unit::mebibytes, atMost(0.04), atMost(1.5)}},
         .measure = largeCalls(Workload::transcript1MiB, 20)},
        {.name = "16-mib",
         .rows = {{"16 MiB transcript, time per call", Unit::milliseconds, atMost(0.08), atMost(2)},
                  {"16 MiB transcript, peak memory", Unit::mebibytes, atMost(0.065), atMost(1.15)}},
         .measure = largeCalls(Workload::transcript16MiB, 4)},
        {.name = "unsorted",
         .rows = {{"16 MiB, unsorted keys, time per call", Unit::milliseconds, atMost(0.22), atMost(7)},
                  {"16 MiB, unsorted keys, peak memory", Unit::mebibytes, atMost(0.11), atMost(2)}},
         .measure = largeCalls(Workload::unsorted16MiB, 4)},
        {.name = "arguments",
         .rows = {{"10 MB of arguments, time per call", Unit::milliseconds, atMost(0.15), atMost(4)},
                  {"10 MB of arguments, peak memory", Unit::mebibytes, atMost(0.09), atMost(1.5)}},
         .measure = largeCalls(Workload::largeArguments, 4)},
        amplified("empty-arrays", "[]", Workload::emptyArrays),
        amplified("zeros", "0,", Workload::zeros),
        amplified("nested-arrays", "nested [", Workload::nestedArrays),
        {.name = "client-arrays",
         .rows = {{"a line of 100 MiB of [], peak memory", Unit::mebibytes, atMost(600), {}},
                  {"a line of 100 MiB of [], time", Unit::milliseconds, {}, {}}},
         .baseline = Baseline::none,
         .measure = amplifiedLine},
        {.name = "burst",
         .rows = {{"1000 calls at once, 200 ms each, time", Unit::milliseconds, atMost(0.57), atMost(0.95)},
                  {"1000 calls at once, peak memory", Unit::mebibytes, atMost(0.14), atMost(1.1)}},
         .measure = burst},
        {.name = "progress",
         .rows = {{"100 000 progress frames, per second", Unit::perSecond, atLeast(150), atLeast(0.7)}},
         .measure = progress},
        {.name = "relay",
         .rows = {{"the same against a plain Node relay", Unit::perSecond, atLeast(8), {}}},
         .baseline = Baseline::plainRelay,
         .measure = progress},
    };
}

} // namespace vostel_bench
