#include "kit/connect/MCPConnectLogic.h"

#include "kit/support/Unicode.h"
#include "kit/support/match.h"

namespace VostelMCPKit {

std::string ConnectError::errorDescription() const {
    return match(
        is,
        [](const SocketPathTooLong& error) {
            return "Vostel MCP socket path '" + repairedUTF8(error.path) + "' is " + std::to_string(error.length) +
                   " bytes, over the " + std::to_string(error.limit) +
                   "-byte sun_path limit. Shorten your macOS username or home directory path.";
        },
        [](const TimedOutWaitingForApp& error) {
            const auto seconds = static_cast<std::int64_t>(error.afterSeconds.count());
            return "Vostel did not become ready within " + std::to_string(seconds) +
                   " seconds after launch. Please open Vostel yourself and try again.";
        },
        [](const LaunchServicesUnavailable&) {
            return std::string{
                "Vostel could not be launched automatically. Please open Vostel yourself and try again."};
        });
}

std::string MCPConnectLogic::socketPath(const std::filesystem::path& applicationSupportDirectory) {
    return (applicationSupportDirectory / hostApplicationSupportDirectoryName / socketFileName).string();
}

std::expected<void, ConnectError> MCPConnectLogic::validateSocketPathLength(std::string_view path) {
    if (path.size() + 1 <= socketPathByteLimit) return {};
    // Deliberate: length and limit are both reported without the NUL, so that the user can compare them.
    return std::unexpected(
        ConnectError{ConnectError::SocketPathTooLong{std::string{path}, path.size(), socketPathByteLimit - 1}});
}

bool MCPConnectLogic::shouldContinuePolling(Polling polling) { return polling.elapsed < polling.ceiling; }

std::optional<std::filesystem::path>
MCPConnectLogic::hostApplicationBundleURL(const std::filesystem::path& fromHelperExecutable) {
    std::filesystem::path bundle = fromHelperExecutable.parent_path().parent_path().parent_path();
    if (bundle.extension() != ".app") return std::nullopt;
    return bundle;
}

} // namespace VostelMCPKit
