// The one way in which a run ends early.
#pragma once

#include <string_view>

namespace vostel_bench {

/// Ends the run with status 1 and a message. Deliberate: a figure from a run in which anything at all went wrong is
/// worth nothing, so no failure is handed up to be handled.
[[noreturn]] void fail(std::string_view message);

/// `fail` with the system's text for errno after the message.
[[noreturn]] void failWithErrno(std::string_view message);

} // namespace vostel_bench
