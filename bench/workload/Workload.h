// What the driver asks for and the stub application answers. Both build from the same functions, so that each can tell
// whether the bytes went through the server unharmed.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vostel_bench::Workload {

/// The result of a tool call as JSON text: compact and with sorted keys, just as the server writes it.
struct Result {
    std::string json;
    /// Parts of `json` that a server may move around, when it keeps another order of keys, but may never change.
    std::vector<std::string> parts;
};

/// One kind of call. The tool's name alone tells the stub what to do.
struct Tool {
    std::string_view name;
    std::size_t resultBytes = 0;
    std::chrono::milliseconds delay{0};
    std::size_t progressFrames = 0;
    bool sendsLargeArguments = false;
};

inline constexpr Tool shortCall{.name = "short_call", .resultBytes = 200};
inline constexpr Tool slowCall{.name = "slow_call", .resultBytes = 200, .delay = std::chrono::milliseconds{200}};
inline constexpr Tool transcript1MiB{.name = "transcript_1_mib", .resultBytes = 1U << 20U};
inline constexpr Tool transcript16MiB{.name = "transcript_16_mib", .resultBytes = 16U << 20U};
inline constexpr Tool largeArguments{.name = "large_arguments", .resultBytes = 200, .sendsLargeArguments = true};
inline constexpr Tool progressFlood{.name = "progress_flood", .resultBytes = 200, .progressFrames = 100'000};

inline constexpr Tool tools[] = {shortCall, slowCall, transcript1MiB, transcript16MiB, largeArguments, progressFlood};

/// Below a thousand bytes one block of text of exactly that length in all; above, a transcript with per-token segments
/// that is the first to reach `bytes`.
Result result(std::size_t bytes);

/// The arguments of `largeArguments`: a vocabulary of 10 MB, as JSON text.
std::string largeArgumentsJSON();

/// The arguments of every other tool.
inline constexpr std::string_view smallArgumentsJSON = R"({"path":"/Users/someone/Recordings/Interview 7.m4a"})";

/// The digits after "0." of the `index`-th report's fraction. Always seven, none of them a trailing zero, so that
/// frames are of one length and every server writes the number alike.
std::string progressDigits(std::size_t index, std::size_t count);

} // namespace vostel_bench::Workload
