// The alternatives that we decided against, measured in the same way as our own code. docs/decisions compares the two.
#include "bench/workload/Workload.h"
#include "kit/support/PosixError.h"

#include <atomic>
#include <benchmark/benchmark.h>
#include <cerrno>
#include <cstdint>
#include <expected>
#include <nlohmann/json.hpp>
#include <string>
#include <system_error>
#include <thread>

using namespace vostel_bench;

namespace {

std::string transcriptText(const benchmark::State& state) {
    return Workload::result({.name = "transcript", .resultBytes = static_cast<std::size_t>(state.range(0))}).json;
}

void countText(benchmark::State& state, const std::string& text) {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

/// To compare with ReadTranscript.
void ReadTranscriptWithNlohmann(benchmark::State& state) {
    const std::string text = transcriptText(state);
    for (auto _ : state) {
        auto value = nlohmann::json::parse(text);
        benchmark::DoNotOptimize(value);
    }
    countText(state, text);
}
BENCHMARK(ReadTranscriptWithNlohmann)->Arg(200)->Arg(1 << 20)->Arg(16 << 20)->Unit(benchmark::kMicrosecond);

/// To compare with WriteTranscript.
void WriteTranscriptWithNlohmann(benchmark::State& state) {
    const std::string text = transcriptText(state);
    const auto value = nlohmann::json::parse(text);
    for (auto _ : state) benchmark::DoNotOptimize(value.dump());
    countText(state, text);
}
BENCHMARK(WriteTranscriptWithNlohmann)->Arg(200)->Arg(1 << 20)->Arg(16 << 20)->Unit(benchmark::kMicrosecond);

// A failure that passes through `calls` callers before it is handled.

[[gnu::noinline]] std::expected<int, VostelMCPKit::PosixError> failByValue(int calls) {
    if (calls == 0) return std::unexpected(VostelMCPKit::PosixError{ENOENT});
    auto result = failByValue(calls - 1);
    if (!result) return std::unexpected(result.error());
    return *result + 1;
}

[[gnu::noinline]] int failByException(int calls) {
    if (calls == 0) throw std::system_error{ENOENT, std::generic_category()};
    return failByException(calls - 1) + 1;
}

void FailureAsValue(benchmark::State& state) {
    for (auto _ : state) benchmark::DoNotOptimize(failByValue(static_cast<int>(state.range(0))));
}
BENCHMARK(FailureAsValue)->Arg(1)->Arg(10);

void FailureAsException(benchmark::State& state) {
    for (auto _ : state) {
        try {
            benchmark::DoNotOptimize(failByException(static_cast<int>(state.range(0))));
        } catch (const std::system_error& error) {
            benchmark::DoNotOptimize(&error);
        }
    }
}
BENCHMARK(FailureAsException)->Arg(1)->Arg(10);

/// To compare with BlockingThreadRoundTrip: a joined thread of the standard library, with the system's stack.
void StandardThreadRoundTrip(benchmark::State& state) {
    std::atomic<int> answers = 0;
    for (auto _ : state) std::thread{[&] { ++answers; }}.join();
    benchmark::DoNotOptimize(answers.load());
}
BENCHMARK(StandardThreadRoundTrip)->UseRealTime()->Unit(benchmark::kMicrosecond);

} // namespace
