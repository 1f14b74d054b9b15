#include "companion/commands/DoctorVerb.h"

#include "companion/configs/ClaudeDesktopConfig.h"
#include "companion/configs/ClientConfigs.h"
#include "companion/configs/CodexConfig.h"
#include "companion/configs/ConfigFile.h"
#include "companion/download/VideoDownloader.h"
#include "companion/speech/ModelFiles.h"
#include "companion/store/Schema.h"
#include "companion/support/InQuotes.h"
#include "companion/support/TerminalSafe.h"
#include "kit/connect/MCPConnectLogic.h"
#include "kit/jsonrpc/JSONReader.h"
#include "kit/support/match.h"
#include "kit/tools/MCPCallResult.h"
#include "kit/wire/MCPWireFraming.h"
#include "kit/wire/MCPWireVersionLogic.h"
#include "posix/ChildProcess.h"
#include "posix/FileIO.h"
#include "posix/Peer.h"
#include "posix/Pipe.h"
#include "posix/RandomUUID.h"
#include "posix/UnixSocket.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace vostel_companion {

namespace fs = std::filesystem;

namespace {

using namespace VostelMCPKit;
using namespace VostelMCPKit::MCPClientConfigLogic;
using Time = std::chrono::steady_clock::time_point;

/// In seconds. Codex waits five minutes by default, and one minute in older versions. An hour of speech takes longer.
constexpr std::int64_t shortestToolTimeout = 600;

/// The next bytes of `file`. Empty at its end and when `deadline` has passed.
std::string readMore(const posix::FileDescriptor& file, Time deadline) {
    pollfd event{file.get(), POLLIN, 0};
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0 || ::poll(&event, 1, static_cast<int>(left.count())) <= 0) return {};
    std::array<char, 65'536> piece;
    const auto count = posix::readSome(file, std::as_writable_bytes(std::span{piece})).value_or(0);
    return {piece.data(), count};
}

/// The text of a failed result. Absent if the call succeeded.
std::optional<std::string> failureIn(const MCPValue& result) {
    if (result.boolean("isError") != true) return std::nullopt;
    const MCPValue* content = result.find("content");
    const MCPValue first = content != nullptr && !content->elements().empty() ? content->elements()[0] : MCPValue{};
    return std::string{first.string("text").value_or("The call failed and gave no reason.")};
}

/// Makes the checks one after the other and prints a line for each.
class Examination final {
public:
    explicit Examination(const DoctorContext& context) : context_{context}, paths_{Paths::in(context.support)} {}
    Examination(const Examination&) = delete;
    Examination& operator=(const Examination&) = delete;

    Exit run() {
        if (checkFolder()) checkDatabase();
        checkSocket();
        checkModel();
        checkDownloader();
        for (const MCPClientKind kind : allMCPClientKinds) checkClient(kind);
        checkWholeCall();
        return isWell_ ? Exit::done : Exit::refused;
    }

private:
    void fine(const std::string& sentence) { say("ok     ", sentence); }
    /// Not wrong, but the user may want to know.
    void note(const std::string& sentence) { say("note   ", sentence); }
    void wrong(const std::string& sentence) {
        isWell_ = false;
        say("WRONG  ", sentence);
    }
    void say(const char* mark, const std::string& sentence) { context_.print(mark + printableLine(sentence) + "\n"); }

    bool checkFolder() {
        const std::string name = "The data folder " + inQuotes(paths_.folder.string());
        struct stat status{};
        if (::lstat(paths_.folder.c_str(), &status) != 0) {
            if (errno == ENOENT) {
                note(name + " does not exist. The first start creates it.");
            } else {
                wrong(name + " cannot be read (" + PosixError{errno}.systemText() + "). Make its parents readable.");
            }
            return false;
        }
        if (!S_ISDIR(status.st_mode)) {
            wrong(name + " is not a folder. Move it away; Vostel creates the folder.");
        } else if (status.st_uid != ::geteuid()) {
            wrong(name + " belongs to another user. Take ownership of it with chown, or move it away.");
        } else if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
            wrong(name + " is writable by other users. Check what is in it, then run: chmod 700 '" +
                  paths_.folder.string() + "'");
        } else if ((status.st_mode & 0700U) != 0700U) {
            wrong(name + " is not fully accessible to you. Run: chmod 700 '" + paths_.folder.string() + "'");
        } else {
            fine(name + " is private.");
            return true;
        }
        return false;
    }

    void checkDatabase() {
        std::error_code ignored;
        if (!fs::exists(paths_.database(), ignored))
            return note("There is no database yet. The first start creates it.");
        auto database = openStore(paths_.database().string());
        if (!database) return wrong(database.error().description());
        if (const auto sound = checkIntegrity(*database); !sound) return wrong(sound.error().description());
        fine("The database is intact.");
    }

    void checkSocket() {
        const std::string path = MCPConnectLogic::socketPath(context_.support);
        if (const auto fits = MCPConnectLogic::validateSocketPathLength(path); !fits) {
            return wrong(fits.error().errorDescription());
        }
        auto connection = posix::UnixSocket::connect(path);
        if (!connection) {
            const int reason = connection.error().errorNumber;
            if (reason == ENOENT || reason == ECONNREFUSED) {
                return note("Vostel is not running. The first call starts it.");
            }
            if (reason == EPERM || reason == EACCES) {
                return wrong("This process may not connect to " + inQuotes(path) + " (" +
                             connection.error().systemText() +
                             "). If a sandbox forbids sockets, allow vostel-mcp to run outside of it.");
            }
            return wrong("The socket " + inQuotes(path) + " cannot be reached (" + connection.error().systemText() +
                         "). Remove the file and try again.");
        }
        if (posix::peerUser(connection->get()) != ::geteuid()) {
            return wrong("The program at the socket " + inQuotes(path) +
                         " belongs to another user. Do not use it; ask that user to end it.");
        }
        checkAnswer(*connection);
    }

    /// Asks the program at the socket for the list of models.
    void checkAnswer(const posix::FileDescriptor& connection) {
        const MCPWireRequest request{wireProtocolVersion,
                                     {"Vostel doctor", std::nullopt},
                                     "models_list",
                                     MCPValue::object({}),
                                     RandomUUIDs{posix::randomBytes}().text()};
        const auto frame = MCPWireFraming::encode(MCPWireInboundFrame{request});
        if (!frame || !posix::UnixSocket::writeAll(connection.get(), frame->span())) {
            return wrong("Vostel runs but accepts no calls. " + howToEnd());
        }
        const Time deadline = std::chrono::steady_clock::now() + context_.answerTimeout;
        std::string received;
        while (true) {
            const std::string more = readMore(connection, deadline);
            if (more.empty()) return wrong("Vostel runs but does not answer. " + howToEnd());
            received += more;
            const auto extracted = MCPWireFraming::extractFrame(received);
            if (!extracted) return reportForeignProtocol();
            const auto& whole = *extracted;
            if (!whole) continue;
            return checkResponse(std::string{whole->payload});
        }
    }

    void reportForeignProtocol() {
        wrong(
            "The program at the socket speaks another protocol. Update Vostel. If the program is not Vostel, end it.");
    }

    std::string howToEnd() const {
        long id = 0;
        std::ifstream{paths_.folder / "Vostel.pid"} >> id;
        return id > 0 ? "Run: kill " + std::to_string(id) : "End the program that listens at its socket.";
    }

    void checkResponse(const std::string& payload) {
        const MCPValue value = readJSON(payload).value_or(MCPValue{});
        const auto frame = decode<MCPWireOutboundFrame>(value);
        const auto* response = frame ? std::get_if<MCPWireResponse>(&frame->is) : nullptr;
        if (response == nullptr) return reportForeignProtocol();
        if (const auto* error = std::get_if<MCPWireError>(&response->outcome)) {
            return wrong(error->description());
        }
        if (const auto failure = failureIn(std::get<MCPValue>(response->outcome))) return wrong(*failure);
        fine("Vostel runs and answers, and speaks version " + std::to_string(wireProtocolVersion) +
             " of the protocol.");
    }

    void checkModel() {
        if (ModelFiles::in(context_.systemModel)) return fine("The English speech model is installed.");
        wrong("There is no English speech model in " + inQuotes(context_.systemModel.string()) +
              ". Install the package with PocketSphinx's model en-us.");
    }

    void checkDownloader() {
        const auto found = findDownloader(context_.downloaderPath);
        if (found) return fine("Links are downloaded with " + inQuotes(found->string()) + ".");
        note("yt-dlp is not installed, so links cannot be transcribed. Files can.");
    }

    /// The configuration file that the client reads. Environment variables of the client can move it.
    fs::path configFile(MCPClientKind kind) const {
        const fs::path usual = configPath(kind, context_.home.string());
        if (kind == MCPClientKind::claudeDesktop) return usual / ClaudeDesktopConfig::manifestPath;
        const bool isCodex = kind == MCPClientKind::codex;
        const auto moved = context_.environmentVariable(isCodex ? "CODEX_HOME" : "CLAUDE_CONFIG_DIR");
        return moved && !moved->empty() ? fs::path{*moved} / usual.filename() : usual;
    }

    void checkClient(MCPClientKind kind) {
        const fs::path file = configFile(kind);
        const std::string client{displayName(kind)};
        const std::string usual = configPath(kind, context_.home.string());
        const bool isMoved = kind != MCPClientKind::claudeDesktop && file != fs::path{usual};
        const std::string where =
            client +
            (isMoved ? " reads " + inQuotes(file.string()) + ", because an environment variable says so. It " : " ");
        const std::string repair = isMoved
                                       ? "Correct the command by hand to " + inQuotes(context_.helper.string()) + "."
                                       : "Run: Vostel clients install " + std::string{commandLineName(kind)};
        const auto status = clientConfigStatus(kind, file, context_.helper.string());
        if (!status) return wrong(client + ": " + status.error().description(file.string()));
        match(
            status->command.is,
            [&](const InstallationStatus::UpToDate&) {
                if (!status->isOldForm) return checkConnected(kind, file, where);
                wrong(where + "has an entry of an older form, which it may refuse. " + repair);
            },
            [&](const InstallationStatus::NotInstalled&) {
                note(where + "is not connected. " + (isMoved ? "Add the entry by hand." : repair));
            },
            [&](const InstallationStatus::StalePath& stale) {
                const bool exists = ::access(stale.previousCommand.c_str(), X_OK) == 0;
                wrong(where + "starts " + inQuotes(stale.previousCommand) +
                      (exists ? ", which is another copy. " : ", which does not exist. ") + repair);
            },
            [&](const InstallationStatus::ForeignEntry& foreign) {
                wrong(where + "has an entry vostel that starts " + inQuotes(foreign.existingCommand) +
                      " instead of vostel-mcp. " + (isMoved ? repair : repair + " --force"));
            });
    }

    void checkConnected(MCPClientKind kind, const fs::path& file, const std::string& where) {
        if (::access(context_.helper.c_str(), X_OK) != 0) {
            return wrong(where + "starts " + inQuotes(context_.helper.string()) +
                         ", which does not exist. Install Vostel again.");
        }
        if (kind == MCPClientKind::codex) {
            const auto text = readConfigFile(file);
            const auto timeout = text ? CodexConfig::toolTimeout(*text) : std::nullopt;
            if (timeout.value_or(0) < shortestToolTimeout) {
                return wrong(where + "gives up a call after " + (timeout ? std::to_string(*timeout) : "at most 300") +
                             " seconds, and an hour of speech takes longer. Write tool_timeout_sec = 3600 under "
                             "[mcp_servers.vostel] in " +
                             inQuotes(file.string()) + ".");
            }
        }
        fine(where + "is connected.");
    }

    /// Starts the server as a client would, and calls a tool.
    void checkWholeCall() {
        const Time begun = std::chrono::steady_clock::now();
        std::signal(SIGPIPE, SIG_IGN);
        auto input = posix::Pipe::make();
        auto output = posix::Pipe::make();
        if (!input || !output) return wrong("No pipe could be made, so the server was not tested.");
        auto server = posix::ChildProcess::start({.executable = context_.helper,
                                                  .environment = posix::currentEnvironment(),
                                                  .input = input->reader.get(),
                                                  .output = output->writer.get()});
        if (!server) {
            return wrong("The server " + inQuotes(context_.helper.string()) + " could not be started (" +
                         server.error().systemText() + "). Install Vostel again.");
        }
        output->writer = {};
        constexpr std::string_view lines =
            R"({"id":1,"jsonrpc":"2.0","method":"initialize","params":{"capabilities":{},"clientInfo":{"name":"Vostel )"
            R"(doctor","version":"1"},"protocolVersion":"2025-06-18"}})"
            "\n"
            R"({"jsonrpc":"2.0","method":"notifications/initialized"})"
            "\n"
            R"({"id":2,"jsonrpc":"2.0","method":"tools/call","params":{"arguments":{},"name":"models_list"}})"
            "\n";
        std::ignore = posix::writeAll(input->writer, lines, "the server's input");
        const auto answer = secondAnswer(output->reader, begun + context_.answerTimeout);
        std::ignore = server->kill();
        if (!answer)
            return wrong("A call through vostel-mcp got no answer. See " + inQuotes(paths_.log().string()) + ".");
        if (const MCPValue* error = answer->find("error")) {
            return wrong("A call through vostel-mcp failed: " + std::string{error->string("message").value_or("")});
        }
        if (const auto failure = failureIn(*answer->find("result"))) {
            return wrong("A call through vostel-mcp failed: " + *failure);
        }
        char time[64];
        std::snprintf(time, sizeof time, "%.2f",
                      std::chrono::duration<double>{std::chrono::steady_clock::now() - begun}.count());
        fine("A call through vostel-mcp was answered after " + std::string{time} + " s.");
    }

    /// The response with the id 2. Absent if none came in time.
    static std::optional<MCPValue> secondAnswer(const posix::FileDescriptor& output, Time deadline) {
        std::string unread;
        while (true) {
            const auto end = unread.find('\n');
            if (end == std::string::npos) {
                const std::string more = readMore(output, deadline);
                if (more.empty()) return std::nullopt;
                unread += more;
                continue;
            }
            auto message = readJSON(std::string_view{unread}.substr(0, end));
            unread.erase(0, end + 1);
            const bool hasOutcome =
                message && (message->find("error") != nullptr || message->find("result") != nullptr);
            if (hasOutcome && message->integer("id") == 2) return *std::move(message);
        }
    }

    const DoctorContext& context_;
    const Paths paths_;
    bool isWell_ = true;
};

} // namespace

Exit run(const Command::Doctor& /*verb*/, const DoctorContext& context) { return Examination{context}.run(); }

} // namespace vostel_companion
