// What the verbs are given of the world, so that their tests run in milliseconds.
#pragma once

#include "companion/audio/AudioError.h"
#include "companion/commands/Command.h"
#include "companion/models/ModelStore.h"
#include "companion/store/Confirmations.h"
#include "companion/store/Database.h"
#include "companion/support/Cancellation.h"
#include "companion/support/Iso8601.h"
#include "companion/support/Paths.h"
#include "companion/terminal/ProgressBar.h"
#include "companion/transcription/Transcriber.h"
#include "kit/support/UUID.h"

#include <expected>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace vostel_companion {

struct World {
    Paths paths;
    /// Already up to date.
    Database& database;
    const ModelStore& models;
    Transcribe transcribe;
    /// How long the sound in a file is.
    std::function<std::expected<Seconds, AudioError>(const std::string& path, Cancellation& cancellation)> measure;
    /// What relative paths are relative to.
    std::filesystem::path workingFolder;
    Confirmations::Clock now;
    VostelMCPKit::UUIDSource newID;
    LocalMidnight localMidnight;

    /// The person wants long work to stop.
    Cancellation& cancellation;
    /// Writes to standard output, what was asked for; false when it could not be written.
    std::function<bool(std::string_view)> print;
    /// Writes a sentence to standard error: what went wrong, or that there is nothing to print.
    std::function<void(const std::string&)> tell;
    /// Absent when standard error is no terminal.
    std::optional<ProgressTerminal> progress;

    /// Tells of something that should have worked.
    Exit failed(const auto& error) const {
        tell(error.description());
        return Exit::failed;
    }
};

} // namespace vostel_companion
