#include "companion/commands/ListLine.h"

#include "companion/support/TerminalSafe.h"
#include "companion/support/Wording.h"
#include "kit/support/CharacterCount.h"

#include <algorithm>
#include <filesystem>

namespace vostel_companion {

namespace {

/// On a narrower terminal, lines wrap. That is better than cutting their text down to a few letters.
constexpr std::size_t narrowestLine = 50;
/// The verbs accept the beginning of an id. Two ids with the same eight characters are very unlikely.
constexpr std::size_t shortID = 8;

/// At most `most` characters. An ellipsis is the last of them if something was left out.
std::string cut(const std::string& text, std::size_t most) {
    if (VostelMCPKit::countCharacters(text, most).characters <= most) return text;
    return text.substr(0, VostelMCPKit::countCharacters(text, most - 1).prefixBytes) + "…";
}

} // namespace

std::string durationText(const std::optional<Seconds>& duration) {
    return duration ? clockText(std::chrono::round<std::chrono::seconds>(*duration)) : "-";
}

std::string previewText(std::string_view text, std::size_t characters) {
    const std::string line = printableLine(text);
    const std::size_t shown = VostelMCPKit::countCharacters(line, characters).prefixBytes;
    return line.substr(0, shown) + (shown < line.size() ? "…" : "");
}

std::string sourceText(const TranscriptSource& source) {
    const bool isFile = source.kind == TranscriptSource::Kind::file;
    return printableLine(isFile ? std::filesystem::path{source.value}.filename().string() : source.value);
}

std::string listLine(const ListedThing& thing, std::optional<std::size_t> columns) {
    const std::string id = thing.id.text();
    const std::string rest = "  " + localTimeText(thing.date) + "  " +
                             (thing.duration ? *thing.duration + "  " : std::string{}) + thing.text;
    if (!columns) return id + rest + "\n";
    return cut(id.substr(0, shortID) + rest, std::max(*columns, narrowestLine)) + "\n";
}

} // namespace vostel_companion
