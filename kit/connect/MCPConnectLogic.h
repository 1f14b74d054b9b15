// The rules for reaching the application that need no I/O: where its socket is, how long to wait for it, where its
// bundle is, and what the user reads when the application cannot be reached.
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

/// Why the application cannot be reached.
struct ConnectError {
    /// The socket's path does not fit into a socket address.
    struct SocketPathTooLong {
        /// Where the application should listen.
        std::string path;
        /// Of the path, in bytes. The terminating NUL does not count.
        std::size_t length;
        /// The most bytes that fit, also without the NUL.
        std::size_t limit;
        bool operator==(const SocketPathTooLong&) const = default;
    };
    /// The application was launched, but its socket did not appear.
    struct TimedOutWaitingForApp {
        /// Finite, and small enough for a 64-bit integer: the text shows whole seconds.
        std::chrono::duration<double> afterSeconds;
        bool operator==(const TimedOutWaitingForApp&) const = default;
    };
    /// The system could not launch the application.
    struct LaunchServicesUnavailable {
        bool operator==(const LaunchServicesUnavailable&) const = default;
    };

    std::variant<SocketPathTooLong, TimedOutWaitingForApp, LaunchServicesUnavailable> is;

    /// A sentence for the user.
    [[nodiscard]] std::string errorDescription() const;

    bool operator==(const ConnectError&) const = default;
};

/// All functions are thread-safe and touch no file.
namespace MCPConnectLogic {

/// The application's bundle identifier, which is also the name of its folder inside Application Support.
inline constexpr std::string_view hostApplicationSupportDirectoryName = "com.vostel.vostel";
/// The socket's name inside that folder.
inline constexpr std::string_view socketFileName = "mcp.sock";
/// The size of the path field of a Unix-domain socket address on macOS, terminating NUL included. Deliberate: Linux has
/// room for four more bytes, but a path must not work on one system only.
inline constexpr std::size_t socketPathByteLimit = 104;
/// How long to wait for the socket after launching the application.
inline constexpr std::chrono::duration<double> pollingCeiling{120.0};
/// The pause between two attempts.
inline constexpr std::chrono::duration<double> pollingInterval{0.5};

/// Where the application listens. The caller passes the user's Application Support folder, usually
/// "~/Library/Application Support". The path may be too long: see validateSocketPathLength.
[[nodiscard]] std::string socketPath(const std::filesystem::path& applicationSupportDirectory);

/// Fails with SocketPathTooLong when the path and its NUL, in bytes, exceed the limit.
[[nodiscard]] std::expected<void, ConnectError> validateSocketPathLength(std::string_view path);

/// Write the names at the call: `shouldContinuePolling({.elapsed = now - start, .ceiling = pollingCeiling})`.
struct Polling {
    /// Since the launch. Finite.
    std::chrono::duration<double> elapsed;
    /// How long to try: pollingCeiling. Finite.
    std::chrono::duration<double> ceiling;
};

/// Whether to try again: true while `elapsed` is less than `ceiling`.
[[nodiscard]] bool shouldContinuePolling(Polling polling);

/// The application bundle around an executable at Name.app/Contents/MacOS/executable: the path three levels up, when it
/// ends in ".app". Absent for every other executable, for example one in a build folder.
[[nodiscard]] std::optional<std::filesystem::path>
hostApplicationBundleURL(const std::filesystem::path& fromHelperExecutable);

} // namespace MCPConnectLogic

} // namespace VostelMCPKit
