#include "kit/tools/MCPOutputLimit.h"

#include "kit/jsonrpc/MCPObjectBuilder.h"
#include "kit/support/CharacterCount.h"

#include <string_view>
#include <utility>

namespace VostelMCPKit::MCPOutputLimit {

Shaped shape(Transcript transcript) {
    const auto [characters, shownBytes] = countCharacters(transcript.text, limit);
    if (characters <= limit) return {std::move(transcript.text), std::nullopt};

    // Builds a new string, because a shortened one would keep the memory of the whole text.
    std::string cut;
    const std::string notice = truncationNotice({.shown = limit, .full = characters}, transcript.path);
    cut.reserve(shownBytes + notice.size());
    cut.append(transcript.text, 0, shownBytes);
    cut += notice;

    MCPObjectBuilder record;
    record.add("truncated", true)
        .add("shownLength", limit)
        .add("originalLength", characters)
        .addIfPresent("transcriptPath", transcript.path);
    return {std::move(cut), record.take()};
}

std::string truncationNotice(Lengths lengths, const std::optional<std::string>& transcriptPath) {
    const std::string where = transcriptPath ? " Full transcript saved at: " + *transcriptPath
                                             : std::string{" Full transcript was not yet saved to disk."};
    return "\n\n[TRUNCATED: showing first " + std::to_string(lengths.shown) + " of " + std::to_string(lengths.full) +
           " characters.]" + where;
}

} // namespace VostelMCPKit::MCPOutputLimit
