#include "companion/configs/ClaudeDesktopConfig.h"

#include "companion/configs/JSONConfigText.h"

#include <array>
#include <utility>

namespace vostel_companion::ClaudeDesktopConfig {

namespace {

using namespace VostelMCPKit;
using namespace VostelMCPKit::MCPClientConfigLogic;

constexpr std::array<std::string_view, 3> commandPath = {"server", "mcp_config", "command"};

/// The contents of a manifest, by value and by place.
struct Contents {
    MCPValue manifest;
    std::optional<JSONMemberSpan> command;
};

std::expected<Contents, ConfigError> read(std::string_view text) {
    auto manifest = readConfigJSON(text);
    if (!manifest) return std::unexpected(std::move(manifest.error()));
    auto command = memberAt(text, commandPath);
    if (!command) return std::unexpected(std::move(command.error()));
    return Contents{*std::move(manifest), *command};
}

} // namespace

std::expected<std::optional<std::string>, ConfigError> existingCommand(std::string_view text) {
    if (isBlank(text)) return std::nullopt;
    const auto contents = read(text);
    if (!contents) return std::unexpected(contents.error());
    return claudeDesktopCommand(contents->manifest).value_or("");
}

std::expected<std::string, ConfigError> withEntry(std::string_view text, const MCPClientEntry& entry) {
    const std::string wholeText = claudeDesktopManifestText(entry) + "\n";
    if (isBlank(text)) return wholeText;
    const auto found = read(text);
    if (!found) return std::unexpected(found.error());
    const Contents& contents = *found;
    const InstallationStatus status = compareInstallation(claudeDesktopCommand(contents.manifest), entry);
    if (std::holds_alternative<InstallationStatus::UpToDate>(status.is)) return std::string{text};
    if (!std::holds_alternative<InstallationStatus::StalePath>(status.is) || !contents.command) return wholeText;
    return verifiedJSON(withMemberValue(text, *contents.command, entry.command),
                        withValueAt(contents.manifest, commandPath, entry.command));
}

} // namespace vostel_companion::ClaudeDesktopConfig
