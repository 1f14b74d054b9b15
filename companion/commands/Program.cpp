#include "companion/commands/Program.h"

#include "companion/audio/AudioDuration.h"
#include "companion/commands/ClientsVerb.h"
#include "companion/commands/CommandLine.h"
#include "companion/commands/DictateVerb.h"
#include "companion/commands/DoctorVerb.h"
#include "companion/commands/HistoryVerbs.h"
#include "companion/commands/ModelVerbs.h"
#include "companion/commands/PendingVerbs.h"
#include "companion/commands/QuitVerb.h"
#include "companion/commands/RecordVerb.h"
#include "companion/commands/SearchVerb.h"
#include "companion/commands/ServeVerb.h"
#include "companion/commands/SettingsVerbs.h"
#include "companion/commands/StatusVerb.h"
#include "companion/commands/TranscribeVerb.h"
#include "companion/commands/WordVerbs.h"
#include "companion/download/VideoDownloader.h"
#include "companion/socket/ListeningSocket.h"
#include "companion/store/Schema.h"
#include "companion/support/TerminalSafe.h"
#include "companion/terminal/TerminationSignals.h"
#include "posix/BlockingThread.h"
#include "posix/RandomUUID.h"
#include "posix/Signals.h"
#include "posix/StandardFolders.h"

#include <atomic>
#include <concepts>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vostel_companion {

namespace {

bool print(std::string_view text) {
    return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0;
}

/// Makes the sentence safe for a terminal, because it may contain paths and text from files.
void printError(const std::string& sentence) { std::fprintf(stderr, "%s\n", printable(sentence).c_str()); }

bool isOnTerminal() { return ::isatty(STDIN_FILENO) != 0 && ::isatty(STDOUT_FILENO) != 0; }

/// The width of the terminal at `stream`, 0 if it is unknown.
std::size_t terminalColumns(int stream) {
    winsize size{};
    return ::ioctl(stream, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

std::optional<std::size_t> outputColumns() {
    if (::isatty(STDOUT_FILENO) == 0) return std::nullopt;
    const std::size_t columns = terminalColumns(STDOUT_FILENO);
    return columns > 0 ? columns : 80;
}

std::optional<ProgressTerminal> progressTerminal() {
    const char* kind = std::getenv("TERM");
    // A dumb terminal cannot clear a line.
    if (::isatty(STDERR_FILENO) == 0 || kind == nullptr || std::string_view{kind} == "dumb") return std::nullopt;
    return ProgressTerminal{[](std::string_view text) { std::fwrite(text.data(), 1, text.size(), stderr); },
                            [] { return terminalColumns(STDERR_FILENO); }, std::chrono::steady_clock::now};
}

template <class Verb>
concept LongWork = std::same_as<Verb, Command::Dictate> || std::same_as<Verb, Command::Transcribe> ||
                   std::same_as<Verb, Command::Record> || std::same_as<Verb, Command::InstallModel>;

/// The first termination signal cancels long work. The second one ends the program.
class Interruption final {
public:
    explicit Interruption(Cancellation& cancellation) : cancellation_{cancellation} {}
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    [[nodiscard]] std::expected<void, VostelMCPKit::PosixError> watch() {
        return posix::startBlockingThread({"com.vostel.vostel.signals", "signals"}, [this] {
            signal_ = signals_.wait();
            cancellation_.cancel();
            posix::reraise(signals_.wait());
        });
    }

    /// Zero until a signal arrives.
    [[nodiscard]] int signal() const { return signal_; }

private:
    Cancellation& cancellation_;
    const TerminationSignals signals_;
    std::atomic<int> signal_ = 0;
};

Exit runOnStore(const auto& verb, Cancellation& cancellation) {
    const auto support = posix::applicationSupportDirectory();
    const Paths paths = Paths::in(support);
    if (const auto prepared = prepareFolder(paths.folder); !prepared) {
        printError(prepared.error().description());
        return Exit::failed;
    }
    auto database = openStore(paths.database());
    if (!database) {
        printError(database.error().description());
        return Exit::failed;
    }
    const ModelStore models{{paths.models(), paths.catalogue(), VOSTEL_MODEL_FOLDER}};
    std::optional<RecognitionCache> cache;
    // Deleting a transcript also deletes its cache entry, which is found by the path that the transcript stores.
    // Dictations and recordings store no path, so nothing of them may be cached.
    if constexpr (std::same_as<std::remove_cvref_t<decltype(verb)>, Command::Transcribe>) {
        cache.emplace(paths.recognised(), paths.downloads());
    }
    Transcriber transcriber{[&](const std::string& language) { return chooseModel(models, language); },
                            decodersForThisMachine(), std::move(cache)};
    std::error_code ignored;
    CommandContext context{
        .paths = paths,
        .database = *database,
        .models = models,
        .transcribe = std::bind_front(&Transcriber::transcribe, &transcriber),
        .measure = audioDuration,
        .workingFolder = std::filesystem::current_path(ignored),
        .now = std::chrono::system_clock::now,
        .newID = VostelMCPKit::RandomUUIDs{posix::randomBytes},
        .localMidnight = systemLocalMidnight,
        .cancellation = cancellation,
        .print = print,
        .printError = printError,
        .isOnTerminal = isOnTerminal(),
        .columns = outputColumns(),
        .progress = progressTerminal(),
    };
    return run(verb, context);
}

Exit perform(const LongWork auto& verb) {
    // Deliberate: never destroyed. The thread that waits for signals uses both until the program ends.
    auto& cancellation = *new Cancellation;
    auto& interruption = *new Interruption{cancellation};
    if (const auto watching = interruption.watch(); !watching) {
        printError("Vostel could not start: " + watching.error().systemText() + ".");
        return Exit::failed;
    }
    const Exit exit = runOnStore(verb, cancellation);
    if (interruption.signal() != 0) posix::reraise(interruption.signal());
    return exit;
}

Exit perform(const auto& verb) {
    Cancellation never;
    return runOnStore(verb, never);
}

Exit perform(const Command::PrintCompletions& verb) {
    print(completionScript(verb.shell, describeCommandLine()));
    return Exit::done;
}

Exit perform(const Command::Serve&) { return serve(posix::applicationSupportDirectory(), isOnTerminal()); }

Exit perform(const Command::Status& verb) {
    return run(verb, StatusContext{posix::applicationSupportDirectory(), VOSTEL_MODEL_FOLDER, print, printError});
}

Exit perform(const Command::Quit& verb) {
    return run(verb, QuitContext{posix::applicationSupportDirectory(), print, printError});
}

Exit perform(const Command::Doctor& verb) {
    const char* const path = std::getenv("PATH");
    const auto variable = [](const char* name) -> std::optional<std::string> {
        const char* const value = std::getenv(name);
        return value != nullptr ? std::optional<std::string>{value} : std::nullopt;
    };
    const auto self = posix::ownExecutable().value_or("");
    return run(
        verb, DoctorContext{.support = posix::applicationSupportDirectory(),
                            .home = posix::homeDirectory(),
                            .helper = self.parent_path() / "vostel-mcp",
                            .systemModel = VOSTEL_MODEL_FOLDER,
                            .downloaderPath = downloaderSearchPath(path != nullptr ? path : "", posix::homeDirectory()),
                            .environmentVariable = variable,
                            .print = print});
}

Exit perform(const Command::Clients& verb) {
    // Both programs are in the bundle, side by side.
    const auto self = posix::ownExecutable().value_or("");
    const char* const path = std::getenv("PATH");
    return run(verb, ClientsContext{.home = posix::homeDirectory(),
                                    .helper = self.parent_path() / "vostel-mcp",
                                    .searchPath = path != nullptr ? path : "",
                                    .print = print,
                                    .printError = printError});
}

} // namespace

int runProgram(const std::vector<std::string>& arguments) {
    ::umask(077);
    const auto command = parseCommandLine(arguments);
    if (!command) {
        std::fputs(command.error().text.c_str(), command.error().exit == Exit::done ? stdout : stderr);
        return static_cast<int>(command.error().exit);
    }
    const Exit exit = std::visit([](const auto& verb) { return perform(verb); }, command->is);
    if (std::ferror(stdout) == 0) return static_cast<int>(exit);
    printError("The output could not be written.");
    return static_cast<int>(Exit::failed);
}

} // namespace vostel_companion
