// A client of a server: it sends initialize, calls tools and checks every answer.
#pragma once

#include "bench/driver/Session.h"
#include "bench/workload/Workload.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <sys/types.h>
#include <vector>

namespace vostel_bench {

/// A session after initialize. Each call gets an id of its own. Every answer is checked.
class Client final {
public:
    Client(const Launch& launch, Inbox& inbox);

    /// Makes `count` calls with at most `atOnce` of them unanswered. Returns the time from the first byte written to
    /// the last byte read. `result` is the stub application's answer to `tool`.
    std::chrono::nanoseconds call(const Workload::Tool& tool, const Workload::Result& result, std::size_t count,
                                  std::size_t atOnce);

    /// The same, but returns the time of each call from its request to its answer.
    std::vector<std::chrono::nanoseconds> callTimes(const Workload::Tool& tool, const Workload::Result& result,
                                                    std::size_t count, std::size_t atOnce);

    [[nodiscard]] Session& session() { return session_; }
    [[nodiscard]] pid_t process() const { return session_.process(); }

private:
    Session session_;
    std::uint64_t nextID_ = 1;
};

} // namespace vostel_bench
