// Cuts a long transcript to what an AI client copes with, and says so.
#pragma once

#include "kit/jsonrpc/MCPValue.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace VostelMCPKit::MCPOutputLimit {

/// In characters as people perceive them (extended grapheme clusters), not in bytes.
inline constexpr std::size_t limit = 500'000;

struct Shaped {
    std::string text;
    /// Present only when the text was cut: what was shown, of how much, and where the whole of it is.
    std::optional<MCPValue> structuredContent;

    bool operator==(const Shaped&) const = default;
};

/// `text` unchanged up to the limit; beyond it, the first characters and a notice, which is not counted. The path is
/// that of the file with the full transcript, when there is one. Move a large text in: it is not copied then.
[[nodiscard]] Shaped shape(std::string text, const std::optional<std::string>& transcriptPath);

[[nodiscard]] std::string truncationNotice(std::int64_t shown, std::int64_t full,
                                           const std::optional<std::string>& transcriptPath);

} // namespace VostelMCPKit::MCPOutputLimit
