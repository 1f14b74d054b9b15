// How often a running call reports its progress.
#pragma once

#include <chrono>
#include <optional>

namespace vostel_companion {

/// Admits the first report. Admits a later one if its fraction is higher and at least one interval has passed since the
/// last. Never admits 1, because the answer says that the work is done. Claude Code drops the connection if it reads a
/// report of 1 and the answer at once.
struct ProgressThrottle {
    using Time = std::chrono::steady_clock::time_point;
    struct Report {
        Time at;
        double fraction = 0;

        bool operator==(const Report&) const = default;
    };

    std::chrono::milliseconds interval{0};
    std::optional<Report> last;

    /// Whether to send the report. If so, it counts as sent.
    [[nodiscard]] bool admits(double fraction, Time now);

    bool operator==(const ProgressThrottle&) const = default;
};

} // namespace vostel_companion
