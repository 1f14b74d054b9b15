// Checks what a server has written. A wrong answer ends the run, however fast it was. None of this is inside the
// measured time. Keys may be in any order; everything else is compared byte by byte.
#pragma once

#include "bench/workload/Workload.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vostel_bench::Answers {

/// `lines` must hold one answer with `result` for each of the `count` ids from `firstID` on, in any order.
void expectResults(std::string_view lines, std::uint64_t firstID, std::size_t count, const Workload::Result& result);

/// `lines` must hold all progress reports of a call, in order, then its answer.
void expectProgressThenResult(std::string_view lines, std::uint64_t id, const Workload::Tool& tool,
                              const Workload::Result& result);

/// The ids of the answers, in the order in which they came.
std::vector<std::uint64_t> ids(std::string_view lines);

/// `line` must hold one successful answer. Returns its result as JSON text.
std::string resultOf(std::string_view line, std::uint64_t id);

} // namespace vostel_bench::Answers
