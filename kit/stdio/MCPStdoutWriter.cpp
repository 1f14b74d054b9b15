#include "kit/stdio/MCPStdoutWriter.h"

namespace VostelMCPKit {

Task<std::expected<void, MCPWriteError>> MCPStdoutWriter::send(Bytes data) {
    co_await isolated();
    for (std::span<const std::byte> rest = data.span(); !rest.empty();) {
        const auto count = attemptWrite_(rest);
        if (!count) co_return std::unexpected(MCPWriteError{count.error()});
        if (*count <= 0) co_return std::unexpected(MCPWriteError{MCPStdioError::noProgress});
        rest = rest.subspan(static_cast<std::size_t>(*count));
    }
    co_return std::expected<void, MCPWriteError>{};
}

} // namespace VostelMCPKit
