#include "kit/stdio/MCPStdoutWriter.h"

namespace VostelMCPKit {

namespace {

/// The whole lines at the beginning of `lines` that fit into `room`, or the beginning of a line that is longer.
std::string_view fitting(std::string_view lines, std::size_t room) {
    if (lines.size() <= room) return lines;
    const auto lastEnd = lines.substr(0, room).rfind('\n');
    return lines.substr(0, lastEnd == lines.npos ? room : lastEnd + 1);
}

/// The bytes up to the first line end, or the first part of a longer line. After the search, a part is still in the
/// processor's cache for the write. The reader takes one part while the next one is searched.
std::string_view upToLineEnd(std::string_view bytes) {
    constexpr std::size_t partLength = 65'536;
    const std::string_view part = bytes.substr(0, partLength);
    const auto end = part.find('\n');
    return end == part.npos ? part : part.substr(0, end + 1);
}

} // namespace

Task<std::expected<void, MCPWriteError>> MCPStdoutWriter::send(Bytes data) {
    co_await isolated();
    co_return writeAll(data.text());
}

Task<std::expected<void, MCPWriteError>> MCPStdoutWriter::send(Bytes lines, std::shared_ptr<LineGate> gate) {
    co_await isolated();
    for (std::string_view rest = lines.text(); !rest.empty();) {
        // Waits before it asks the gate, because the reader may be slow and the gate may close during the wait.
        const std::string_view beginning = fitting(rest, waitForRoom_ ? waitForRoom_(rest.size()) : rest.size());
        std::expected<std::size_t, MCPWriteError> count = 0;
        const bool isOpen = gate->ifOpen([&] { count = writeSome(beginning); });
        if (!isOpen) break;
        if (!count) co_return std::unexpected(count.error());
        const bool endsInsideLine = rest[*count - 1] != '\n';
        rest.remove_prefix(*count);
        if (!endsInsideLine) continue;
        if (auto finished = finishLine(rest); !finished) co_return finished;
    }
    co_return Written{};
}

MCPStdoutWriter::Written MCPStdoutWriter::finishLine(std::string_view& rest) const {
    while (!rest.empty()) {
        const std::string_view part = upToLineEnd(rest);
        if (auto written = writeAll(part); !written) return written;
        rest.remove_prefix(part.size());
        if (part.ends_with('\n')) break;
    }
    return {};
}

MCPStdoutWriter::Written MCPStdoutWriter::writeAll(std::string_view bytes) const {
    while (!bytes.empty()) {
        const auto count = writeSome(bytes);
        if (!count) return std::unexpected(count.error());
        bytes.remove_prefix(*count);
    }
    return {};
}

std::expected<std::size_t, MCPWriteError> MCPStdoutWriter::writeSome(std::string_view bytes) const {
    if (!attemptWrite_) return std::unexpected(MCPWriteError{MCPStdioError::noProgress});
    const auto count = attemptWrite_(std::as_bytes(std::span{bytes}));
    if (!count) return std::unexpected(MCPWriteError{count.error()});
    if (*count <= 0) return std::unexpected(MCPWriteError{MCPStdioError::noProgress});
    return static_cast<std::size_t>(*count);
}

} // namespace VostelMCPKit
