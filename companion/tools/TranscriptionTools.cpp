#include "companion/tools/TranscriptionTools.h"

#include "companion/models/LanguageHint.h"
#include "companion/store/Transcripts.h"
#include "companion/store/Vocabulary.h"
#include "companion/tools/Arguments.h"
#include "companion/tools/PartedText.h"
#include "companion/tools/Rendering.h"
#include "companion/tools/ResultSize.h"
#include "companion/tools/ToolSignatures.h"
#include "companion/tools/TranscriptFile.h"
#include "companion/transcript/VocabularyMatcher.h"
#include "kit/support/Unicode.h"

#include <algorithm>

namespace vostel_companion {

using VostelMCPKit::MCPToolOutcome;
namespace MCPURLPolicy = VostelMCPKit::MCPURLPolicy;

namespace {

/// Of the whole of a link's work, what its download counts for: it is mostly faster than recognising.
constexpr double downloadShare = 0.25;

/// What became of a transcript after its words were recognised.
struct Kept {
    Transcript transcript;
    std::optional<std::string> path;
    /// Sentences about what could not be done.
    std::vector<std::string> notes;
};

void applyVocabulary(Database& database, Kept& kept) {
    const auto rules = Vocabulary{database}.list();
    if (!rules) {
        kept.notes.push_back("The vocabulary was not applied. " + rules.error().description());
        return;
    }
    kept.transcript.segments = VocabularyMatcher{*rules}.apply(kept.transcript.segments);
}

/// Applies the vocabulary, stores the transcript and saves its text as a file; each as far as it goes.
Kept keep(const ToolContext& context, const Transcription& done, const TranscriptSource& source) {
    Kept kept{done.transcript, std::nullopt, {}};
    // Deliberate: one that nobody waits for any more is kept too. The work is done, and the history can show it.
    Cancellation never;
    const auto turn = context.databaseTurns->wait(never);
    auto database = openStore(context.paths.database());
    if (database) {
        applyVocabulary(*database, kept);
    } else {
        kept.notes.push_back("The vocabulary was not applied, and the transcript was not stored. " +
                             database.error().description());
    }

    const Timestamp date = std::chrono::floor<Timestamp::duration>(context.now());
    const VostelMCPKit::UUID id = context.newID();
    const std::string text = kept.transcript.text();
    if (database) {
        const auto stored = Transcripts{*database}.add(
            id, {date, source, done.duration, done.language, text, kept.transcript.segments});
        if (!stored) kept.notes.push_back("The transcript was not stored. " + stored.error().description());
    }
    const auto path =
        saveTranscriptFile(context.paths.transcripts(), transcriptFileName(date, titleOf(source), id), text);
    if (path) {
        kept.path = *path;
    } else {
        kept.notes.push_back("The transcript was not saved as a file. " + path.error().description());
    }
    return kept;
}

MCPToolOutcome outcomeOf(const Kept& kept) {
    const std::vector<TranscriptSegment>& segments = kept.transcript.segments;
    std::vector<std::size_t> ends;
    for (const TranscriptSegment& segment : segments)
        ends.push_back((ends.empty() ? 0 : ends.back() + 1) + segment.text.size());
    PartedText text{kept.transcript.text(), std::move(ends), [&] { return kept.path; }};

    return fittingOutcome(text.parts(), [&](std::size_t count) {
        TranscriptionResult result{text.shown(count), {}};
        for (const TranscriptSegment& segment : std::span{segments}.first(count))
            result.segments.push_back({segment.text, rounded(segment.startTime), rounded(segment.endTime)});
        // Only the model is given the notes: programs read the words out of the result's text.
        std::string words = result.text;
        for (const std::string& note : kept.notes) words += "\n\n[" + note + "]";
        return doneOutcome<TranscribeFile>(std::move(words), result);
    });
}

MCPToolOutcome transcribeFile(const ToolContext& context, const ToolCall& call) {
    const auto arguments = readArguments<TranscribeFile>(call);
    if (!arguments) return failedOutcome(arguments.error());
    const std::string& path = arguments->path;

    // Refused before anything opens it.
    if (isFileOfDatabase(path, context.paths.database()))
        return failedOutcome(AudioError{AudioError::NotAudio{}}.description(path));

    const std::string language = arguments->language.value_or("");
    const auto done = context.transcribe(path, language, call.cancellation, call.progress);
    if (!done) return failedOutcome(done.error().description());
    return outcomeOf(keep(context, *done, {TranscriptSource::Kind::file, VostelMCPKit::repairedUTF8(path)}));
}

const char* refusal(MCPURLPolicy::Reason reason) {
    switch (reason) {
    case MCPURLPolicy::Reason::scheme:
        return "Vostel opens encrypted links only, which begin with https.";
    case MCPURLPolicy::Reason::host:
        return "Vostel opens links to YouTube videos only.";
    case MCPURLPolicy::Reason::unresolvedHost:
        return "The address of the link's host could not be found; please check the link and the network connection.";
    case MCPURLPolicy::Reason::privateAddress:
        break;
    }
    return "The link's host has an address inside a private network, so Vostel does not open the link.";
}

/// A failure to transcribe what a link led to; people know the link, not the file.
std::string descriptionForLink(const TranscriptionError& error, const std::string& url) {
    const auto* file = std::get_if<TranscriptionError::UnusableFile>(&error.is);
    return file != nullptr ? file->why.description(url) : error.description();
}

MCPToolOutcome transcribeURL(const ToolContext& context, const ToolCall& call) {
    const auto arguments = readArguments<TranscribeURL>(call);
    if (!arguments) return failedOutcome(arguments.error());
    const std::string& url = arguments->url;
    const std::string language = arguments->language.value_or("");
    // Before anything is fetched for nothing.
    if (!isLanguageHint(language))
        return failedOutcome(TranscriptionError{TranscriptionError::UnknownLanguage{language}}.description());

    const MCPURLPolicy::Decision decision = MCPURLPolicy::evaluate(url, context.resolve);
    if (const auto* rejected = std::get_if<MCPURLPolicy::Decision::Rejected>(&decision.is))
        return failedOutcome(refusal(rejected->reason));

    const auto audio =
        context.downloadAudio(url, call.cancellation, [&](double share) { call.progress(share * downloadShare); });
    if (!audio) return failedOutcome(audio.error().description());
    const auto done = context.transcribe((*audio)->path().string(), language, call.cancellation, [&](double share) {
        call.progress(downloadShare + share * (1 - downloadShare));
    });
    if (!done) return failedOutcome(descriptionForLink(done.error(), url));
    return outcomeOf(keep(context, *done, {TranscriptSource::Kind::link, url}));
}

} // namespace

void addTranscriptionTools(ToolTable& tools, const ToolContext& context) {
    tools[TranscribeFile::name] = [context](const ToolCall& call) { return transcribeFile(context, call); };
    tools[TranscribeURL::name] = [context](const ToolCall& call) { return transcribeURL(context, call); };
}

} // namespace vostel_companion
