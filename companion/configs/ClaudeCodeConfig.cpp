#include "companion/configs/ClaudeCodeConfig.h"

#include "companion/configs/JSONConfigText.h"

#include <array>
#include <span>
#include <utility>

namespace vostel_companion::ClaudeCodeConfig {

namespace {

using namespace VostelMCPKit;
using namespace VostelMCPKit::MCPClientConfigLogic;

constexpr std::array<std::string_view, 3> commandPath = {"mcpServers", entryName, "command"};
constexpr std::span<const std::string_view> entryPath = std::span{commandPath}.first(2);
constexpr std::span<const std::string_view> serversPath = std::span{commandPath}.first(1);

/// What a text contains: its values, and the places of the members that are edited.
struct Contents {
    MCPValue document = MCPValue::object(std::vector<MCPValue::Member>{});
    std::optional<JSONMemberSpan> servers;
    std::optional<JSONMemberSpan> entry;
    std::optional<JSONMemberSpan> command;

    /// The command of the entry. Absent without an entry, and empty if the entry has no command.
    [[nodiscard]] std::optional<std::string> existingCommand() const {
        if (!entry) return std::nullopt;
        return claudeCodeCommand(*(*document[serversPath.front()])[entryName]).value_or("");
    }
};

std::expected<Contents, ConfigError> read(std::string_view text) {
    Contents contents;
    if (isBlank(text)) return contents;
    auto document = readConfigJSON(text);
    if (!document) return std::unexpected(std::move(document.error()));
    contents.document = *std::move(document);
    if (!contents.document.asObject()) {
        const std::size_t start = text.find_first_not_of(" \t\r\n", contentStart(text));
        return std::unexpected(ConfigError::NotAnObject{{}, positionOf(text, start)});
    }
    const std::pair<std::span<const std::string_view>, std::optional<JSONMemberSpan>&> spans[] = {
        {serversPath, contents.servers}, {entryPath, contents.entry}, {commandPath, contents.command}};
    for (const auto& [path, place] : spans) {
        auto found = memberAt(text, path);
        if (!found) return std::unexpected(std::move(found.error()));
        place = *found;
    }
    if (contents.servers && text[contents.servers->value.begin] != '{') {
        return std::unexpected(ConfigError::NotAnObject{std::string{serversPath.front()},
                                                        positionOf(text, contents.servers->value.begin)});
    }
    return contents;
}

} // namespace

std::expected<std::optional<std::string>, ConfigError> existingCommand(std::string_view text) {
    const auto contents = read(text);
    if (!contents) return std::unexpected(contents.error());
    return contents->existingCommand();
}

std::expected<std::string, ConfigError> withEntry(std::string_view text, const MCPClientEntry& entry) {
    const auto found = read(text);
    if (!found) return std::unexpected(found.error());
    const Contents& contents = *found;
    const InstallationStatus status = compareInstallation(contents.existingCommand(), entry);
    if (std::holds_alternative<InstallationStatus::UpToDate>(status.is)) return std::string{text};
    if (std::holds_alternative<InstallationStatus::StalePath>(status.is) && contents.command) {
        return verifiedJSON(withMemberValue(text, *contents.command, entry.command),
                            withValueAt(contents.document, commandPath, entry.command));
    }

    const MCPValue ours = claudeCodeEntry(entry);
    const MCPValue expected = withValueAt(contents.document, entryPath, ours);
    if (isBlank(text)) return verifiedJSON(std::string{text} + documentText(expected, lineBreakOf(text)), expected);
    if (contents.entry) return verifiedJSON(withMemberValue(text, *contents.entry, ours), expected);
    if (contents.servers) {
        return verifiedJSON(withMember(text, contents.servers->value.begin, entryName, ours), expected);
    }
    return verifiedJSON(withMember(text, text.find('{'), serversPath.front(), MCPValue::object({{entryName, ours}})),
                        expected);
}

std::expected<std::string, ConfigError> withoutEntry(std::string_view text, std::string_view original) {
    const auto found = read(text);
    if (!found) return std::unexpected(found.error());
    const Contents& contents = *found;
    if (!contents.servers || !contents.entry) return std::string{text};
    const bool isLast = contents.document[serversPath.front()]->members().size() == 1;
    const auto before = read(original);
    if (isLast && !(before && before->servers)) {
        return verifiedJSON(withoutMember(text, text.find('{'), *contents.servers),
                            withValueAt(contents.document, serversPath, std::nullopt));
    }
    return verifiedJSON(withoutMember(text, contents.servers->value.begin, *contents.entry),
                        withValueAt(contents.document, entryPath, std::nullopt));
}

} // namespace vostel_companion::ClaudeCodeConfig
