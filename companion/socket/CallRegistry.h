// Which calls run, by wire id, so that a cancellation on another connection finds its call.
#pragma once

#include "companion/support/Cancellation.h"

#include <chrono>
#include <deque>
#include <memory>
#include <string>
#include <unordered_map>

namespace vostel_companion {

/// Not thread-safe: the server's loop owns one. Time comes in with each operation.
class CallRegistry final {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// A cancellation has a connection of its own and can overtake its request; for this long it is remembered.
    static constexpr std::chrono::seconds memory{60};
    /// At most so many of them: a flood of invented ids drives out the oldest.
    static constexpr std::size_t remembered = 1024;

    CallRegistry() = default;
    CallRegistry(const CallRegistry&) = delete;
    CallRegistry& operator=(const CallRegistry&) = delete;

    /// Adds a call, which is cancelled at once when its cancellation was there first.
    void add(const std::string& requestID, const std::shared_ptr<Cancellation>& call, Time now);
    void remove(const std::string& requestID, const std::shared_ptr<Cancellation>& call);
    /// Cancels every call of that id, or remembers it for the one that comes.
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
