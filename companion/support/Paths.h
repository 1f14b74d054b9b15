// The paths of the application's files.
#pragma once

#include "kit/support/UUID.h"

#include <filesystem>

namespace vostel_companion {

/// Only names paths. It creates nothing.
struct Paths {
    /// A private folder that holds everything else.
    std::filesystem::path folder;

    /// Inside the user's Application Support folder, beside the socket.
    [[nodiscard]] static Paths in(const std::filesystem::path& applicationSupportDirectory);

    [[nodiscard]] std::filesystem::path database() const { return folder / "Vostel.sqlite"; }
    /// Plain text files for the user, one for each transcript.
    [[nodiscard]] std::filesystem::path transcripts() const { return folder / "Transcripts"; }
    [[nodiscard]] std::filesystem::path log() const { return folder / "Vostel.log"; }
    /// See LongCalls.
    [[nodiscard]] std::filesystem::path longCalls() const { return folder / "Vostel.calls"; }
    /// The words of transcribed files; see RecognitionCache.
    [[nodiscard]] std::filesystem::path recognised() const { return folder / "Recognised"; }
    [[nodiscard]] std::filesystem::path models() const { return folder / "Models"; }
    /// Describes the models that can be installed; written by the user.
    [[nodiscard]] std::filesystem::path catalogue() const { return folder / "models.json"; }
    /// Audio from links, deleted at the end of each call.
    [[nodiscard]] std::filesystem::path downloads() const { return folder / "Downloads"; }
    [[nodiscard]] std::filesystem::path unfinishedRecordings() const { return folder / "Recordings"; }
    /// The process that works on an unfinished recording holds the lock of this file: from before the recording is
    /// stored until it is ready or failed. If nobody holds the lock, that process has died. The folder must exist.
    [[nodiscard]] std::filesystem::path lockOfRecording(const VostelMCPKit::UUID& id) const {
        return unfinishedRecordings() / (id.text() + ".lock");
    }

    bool operator==(const Paths&) const = default;
};

} // namespace vostel_companion
