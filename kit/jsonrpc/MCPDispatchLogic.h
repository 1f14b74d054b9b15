// What a line of standard input is, what to do with it, and the answers that the server gives by itself: the handshake,
// the tool list and the revision discovery. Pure functions, safe on any thread; the server loop carries the decisions
// out.
#pragma once

#include "kit/jsonrpc/MCPHelperRoute.h"
#include "kit/jsonrpc/MCPIncoming.h"
#include "kit/wire/MCPClientInfo.h"

#include <array>
#include <optional>
#include <string_view>

namespace VostelMCPKit::MCPDispatchLogic {

/// The MCP revision to fall back to. Deliberate: not the newest known one.
inline constexpr std::string_view ourRevision = "2025-06-18";
/// The MCP revisions that a client may ask for.
inline constexpr std::array<std::string_view, 4> knownRevisions{"2024-11-05", "2025-03-26", "2025-06-18", "2025-11-25"};
/// The request that opens every session.
inline constexpr std::string_view initializeMethod = "initialize";
/// The one request that the application handles.
inline constexpr std::string_view applicationMethod = "tools/call";
/// The one notification that the application handles.
inline constexpr std::string_view applicationNotification = "notifications/cancelled";

/// Says what one line is, with or without its line break. Never fails: a line that cannot be used is `Malformed` with
/// -32700 when it is not JSON and with -32600 when it is not a usable message (JSON-RPC 2.0, section 5.1).
[[nodiscard]] MCPIncoming classify(std::string_view line);

/// Whether the application handles this message. `route` and the call proxy both ask this function; no other code
/// decides it.
[[nodiscard]] bool isForApplication(const MCPIncoming& incoming);

/// What to do with a message. `youTubeAvailable` only decides whether tools/list offers the tool for video links.
///
///     const MCPHelperRoute route = MCPDispatchLogic::route(MCPDispatchLogic::classify(line), true);
[[nodiscard]] MCPHelperRoute route(MCPIncoming incoming, bool youTubeAvailable);

/// The server's own answer to a request that is not forwarded. Deliberate: there is no handler for ping, which is an
/// unknown method like any other.
[[nodiscard]] MCPResponse handshakeResponse(const MCPRequest& request, bool youTubeAvailable);
/// The same for a message of any kind; absent for everything but a request. Not used by the server, which routes first;
/// it is for applications that answer the handshake themselves.
[[nodiscard]] std::optional<MCPResponse> handshakeResponse(const MCPIncoming& incoming, bool youTubeAvailable);

/// The revision to announce to a client that asked for `requested`: one of the constants above, so it never dangles.
[[nodiscard]] std::string_view negotiate(std::string_view requested);

/// Who the client says it is; absent unless its params carry a `clientInfo` with a name. Does not look at the method.
[[nodiscard]] std::optional<MCPClientInfo> clientInfo(const MCPRequest& fromInitialize);

/// The complete JSON-RPC message for an error that has no request to answer: its id is null. An error whose data cannot
/// be written becomes an empty object.
[[nodiscard]] MCPValue frameWithoutID(const MCPError& error);

} // namespace VostelMCPKit::MCPDispatchLogic
