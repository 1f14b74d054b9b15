// The text of a transcript as a file for the user.
#pragma once

#include "companion/store/Transcripts.h"
#include "posix/SystemError.h"

#include <expected>
#include <filesystem>
#include <string>
#include <string_view>

namespace vostel_companion {

/// "2026-08-30 14.05 meeting.m4a 1A2B3C4D.txt": the local time, what was transcribed, and the beginning of the id,
/// which makes the name unique. Characters of `title` that do not belong in a file name are replaced.
[[nodiscard]] std::string transcriptFileName(Timestamp date, std::string_view title, const VostelMCPKit::UUID& id);

/// The title of a source in a file name: the name of the file, or the link without its scheme.
[[nodiscard]] std::string titleOf(const TranscriptSource& source);

/// Saves the text under `name` in `folder` and returns its path. An existing file of that name is kept.
[[nodiscard]] std::expected<std::string, posix::SystemError>
saveTranscriptFile(const std::filesystem::path& folder, const std::string& name, std::string_view text);

/// Deletes the file of a transcript or recording from `folder`. A missing file is not an error.
[[nodiscard]] std::expected<void, posix::SystemError> deleteTranscriptFile(const std::filesystem::path& folder,
                                                                           const VostelMCPKit::UUID& id);

} // namespace vostel_companion
