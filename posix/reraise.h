// The end of a program that handles a signal.
#pragma once

namespace posix {

/// Ends the program by the default action of `signal`, so that its parent knows the reason. May be called from a signal
/// handler.
[[noreturn]] void reraise(int signal);

} // namespace posix
