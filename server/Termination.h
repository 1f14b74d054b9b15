// The signals SIGTERM, SIGINT and SIGHUP end the input.
//
// A client may cancel a call and send such a signal at once. So first, everything that it has written before is
// handled, as at the end of the input. Then the signal ends the process.
#pragma once

#include <functional>

namespace vostel_mcp::Termination {

/// From now on, these signals wait until a thread calls `receiveDuring`. A signal that is ignored, as under nohup,
/// stays ignored. Call it before the first thread starts.
void prepare();

/// Runs `read` on the calling thread, which receives the signals from now on. It keeps waiting for them after `read`
/// has returned. A signal interrupts the thread's blocking system calls, again every 10 ms. After a second, it ends the
/// process, even if the client does not read the replies.
[[noreturn]] void receiveDuring(const std::function<void()>& read);

/// True when a signal was received. Then the input ends as soon as there is nothing to read. Thread-safe.
[[nodiscard]] bool isRequested();

/// Ends the process by the signal that was received, otherwise with status 0.
[[noreturn]] void endProcess();

} // namespace vostel_mcp::Termination
