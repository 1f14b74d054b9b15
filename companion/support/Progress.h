// How much of a call's work is done.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace vostel_companion {

struct Progress {
    /// The fraction of the work that is done, 0 to 1.
    double fraction = 0;
    /// What happens now, for the user: "Transcribing 12:30 of 58:10". May be empty.
    std::string message;

    bool operator==(const Progress&) const = default;
};

using ReportProgress = std::function<void(const Progress&)>;

/// The highest fraction that a waiting call reports. It is below the first report of a running call.
inline constexpr double mostWhileWaiting = 0.0005;

/// Reports for a waiting call how many others come before it: "Waiting for 2 others". MCP requires that each report is
/// higher than the last, so each one adds a little.
[[nodiscard]] std::function<void(std::size_t others)> reportWaiting(ReportProgress report);

} // namespace vostel_companion
