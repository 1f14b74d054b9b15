#include "server/MCPAppLauncher.h"

namespace vostel_mcp {

using VostelMCPKit::ConnectError;
using VostelMCPKit::Task;
using Launched = std::expected<void, ConnectError>;

Task<Launched> MCPAppLauncher::launchHostApplication() const {
    const Launched unavailable = std::unexpected(ConnectError{ConnectError::LaunchServicesUnavailable{}});
    if (!executableURL) co_return unavailable;
    const auto bundle = VostelMCPKit::MCPConnectLogic::hostApplicationBundleURL(*executableURL);
    if (!bundle) co_return unavailable;
    const auto opened = co_await openApplication(*bundle);
    if (!opened) co_return unavailable;
    co_return Launched{};
}

} // namespace vostel_mcp
