// The name that debuggers and system tools show for a thread.
#pragma once

namespace posix {

/// `reverseDNS` names the thread on macOS, `suffix` on Linux, where a name has at most 15 bytes.
struct ThreadName {
    const char* reverseDNS;
    const char* suffix;
};

void nameThisThread(ThreadName name);

} // namespace posix
