#include "companion/configs/ClaudeDesktopConfig.h"

#include "companion/configs/JSONConfigText.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace vostel_companion::ClaudeDesktopConfig {

namespace {

using namespace VostelMCPKit;
using namespace VostelMCPKit::MCPClientConfigLogic;

/// The extension's own version. Raise it when the content of the manifest changes.
constexpr const char* extensionVersion = "1.0.0";

std::expected<MCPValue, ConfigError> readManifest(std::string_view text) {
    constexpr std::array<std::string_view, 3> commandPath = {"server", "mcp_config", "command"};
    auto manifest = readConfigJSON(text);
    if (!manifest) return manifest;
    // Fails if a member occurs twice.
    if (const auto command = memberAt(text, commandPath); !command) return std::unexpected(command.error());
    return manifest;
}

/// Values that the user may have added to an older manifest of ours. Values that the client would refuse are left out.
struct Additions {
    MCPValue arguments = MCPValue::array({});
    std::optional<MCPValue> environment;
};

Additions additionsOf(const MCPValue& manifest) {
    Additions additions;
    const MCPValue* config = manifest.find("server", "mcp_config");
    if (config == nullptr) return additions;
    const auto isString = [](const MCPValue& value) { return value.asString().has_value(); };
    const MCPValue* arguments = config->find("args");
    if (arguments != nullptr && arguments->asArray() && std::ranges::all_of(arguments->elements(), isString)) {
        additions.arguments = *arguments;
    }
    const MCPValue* environment = config->find("env");
    if (environment != nullptr && environment->asObject() &&
        std::ranges::all_of(environment->members(),
                            [&](const MCPValue::Member& member) { return isString(member.value); })) {
        additions.environment = *environment;
    }
    return additions;
}

MCPValue manifestOf(const MCPClientEntry& entry, const Additions& additions) {
    std::vector<MCPValue::Member> config = {{"command", entry.command}, {"args", additions.arguments}};
    if (additions.environment) config.push_back({"env", *additions.environment});
    return MCPValue::object({
        {"manifest_version", mcpbManifestVersion},
        {"name", entryName},
        {"display_name", "Vostel"},
        {"version", extensionVersion},
        {"description", "Transcribes recordings, video links and calls on this computer, and learns your words."},
        {"author", MCPValue::object({{"name", "Vostel"}})},
        {"server", MCPValue::object({
                       {"type", "binary"},
                       // The server stays inside the application, so the extension contains only this manifest.
                       {"entry_point", entry.command},
                       {"mcp_config", MCPValue::object(std::move(config))},
                   })},
    });
}

} // namespace

std::expected<std::optional<std::string>, ConfigError> existingCommand(std::string_view text) {
    if (isBlank(text)) return std::nullopt;
    const auto manifest = readManifest(text);
    if (!manifest) return std::unexpected(manifest.error());
    return claudeDesktopCommand(*manifest).value_or("");
}

std::expected<std::string, ConfigError> withEntry(std::string_view text, const MCPClientEntry& entry) {
    Additions additions;
    if (!isBlank(text)) {
        const auto manifest = readManifest(text);
        if (!manifest) return std::unexpected(manifest.error());
        const InstallationStatus status = compareInstallation(claudeDesktopCommand(*manifest), entry);
        if (!std::holds_alternative<InstallationStatus::ForeignEntry>(status.is)) additions = additionsOf(*manifest);
        if (*manifest == manifestOf(entry, additions)) return std::string{text};
    }
    return documentText(manifestOf(entry, additions), "\n");
}

} // namespace vostel_companion::ClaudeDesktopConfig
