// The lines of a conversation, as text. Ids and results are given as JSON text.
#pragma once

#include <string>
#include <string_view>

namespace vostel_tests {

namespace detail {

inline std::string concatenated(auto... parts) { return (std::string{} + ... + std::string{parts}); }

} // namespace detail

/// A tools/call; `moreParams` follows the name: `,"arguments":{}`.
inline std::string toolsCall(std::string_view id, std::string_view moreParams = "") {
    return detail::concatenated(R"({"jsonrpc":"2.0","id":)", id,
                                R"(,"method":"tools/call","params":{"name":"history_list")", moreParams, "}}");
}

inline std::string cancelled(std::string_view id) {
    return detail::concatenated(R"({"jsonrpc":"2.0","method":"notifications/cancelled","params":{"requestId":)", id,
                                "}}");
}

inline std::string ping(std::string_view id) {
    return detail::concatenated(R"({"jsonrpc":"2.0","id":)", id, R"(,"method":"ping"})");
}

/// The server's answer to an unknown method. It does not know ping.
inline std::string pingReply(std::string_view id) {
    return detail::concatenated(R"({"error":{"code":-32601,"message":"Method not found: ping"},"id":)", id,
                                R"(,"jsonrpc":"2.0"})");
}

inline std::string resultLine(std::string_view id, std::string_view result) {
    return detail::concatenated(R"({"id":)", id, R"(,"jsonrpc":"2.0","result":)", result, "}");
}

inline std::string internalErrorLine(std::string_view id, std::string_view message) {
    return detail::concatenated(R"({"error":{"code":-32603,"message":")", message, R"("},"id":)", id,
                                R"(,"jsonrpc":"2.0"})");
}

} // namespace vostel_tests
