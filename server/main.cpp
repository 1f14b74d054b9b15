// vostel-mcp offers the tools of the Vostel application to an AI client that speaks MCP over standard input and output.
// This file creates all objects and passes each object what it uses. To follow a message, begin in MCPHandshake.

#include "kit/support/outOfMemory.h"
#include "kit/tools/MCPYouTubeAvailability.h"
#include "kit/wire/MCPWireVersionLogic.h"
#include "posix/RandomUUID.h"
#include "posix/StandardFolders.h"
#include "posix/UnixSocket.h"
#include "server/LineChannel.h"
#include "server/MCPCallProxy.h"
#include "server/MCPHandshake.h"
#include "server/MCPStdio.h"
#include "server/MemoryTrimmer.h"
#include "server/PendingCancellations.h"
#include "server/Platform.h"
#include "server/RunLoop.h"
#include "server/SerialExecutor.h"
#include "server/Termination.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <span>
#include <string>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

using namespace vostel_mcp;
using namespace VostelMCPKit;

namespace {

/// A client may start us with a closed standard stream. The first socket would then get its number, and replies would
/// go to the application. False when a closed stream cannot be replaced.
bool occupyStandardStreams() {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (::fcntl(stream, F_GETFD) >= 0 || errno != EBADF) continue;
        int descriptor = ::open("/dev/null", O_RDWR);
        // A folder can be neither read nor written, so it is a safe replacement, too.
        if (descriptor < 0) descriptor = ::open("/", O_RDONLY);
        if (descriptor != stream) return false;
    }
    return true;
}

rlimit descriptorLimit() {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) limit = {.rlim_cur = 256, .rlim_max = RLIM_INFINITY};
    return limit;
}

/// Each call in flight holds a descriptor, and some systems start a process with room for only 256.
void raiseDescriptorLimit(rlimit limit) {
    const rlim_t wanted = 8192;
    if (limit.rlim_cur >= wanted) return;
    limit.rlim_cur = std::min(wanted, limit.rlim_max);
    std::ignore = ::setrlimit(RLIMIT_NOFILE, &limit);
}

void writeStartUpLine() {
    std::setvbuf(stderr, nullptr, _IONBF, 0);
    const std::string line = "vostel-mcp wire protocol v" + std::to_string(wireProtocolVersion) + "\n";
    for (auto rest = std::as_bytes(std::span{line}); !rest.empty();) {
        const auto count = MCPStdio::attemptWrite(STDERR_FILENO, rest);
        if (!count || *count == 0) return;
        rest = rest.subspan(static_cast<std::size_t>(*count));
    }
}

/// How long after a large message free memory is returned. Returning it takes milliseconds, so not after each message.
constexpr auto trimDelay = std::chrono::milliseconds{200};
/// How long the process waits at the end of the input for cancellations that the application delays.
constexpr auto drainTimeout = std::chrono::milliseconds{30};
/// How long it waits for those that only this process delays. Their frames fit into the buffers of new connections.
constexpr auto ownDrainTimeout = std::chrono::seconds{1};

/// Called after large messages.
void tidyMemory() {
    releaseFreeMemory();
    keepMemoryInReserve();
}

} // namespace

int main() {
    if (!occupyStandardStreams()) std::_Exit(EXIT_FAILURE);
    Termination::prepare();
    static SerialExecutor outputExecutor;
    // The client must never read a part of a line, not even when the server runs out of memory.
    onOutOfMemory([] { outputExecutor.close(); });
    keepIdleMemorySmall();
    const rlimit originalLimit = descriptorLimit();
    raiseDescriptorLimit(originalLimit);
    writeStartUpLine();

    RunLoop mainThread{trimDelay, tidyMemory};
    MemoryTrimmer memory{[&mainThread] { mainThread.requestIdleWork(); }, tidyMemory};
    SerialExecutor proxyExecutor;
    InlineExecutor calls;
    LineChannel lines;
    MCPStdoutWriter standardOutput{outputExecutor,
                                   [](auto bytes) { return MCPStdio::attemptWrite(STDOUT_FILENO, bytes); },
                                   [](auto wanted) { return MCPStdio::waitForRoom(STDOUT_FILENO, wanted); }};
    PendingCancellations pendingCancellations;

    const auto open = [originalLimit](auto bundle) { return openWithoutActivating(std::move(bundle), originalLimit); };
    auto socketClient = MCPSocketClient::make(posix::applicationSupportDirectory(), {posix::ownExecutable(), open},
                                              {
                                                  .connect = posix::UnixSocket::connect,
                                                  .startThread = posix::startBlockingThread,
                                                  .now = std::chrono::steady_clock::now,
                                                  .sleep = [](auto pause) { std::this_thread::sleep_for(pause); },
                                                  .memory = memory,
                                              });
    MCPHandshake::Forwarding forwarding = nullptr;
    if (socketClient) {
        forwarding = std::make_shared<MCPCallProxy>(
            proxyExecutor, MCPCallProxy::Dependencies{**socketClient, standardOutput, pendingCancellations, calls,
                                                      posix::freshUUID, memory});
    } else {
        forwarding = std::unexpected(socketClient.error());
    }

    MCPHandshake handshake{lines, standardOutput, std::move(forwarding), MCPYouTubeAvailability::isAvailable, memory};
    const auto startReader = [](posix::ThreadName name, std::function<void()> read) {
        return posix::startBlockingThread(name, [read = std::move(read)] { Termination::receiveDuring(read); });
    };
    if (!MCPStdio::startReadingLines(STDIN_FILENO, lines, startReader)) std::_Exit(EXIT_FAILURE);
    mainThread.run(handshake.serve());

    pendingCancellations.drain(/*forApplication=*/drainTimeout, /*forProcess=*/ownDrainTimeout);
    // Deliberate: calls that still run are neither awaited nor cancelled. Their threads use the objects above, so
    // nothing is destroyed.
    Termination::endProcess();
}
