// Whether what a server wrote is what it should have written: a fast wrong answer ends the run. Nothing here runs on
// the clock. The order of keys is left open; everything else is compared to the byte.
#pragma once

#include "bench/workload/Workload.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vostel_bench::Answers {

/// One answer of `result` to each id from `firstID` on, `count` in all, in any order.
void expectResults(std::string_view lines, std::uint64_t firstID, std::size_t count, const Workload::Result& result);

/// All progress reports of a call, in order, then its answer.
void expectProgressThenResult(std::string_view lines, std::uint64_t id, const Workload::Tool& tool,
                              const Workload::Result& result);

/// The ids of the answers, in the order in which they came.
std::vector<std::uint64_t> ids(std::string_view lines);

/// One successful answer; returns its result as JSON text.
std::string resultOf(std::string_view line, std::uint64_t id);

} // namespace vostel_bench::Answers
