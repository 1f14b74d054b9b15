// Which long calls the application works on, for `Vostel status`.
#pragma once

#include "companion/support/Progress.h"
#include "companion/support/Time.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vostel_companion {

struct LongCall {
    std::string tool;
    /// The name of the AI client, as it introduced itself.
    std::string client;
    /// In milliseconds since 1970 UTC.
    std::int64_t startedAt = 0;
    double fraction = 0;
    /// "Transcribing 12:30 of 58:10". May be empty.
    std::string message;

    static void codingKeys(auto& self, auto& key) {
        key("tool", self.tool);
        key("client", self.client);
        key("startedAt", self.startedAt);
        key("fraction", self.fraction);
        key("message", self.message);
    }

    bool operator==(const LongCall&) const = default;
};

/// The list of the running calls that have reported progress. Short calls report none and are not listed. The list is
/// in a file, so that another process can read it. Thread-safe.
class LongCalls final {
public:
    using Clock = std::function<std::chrono::system_clock::time_point()>;

    /// The shortest time between two writes of the progress of listed calls.
    static constexpr std::chrono::seconds interval{1};

    /// One running call. For one thread.
    class Call final {
    public:
        Call(LongCalls& calls, std::string tool, std::string client);
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;
        /// Removes the call from the list.
        ~Call();

        void report(const Progress& progress);

    private:
        LongCalls& calls_;
        LongCall call_;
        std::optional<std::uint64_t> number_;
    };

    /// Deletes the file that a crashed application has left.
    explicit LongCalls(std::filesystem::path file, Clock now = std::chrono::system_clock::now);
    LongCalls(const LongCalls&) = delete;
    LongCalls& operator=(const LongCalls&) = delete;

    /// The calls in the file, oldest first. None if there is no such file.
    [[nodiscard]] static std::vector<LongCall> readFrom(const std::filesystem::path& file);

private:
    /// The caller holds the mutex. A failure is ignored, because the list is only for the user's information.
    void write();

    const std::filesystem::path file_;
    const Clock now_;
    std::mutex mutex_;
    // Guarded by the mutex:
    std::map<std::uint64_t, LongCall> calls_;
    std::uint64_t nextNumber_ = 0;
    std::chrono::system_clock::time_point written_;
};

} // namespace vostel_companion
