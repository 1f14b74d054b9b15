// What the application did, for the user who looks for the cause of a problem.
#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string_view>
#include <utility>

namespace vostel_companion {

/// Writes lines to a file in the data folder: tools, clients, durations and the reasons of failed starts. It contains
/// no words of the user. Thread-safe. A line that cannot be written is lost.
class Log final {
public:
    /// A longer file is renamed: ".1" is appended to its name. Both files together have at most about twice this size.
    static constexpr std::size_t longestFile = 256 << 10;

    using Clock = std::function<std::chrono::system_clock::time_point()>;

    explicit Log(std::filesystem::path file, Clock now = std::chrono::system_clock::now)
        : file_{std::move(file)}, now_{std::move(now)} {}
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    /// Adds a line with the time, in UTC, before it.
    void write(std::string_view line);

private:
    const std::filesystem::path file_;
    const Clock now_;
    std::mutex mutex_;
};

} // namespace vostel_companion
