#include "kit/tools/MCPOutputLimit.h"

#include "kit/support/CharacterCount.h"

#include <string_view>
#include <utility>
#include <vector>

namespace VostelMCPKit::MCPOutputLimit {

Shaped shape(std::string text, const std::optional<std::string>& transcriptPath) {
    const auto [characters, shownBytes] = countCharacters(text, limit);
    if (characters <= limit) return {std::move(text), std::nullopt};

    const auto shown = static_cast<std::int64_t>(limit);
    const auto full = static_cast<std::int64_t>(characters);
    // A new text: a shortened one would keep the memory of the whole.
    std::string cut;
    const std::string notice = truncationNotice({.shown = shown, .full = full}, transcriptPath);
    cut.reserve(shownBytes + notice.size());
    cut.append(text, 0, shownBytes);
    cut += notice;

    std::vector<MCPValue::Member> record = {{"truncated", true}, {"shownLength", shown}, {"originalLength", full}};
    if (transcriptPath) record.push_back({"transcriptPath", *transcriptPath});
    return {std::move(cut), MCPValue::object(std::move(record))};
}

std::string truncationNotice(Lengths lengths, const std::optional<std::string>& transcriptPath) {
    const std::string where = transcriptPath ? " Full transcript saved at: " + *transcriptPath
                                             : std::string{" Full transcript was not yet saved to disk."};
    return "\n\n[TRUNCATED: showing first " + std::to_string(lengths.shown) + " of " + std::to_string(lengths.full) +
           " characters.]" + where;
}

} // namespace VostelMCPKit::MCPOutputLimit
