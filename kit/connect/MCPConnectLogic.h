// The rules for reaching the application that need no I/O: where its socket lives, how long to wait for it, where its
// bundle is, and what the user reads when that fails.
#pragma once

#include <chrono>
#include <cstddef>
#include <expected>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace VostelMCPKit {

struct ConnectError {
    struct SocketPathTooLong {
        std::string path;
        /// Bytes of the path and the most that would fit, both without the terminating NUL.
        std::size_t length;
        std::size_t limit;
        bool operator==(const SocketPathTooLong&) const = default;
    };
    struct TimedOutWaitingForApp {
        std::chrono::duration<double> afterSeconds;
        bool operator==(const TimedOutWaitingForApp&) const = default;
    };
    struct LaunchServicesUnavailable {
        bool operator==(const LaunchServicesUnavailable&) const = default;
    };

    std::variant<SocketPathTooLong, TimedOutWaitingForApp, LaunchServicesUnavailable> is;

    /// A sentence for the user.
    [[nodiscard]] std::string errorDescription() const;

    bool operator==(const ConnectError&) const = default;
};

namespace MCPConnectLogic {

/// The application's bundle identifier; the name of its folder inside Application Support.
inline constexpr std::string_view hostApplicationSupportDirectoryName = "com.vostel.vostel";
inline constexpr std::string_view socketFileName = "mcp.sock";
/// The size of the path field of a Unix-domain socket address on macOS, terminating NUL included. Deliberate: Linux has
/// room for four more bytes, but a path must not work on one system only.
inline constexpr std::size_t socketPathByteLimit = 104;
/// How long to wait for the socket after launching the application.
inline constexpr std::chrono::duration<double> pollingCeiling{120.0};
/// The pause between two attempts.
inline constexpr std::chrono::duration<double> pollingInterval{0.5};

[[nodiscard]] std::string socketPath(const std::filesystem::path& applicationSupportDirectory);

/// Fails with SocketPathTooLong when the path and its NUL, in bytes, exceed the limit.
[[nodiscard]] std::expected<void, ConnectError> validateSocketPathLength(std::string_view path);

[[nodiscard]] bool shouldContinuePolling(std::chrono::duration<double> elapsed, std::chrono::duration<double> ceiling);

/// The application bundle around the running executable: three levels up, when that ends in ".app".
[[nodiscard]] std::optional<std::filesystem::path>
hostApplicationBundleURL(const std::filesystem::path& fromHelperExecutable);

} // namespace MCPConnectLogic

} // namespace VostelMCPKit
