// The signals by which a user, a terminal or a parent process asks a program to end.
#pragma once

#include <array>
#include <csignal>

namespace posix {

inline constexpr std::array terminationSignals{SIGTERM, SIGINT, SIGHUP};

/// Whether this process ignores `signal`, for example because it was started by nohup.
[[nodiscard]] bool isIgnored(int signal);

/// Ends the program by the default action of `signal`, so that its parent knows the reason. May be called from a signal
/// handler.
[[noreturn]] void reraise(int signal);

} // namespace posix
