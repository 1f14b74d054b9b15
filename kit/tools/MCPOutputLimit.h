// Cuts a long transcript to a length that AI clients can handle, and says so.
//
// Both functions are thread-safe and keep no state.
//
//     auto shaped = MCPOutputLimit::shape({.text = std::move(transcript), .path = savedAt});
#pragma once

#include "kit/jsonrpc/MCPValue.h"

#include <cstddef>
#include <optional>
#include <string>

namespace VostelMCPKit::MCPOutputLimit {

/// In characters as users perceive them (extended grapheme clusters), not in bytes.
inline constexpr std::size_t limit = 500'000;

/// A text as it may be sent.
struct Shaped {
    /// The text to send, with the notice at its end if it was cut.
    std::string text;
    /// Present only when the text was cut. An object with these keys:
    ///
    ///     truncated       true
    ///     shownLength     characters shown, always `limit`
    ///     originalLength  characters of the whole text
    ///     transcriptPath  the path that was passed; left out when there was none
    ///
    /// It is not valid `structuredContent` for a tool whose output schema is closed. transcribe_file and transcribe_url
    /// are such tools. Leave this record out there, and send what their schema has:
    ///
    ///     MCPToolOutcome::text(shaped.text, MCPValue::object({{"text", shaped.text}, {"segments", segments}}))
    std::optional<MCPValue> structuredContent;

    bool operator==(const Shaped&) const = default;
};

/// Write the names at the call, because two texts would swap unnoticed.
struct Transcript {
    /// In UTF-8. A byte that is not valid counts as one character. Move a large text in: if it fits, it is not copied.
    std::string text;
    /// The file with the whole transcript, if there is one.
    std::optional<std::string> path{};
};

/// Returns a text of up to `limit` characters unchanged. Of a longer one, returns the first `limit` characters and the
/// notice, which comes on top of the limit.
[[nodiscard]] Shaped shape(Transcript transcript);

/// Write the names at the call: `truncationNotice({.shown = 500'000, .full = 600'000}, path)`.
struct Lengths {
    /// In characters.
    std::size_t shown;
    /// In characters.
    std::size_t full;
};

/// The notice that `shape` appends. For an application that cuts a text by a rule of its own.
[[nodiscard]] std::string truncationNotice(Lengths lengths, const std::optional<std::string>& transcriptPath);

} // namespace VostelMCPKit::MCPOutputLimit
