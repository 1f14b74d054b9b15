// How far long work has come, in the last line of a terminal.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace vostel_companion {

/// The terminal behind standard error.
struct ProgressTerminal {
    std::function<void(std::string_view)> write;
    /// As wide as it is now; 0 when nobody knows.
    std::function<std::size_t()> columns;
    std::function<std::chrono::steady_clock::time_point()> now;
};

/// One line, redrawn at most ten times a second, and gone when the bar is. For one thread.
class ProgressBar final {
public:
    using Time = std::chrono::steady_clock::time_point;

    static constexpr std::chrono::milliseconds interval{100};

    /// Draws nothing without a terminal. `label` is plain ASCII.
    ProgressBar(const std::optional<ProgressTerminal>& terminal, std::string label);
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;
    /// Leaves an empty line, for what is printed next.
    ~ProgressBar();

    /// `share` of the work is done, 0 to 1.
    void show(double share);

private:
    const std::optional<ProgressTerminal>& terminal_;
    const std::string label_;
    std::optional<Time> begun_;
    std::optional<Time> drawn_;
};

/// What stands in the line: "Transcribing  [=====     ]  50%  0:12 left", as much of it as fits into `columns`. The
/// time left is a guess from `elapsed` and is shown once that guess is worth something.
[[nodiscard]] std::string progressLine(std::string_view label, double share, std::chrono::milliseconds elapsed,
                                       std::size_t columns);

} // namespace vostel_companion
