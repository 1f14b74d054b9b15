// How far a piece of work is.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace vostel_companion {

struct Progress {
    /// Of the work, 0 to 1.
    double fraction = 0;
    /// What happens now, for the user: "Transcribing 12:30 of 58:10". May be empty.
    std::string message;

    bool operator==(const Progress&) const = default;
};

using ReportProgress = std::function<void(const Progress&)>;

/// Reports of waiting calls stay below the first report of a running one.
inline constexpr double mostWhileWaiting = 0.0005;

/// Reports for a call how many others come before it: "Waiting for 2 others". MCP asks that every report is above the
/// last, so each adds a little.
[[nodiscard]] std::function<void(std::size_t others)> reportWaiting(ReportProgress report);

} // namespace vostel_companion
