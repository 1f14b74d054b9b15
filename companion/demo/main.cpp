// Shows the main job: an AI client asks vostel-mcp for the words of a recording, and gets them.
//
//     vostel-demo SERVER RECORDING
//
// HOME is a folder made for the occasion; the server launches the application inside its own bundle.

#include "companion/demo/Conversation.h"

#include <cstdio>
#include <cstdlib>

using namespace vostel_companion;
using VostelMCPKit::MCPValue;

namespace {

void heading(const char* text) { std::printf("\n== %s\n", text); }

[[noreturn]] void giveUp(const std::string& reason) {
    std::fprintf(stderr, "\n%s\n", reason.c_str());
    std::exit(EXIT_FAILURE);
}

MCPValue answered(std::expected<MCPValue, std::string> answer) {
    if (!answer) giveUp(answer.error());
    return *std::move(answer);
}

std::string textOf(const MCPValue& result) {
    const MCPValue* structured = result["structuredContent"];
    const MCPValue* text = structured != nullptr ? (*structured)["text"] : nullptr;
    if (text == nullptr || !text->asString()) giveUp("The call brought no text.");
    return std::string{*text->asString()};
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) giveUp("usage: vostel-demo SERVER RECORDING");
    auto conversation = Conversation::begin(argv[1]);
    if (!conversation) giveUp("The server could not be started: " + conversation.error().systemText() + ".");
    Conversation& client = **conversation;

    heading("The client introduces itself");
    const auto introduction = MCPValue::object({
        {"protocolVersion", "2025-06-18"},
        {"capabilities", MCPValue::object({})},
        {"clientInfo", MCPValue::object({{"name", "demo"}, {"version", "1"}})},
    });
    answered(client.ask("initialize", introduction));
    client.notify("notifications/initialized");

    heading("It asks for the tools");
    const MCPValue list = answered(client.ask("tools/list", MCPValue::object({})));
    const MCPValue* tools = list["tools"];
    const auto listed = tools != nullptr ? tools->asArray() : std::nullopt;
    if (!listed) giveUp("The server listed no tools.");
    for (const MCPValue& tool : *listed) {
        const MCPValue* name = tool["name"];
        if (name != nullptr) std::printf("   %s\n", std::string{name->asString().value_or("?")}.c_str());
    }

    heading("It has a recording transcribed; the application is launched for it");
    const MCPValue result = answered(client.call("transcribe_file", MCPValue::object({{"path", argv[2]}})));

    heading("The words");
    std::printf("%s\n", textOf(result).c_str());
    return EXIT_SUCCESS;
}
