#include "companion/configs/ClientConfigs.h"

#include "companion/configs/ClaudeCodeConfig.h"
#include "companion/configs/ClaudeDesktopConfig.h"
#include "companion/configs/CodexConfig.h"
#include "companion/configs/ConfigFile.h"
#include "companion/support/FindProgram.h"
#include "companion/support/InQuotes.h"
#include "kit/clients/MCPClientConfigLogic.h"
#include "kit/support/Unicode.h"
#include "kit/support/match.h"

#include <algorithm>
#include <expected>
#include <filesystem>
#include <system_error>
#include <unistd.h>
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
    /// Takes the text and the original before our entry was added. Null if only the client itself can remove the entry.
    Text (*withoutEntry)(std::string_view, std::string_view);
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

/// What shows that a client is installed.
struct Signs {
    /// What the client creates in the home folder at its first start.
    std::vector<fs::path> files;
    /// Its program. Empty if it is started in another way.
    std::string program;
};

Signs signsOf(MCPClientKind kind, const fs::path& home) {
    switch (kind) {
    case MCPClientKind::claudeCode:
        return {{home / ".claude.json", home / ".claude"}, "claude"};
    case MCPClientKind::claudeDesktop:
        return {{home / "Library/Application Support/Claude"}, {}};
    case MCPClientKind::codex:
        return {{home / ".codex"}, "codex"};
    }
    std::unreachable();
}

bool isInstalled(const Signs& signs, std::string_view searchPath) {
    std::error_code ignored;
    return std::ranges::any_of(signs.files, [&](const fs::path& file) { return fs::exists(file, ignored); }) ||
           (!signs.program.empty() && findProgram(signs.program, searchPath));
}

/// Whether `text` has no content: it is blank or an empty object.
bool isEmptyConfig(std::string_view text) {
    const std::string_view content = VostelMCPKit::trimmed(text.substr(contentStart(text)));
    return content.empty() || content == "{}";
}

bool isUpToDate(const Status& status) { return std::holds_alternative<Status::UpToDate>(status.is); }
bool isForeign(const ClientEntryStatus& status) {
    return std::holds_alternative<Status::ForeignEntry>(status.command.is);
}
bool isMissing(const ClientEntryStatus& status) {
    return std::holds_alternative<Status::NotInstalled>(status.command.is);
}

std::expected<ClientEntryStatus, ConfigError> statusIn(const Format& format, std::string_view text,
                                                       const MCPClientEntry& entry) {
    const auto command = format.existingCommand(text);
    if (!command) return std::unexpected(command.error());
    ClientEntryStatus status{compareInstallation(*command, entry)};
    status.isOldForm = isUpToDate(status.command) && format.withEntry(text, entry) != text;
    return status;
}

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

    void process() {
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
        say(status->isUpToDate() ? ClientConfigExit::done : ClientConfigExit::refused,
            match(
                status->command.is,
                [&](const Status::UpToDate&) {
                    return status->isOldForm ? path_ + " has an older form, which the client may refuse; installing "
                                                       "updates it."
                                             : "up to date in " + path_ + ".";
                },
                [&](const Status::NotInstalled&) { return "not installed in " + path_ + "."; },
                [&](const Status::StalePath& stale) {
                    return entryIn(path_) + " starts " + anotherCopy(stale) + "; installing updates it.";
                },
                [&](const Status::ForeignEntry& foreign) {
                    return entryIn(path_) + " is not Vostel's: it " + whatItStarts(foreign) + ".";
                }));
    }

    void install() {
        const auto change = editConfigFile(format_.path, [&](std::string_view text) { return withEntry(text); });
        if (!change) return fail(change.error());
        if (isForeign(found_) && !request_.force) return sayForeign("replace");
        say(ClientConfigExit::done,
            match(
                found_.command.is,
                [&](const Status::UpToDate&) {
                    return found_.isOldForm ? "updated in " + path_ + ", which had an older form."
                                            : "up to date in " + path_ + "; nothing was changed.";
                },
                [&](const Status::NotInstalled&) { return "installed in " + path_ + "."; },
                [&](const Status::StalePath& stale) {
                    return "updated in " + path_ + ", where it started " + anotherCopy(stale) + ".";
                },
                [&](const Status::ForeignEntry& foreign) {
                    return "installed in " + path_ + " instead of an entry that " + whatItStarts(foreign) + ".";
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
        const auto change = editConfigFile(format_.path, [&](std::string_view text) { return withoutEntry(text); });
        if (!change) return fail(change.error());
        if (isForeign(found_) && !request_.force) return sayForeign("remove");
        // A backup is kept only of a foreign entry. The user wanted our own entry to be removed.
        std::string rest = backupNote(*change);
        if (!change->backup) {
            const auto deleted = deleteConfigBackups(format_.path);
            if (!deleted) return fail(deleted.error());
            if (*deleted) rest = " The backup was deleted.";
        }
        std::error_code ignored;
        const bool isFileDeleted = change->isChanged && !fs::exists(format_.path, ignored);
        // The folder was made with the file. If it is not empty, it stays.
        if (isFileDeleted && kind_ == MCPClientKind::codex) ::rmdir(format_.path.parent_path().c_str());
        if (isMissing(found_)) return sayMissing(rest);
        say(ClientConfigExit::done, "removed from " + path_ + "." + rest);
    }

    std::expected<EditedConfig, ConfigError> withoutEntry(std::string_view text) {
        const auto status = statusIn(format_, text, entry_);
        if (!status) return std::unexpected(status.error());
        found_ = *status;
        if (isMissing(found_) || (isForeign(found_) && !request_.force)) return EditedConfig{std::string{text}};
        const auto original = originalText();
        if (original && format_.withEntry(*original, entry_) == text) return EditedConfig{*original, false};
        auto rest = format_.withoutEntry(text, original.value_or(""));
        if (!rest) return std::unexpected(std::move(rest.error()));
        const bool wasOurs = !original && !isForeign(found_) && isEmptyConfig(*rest);
        return EditedConfig{wasOurs ? std::nullopt : std::optional{*std::move(rest)}, isForeign(found_)};
    }

    /// The text of the file from before our entry was added, read from the backup. Absent if there is no such backup.
    std::optional<std::string> originalText() const {
        auto backup = readConfigBackup(format_.path);
        if (!backup) return std::nullopt;
        const auto command = format_.existingCommand(*backup);
        // A backup that was made when our entry was updated already contains our entry.
        if (!command || *command) return std::nullopt;
        return backup;
    }

    void refuseToRemove(std::string_view note) {
        const auto status = readStatus();
        if (!status) return fail(status.error());
        const auto deleted = deleteConfigBackups(format_.path);
        if (!deleted) return fail(deleted.error());
        const std::string rest = *deleted ? " The backup was deleted." : "";
        if (isMissing(*status)) return sayMissing(rest);
        say(ClientConfigExit::refused, std::string{note} + rest);
    }

    std::expected<ClientEntryStatus, ConfigError> readStatus() const {
        const auto text = readConfigFile(format_.path);
        if (!text) return std::unexpected(text.error());
        return statusIn(format_, *text, entry_);
    }

    // Both edits store the status from before the edit in `found_`. Without --force they change no foreign entry.

    std::expected<EditedConfig, ConfigError> withEntry(std::string_view text) {
        const auto status = statusIn(format_, text, entry_);
        if (!status) return std::unexpected(status.error());
        found_ = *status;
        if (isForeign(found_) && !request_.force) return EditedConfig{std::string{text}};
        auto edited = format_.withEntry(text, entry_);
        if (!edited) return std::unexpected(std::move(edited.error()));
        return EditedConfig{*std::move(edited)};
    }

    static std::string backupNote(const ConfigFileChange& change) {
        return change.backup ? " The previous file is kept as " + change.backup->string() + "." : "";
    }

    void say(ClientConfigExit exit, const std::string& sentence) {
        report_.lines.push_back(std::string{displayName(kind_)} + ": " + sentence);
        report_.exit = std::max(report_.exit, exit);
    }
    void sayForeign(std::string_view whatForceDoes) {
        const auto& foreign = std::get<Status::ForeignEntry>(found_.command.is);
        say(ClientConfigExit::refused, entryIn(path_) + " is not Vostel's: it " + whatItStarts(foreign) +
                                           ". It was left as it is; --force would " + std::string{whatForceDoes} +
                                           " it.");
    }
    void sayMissing(const std::string& rest) {
        say(ClientConfigExit::done, "not installed in " + path_ + "; nothing was changed." + rest);
    }
    void fail(const ConfigError& error) { say(ClientConfigExit::failed, error.description(path_)); }

    MCPClientKind kind_;
    const ClientConfigRequest& request_;
    const MCPClientEntry& entry_;
    Format format_;
    std::string path_;
    ClientConfigReport& report_;
    ClientEntryStatus found_{Status{Status::NotInstalled{}}};
};

ClientConfigReport refusal(std::string sentence) { return {{std::move(sentence)}, ClientConfigExit::failed}; }

std::string skipped(MCPClientKind kind, const Signs& signs) {
    std::string text = std::string{displayName(kind)} + ": skipped, because it is not on this computer: there is no ";
    for (const fs::path& file : signs.files) text += (file == signs.files.front() ? "" : " and no ") + file.string();
    if (!signs.program.empty()) text += " and no program " + signs.program;
    return text + ". To connect it anyway, run: Vostel clients install " + std::string{commandLineName(kind)};
}

bool hasControlCharacter(std::string_view text) {
    return std::ranges::any_of(
        text, [](char character) { return static_cast<unsigned char>(character) < 0x20 || character == 0x7F; });
}

} // namespace

std::string_view commandLineName(MCPClientKind kind) {
    switch (kind) {
    case MCPClientKind::claudeCode:
        return "claude-code";
    case MCPClientKind::claudeDesktop:
        return "claude-desktop";
    case MCPClientKind::codex:
        return "codex";
    }
    std::unreachable();
}

bool ClientEntryStatus::isUpToDate() const { return vostel_companion::isUpToDate(command) && !isOldForm; }

std::expected<ClientEntryStatus, ConfigError> clientConfigStatus(MCPClientKind kind, const fs::path& file,
                                                                 const std::string& helperPath) {
    const auto text = readConfigFile(file);
    if (!text) return std::unexpected(text.error());
    return statusIn(formatOf(kind, "/"), *text, {helperPath, {}});
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
        return refusal("The path of the server, " + helper +
                       ", contains characters that configuration files cannot contain.");
    }

    ClientConfigReport report;
    for (const MCPClientKind kind : request.kinds) EntryEditor{kind, request, *entry, home, report}.process();
    if (!request.kinds.empty()) return report;
    bool isAnyInstalled = false;
    for (const MCPClientKind kind : allMCPClientKinds) {
        const Signs signs = signsOf(kind, home);
        if (request.action == ClientConfigAction::install && !isInstalled(signs, request.searchPath)) {
            report.lines.push_back(skipped(kind, signs));
            continue;
        }
        isAnyInstalled = true;
        EntryEditor{kind, request, *entry, home, report}.process();
    }
    if (!isAnyInstalled) report.exit = ClientConfigExit::refused;
    return report;
}

} // namespace vostel_companion
