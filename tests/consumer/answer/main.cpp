// An application that answers every tool call. Pass the user's Application Support folder as the only argument.
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <kit/connect/MCPConnectLogic.h>
#include <kit/tools/MCPCallResult.h>
#include <kit/wire/MCPWireFrameText.h>
#include <kit/wire/MCPWireFraming.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using namespace VostelMCPKit;

MCPToolOutcome run(const MCPWireRequest& request) {
    if (request.tool != "models_list") return MCPToolOutcome::failed("There is no tool named " + request.tool + ".");
    return MCPToolOutcome::text("No model is installed.", MCPValue::object({{"models", MCPValue::array({})}}));
}

/// The response to one payload. A cancellation gets none: the call that it names has ended before we read it.
std::optional<MCPWireResponse> answer(std::string_view payload) {
    const auto frame = readInboundFrame(payload);
    if (frame) {
        const auto* request = std::get_if<MCPWireRequest>(&frame->is);
        if (request == nullptr) return std::nullopt;
        return MCPWireResponse{request->requestID, encode(MCPCallResult::rendering(run(*request)))};
    }
    const auto* otherVersion = std::get_if<MCPWireResponse>(&frame.error().is);
    if (otherVersion == nullptr) return std::nullopt;
    return *otherVersion;
}

/// One connection carries one call.
void serve(int connection) {
    Bytes received;
    for (ssize_t count; (count = read(connection, received.room(4096), 4096)) > 0;) {
        received.grow(static_cast<std::size_t>(count));
        const auto cut = MCPWireFraming::extractFrame(received.text());
        if (!cut) return;    // longer than a frame may be
        if (!*cut) continue; // not complete yet
        const auto response = answer((*cut)->payload);
        if (!response) return;
        const auto bytes = MCPWireFraming::encode(MCPWireOutboundFrame{*response});
        if (bytes && write(connection, bytes->data(), bytes->size()) < 0) std::perror("write");
        return;
    }
}

int main(int count, char** arguments) {
    if (count != 2) return 2;
    const std::string path = MCPConnectLogic::socketPath(arguments[1]);
    if (const auto fits = MCPConnectLogic::validateSocketPathLength(path); !fits) {
        std::fprintf(stderr, "%s\n", fits.error().errorDescription().c_str());
        return 1;
    }
    std::signal(SIGPIPE, SIG_IGN); // vostel-mcp may leave before it has read the answer
    std::error_code ignored;       // what cannot be prepared makes bind fail, which says why
    std::filesystem::create_directories(std::filesystem::path{path}.parent_path(), ignored);
    std::filesystem::remove(path, ignored);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, path.size());
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    if (bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || listen(listener, 8) != 0) {
        std::perror(path.c_str());
        return 1;
    }
    for (int connection; (connection = accept(listener, nullptr, nullptr)) >= 0; close(connection)) serve(connection);
}
