#include "companion/commands/ServeVerb.h"

#include "companion/socket/CallServer.h"
#include "companion/store/Recovery.h"
#include "companion/store/Schema.h"
#include "companion/support/TerminalSafe.h"
#include "companion/terminal/ConfirmationTerminal.h"
#include "companion/terminal/TerminationSignals.h"
#include "companion/tools/Tools.h"
#include "posix/RandomUUID.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <sys/resource.h>
#include <thread>

namespace vostel_companion {

using posix::startBlockingThread;

namespace {

Exit fail(const std::string& sentence, Exit exit = Exit::failed) {
    std::fprintf(stderr, "%s\n", printable(sentence).c_str());
    return exit;
}

/// One for each core. At most four, to bound memory.
std::size_t jobsAtOnce() { return std::clamp(std::thread::hardware_concurrency(), 1U, 4U); }

/// Raises the descriptor limit to what the server's limits and two downloads need. Some systems start a process with
/// 256. If that fails, uses smaller limits: a rejected call gets an answer, a failed accept does not.
CallServer::Limits limitsWithDescriptors() {
    constexpr rlim_t enough = 2048;
    rlimit files{};
    const bool isKnown = ::getrlimit(RLIMIT_NOFILE, &files) == 0;
    if (isKnown && files.rlim_cur >= enough) return {};
    files.rlim_cur = enough;
    if (isKnown && ::setrlimit(RLIMIT_NOFILE, &files) == 0) return {};
    return {.connections = 120, .calls = 40, .waitingCalls = 60};
}

} // namespace

Exit serve(const std::filesystem::path& applicationSupportDirectory, bool hasTerminal) {
    const TerminationSignals signals;
    const CallServer::Limits limits = limitsWithDescriptors();

    auto socket = ListeningSocket::open(applicationSupportDirectory);
    if (!socket) {
        const bool isRunning = std::holds_alternative<ListenError::AlreadyRunning>(socket.error().is);
        return fail(socket.error().description(), isRunning ? Exit::refused : Exit::failed);
    }

    // From here on this process is the only server. It keeps its database connection open: SQLite writes the whole log
    // back into the file when the last connection closes, and calls should not wait for that.
    const Paths paths = Paths::in(applicationSupportDirectory);
    auto database = openStore(paths.database());
    if (!database) return fail(database.error().description());
    if (auto sound = checkIntegrity(*database); !sound) return fail(sound.error().description());
    const ModelStore models{{paths.models(), paths.catalogue(), VOSTEL_MODEL_FOLDER}};
    Confirmations confirmations{*database, models, std::chrono::system_clock::now, posix::randomUUID};
    if (auto recovered = recoverAfterCrash(*database, paths, confirmations); !recovered) {
        std::ignore = fail(recovered.error().description());
    }

    std::unique_ptr<ConfirmationTerminal> terminal;
    if (hasTerminal) {
        auto made = ConfirmationTerminal::make(paths, models);
        if (!made) return fail("Vostel could not start: " + made.error().systemText() + ".");
        terminal = *std::move(made);
    }

    Transcriber transcriber{[&](const std::string& language) { return chooseModel(models, language); }, jobsAtOnce()};
    ToolTable tools;
    ToolContext context{
        .paths = paths, .transcribe = std::bind_front(&Transcriber::transcribe, &transcriber), .models = models};
    if (terminal) context.notifyUser = [&](const OpenConfirmation&) { terminal->wake(); };
    addTools(tools, context);

    auto server = CallServer::make(*std::move(socket), tools, posix::startBlockingThread, limits);
    if (!server) return fail(server.error().description());
    auto waiting = posix::startBlockingThread({"com.vostel.vostel.signals", "signals"}, [&] {
        std::ignore = signals.wait();
        (*server)->stop();
    });
    if (waiting && terminal) {
        waiting = posix::startBlockingThread({"com.vostel.vostel.terminal", "terminal"}, [&] { terminal->run(); });
    }
    if (!waiting) return fail("Vostel could not start: " + waiting.error().systemText() + ".");

    std::ignore = (*server)->run();
    // Deliberate: nothing is destroyed. The threads for signals and for the terminal still use the objects above, and
    // so may calls that did not end in time.
    std::_Exit(EXIT_SUCCESS);
}

} // namespace vostel_companion
