#include "bench/driver/Client.h"

#include "bench/driver/Answers.h"

#include <string_view>
#include <tuple>

namespace vostel_bench {

Client::Client(const Launch& launch, Inbox& inbox) : session_(launch, inbox) {
    const Requests greeting = Requests::initialize(nextID_);
    std::ignore = Answers::resultOf(session_.exchange(greeting, 1), nextID_);
    ++nextID_;
}

std::chrono::nanoseconds Client::call(const Workload::Tool& tool, const Workload::Result& result, std::size_t count,
                                      std::size_t atOnce) {
    const Requests requests = Requests::call(tool, nextID_, count);
    const auto start = std::chrono::steady_clock::now();
    const std::string_view answers = session_.exchange(requests, count + tool.progressFrames, atOnce);
    const auto end = std::chrono::steady_clock::now();
    if (tool.progressFrames > 0)
        Answers::expectProgressThenResult(answers, nextID_, tool, result);
    else
        Answers::expectResults(answers, nextID_, count, result);
    nextID_ += count;
    return end - start;
}

std::vector<std::chrono::nanoseconds> Client::callTimes(const Workload::Tool& tool, const Workload::Result& result,
                                                        std::size_t count, std::size_t atOnce) {
    const Requests requests = Requests::call(tool, nextID_, count);
    Timestamps timestamps;
    const std::string_view answers = session_.exchange(requests, count, atOnce, &timestamps);
    Answers::expectResults(answers, nextID_, count, result);
    std::vector<std::chrono::nanoseconds> times;
    for (const std::uint64_t id : Answers::ids(answers)) {
        times.push_back(timestamps.answered[times.size()] - timestamps.written[id - nextID_]);
    }
    nextID_ += count;
    return times;
}

} // namespace vostel_bench
