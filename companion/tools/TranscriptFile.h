// The text of a transcript as a file for people.
#pragma once

#include "companion/store/Transcripts.h"
#include "posix/Files.h"

#include <expected>
#include <filesystem>
#include <string>
#include <string_view>

namespace vostel_companion {

/// "2026-08-30 14.05 meeting.m4a 1A2B3C4D.txt": the local time, what was transcribed, and the beginning of the id, by
/// which two names differ. `title` may hold anything; what does not belong into a file name is left out of it.
[[nodiscard]] std::string transcriptFileName(Timestamp date, std::string_view title, const VostelMCPKit::UUID& id);

/// What a source is called in a file name: a file's name, a link without its scheme.
[[nodiscard]] std::string titleOf(const TranscriptSource& source);

/// Sees to it that `folder` has the text under that name, and returns its path. One that is there already is kept.
[[nodiscard]] std::expected<std::string, posix::FileError>
saveTranscriptFile(const std::filesystem::path& folder, const std::string& name, std::string_view text);

} // namespace vostel_companion
