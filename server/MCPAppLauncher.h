// Starts the application when nobody listens on its socket.
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

    /// The running vostel-mcp; absent when the process cannot tell.
    std::optional<std::filesystem::path> executableURL;
    OpenApplication openApplication;

    /// Opens the bundle around the executable. Does not wait until the application is ready. Whatever goes wrong is the
    /// one error that tells the user to open the application.
    [[nodiscard]] VostelMCPKit::Task<std::expected<void, VostelMCPKit::ConnectError>> launchHostApplication() const;
};

} // namespace vostel_mcp
