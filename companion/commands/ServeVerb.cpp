#include "companion/commands/ServeVerb.h"

#include "companion/socket/CallServer.h"
#include "companion/store/Recovery.h"
#include "companion/store/Schema.h"
#include "companion/support/FreeMemory.h"
#include "companion/support/InQuotes.h"
#include "companion/support/Log.h"
#include "companion/support/LongCalls.h"
#include "companion/support/TerminalSafe.h"
#include "companion/terminal/ConfirmationTerminal.h"
#include "companion/terminal/TerminationSignals.h"
#include "companion/tools/Tools.h"
#include "kit/support/match.h"
#include "kit/tools/MCPToolCatalogue.h"
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

/// Why the application cannot work, as a sentence for the user. Absent if it can.
std::optional<std::string> findObstacle(const Paths& paths) {
    if (const auto prepared = prepareFolder(paths.folder); !prepared) return prepared.error().description();
    auto database = openStore(paths.database());
    if (!database) return database.error().description();
    if (const auto sound = checkIntegrity(*database); !sound) return sound.error().description();
    return std::nullopt;
}

/// "transcribe_file for 'claude-code': done after 12.3 s". Arguments and results are private, so they are left out.
std::string logLine(const std::string& tool, const std::string& client, const VostelMCPKit::MCPToolOutcome& outcome,
                    std::chrono::duration<double> time) {
    const char* const what = VostelMCPKit::match(
        outcome.is, [](const VostelMCPKit::MCPToolOutcome::Text&) { return "done"; },
        [](const VostelMCPKit::MCPToolOutcome::AwaitingConfirmation&) { return "waits for the user"; },
        [](const VostelMCPKit::MCPDenial&) { return "denied"; },
        [](const VostelMCPKit::MCPToolError&) { return "failed"; });
    char seconds[64];
    std::snprintf(seconds, sizeof seconds, "%.1f s", time.count());
    return tool + " for " + inQuotes(client) + ": " + what + " after " + seconds;
}

/// Makes every call of `tools` write a line to `log`, and lists it in `longCalls` while it runs. Both outlive the
/// tools.
void noteCalls(ToolTable& tools, Log& log, LongCalls& longCalls) {
    for (auto& [name, tool] : tools) {
        tool = [&log, &longCalls, toolName = name, run = std::move(tool)](const ToolCall& call) {
            const auto begun = std::chrono::steady_clock::now();
            LongCalls::Call noted{longCalls, toolName, call.client};
            const auto progress = [&](const Progress& now) {
                noted.report(now);
                call.progress(now);
            };
            auto outcome = run(ToolCall{call.arguments, call.cancellation, progress, call.client});
            log.write(logLine(toolName, call.client, outcome, std::chrono::steady_clock::now() - begun));
            return outcome;
        };
    }
}

/// Returns the memory that an idle application does not need to the system.
[[noreturn]] void freeIdleMemory(Transcriber& transcriber) {
    constexpr auto interval = Transcriber::keptIdle / 4;
    static_assert(interval >= std::chrono::seconds{1}, "a thread that does not sleep takes a whole processor");
    while (true) {
        std::this_thread::sleep_for(interval);
        if (transcriber.freeIdle()) releaseFreeMemory();
    }
}

/// Answers every call with the reason why the application cannot work, so the user learns it from the AI client. When a
/// call finds that the reason no longer holds, the program ends. The next call then starts the application again.
Exit explain(ListeningSocket socket, const Paths& paths, const CallServer::Limits& limits,
             const TerminationSignals& signals) {
    CallServer* running = nullptr;
    ToolTable tools;
    for (const VostelMCPKit::MCPTool& tool : VostelMCPKit::MCPToolCatalogue::tools(/*youTubeAvailable=*/true)) {
        tools[tool.name] = [&](const ToolCall&) {
            if (auto obstacle = findObstacle(paths)) return VostelMCPKit::MCPToolOutcome::failed(*std::move(obstacle));
            running->stop();
            return VostelMCPKit::MCPToolOutcome::failed("Vostel can work again and starts with the "
                                                        "next call. Please repeat this call.");
        };
    }
    auto server = CallServer::make(std::move(socket), tools, posix::startBlockingThread, limits);
    if (!server) return fail(server.error().description());
    running = server->get();
    const auto waiting = posix::startBlockingThread({"com.vostel.vostel.signals", "signals"}, [&] {
        std::ignore = signals.wait();
        running->stop();
    });
    if (!waiting) return fail("Vostel could not start: " + waiting.error().systemText() + ".");
    std::ignore = running->run();
    // Deliberate: nothing is destroyed, as in `serve`.
    std::_Exit(static_cast<int>(Exit::failed));
}

} // namespace

Exit serve(const std::filesystem::path& applicationSupportDirectory, bool hasTerminal) {
    returnLargeBlocks();
    const TerminationSignals signals;
    const CallServer::Limits limits = limitsWithDescriptors();

    const Paths paths = Paths::in(applicationSupportDirectory);
    Log log{paths.log()};
    auto socket = ListeningSocket::open(applicationSupportDirectory);
    if (!socket) {
        const std::string reason = socket.error().description();
        const bool isRunning = std::holds_alternative<ListenError::AlreadyRunning>(socket.error().is);
        const bool isUnsafe = std::holds_alternative<ListenError::UnsafeFolder>(socket.error().is);
        const Exit exit = fail(reason, isRunning ? Exit::refused : Exit::failed);
        if (!isUnsafe || hasTerminal) return exit;
        auto insecure = ListeningSocket::openInUnsafeFolder(applicationSupportDirectory);
        return insecure ? explain(*std::move(insecure), paths, limits, signals) : exit;
    }

    // From here on this process is the only server.
    if (const auto obstacle = findObstacle(paths)) {
        log.write("cannot work: " + *obstacle);
        const Exit exit = fail(*obstacle);
        // A user at the terminal has read the reason. AI clients get it as the answer to their calls.
        return hasTerminal ? exit : explain(*std::move(socket), paths, limits, signals);
    }
    // The connection stays open: SQLite writes the whole log back into the file when the last connection closes, and
    // calls should not wait for that.
    auto database = openStore(paths.database());
    if (!database) return fail(database.error().description());
    log.write("started");
    const ModelStore models{{paths.models(), paths.catalogue(), VOSTEL_MODEL_FOLDER}};
    Confirmations confirmations{*database, models, std::chrono::system_clock::now,
                                VostelMCPKit::RandomUUIDs{posix::randomBytes}};
    if (auto recovered = recoverAfterCrash(*database, paths, confirmations); !recovered) {
        log.write(recovered.error().description());
        std::ignore = fail(recovered.error().description());
    }

    std::unique_ptr<ConfirmationTerminal> terminal;
    if (hasTerminal) {
        auto made = ConfirmationTerminal::make(paths, models);
        if (!made) return fail("Vostel could not start: " + made.error().systemText() + ".");
        terminal = *std::move(made);
    }

    const RecognitionCache recognised{paths.recognised(), paths.downloads()};
    recognised.prune(std::filesystem::file_time_type::clock::now());
    Transcriber transcriber{[&](const std::string& language) { return chooseModel(models, language); },
                            decodersForThisMachine(), recognised};
    ToolTable tools;
    ToolContext context{
        .paths = paths, .transcribe = std::bind_front(&Transcriber::transcribe, &transcriber), .models = models};
    if (terminal) context.notifyUser = [&](const OpenConfirmation&) { terminal->wake(); };
    addTools(tools, context);
    LongCalls longCalls{paths.longCalls()};
    noteCalls(tools, log, longCalls);

    auto server = CallServer::make(*std::move(socket), tools, posix::startBlockingThread, limits);
    if (!server) return fail(server.error().description());
    auto waiting = posix::startBlockingThread({"com.vostel.vostel.signals", "signals"}, [&] {
        std::ignore = signals.wait();
        (*server)->stop();
    });
    if (waiting && terminal) {
        waiting = posix::startBlockingThread({"com.vostel.vostel.terminal", "terminal"}, [&] { terminal->run(); });
    }
    if (waiting) {
        waiting = posix::startBlockingThread({"com.vostel.vostel.idle", "idle"}, [&] { freeIdleMemory(transcriber); });
    }
    if (!waiting) return fail("Vostel could not start: " + waiting.error().systemText() + ".");

    std::ignore = (*server)->run();
    log.write("stopped");
    // Deliberate: nothing is destroyed. The threads for signals and for the terminal still use the objects above, and
    // so may calls that did not end in time.
    std::_Exit(EXIT_SUCCESS);
}

} // namespace vostel_companion
