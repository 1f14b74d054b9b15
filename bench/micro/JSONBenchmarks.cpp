#include "bench/workload/Workload.h"
#include "kit/jsonrpc/CanonicalJSON.h"
#include "kit/jsonrpc/JSONReader.h"
#include "kit/jsonrpc/JSONWriter.h"

#include <benchmark/benchmark.h>
#include <cstdint>
#include <string>

using namespace VostelMCPKit;
using namespace vostel_bench;

namespace {

constexpr std::int64_t mebibyte = 1 << 20;

std::string transcript(const benchmark::State& state) {
    return Workload::result({.name = "transcript", .resultBytes = static_cast<std::size_t>(state.range(0))}).json;
}

void countBytes(benchmark::State& state, const std::string& text) {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

void readText(benchmark::State& state, const std::string& text) {
    for (auto _ : state) {
        auto value = readJSON(text);
        benchmark::DoNotOptimize(value);
    }
    countBytes(state, text);
}

void writeText(benchmark::State& state, const std::string& text) {
    const auto value = readJSON(text);
    for (auto _ : state) {
        Bytes out;
        benchmark::DoNotOptimize(writeJSON(*value, out));
        benchmark::DoNotOptimize(out.data());
    }
    countBytes(state, text);
}

/// Reads a result and destroys its value.
void ReadTranscript(benchmark::State& state) { readText(state, transcript(state)); }
BENCHMARK(ReadTranscript)->Arg(200)->Arg(mebibyte)->Arg(16 * mebibyte)->Unit(benchmark::kMicrosecond);

/// Recognises a result in our writer's form. The server does this instead of reading and writing the result.
void RecogniseTranscript(benchmark::State& state) {
    const std::string text = transcript(state);
    for (auto _ : state) benchmark::DoNotOptimize(isCanonicalJSON(text));
    countBytes(state, text);
}
BENCHMARK(RecogniseTranscript)->Arg(200)->Arg(mebibyte)->Arg(16 * mebibyte)->Unit(benchmark::kMicrosecond);

void WriteTranscript(benchmark::State& state) { writeText(state, transcript(state)); }
BENCHMARK(WriteTranscript)->Arg(200)->Arg(mebibyte)->Arg(16 * mebibyte)->Unit(benchmark::kMicrosecond);

void ReadLargeArguments(benchmark::State& state) { readText(state, Workload::largeArgumentsJSON()); }
BENCHMARK(ReadLargeArguments)->Unit(benchmark::kMicrosecond);

void WriteLargeArguments(benchmark::State& state) { writeText(state, Workload::largeArgumentsJSON()); }
BENCHMARK(WriteLargeArguments)->Unit(benchmark::kMicrosecond);

void ReadNumbers(benchmark::State& state) {
    std::string text = "[0.5";
    for (int index = 0; index < 10'000; ++index) text += ',' + std::to_string(index) + ".25";
    readText(state, text + ']');
}
BENCHMARK(ReadNumbers)->Unit(benchmark::kMicrosecond);

void WriteNumbers(benchmark::State& state) {
    std::string text = "[0.5";
    for (int index = 0; index < 10'000; ++index) text += ',' + std::to_string(index) + ".37";
    writeText(state, text + ']');
}
BENCHMARK(WriteNumbers)->Unit(benchmark::kMicrosecond);

} // namespace
