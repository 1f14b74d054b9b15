// Ends a run after any failure.
#pragma once

#include <string_view>

namespace vostel_bench {

/// Ends the run with status 1 and a message. Deliberate: no caller handles a failure, because the figures of a run with
/// a failure are useless.
[[noreturn]] void fail(std::string_view message);

/// `fail` with the system's text for errno after the message.
[[noreturn]] void failWithErrno(std::string_view message);

} // namespace vostel_bench
