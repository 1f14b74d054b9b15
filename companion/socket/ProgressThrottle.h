// How often a running call tells of its progress.
#pragma once

#include <chrono>
#include <optional>

namespace vostel_companion {

/// Lets through the first report, later ones that come an interval after the last and go further than it, and the one
/// that the work is done.
struct ProgressThrottle {
    using Time = std::chrono::steady_clock::time_point;
    struct Report {
        Time at;
        double fraction = 0;

        bool operator==(const Report&) const = default;
    };

    std::chrono::milliseconds interval{0};
    std::optional<Report> last;

    /// Whether the report is due; then it counts as made.
    [[nodiscard]] bool admits(double fraction, Time now);

    bool operator==(const ProgressThrottle&) const = default;
};

} // namespace vostel_companion
