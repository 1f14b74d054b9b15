// The dependencies of the verbs. Tests replace them and run in milliseconds.
#pragma once

#include "companion/audio/AudioError.h"
#include "companion/commands/Command.h"
#include "companion/download/VideoDownloader.h"
#include "companion/models/ModelStore.h"
#include "companion/store/Confirmations.h"
#include "companion/store/Database.h"
#include "companion/support/Cancellation.h"
#include "companion/support/Iso8601.h"
#include "companion/support/Paths.h"
#include "companion/terminal/ProgressBar.h"
#include "companion/transcription/Transcriber.h"
#include "kit/support/UUID.h"
#include "kit/tools/MCPURLPolicy.h"

#include <cstddef>
#include <expected>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace vostel_companion {

struct CommandContext {
    Paths paths;
    /// Its schema is up to date.
    Database& database;
    const ModelStore& models;
    Transcribe transcribe;
    /// Returns the length of the sound in a file.
    std::function<std::expected<Seconds, AudioError>(const std::string& path, Cancellation& cancellation)> measure;
    /// Resolves host names when a link is checked.
    VostelMCPKit::MCPURLPolicy::Resolver resolve = VostelMCPKit::resolveBySystem;
    DownloadAudio downloadAudio = systemDownload(paths.downloads());
    /// The base of relative paths.
    std::filesystem::path workingFolder;
    Confirmations::Clock now;
    VostelMCPKit::UUIDSource newID;
    LocalMidnight localMidnight;

    /// Cancelled when the user wants long work to stop.
    Cancellation& cancellation;
    /// Writes results to standard output. Returns false if that failed.
    std::function<bool(std::string_view)> print;
    /// Writes a sentence to standard error: what went wrong, or that there is nothing to print.
    std::function<void(const std::string&)> printError;
    /// Whether standard input and output are a terminal, so that the user can have typed the command. AI clients also
    /// run commands, but without a terminal.
    bool isOnTerminal = false;
    /// The width of the terminal at standard output. Absent if there is none.
    std::optional<std::size_t> columns = std::nullopt;
    /// Absent if standard error is not a terminal.
    std::optional<ProgressTerminal> progress;

    /// Whether the user can have typed the command. Otherwise prints that `what` needs a terminal.
    [[nodiscard]] bool requireTerminal(const std::string& what) const {
        if (isOnTerminal) return true;
        printError(what + " needs a person, so this command works only in a terminal. Nothing was changed.");
        return false;
    }

    /// Prints the error of something that should have worked.
    Exit failed(const auto& error) const {
        printError(error.description());
        return Exit::failed;
    }
};

} // namespace vostel_companion
