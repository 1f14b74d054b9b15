#include "companion/demo/Conversation.h"

#include "kit/jsonrpc/JSONReader.h"
#include "kit/jsonrpc/MCPLine.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace vostel_companion {

using namespace VostelMCPKit;

namespace {

/// Shows only the beginning of a long line: the tool list has 25 kB.
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
    auto started = Child::start({server});
    if (!started) return std::unexpected(started.error());
    return std::unique_ptr<Conversation>{new Conversation{*std::move(started)}};
}

std::expected<MCPValue, std::string> Conversation::ask(std::string_view method, MCPValue params) {
    const std::int64_t id = ++lastID_;
    send(MCPRequest{id, std::string{method}, std::move(params)});
    while (true) {
        auto message = receive();
        if (!message) return message;
        if (message->integer("id") != id) continue;
        const auto response = decode<MCPResponse>(*message);
        if (!response) return std::unexpected("The answer could not be read: " + response.error().description() + ".");
        if (const auto* error = std::get_if<MCPError>(&response->outcome)) return std::unexpected(error->message);
        return std::get<MCPValue>(response->outcome);
    }
}

void Conversation::notify(std::string_view method) { send(MCPNotification{std::string{method}, std::nullopt}); }

std::expected<MCPValue, std::string> Conversation::call(std::string_view tool, MCPValue arguments) {
    return ask("tools/call", MCPValue::object({{"name", tool},
                                               {"arguments", std::move(arguments)},
                                               {"_meta", MCPValue::object({{"progressToken", lastID_ + 1}})}}));
}

template <class Message>
void Conversation::send(const Message& message) {
    Bytes line;
    if (!appendLine(message, line)) return;
    show("->", line.text());
    server_->write(line.text());
}

std::expected<MCPValue, std::string> Conversation::receive() {
    const std::string text = server_->readLine();
    if (text.empty()) return std::unexpected("The server ended without an answer.");
    show("<-", text);
    auto message = readJSON(text);
    if (!message) return std::unexpected("The server wrote a line that is not JSON.");
    return *std::move(message);
}

} // namespace vostel_companion
