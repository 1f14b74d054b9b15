// The driver's requests and the stub application's answers. Both programs build them with the same functions, so each
// can check that the server has not changed the bytes.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vostel_bench::Workload {

/// The result of a tool call.
struct Result {
    /// Compact and with sorted keys, as the server writes it.
    std::string json;
    /// What the application sends. It differs from `json` only in the order of the keys.
    std::string sent;
    /// Parts of `json` that no server may change. A server with another order of keys may move them.
    std::vector<std::string> parts;
};

/// The form of a large result.
enum class Shape {
    transcript,
    /// Its keys are not in the order of the server's writer, so the server must rewrite it.
    unsortedTranscript,
    // These are unsorted, too. They show how much memory a value of many small parts takes.
    emptyArrays,
    zeros,
    nestedArrays
};

/// One kind of call. The stub chooses its answer only by the tool's name.
struct Tool {
    std::string_view name;
    std::size_t resultBytes = 0;
    std::chrono::milliseconds delay{0};
    std::size_t progressFrames = 0;
    bool sendsLargeArguments = false;
    Shape shape = Shape::transcript;
};

inline constexpr Tool shortCall{.name = "short_call", .resultBytes = 200};
inline constexpr Tool slowCall{.name = "slow_call", .resultBytes = 200, .delay = std::chrono::milliseconds{200}};
inline constexpr Tool transcript1MiB{.name = "transcript_1_mib", .resultBytes = 1U << 20U};
inline constexpr Tool transcript16MiB{.name = "transcript_16_mib", .resultBytes = 16U << 20U};
inline constexpr Tool unsorted16MiB{
    .name = "unsorted_16_mib", .resultBytes = 16U << 20U, .shape = Shape::unsortedTranscript};
inline constexpr Tool emptyArrays{.name = "empty_arrays", .resultBytes = 60U << 20U, .shape = Shape::emptyArrays};
inline constexpr Tool zeros{.name = "zeros", .resultBytes = 60U << 20U, .shape = Shape::zeros};
inline constexpr Tool nestedArrays{.name = "nested_arrays", .resultBytes = 60U << 20U, .shape = Shape::nestedArrays};
inline constexpr Tool largeArguments{.name = "large_arguments", .resultBytes = 200, .sendsLargeArguments = true};
inline constexpr Tool progressFlood{.name = "progress_flood", .resultBytes = 200, .progressFrames = 100'000};

/// From 1 KiB to nearly the largest frame, for the plot of time against size.
inline constexpr Tool ofSizes[] = {
    {.name = "transcript_1_kib", .resultBytes = 1U << 10U},
    {.name = "transcript_4_kib", .resultBytes = 4U << 10U},
    {.name = "transcript_16_kib", .resultBytes = 16U << 10U},
    {.name = "transcript_64_kib", .resultBytes = 64U << 10U},
    {.name = "transcript_256_kib", .resultBytes = 1U << 18U},
    transcript1MiB,
    {.name = "transcript_4_mib", .resultBytes = 4U << 20U},
    transcript16MiB,
    {.name = "transcript_64_mib", .resultBytes = (64U << 20U) - 4096},
};

inline constexpr Tool others[] = {shortCall,     slowCall,    largeArguments, progressFlood,
                                  unsorted16MiB, emptyArrays, zeros,          nestedArrays};

/// The tool of this name; a null pointer when there is none.
const Tool* toolNamed(std::string_view name);

/// The result of `tool`. A transcript of less than a thousand bytes is one block of text with exactly that length. A
/// longer one has segments, which are added until it reaches the length.
Result result(const Tool& tool);

/// The arguments of `largeArguments`: a vocabulary of 10 MB, as JSON text.
std::string largeArgumentsJSON();

/// The arguments of every other tool.
inline constexpr std::string_view smallArgumentsJSON = R"({"path":"/Users/someone/Recordings/Interview 7.m4a"})";

/// The digits after "0." in the fraction of report number `index`. Always seven digits without a zero at the end, so
/// that all frames have one length and every server writes the same number.
std::string progressDigits(std::size_t index, std::size_t count);

} // namespace vostel_bench::Workload
