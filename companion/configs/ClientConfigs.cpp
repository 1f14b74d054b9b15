#include "companion/configs/ClientConfigs.h"

#include "companion/configs/ClaudeCodeConfig.h"
#include "companion/configs/ClaudeDesktopConfig.h"
#include "companion/configs/CodexConfig.h"
#include "companion/configs/ConfigFile.h"
#include "companion/support/InQuotes.h"
#include "kit/clients/MCPClientConfigLogic.h"
#include "kit/support/Unicode.h"
#include "kit/support/match.h"

#include <algorithm>
#include <expected>
#include <filesystem>
#include <system_error>
#include <utility>

namespace vostel_companion {

namespace fs = std::filesystem;

namespace {

using namespace VostelMCPKit;
using namespace VostelMCPKit::MCPClientConfigLogic;
using Status = InstallationStatus;

/// How to read and edit one client's configuration.
struct Format {
    using Text = std::expected<std::string, ConfigError>;

    fs::path path;
    std::expected<std::optional<std::string>, ConfigError> (*existingCommand)(std::string_view);
    Text (*withEntry)(std::string_view, const MCPClientEntry&);
    /// Null if only the client itself can remove the entry.
    Text (*withoutEntry)(std::string_view);
};

Format formatOf(MCPClientKind kind, std::string_view home) {
    const fs::path path = configPath(kind, home);
    switch (kind) {
    case MCPClientKind::claudeCode:
        return {path, ClaudeCodeConfig::existingCommand, ClaudeCodeConfig::withEntry, ClaudeCodeConfig::withoutEntry};
    case MCPClientKind::claudeDesktop:
        return {path / ClaudeDesktopConfig::manifestPath, ClaudeDesktopConfig::existingCommand,
                ClaudeDesktopConfig::withEntry, nullptr};
    case MCPClientKind::codex:
        return {path, CodexConfig::existingCommand, CodexConfig::withEntry, CodexConfig::withoutEntry};
    }
    std::unreachable();
}

bool isUpToDate(const Status& status) { return std::holds_alternative<Status::UpToDate>(status.is); }
bool isForeign(const Status& status) { return std::holds_alternative<Status::ForeignEntry>(status.is); }
bool isMissing(const Status& status) { return std::holds_alternative<Status::NotInstalled>(status.is); }

std::string entryIn(const std::string& path) { return "the entry " + std::string{entryName} + " in " + path; }

std::string whatItStarts(const Status::ForeignEntry& foreign) {
    return foreign.existingCommand.empty() ? "starts no program" : "starts " + inQuotes(foreign.existingCommand);
}

std::string anotherCopy(const Status::StalePath& stale) {
    return "another copy of the server, " + inQuotes(stale.previousCommand);
}

/// Processes one client of a request. All sentences are built here.
class EntryEditor final {
public:
    EntryEditor(MCPClientKind kind, const ClientConfigRequest& request, const MCPClientEntry& entry,
                std::string_view home, ClientConfigReport& report)
        : kind_{kind}, request_{request}, entry_{entry}, format_{formatOf(kind, home)}, path_{format_.path.string()},
          report_{report} {}

    void serve() {
        switch (request_.action) {
        case ClientConfigAction::status:
            return showStatus();
        case ClientConfigAction::install:
            return install();
        case ClientConfigAction::remove:
            return remove();
        }
    }

private:
    void showStatus() {
        const auto status = readStatus();
        if (!status) return fail(status.error());
        say(isUpToDate(*status) ? ClientConfigExit::done : ClientConfigExit::refused,
            match(
                status->is, [&](const Status::UpToDate&) { return "up to date in " + path_ + "."; },
                [&](const Status::NotInstalled&) { return "not installed in " + path_ + "."; },
                [&](const Status::StalePath& stale) {
                    return entryIn(path_) + " starts " + anotherCopy(stale) + "; installing updates it.";
                },
                [&](const Status::ForeignEntry& foreign) {
                    return entryIn(path_) + " is not Vostel's: it " + whatItStarts(foreign) + ".";
                }));
    }

    void install() {
        const auto change = edit(format_.withEntry);
        if (!change) return fail(change.error());
        if (isForeign(found_) && !request_.force) return sayForeign("replace");
        say(ClientConfigExit::done,
            match(
                found_.is, [&](const Status::UpToDate&) { return "up to date in " + path_ + "; nothing was changed."; },
                [&](const Status::NotInstalled&) { return "installed in " + path_ + "."; },
                [&](const Status::StalePath& stale) {
                    return "updated in " + path_ + ", where it started " + anotherCopy(stale) + ".";
                },
                [&](const Status::ForeignEntry& foreign) {
                    return "installed in " + path_ + " in the place of an entry that " + whatItStarts(foreign) + ".";
                }) +
                backupNote(*change));
        if (!manualRemovalNote(kind_)) return;
        say(ClientConfigExit::done,
            "to finish, open Claude Desktop → Settings → Extensions → Advanced settings, choose "
            "Install Unpacked Extension… and select the folder " +
                format_.path.parent_path().string() + ".");
    }

    void remove() {
        if (const auto note = manualRemovalNote(kind_)) return refuseToRemove(*note);
        const auto change =
            edit([this](std::string_view text, const MCPClientEntry&) { return format_.withoutEntry(text); });
        if (!change) return fail(change.error());
        if (isForeign(found_) && !request_.force) return sayForeign("remove");
        if (isMissing(found_)) return sayMissing();
        say(ClientConfigExit::done, "removed from " + path_ + "." + backupNote(*change));
    }

    void refuseToRemove(std::string_view note) {
        const auto status = readStatus();
        if (!status) return fail(status.error());
        if (isMissing(*status)) return sayMissing();
        say(ClientConfigExit::refused, std::string{note});
    }

    std::expected<Status, ConfigError> judge(std::string_view text) const {
        const auto command = format_.existingCommand(text);
        if (!command) return std::unexpected(command.error());
        return compareInstallation(*command, entry_);
    }

    std::expected<Status, ConfigError> readStatus() const {
        const auto text = readConfigFile(format_.path);
        if (!text) return std::unexpected(text.error());
        return judge(*text);
    }

    /// Edits the file unless its entry is foreign. Afterwards `found_` is the status before the edit.
    std::expected<ConfigFileChange, ConfigError> edit(const auto& change) {
        return editConfigFile(format_.path, [&](std::string_view text) -> std::expected<std::string, ConfigError> {
            const auto status = judge(text);
            if (!status) return std::unexpected(status.error());
            found_ = *status;
            if (isForeign(found_) && !request_.force) return std::string{text};
            return change(text, entry_);
        });
    }

    static std::string backupNote(const ConfigFileChange& change) {
        return change.backup ? " The file as it was is kept as " + change.backup->string() + "." : "";
    }

    void say(ClientConfigExit exit, const std::string& sentence) {
        report_.lines.push_back(std::string{displayName(kind_)} + ": " + sentence);
        report_.exit = std::max(report_.exit, exit);
    }
    void sayForeign(std::string_view whatForceDoes) {
        const auto& foreign = std::get<Status::ForeignEntry>(found_.is);
        say(ClientConfigExit::refused, entryIn(path_) + " is not Vostel's: it " + whatItStarts(foreign) +
                                           ". It was left as it is; --force would " + std::string{whatForceDoes} +
                                           " it.");
    }
    void sayMissing() { say(ClientConfigExit::done, "not installed in " + path_ + "; nothing was changed."); }
    void fail(const ConfigError& error) { say(ClientConfigExit::failed, error.description(path_)); }

    MCPClientKind kind_;
    const ClientConfigRequest& request_;
    const MCPClientEntry& entry_;
    Format format_;
    std::string path_;
    ClientConfigReport& report_;
    Status found_{Status::NotInstalled{}};
};

ClientConfigReport refusal(std::string sentence) { return {{std::move(sentence)}, ClientConfigExit::failed}; }

bool hasControlCharacter(std::string_view text) {
    return std::ranges::any_of(
        text, [](char character) { return static_cast<unsigned char>(character) < 0x20 || character == 0x7F; });
}

} // namespace

std::expected<Status, ConfigError> clientConfigStatus(MCPClientKind kind, const fs::path& file,
                                                      const std::string& helperPath) {
    const auto text = readConfigFile(file);
    if (!text) return std::unexpected(text.error());
    const auto command = formatOf(kind, "/").existingCommand(*text);
    if (!command) return std::unexpected(command.error());
    return compareInstallation(*command, {helperPath, {}});
}

ClientConfigReport processClientConfigs(const ClientConfigRequest& request) {
    std::string_view home = request.home;
    while (home.ends_with('/')) home.remove_suffix(1);
    std::error_code failure;
    if (!home.starts_with('/') || !fs::is_directory(home, failure)) {
        return refusal("The home folder " + inQuotes(request.home) + " does not exist.");
    }
    const auto entry = makeEntry(request.helperPath, {});
    const std::string helper = inQuotes(request.helperPath);
    if (!entry) return refusal("The path of the server must be absolute, which " + helper + " is not.");
    if (!isUpToDate(compareInstallation(request.helperPath, *entry))) {
        return refusal("The server must be named " + std::string{helperBinaryName} + ", which " + helper + " is not.");
    }
    // Configuration files are text. No quoting preserves these characters in the files of all clients.
    if (!isValidUTF8(request.helperPath) || hasControlCharacter(request.helperPath)) {
        return refusal("The path of the server, " + helper + ", holds characters that no configuration can hold.");
    }

    ClientConfigReport report;
    std::vector<MCPClientKind> kinds = request.kinds;
    if (kinds.empty()) kinds.assign(allMCPClientKinds.begin(), allMCPClientKinds.end());
    for (const MCPClientKind kind : kinds) EntryEditor{kind, request, *entry, home, report}.serve();
    return report;
}

} // namespace vostel_companion
