// Transcribes a file or a link and stores the transcript, for the tools and for the command line.
#pragma once

#include "companion/store/Transcripts.h"
#include "companion/tools/ToolContext.h"
#include "companion/transcript/Transcript.h"

#include <expected>
#include <optional>
#include <string>
#include <vector>

namespace vostel_companion {

/// A transcription after it was stored, as far as that was possible.
struct StoredTranscription {
    /// With the vocabulary applied.
    Transcript transcript;
    /// With sentences and paragraphs; see ReadableText.h.
    std::string text;
    /// Absent if the transcript could not be stored.
    std::optional<VostelMCPKit::UUID> id;
    /// The file with the text. Absent if it could not be saved.
    std::optional<std::string> path;
    /// Sentences that the reader must know, mostly about steps that failed.
    std::vector<std::string> notes;
};

/// Transcribes the file or the link, applies the vocabulary, stores the transcript and saves its text as a file.
/// Nothing is downloaded and no file is opened before `source` and `language` have been checked. Returns a sentence
/// for the user if there is no transcript. `progress` is called on this thread.
[[nodiscard]] std::expected<StoredTranscription, std::string>
transcribeAndStore(const ToolContext& context, const TranscriptSource& source, const std::string& language,
                   Cancellation& cancellation, const ReportProgress& progress);

} // namespace vostel_companion
