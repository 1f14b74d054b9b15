// The calls of the server by their wire id. A cancellation comes on another connection and finds its call here.
#pragma once

#include "companion/support/Cancellation.h"

#include <chrono>
#include <deque>
#include <memory>
#include <string>
#include <unordered_map>

namespace vostel_companion {

/// Not thread-safe: the server's loop owns it. Callers pass in the time.
class CallRegistry final {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// A cancellation can arrive before its request, because it has a connection of its own. It is remembered this
    /// long.
    static constexpr std::chrono::seconds memory{60};
    /// The most cancellations that are remembered. One more drops the oldest.
    static constexpr std::size_t remembered = 1024;

    CallRegistry() = default;
    CallRegistry(const CallRegistry&) = delete;
    CallRegistry& operator=(const CallRegistry&) = delete;

    /// Adds a call. If its cancellation came first, the call is cancelled at once.
    void add(const std::string& requestID, const std::shared_ptr<Cancellation>& call, Time now);
    void remove(const std::string& requestID, const std::shared_ptr<Cancellation>& call);
    /// Cancels every call with that id. If there is none, the id is remembered for the call that comes.
    void cancel(const std::string& requestID, Time now);
    void cancelAll();

private:
    struct Early {
        std::string requestID;
        Time until;
    };

    std::unordered_multimap<std::string, std::shared_ptr<Cancellation>> calls_;
    /// Oldest first.
    std::deque<Early> early_;
};

} // namespace vostel_companion
