#include "kit/jsonrpc/MCPError.h"

namespace VostelMCPKit {

MCPError MCPError::parseError(std::string message, std::optional<MCPValue> data) {
    return {parseErrorCode, std::move(message), std::move(data)};
}

MCPError MCPError::invalidRequest(std::string message, std::optional<MCPValue> data) {
    return {invalidRequestCode, std::move(message), std::move(data)};
}

MCPError MCPError::methodNotFound(std::string message, std::optional<MCPValue> data) {
    return {methodNotFoundCode, std::move(message), std::move(data)};
}

MCPError MCPError::invalidParams(std::string message, std::optional<MCPValue> data) {
    return {invalidParamsCode, std::move(message), std::move(data)};
}

MCPError MCPError::internalError(std::string message, std::optional<MCPValue> data) {
    return {internalErrorCode, std::move(message), std::move(data)};
}

} // namespace VostelMCPKit
