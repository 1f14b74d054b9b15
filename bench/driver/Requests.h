// The lines that are written to a server.
#pragma once

#include "bench/workload/Workload.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vostel_bench {

/// Lines that are built before they are needed, so that building them is not measured.
struct Requests {
    std::string lines;
    /// The end of each line in `lines`.
    std::vector<std::size_t> ends;

    void add(std::string_view line);

    static Requests initialize(std::uint64_t id);
    static Requests listTools(std::uint64_t id);
    /// One array of `bytes` bytes that holds empty arrays. The server refuses it, because it is a batch.
    static Requests emptyArrays(std::size_t bytes);
    /// `count` calls with ids from `firstID` on. A tool that reports progress gets its call's id as the token.
    static Requests call(const Workload::Tool& tool, std::uint64_t firstID, std::size_t count);
};

} // namespace vostel_bench
