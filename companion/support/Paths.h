// Where the application keeps its things.
#pragma once

#include "kit/support/UUID.h"

#include <filesystem>

namespace vostel_companion {

/// Names paths; it creates nothing.
struct Paths {
    /// Ours alone; everything else is inside.
    std::filesystem::path folder;

    /// Inside the user's Application Support folder, beside the socket.
    [[nodiscard]] static Paths in(const std::filesystem::path& applicationSupportDirectory);

    [[nodiscard]] std::filesystem::path database() const { return folder / "Vostel.sqlite"; }
    /// Plain texts for people to read, one for each transcript.
    [[nodiscard]] std::filesystem::path transcripts() const { return folder / "Transcripts"; }
    [[nodiscard]] std::filesystem::path models() const { return folder / "Models"; }
    /// Describes the models that can be installed; written by the user.
    [[nodiscard]] std::filesystem::path catalogue() const { return folder / "models.json"; }
    /// Audio from links, kept no longer than its call.
    [[nodiscard]] std::filesystem::path downloads() const { return folder / "Downloads"; }
    [[nodiscard]] std::filesystem::path unfinishedRecordings() const { return folder / "Recordings"; }
    /// Whoever works on an unfinished recording holds the lock of this file, from before the recording is stored until
    /// it is ready or failed: a recording without a holder is one whose process has died. Its folder has to be there.
    [[nodiscard]] std::filesystem::path lockOfRecording(const VostelMCPKit::UUID& id) const {
        return unfinishedRecordings() / (id.text() + ".lock");
    }

    bool operator==(const Paths&) const = default;
};

} // namespace vostel_companion
