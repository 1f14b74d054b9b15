// Finds the running application from another process of the same user.
#pragma once

#include <ctime>
#include <expected>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/types.h>

namespace vostel_companion {

struct RunningApplication {
    pid_t process = 0;
    /// Absent if the system cannot tell.
    std::optional<std::time_t> startedAt;

    bool operator==(const RunningApplication&) const = default;
};

/// The application that listens at the socket. Absent if there is none. If the socket cannot be used, returns a
/// sentence for the user.
[[nodiscard]] std::expected<std::optional<RunningApplication>, std::string>
findRunningApplication(const std::filesystem::path& applicationSupportDirectory);

} // namespace vostel_companion
