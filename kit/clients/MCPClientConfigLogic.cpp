#include "kit/clients/MCPClientConfigLogic.h"

#include "kit/jsonrpc/JSONWriter.h"
#include "kit/support/Unicode.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace VostelMCPKit::MCPClientConfigLogic {

namespace {

std::string replacing(std::string_view text, std::string_view what, std::string_view with) {
    std::string out;
    for (std::size_t at; (at = text.find(what)) != std::string_view::npos; text.remove_prefix(at + what.size())) {
        out += text.substr(0, at);
        out += with;
    }
    out += text;
    return out;
}

/// A TOML file is UTF-8, whatever a path contains.
std::string basicString(std::string_view text) {
    return '"' + replacing(replacing(repairedUTF8(text), R"(\)", R"(\\)"), R"(")", R"(\")") + '"';
}

/// The text inside the quotes of `text`; absent when it is not quoted at both ends.
std::optional<std::string> unquoted(std::string_view text) {
    if (text.size() < 2 || !text.starts_with('"') || !text.ends_with('"')) return std::nullopt;
    // Deliberate: quotes first, then backslashes. That undoes the escapes of basicString. Other escapes of TOML stay as
    // they are.
    return replacing(replacing(text.substr(1, text.size() - 2), R"(\")", R"(")"), R"(\\)", R"(\)");
}

std::vector<std::string> parseArgs(std::string_view value) {
    if (!value.starts_with('[') || !value.ends_with(']')) return {};
    std::string_view inner = trimmed(value.substr(1, value.size() - 2));

    std::vector<std::string> args;
    while (!inner.empty()) {
        // Deliberate: a comma inside quotes is a comma like any other.
        const std::string_view element = inner.substr(0, inner.find(','));
        inner.remove_prefix(std::min(element.size() + 1, inner.size()));
        if (element.empty()) continue;
        const std::string_view content = trimmed(element);
        args.push_back(unquoted(content).value_or(std::string{content}));
    }
    return args;
}

/// Removes the first line and its line feed from `text`, and returns that line without white space at its ends.
std::string_view takeLine(std::string_view& text) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    return trimmed(line);
}

std::string_view lastPathComponent(std::string_view path) {
    while (path.ends_with('/')) path.remove_suffix(1);
    return path.substr(path.rfind('/') + 1);
}

std::optional<std::string> owned(std::optional<std::string_view> text) {
    if (!text) return std::nullopt;
    return std::string{*text};
}

std::string jsonText(const MCPValue& value) {
    Bytes text;
    // Writing fails only for a number that is not finite. These values hold no number.
    std::ignore = writeJSON(value, text);
    return std::string{text.text()};
}

} // namespace

std::optional<MCPClientEntry> makeEntry(std::string_view helperPath, std::vector<std::string> args) {
    if (!helperPath.starts_with('/')) return std::nullopt;
    return MCPClientEntry{std::string{helperPath}, std::move(args)};
}

InstallationStatus compareInstallation(std::optional<std::string_view> existingCommand,
                                       const MCPClientEntry& ourEntry) {
    using Status = InstallationStatus;
    if (!existingCommand) return {Status::NotInstalled{}};
    if (lastPathComponent(*existingCommand) != helperBinaryName) {
        return {Status::ForeignEntry{std::string{*existingCommand}}};
    }
    // Deliberate: an entry with other arguments is not stale.
    if (*existingCommand == ourEntry.command) return {Status::UpToDate{}};
    return {Status::StalePath{std::string{*existingCommand}}};
}

MCPValue claudeCodeEntry(const MCPClientEntry& entry) {
    return MCPValue::object({{"type", "stdio"}, {"command", entry.command}, {"args", encode(entry.args)}});
}

std::optional<std::string> claudeCodeCommand(const MCPValue& existingEntry) {
    return owned(existingEntry.string("command"));
}

MCPValue claudeDesktopManifest(const MCPClientEntry& entry) {
    return MCPValue::object({
        {"manifest_version", mcpbManifestVersion},
        {"name", entryName},
        // Both clients describe in the same way how to start the server.
        {"server", MCPValue::object({{"type", "binary"}, {"mcp_config", claudeCodeEntry(entry)}})},
    });
}

std::optional<std::string> claudeDesktopCommand(const MCPValue& existingManifest) {
    return owned(existingManifest.string("server", "mcp_config", "command"));
}

std::string claudeCodeSnippetText(const MCPClientEntry& entry) { return jsonText(claudeCodeEntry(entry)); }

std::string claudeDesktopManifestText(const MCPClientEntry& entry) { return jsonText(claudeDesktopManifest(entry)); }

std::string codexSnippetText(const MCPClientEntry& entry) {
    std::string text = "[mcp_servers." + std::string{entryName} + "]\ncommand = " + basicString(entry.command) + "\n";
    if (entry.args.empty()) return text;
    text += "args = [";
    const char* separator = "";
    for (const std::string& argument : entry.args) {
        text += separator + basicString(argument);
        separator = ", ";
    }
    return text + "]\n";
}

std::string snippetText(MCPClientKind kind, const MCPClientEntry& entry) {
    switch (kind) {
    case MCPClientKind::claudeCode:
        return claudeCodeSnippetText(entry);
    case MCPClientKind::claudeDesktop:
        return claudeDesktopManifestText(entry);
    case MCPClientKind::codex:
        return codexSnippetText(entry);
    }
    std::unreachable();
}

std::optional<CodexTable> parseCodexTable(CodexSource source) {
    const std::string header = "[mcp_servers." + std::string{source.tableName} + "]";
    std::string_view text = source.text;
    bool isFound = false;
    while (!isFound && !text.empty()) isFound = takeLine(text) == header;
    if (!isFound) return std::nullopt;

    CodexTable table;
    while (!text.empty()) {
        const std::string_view line = takeLine(text);
        if (line.starts_with('[')) break;
        // Comments need no check: the text before their equals sign begins with "#", so it is neither of the two keys.
        const std::size_t equals = line.find('=');
        if (equals == std::string_view::npos) continue;
        const std::string_view key = trimmed(line.substr(0, equals));
        const std::string_view value = trimmed(line.substr(equals + 1));
        if (key == "command") {
            if (auto command = unquoted(value)) table.command = std::move(command);
        } else if (key == "args") {
            table.args = parseArgs(value);
        }
    }
    return table;
}

} // namespace VostelMCPKit::MCPClientConfigLogic
