// vostel-mcp: lends the tools of the Vostel application to an AI client that speaks MCP over standard input and output.
// This page builds everything and hands each object what it uses; the ways of a message begin in MCPHandshake.

#include "kit/tools/MCPYouTubeAvailability.h"
#include "kit/wire/MCPWireVersionLogic.h"
#include "posix/RandomUUID.h"
#include "posix/StandardFolders.h"
#include "posix/UnixSocket.h"
#include "server/LineChannel.h"
#include "server/MCPCallProxy.h"
#include "server/MCPHandshake.h"
#include "server/MCPStdio.h"
#include "server/PendingCancellations.h"
#include "server/Platform.h"
#include "server/RunLoop.h"
#include "server/SerialExecutor.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

using namespace vostel_mcp;
using namespace VostelMCPKit;

namespace {

/// A client may start us with a standard stream closed. The first socket would then take its number, and replies would
/// go to the application.
void occupyStandardStreams() {
    int descriptor = 0;
    do {
        descriptor = open("/dev/null", O_RDWR);
    } while (descriptor >= 0 && descriptor <= STDERR_FILENO);
    if (descriptor >= 0) close(descriptor);
}

/// Each call in flight holds a descriptor, and some systems start a process with room for only 256.
void raiseDescriptorLimit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    const rlim_t wanted = 8192;
    if (limit.rlim_cur >= wanted) return;
    limit.rlim_cur = std::min(wanted, limit.rlim_max);
    std::ignore = setrlimit(RLIMIT_NOFILE, &limit);
}

/// How long the end of the input waits for cancellations that the application has not taken yet.
constexpr auto drainTimeout = std::chrono::milliseconds{40};

} // namespace

int main() {
    occupyStandardStreams();
    keepIdleMemorySmall();
    raiseDescriptorLimit();
    std::setvbuf(stderr, nullptr, _IONBF, 0);
    std::fprintf(stderr, "vostel-mcp wire protocol v%lld\n", static_cast<long long>(wireProtocolVersion));

    RunLoop mainThread;
    SerialExecutor proxyTurn;
    SerialExecutor outputTurn;
    InlineExecutor calls;
    LineChannel lines;
    MCPStdoutWriter standardOutput{outputTurn, [](auto bytes) { return MCPStdio::attemptWrite(STDOUT_FILENO, bytes); },
                                   [] { return MCPStdio::waitForRoom(STDOUT_FILENO); }};
    PendingCancellations pendingCancellations;

    auto socketClient =
        MCPSocketClient::make(posix::applicationSupportDirectory(), {posix::ownExecutable(), openWithoutActivating},
                              {
                                  .connect = posix::UnixSocket::connect,
                                  .startThread = posix::startBlockingThread,
                                  .now = std::chrono::steady_clock::now,
                                  .sleep = [](auto pause) { std::this_thread::sleep_for(pause); },
                              });
    MCPHandshake::Forwarding forwarding = nullptr;
    if (socketClient) {
        forwarding = std::make_shared<MCPCallProxy>(
            proxyTurn, MCPCallProxy::Dependencies{**socketClient, standardOutput, pendingCancellations, calls,
                                                  posix::randomUUID, releaseFreeMemory});
    } else {
        forwarding = std::unexpected(socketClient.error());
    }

    MCPHandshake handshake{lines, standardOutput, std::move(forwarding), MCPYouTubeAvailability::isAvailable};
    if (MCPStdio::startReadingLines(STDIN_FILENO, lines, posix::startBlockingThread)) mainThread.run(handshake.serve());

    pendingCancellations.drain(drainTimeout);
    // Deliberate: calls that still run are neither awaited nor cancelled. Their threads use the objects above, so
    // nothing is destroyed.
    std::_Exit(EXIT_SUCCESS);
}
