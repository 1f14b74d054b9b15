// The lines that the verbs print for stored things.
#pragma once

#include "companion/store/Transcripts.h"
#include "kit/support/UUID.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace vostel_companion {

struct ListedThing {
    VostelMCPKit::UUID id;
    Timestamp date;
    /// Absent in lists that do not show durations.
    std::optional<std::string> duration;
    /// What it is, and the beginning of its words. One line without control characters.
    std::string text;
};

/// "0:07", or "-" if it is unknown.
[[nodiscard]] std::string durationText(const std::optional<Seconds>& duration);

/// The first characters of `text`, at most `characters`, in one line without control characters.
[[nodiscard]] std::string previewText(std::string_view text, std::size_t characters = 60);

/// The source of a transcript in a list: the name of the file, or the link.
[[nodiscard]] std::string sourceText(const TranscriptSource& source);

/// "1A2B3C4D-…  2026-08-30 14:05  1:23  talk.m4a: First words" and a line feed. With `columns`, the width of a
/// terminal, the id is shortened to what the verbs need, and the line is cut to the width.
[[nodiscard]] std::string listLine(const ListedThing& thing, std::optional<std::size_t> columns);

} // namespace vostel_companion
