// Demonstrates the program: an AI client has a recording transcribed, adds a vocabulary rule, sees it applied in the
// next transcription, and removes it again, which the user has to confirm.
//
//     vostel-demo SERVER RECORDING
//
// HOME is a temporary folder. The server launches the application of its own bundle. The demo plays the user and runs
// the executable Vostel beside the server.

#include "companion/demo/Conversation.h"
#include "companion/demo/Rule.h"
#include "kit/jsonrpc/JSONWriter.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <tuple>

using namespace vostel_companion;
using VostelMCPKit::MCPValue;

namespace {

void heading(const char* text) { std::printf("\n== %s\n", text); }

[[noreturn]] void giveUp(const std::string& reason) {
    std::fflush(stdout);
    std::fprintf(stderr, "\n%s\n", reason.c_str());
    std::exit(EXIT_FAILURE);
}

MCPValue answered(std::expected<MCPValue, std::string> answer) {
    if (!answer) giveUp(answer.error());
    return *std::move(answer);
}

bool isError(const MCPValue& result) { return result.boolean("isError") == true; }

/// The text of a result, which is a sentence if the call failed.
std::string sentenceIn(const MCPValue& result) {
    const MCPValue* content = result.find("content");
    if (content == nullptr || content->elements().empty()) return {};
    const MCPValue first = content->elements()[0];
    return std::string{first.string("text").value_or("")};
}

/// The structured content of a successful call.
MCPValue contentOf(const MCPValue& result) {
    const MCPValue* structured = result.find("structuredContent");
    if (isError(result) || structured == nullptr) giveUp(sentenceIn(result));
    return *structured;
}

std::string transcribe(Conversation& client, const std::string& recording) {
    const MCPValue content =
        contentOf(answered(client.call("transcribe_file", MCPValue::object({{"path", recording}}))));
    return std::string{content.string("text").value_or("")};
}

void printContent(const MCPValue& content) {
    VostelMCPKit::Bytes text;
    std::ignore = VostelMCPKit::writeJSON(content, text);
    std::printf("\n   %s\n", std::string{text.text()}.c_str());
}

/// Runs a verb of the application as the user would, in a terminal, and returns its first line.
std::string runAsUser(const std::filesystem::path& application, std::vector<std::string> arguments) {
    std::printf("$ Vostel");
    for (const std::string& argument : arguments) std::printf(" %s", argument.c_str());
    std::printf("\n");
    std::fflush(stdout);
    arguments.insert(arguments.begin(), application.string());
    const auto child = Child::startOnTerminal(arguments);
    if (!child) giveUp("Vostel could not be started: " + child.error().systemText() + ".");
    std::string first;
    for (std::string line = (*child)->readLine(); !line.empty(); line = (*child)->readLine()) {
        std::printf("%s", line.c_str());
        if (first.empty()) first = line;
    }
    return first;
}

void initialize(Conversation& client) {
    heading("The client initializes the session");
    answered(client.ask("initialize", MCPValue::object({
                                          {"protocolVersion", "2025-06-18"},
                                          {"capabilities", MCPValue::object({})},
                                          {"clientInfo", MCPValue::object({{"name", "demo"}, {"version", "1"}})},
                                      })));
    client.notify("notifications/initialized");

    heading("It lists the tools");
    const MCPValue list = answered(client.ask("tools/list", MCPValue::object({})));
    const MCPValue* tools = list.find("tools");
    if (tools == nullptr) giveUp("The server listed no tools.");
    for (const MCPValue& tool : tools->elements()) {
        std::printf("   %s\n", std::string{tool.string("name").value_or("?")}.c_str());
    }
}

void addRule(Conversation& client, const Rule& rule, const std::string& recording, const std::string& before) {
    heading("The client adds a vocabulary rule");
    const MCPValue rules =
        MCPValue::array({MCPValue::object({{"word", rule.word}, {"replacement", rule.replacement}})});
    printContent(contentOf(answered(client.call("vocabulary_add", MCPValue::object({{"rules", rules}})))));

    heading("The next transcription applies it");
    const std::string after = transcribe(client, recording);
    std::printf("\n   before  %s\n   after   %s\n", before.c_str(), after.c_str());
    if (after == before || !after.contains(rule.replacement)) giveUp("The rule was not applied.");
}

void removeRule(Conversation& client, const Rule& rule, const std::filesystem::path& application) {
    const auto remove = [&] {
        return answered(client.call("vocabulary_remove", MCPValue::object({{"words", MCPValue::array({rule.word})}})));
    };
    heading("The client asks to remove the rule, which waits for confirmation");
    const MCPValue pending = remove();
    if (!isError(pending)) giveUp("The rule was removed without confirmation.");
    std::printf("\n   %s\n", sentenceIn(pending).c_str());

    heading("The user lists the requests, and confirms");
    const std::string waiting = runAsUser(application, {"pending"});
    runAsUser(application, {"confirm", waiting.substr(0, waiting.find(' '))});

    heading("The client repeats the call and gets the outcome");
    printContent(contentOf(remove()));
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) giveUp("usage: vostel-demo SERVER RECORDING");
    const std::string server = argv[1];
    const std::string recording = argv[2];
    auto conversation = Conversation::begin(server);
    if (!conversation) giveUp("The server could not be started: " + conversation.error().systemText() + ".");
    Conversation& client = **conversation;

    initialize(client);
    heading("It has a recording transcribed, which launches the application");
    const std::string words = transcribe(client, recording);
    std::printf("\n   %s\n", words.c_str());

    const auto rule = ruleThatChanges(words);
    if (!rule) {
        std::printf("No words were recognised, so there is nothing to replace.\n");
        return EXIT_SUCCESS;
    }
    addRule(client, *rule, recording, words);
    removeRule(client, *rule, std::filesystem::path{server}.parent_path() / "Vostel");
    return EXIT_SUCCESS;
}
