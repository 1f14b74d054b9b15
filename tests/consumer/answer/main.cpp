// An application that answers every tool call. Pass the user's Application Support folder as the only argument.
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <kit/connect/MCPSocketAddress.h>
#include <kit/wire/MCPWireAnswer.h>
#include <unistd.h>

using namespace VostelMCPKit;

MCPToolOutcome run(const MCPWireRequest& call) {
    if (call.tool != "models_list") return MCPToolOutcome::failed("There is no tool named " + call.tool + ".");
    return MCPToolOutcome::text("No model is installed.", MCPValue::object({{"models", MCPValue::array({})}}));
}

int main(int count, char** arguments) {
    if (count != 2) return 2;
    const std::filesystem::path path = MCPConnectLogic::socketPath(arguments[1]);
    const auto address = MCPConnectLogic::socketAddress(path.native());
    if (!address) return 2; // the path is too long for a socket
    std::filesystem::create_directories(path.parent_path());
    unlink(path.c_str()); // left by an earlier run
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    if (bind(listener, reinterpret_cast<const sockaddr*>(&*address), sizeof *address) != 0 ||
        listen(listener, 8) != 0) {
        std::perror(path.c_str());
        return 1;
    }
    std::signal(SIGPIPE, SIG_IGN); // vostel-mcp may leave before it has read the answer
    for (int connection; (connection = accept(listener, nullptr, nullptr)) >= 0; close(connection)) {
        const auto receive = [&](char* room, std::size_t size) { return read(connection, room, size); };
        const Bytes answer = MCPWireAnswer::serve(receive, run);
        if (write(connection, answer.data(), answer.size()) < 0) std::perror("write");
    }
}
