// How often a running call reports its progress.
#pragma once

#include <chrono>
#include <optional>

namespace vostel_companion {

/// Admits the first report, and later ones that come at least one interval after the last and go further. Never admits
/// 1, because the answer says that the work is done. Claude Code drops the connection if it reads both at once.
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
