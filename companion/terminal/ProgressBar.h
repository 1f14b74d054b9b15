// A progress bar in the last line of a terminal.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace vostel_companion {

/// The terminal at standard error.
struct ProgressTerminal {
    std::function<void(std::string_view)> write;
    /// The current width; 0 if it is unknown.
    std::function<std::size_t()> columns;
    std::function<std::chrono::steady_clock::time_point()> now;
};

/// One line, redrawn at most ten times a second and cleared by the destructor. Not thread-safe.
class ProgressBar final {
public:
    using Time = std::chrono::steady_clock::time_point;

    static constexpr std::chrono::milliseconds interval{100};

    /// Draws nothing without a terminal. `label` is ASCII.
    ProgressBar(const std::optional<ProgressTerminal>& terminal, std::string label);
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;
    /// Clears the line.
    ~ProgressBar();

    /// `fraction` of the work is done, 0 to 1.
    void show(double fraction);

private:
    const std::optional<ProgressTerminal>& terminal_;
    const std::string label_;
    std::optional<Time> begun_;
    std::optional<Time> drawn_;
};

/// "Transcribing  [=====     ]  50%  0:12 left", or as much of it as fits into `columns`. The time left is estimated
/// from `elapsed`, and shown once the estimate is useful.
[[nodiscard]] std::string progressLine(std::string_view label, double fraction, std::chrono::milliseconds elapsed,
                                       std::size_t columns);

} // namespace vostel_companion
