// Starts the application when no process listens on its socket.
#pragma once

#include "kit/concurrency/Task.h"
#include "kit/connect/MCPConnectLogic.h"
#include "kit/support/PosixError.h"

#include <expected>
#include <filesystem>
#include <functional>
#include <optional>

namespace vostel_mcp {

/// A plain value, copied freely.
struct MCPAppLauncher {
    using OpenApplication =
        std::function<VostelMCPKit::Task<std::expected<void, VostelMCPKit::PosixError>>(std::filesystem::path bundle)>;

    /// The path of the running vostel-mcp; absent when the system cannot tell.
    std::optional<std::filesystem::path> executableURL;
    OpenApplication openApplication;

    /// Opens the bundle around the executable. Does not wait until the application is ready. Every failure has the same
    /// error, which tells the user to open the application.
    [[nodiscard]] VostelMCPKit::Task<std::expected<void, VostelMCPKit::ConnectError>> launchHostApplication() const;
};

} // namespace vostel_mcp
