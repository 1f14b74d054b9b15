#include "companion/demo/Conversation.h"

#include "kit/jsonrpc/JSONReader.h"
#include "kit/jsonrpc/MCPLine.h"

#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace vostel_companion {

using namespace VostelMCPKit;

namespace {

/// Long lines are shown by their beginning: a tool list is 25 kB.
void show(const char* arrow, std::string_view line) {
    constexpr std::size_t width = 240;
    if (line.ends_with('\n')) line.remove_suffix(1);
    std::size_t shown = std::min(width, line.size());
    while (shown < line.size() && (static_cast<unsigned char>(line[shown]) & 0xC0U) == 0x80) --shown;
    std::printf("%s %.*s", arrow, static_cast<int>(shown), line.data());
    if (shown < line.size()) std::printf(" ... (%zu bytes)", line.size());
    std::printf("\n");
    std::fflush(stdout);
}

} // namespace

std::expected<std::unique_ptr<Conversation>, PosixError> Conversation::begin(const std::string& server) {
    int toServer[2];
    int fromServer[2];
    if (pipe(toServer) != 0) return std::unexpected(PosixError{errno});
    if (pipe(fromServer) != 0) return std::unexpected(PosixError{errno});
    // A server that has ended must show as a sentence, not end the demo.
    std::signal(SIGPIPE, SIG_IGN);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, toServer[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, fromServer[1], STDOUT_FILENO);
    for (const int end : {toServer[0], toServer[1], fromServer[0], fromServer[1]}) {
        posix_spawn_file_actions_addclose(&actions, end);
    }
    char* const arguments[] = {const_cast<char*>(server.c_str()), nullptr};
    pid_t child = 0;
    const int failure = posix_spawn(&child, server.c_str(), &actions, nullptr, arguments, environ);
    posix_spawn_file_actions_destroy(&actions);
    close(toServer[0]);
    close(fromServer[1]);
    if (failure != 0) {
        close(toServer[1]);
        close(fromServer[0]);
        return std::unexpected(PosixError{failure});
    }
    return std::unique_ptr<Conversation>{new Conversation{child, fdopen(toServer[1], "w"), fdopen(fromServer[0], "r")}};
}

Conversation::~Conversation() {
    std::fclose(input_);
    int status = 0;
    while (waitpid(server_, &status, 0) < 0 && errno == EINTR) {}
    std::fclose(output_);
}

std::expected<MCPValue, std::string> Conversation::ask(std::string_view method, MCPValue params) {
    const std::int64_t id = ++lastID_;
    say(MCPRequest{id, std::string{method}, std::move(params)});
    for (;;) {
        auto message = hear();
        if (!message) return message;
        const MCPValue* answered = (*message)["id"];
        if (answered == nullptr || answered->asInt() != id) continue;
        const auto response = decode<MCPResponse>(*message);
        if (!response) return std::unexpected("The answer could not be read: " + response.error().description() + ".");
        if (const auto* error = std::get_if<MCPError>(&response->outcome)) return std::unexpected(error->message);
        return std::get<MCPValue>(response->outcome);
    }
}

void Conversation::notify(std::string_view method) { say(MCPNotification{std::string{method}, std::nullopt}); }

std::expected<MCPValue, std::string> Conversation::call(std::string_view tool, MCPValue arguments) {
    return ask("tools/call", MCPValue::object({{"name", tool},
                                               {"arguments", std::move(arguments)},
                                               {"_meta", MCPValue::object({{"progressToken", lastID_ + 1}})}}));
}

template <class Message>
void Conversation::say(const Message& message) {
    Bytes line;
    if (!appendLine(message, line)) return;
    show("->", line.text());
    std::fwrite(line.data(), 1, line.size(), input_);
    std::fflush(input_);
}

std::expected<MCPValue, std::string> Conversation::hear() {
    char* line = nullptr;
    std::size_t capacity = 0;
    const ssize_t length = getline(&line, &capacity, output_);
    const std::string text = length > 0 ? std::string(line, static_cast<std::size_t>(length)) : std::string{};
    std::free(line);
    if (text.empty()) return std::unexpected("The server ended without an answer.");
    show("<-", text);
    auto message = readJSON(text);
    if (!message) return std::unexpected("The server wrote a line that is no JSON.");
    return *std::move(message);
}

} // namespace vostel_companion
