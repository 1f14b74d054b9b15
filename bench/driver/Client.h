// What a client does with a server: greet it, call its tools, look at every answer.
#pragma once

#include "bench/driver/Session.h"
#include "bench/workload/Workload.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <sys/types.h>
#include <vector>

namespace vostel_bench {

/// A session in which the server has been greeted and calls have ids of their own. Every answer is verified.
class Client final {
public:
    Client(const Launch& launch, Inbox& inbox);

    /// The time from the first byte written to the last one read, for `count` calls, at most `atOnce` of them
    /// unanswered. `result` is what the stub application answers to `tool`.
    std::chrono::nanoseconds call(const Workload::Tool& tool, const Workload::Result& result, std::size_t count,
                                  std::size_t atOnce);

    /// The same, with the time of each call from its request to its answer.
    std::vector<std::chrono::nanoseconds> callTimes(const Workload::Tool& tool, const Workload::Result& result,
                                                    std::size_t count, std::size_t atOnce);

    [[nodiscard]] Session& session() { return session_; }
    [[nodiscard]] pid_t process() const { return session_.process(); }

private:
    Session session_;
    std::uint64_t nextID_ = 1;
};

} // namespace vostel_bench
