#include "bench/workload/Workload.h"
#include "kit/jsonrpc/Codec.h"
#include "kit/jsonrpc/JSONReader.h"
#include "kit/jsonrpc/MCPDispatchLogic.h"
#include "kit/jsonrpc/MCPLine.h"
#include "kit/wire/MCPCancellationRegistry.h"
#include "kit/wire/MCPProgressReports.h"
#include "kit/wire/MCPWireFraming.h"

#include <benchmark/benchmark.h>
#include <cstdint>
#include <string>

using namespace VostelMCPKit;
using namespace vostel_bench;

namespace {

std::string callLine(std::string_view arguments) {
    return R"({"jsonrpc":"2.0","id":7,"method":"tools/call","params":{"name":"transcribe_file","arguments":)" +
           std::string{arguments} + "}}";
}

void classifyLine(benchmark::State& state, const std::string& line) {
    for (auto _ : state) {
        auto incoming = MCPDispatchLogic::classify(line);
        benchmark::DoNotOptimize(incoming);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(line.size()));
}

void ClassifyCall(benchmark::State& state) { classifyLine(state, callLine(Workload::smallArgumentsJSON)); }
BENCHMARK(ClassifyCall);

void ClassifyLargeCall(benchmark::State& state) { classifyLine(state, callLine(Workload::largeArgumentsJSON())); }
BENCHMARK(ClassifyLargeCall)->Unit(benchmark::kMicrosecond);

void ClassifyMalformed(benchmark::State& state) { classifyLine(state, R"({"jsonrpc":"2.0","id":7,"method":)"); }
BENCHMARK(ClassifyMalformed);

void AnswerToolList(benchmark::State& state) {
    const MCPRequest request{.id = {7}, .method = "tools/list", .params = {}};
    for (auto _ : state) {
        Bytes line;
        benchmark::DoNotOptimize(appendLine(MCPDispatchLogic::handshakeResponse(request, true), line));
        benchmark::DoNotOptimize(line.data());
    }
}
BENCHMARK(AnswerToolList)->Unit(benchmark::kMicrosecond);

std::string progressPayload(std::string_view requestID) {
    return R"({"kind":"progress","payload":{"fraction":0.)" + Workload::progressDigits(1, 3) + R"(,"requestID":")" +
           std::string{requestID} + "\"}}";
}

/// Cuts the frames of one read of 64 KiB.
void CutFrames(benchmark::State& state) {
    const Bytes frame = MCPWireFraming::encode(progressPayload(UUID{}.text()));
    std::string received;
    while (received.size() < 65'536) received += frame.text();
    for (auto _ : state) {
        std::string_view rest = received;
        while (!rest.empty()) {
            const auto cut = MCPWireFraming::extractFrame(rest);
            benchmark::DoNotOptimize((*cut)->payload.data());
            rest = (*cut)->remainder;
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(received.size() / frame.size()));
}
BENCHMARK(CutFrames)->Unit(benchmark::kMicrosecond);

/// From the payloads of the frames to the lines for the client.
void RelayProgress(benchmark::State& state) {
    MCPCancellationRegistry registry;
    const std::string wireID = registry.registerCall("7", MCPValue{7}, UUID{});
    const std::string payload = progressPayload(wireID);
    // About as many as one read returns.
    constexpr int atOnce = 500;
    for (auto _ : state) {
        MCPProgressReports reports{wireID};
        for (int index = 0; index < atOnce; ++index) reports.add(*canonicalProgress(payload));
        benchmark::DoNotOptimize(reports.lines(*registry.progressNotification(wireID, 0, {})));
    }
    state.SetItemsProcessed(state.iterations() * atOnce);
}
BENCHMARK(RelayProgress);

} // namespace
