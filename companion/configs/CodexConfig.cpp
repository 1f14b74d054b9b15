#include "companion/configs/CodexConfig.h"

#include "companion/configs/CodexOutline.h"
#include "kit/support/Unicode.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace vostel_companion::CodexConfig {

namespace {

using namespace VostelMCPKit::MCPClientConfigLogic;

/// By default, Codex gives up a call after five minutes or less. An hour of speech takes a quarter of an hour on one
/// core of a slow machine.
constexpr std::string_view toolTimeout = "tool_timeout_sec = 3600\n";

/// The line break that ends just before `at`. Empty when there is none.
std::string_view breakBefore(std::string_view text, std::size_t at) {
    const std::string_view before = text.substr(0, at);
    if (before.ends_with("\r\n")) return before.substr(at - 2);
    return before.ends_with('\n') ? before.substr(at - 1) : std::string_view{};
}

bool isEmptyLineBefore(std::string_view text, std::size_t at) {
    const std::size_t line = at - breakBefore(text, at).size();
    return line < at && (line == contentStart(text) || !breakBefore(text, line).empty());
}

/// The range to remove for `lines`. For a table it includes the empty line that separates it from the text before it.
ConfigRange extended(std::string_view text, const CodexOutline::Lines& lines) {
    auto [begin, end] = lines.range;
    const bool isLast = end == text.size();
    const bool isFollowedByEmptyLine = text.substr(end).starts_with('\n') || text.substr(end).starts_with("\r\n");
    if (lines.isTable && (isLast || isFollowedByEmptyLine) && isEmptyLineBefore(text, begin)) {
        begin -= breakBefore(text, begin).size();
    }
    return {begin, end};
}

std::string cut(std::string_view text, const CodexOutline& outline) {
    std::string out{text};
    for (auto lines = outline.entry.rbegin(); lines != outline.entry.rend(); ++lines) {
        out = replaced(out, extended(out, *lines), "");
    }
    // If the last line had no line break, it must have none afterwards.
    const bool losesItsEnd = !outline.entry.empty() && outline.entry.back().range.end == text.size();
    if (losesItsEnd && !text.ends_with('\n')) out.resize(out.size() - breakBefore(out, out.size()).size());
    return out;
}

std::string appended(std::string_view text, const MCPClientEntry& entry) {
    const std::string_view lineBreak = lineBreakOf(text);
    const bool endsWithBreak = contentStart(text) == text.size() || text.ends_with('\n');

    std::string out{text};
    if (!endsWithBreak) out += lineBreak;
    // Deliberate: also after a lone byte order mark, because simple readers would treat it as a part of the header.
    if (!text.empty()) out += lineBreak;
    const std::string table = codexSnippetText(entry).append(toolTimeout);
    for (const char character : table) out += character == '\n' ? lineBreak : std::string_view{&character, 1};
    if (!endsWithBreak) out.resize(out.size() - lineBreak.size());
    return out;
}

/// The command of the entry. Absent without an entry, and empty if the entry has no command.
std::optional<std::string> commandIn(const CodexOutline& outline) {
    if (!outline.hasEntry()) return std::nullopt;
    return outline.command.value_or("");
}

/// The error for a text from which a table can be neither removed nor added.
std::unexpected<ConfigError> inlineServers(std::string_view text, std::size_t place) {
    return std::unexpected(
        ConfigError{ConfigError::UneditableForm{"mcp_servers", positionOf(text, place), "an inline table"}});
}

/// `edited`, if it has the entry and `rest` returns the same text as before the edit.
std::expected<std::string, ConfigError> verified(std::string edited, const MCPClientEntry& entry,
                                                 const std::string& restBefore, const auto& rest) {
    const auto outline = outlineCodexConfig(edited);
    if (!outline || outline->command != entry.command) return std::unexpected(ConfigError::Unverified{});
    if (rest(edited, *outline) != restBefore) return std::unexpected(ConfigError::Unverified{});
    return edited;
}

std::string withoutCommand(std::string_view text, const CodexOutline& outline) {
    return replaced(text, outline.commandValue.value_or(ConfigRange{}), "");
}

} // namespace

std::expected<std::optional<std::string>, ConfigError> existingCommand(std::string_view text) {
    const auto outline = outlineCodexConfig(text);
    if (!outline) return std::unexpected(outline.error());
    return commandIn(*outline);
}

std::optional<std::int64_t> toolTimeout(std::string_view text) {
    const auto outline = outlineCodexConfig(text);
    if (!outline) return std::nullopt;
    for (const CodexOutline::Lines& lines : outline->entry) {
        std::string_view rest = lines.range.in(text);
        while (!rest.empty()) {
            const std::string_view line = rest.substr(0, rest.find('\n'));
            rest.remove_prefix(std::min(line.size() + 1, rest.size()));
            const std::size_t equals = line.find('=');
            if (equals == std::string_view::npos) continue;
            std::string_view key = VostelMCPKit::trimmed(line.substr(0, equals));
            if (!key.ends_with("tool_timeout_sec")) continue;
            return std::strtoll(std::string{VostelMCPKit::trimmed(line.substr(equals + 1))}.c_str(), nullptr, 10);
        }
    }
    return std::nullopt;
}

std::expected<std::string, ConfigError> withEntry(std::string_view text, const MCPClientEntry& entry) {
    const auto outlined = outlineCodexConfig(text);
    if (!outlined) return std::unexpected(outlined.error());
    const CodexOutline& outline = *outlined;
    const InstallationStatus status = compareInstallation(commandIn(outline), entry);
    if (std::holds_alternative<InstallationStatus::UpToDate>(status.is)) return std::string{text};
    if (std::holds_alternative<InstallationStatus::StalePath>(status.is) && outline.commandValue) {
        return verified(replaced(text, *outline.commandValue, quotedText(entry.command)), entry,
                        withoutCommand(text, outline), withoutCommand);
    }
    if (outline.inlineServers) return inlineServers(text, *outline.inlineServers);
    const std::string rest = cut(text, outline);
    return verified(appended(rest, entry), entry, rest, cut);
}

std::expected<std::string, ConfigError> withoutEntry(std::string_view text, std::string_view /*original*/) {
    const auto outlined = outlineCodexConfig(text);
    if (!outlined) return std::unexpected(outlined.error());
    const CodexOutline& outline = *outlined;
    if (outline.isEntryInline && outline.inlineServers) return inlineServers(text, *outline.inlineServers);
    std::string edited = cut(text, outline);
    const auto after = outlineCodexConfig(edited);
    if (!after || after->hasEntry()) return std::unexpected(ConfigError::Unverified{});
    return edited;
}

} // namespace vostel_companion::CodexConfig
