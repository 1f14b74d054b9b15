#include "companion/tools/TranscriptionTools.h"

#include "companion/models/LanguageHint.h"
#include "companion/store/Transcripts.h"
#include "companion/store/Vocabulary.h"
#include "companion/support/InQuotes.h"
#include "companion/support/Wording.h"
#include "companion/tools/Arguments.h"
#include "companion/tools/Rendering.h"
#include "companion/tools/ResultSize.h"
#include "companion/tools/ToolSignatures.h"
#include "companion/tools/TranscriptFile.h"
#include "companion/tools/TruncatedTranscript.h"
#include "companion/transcript/VocabularyMatcher.h"
#include "kit/support/Unicode.h"

#include <algorithm>

namespace vostel_companion {

using VostelMCPKit::MCPToolOutcome;
namespace MCPURLPolicy = VostelMCPKit::MCPURLPolicy;

namespace {

/// The part of a link's progress that its download takes. Recognition is mostly slower.
constexpr double downloadFraction = 0.25;

/// A transcription after it was stored, as far as that was possible.
struct StoredTranscription {
    Transcript transcript;
    /// Absent if the transcript could not be stored.
    std::optional<VostelMCPKit::UUID> id;
    /// Absent if the text could not be saved.
    std::optional<std::string> path;
    /// What the model must know: above all, what could not be done, one sentence each.
    std::vector<std::string> notes;
};

void applyVocabulary(Database& database, StoredTranscription& stored) {
    const auto rules = Vocabulary{database}.list();
    if (!rules) {
        stored.notes.push_back("The vocabulary was not applied. " + rules.error().description());
        return;
    }
    stored.transcript.segments = VocabularyMatcher{*rules}.apply(stored.transcript.segments);
}

/// Applies the vocabulary, stores the transcript and saves its text as a file. A step that fails leaves a note, and the
/// next one is tried all the same.
StoredTranscription store(const ToolContext& context, const Transcription& done, const TranscriptSource& source) {
    StoredTranscription stored{done.transcript, std::nullopt, std::nullopt, {}};
    // Deliberate: the transcript of a cancelled call is stored too. The work is done, and the history can show it.
    Cancellation never;
    const auto permit = context.databaseWork->acquire(never);
    auto database = openStore(context.paths.database());
    if (database) {
        applyVocabulary(*database, stored);
    } else {
        stored.notes.push_back("The vocabulary was not applied, and the transcript was not stored. " +
                               database.error().description());
    }

    const Timestamp date = std::chrono::floor<Timestamp::duration>(context.now());
    const VostelMCPKit::UUID id = context.newID();
    const std::string text = stored.transcript.text();
    if (database) {
        const auto added = Transcripts{*database}.add(
            id, {date, source, done.duration, done.language, text, stored.transcript.segments});
        if (added) {
            stored.id = id;
        } else {
            stored.notes.push_back("The transcript was not stored. " + added.error().description());
        }
    }
    const auto path =
        saveTranscriptFile(context.paths.transcripts(), transcriptFileName(date, titleOf(source), id), text);
    if (path) {
        stored.path = *path;
    } else {
        stored.notes.push_back("The transcript was not saved as a file. " + path.error().description());
    }
    if (text.empty()) stored.notes.push_back("No speech was found in " + inQuotes(source.value) + ".");
    return stored;
}

MCPToolOutcome outcomeOf(const StoredTranscription& stored) {
    const std::vector<TranscriptSegment>& segments = stored.transcript.segments;
    auto ends = endsOfJoined(segments, [](const TranscriptSegment& segment) { return segment.text.size(); });
    TruncatedTranscript text{stored.transcript.text(), std::move(ends), [&] { return stored.path; }};

    return fittingOutcome(text.parts(), [&](std::size_t count) {
        const std::string words = text.shown(count);
        TranscriptionResult result{withNotes(stored.notes, words), std::nullopt};
        std::vector<TranscriptionResult::Segment>& times = result.segments.emplace();
        for (const TranscriptSegment& segment : std::span{segments}.first(count)) {
            times.push_back({segment.text, rounded(segment.startTime), rounded(segment.endTime)});
        }
        if (!hasRoomForTimes(VostelMCPKit::encode(result))) {
            std::vector<std::string> notes{timesLeftOut(stored.id, stored.path)};
            notes.insert(notes.end(), stored.notes.begin(), stored.notes.end());
            result = {withNotes(notes, words), std::nullopt};
        }
        return doneOutcome<TranscribeFile>(result.text, result);
    });
}

MCPToolOutcome transcribeFile(const ToolContext& context, const ToolCall& call) {
    const auto arguments = readArguments<TranscribeFile>(call);
    if (!arguments) return MCPToolOutcome::failed(arguments.error());
    const std::string& path = arguments->path;

    // Checked before anything opens the file.
    if (isFileOfDatabase(path, context.paths.database())) {
        return MCPToolOutcome::failed(AudioError{AudioError::NotAudio{}}.description(path));
    }

    const std::string language = arguments->language.value_or("");
    const auto done = context.transcribe(path, language, call.cancellation, call.progress);
    if (!done) return MCPToolOutcome::failed(done.error().description());
    return outcomeOf(store(context, *done, {TranscriptSource::Kind::file, VostelMCPKit::repairedUTF8(path)}));
}

const char* refusal(MCPURLPolicy::Reason reason) {
    switch (reason) {
    case MCPURLPolicy::Reason::scheme:
        return "Vostel opens encrypted links only, which begin with https.";
    case MCPURLPolicy::Reason::host:
        return "Vostel opens a link only if it is a valid URL whose host is youtube.com, a subdomain of youtube.com, "
               "or youtu.be.";
    case MCPURLPolicy::Reason::unresolvedHost:
        return "The address of the link's host could not be found; please check the link and the network connection.";
    case MCPURLPolicy::Reason::privateAddress:
        break;
    }
    return "The link's host has an address inside a private network, so Vostel does not open the link.";
}

/// Names the link instead of the downloaded file, which the user does not know.
std::string descriptionForLink(const TranscriptionError& error, const std::string& url) {
    const auto* file = std::get_if<TranscriptionError::UnusableFile>(&error.is);
    return file != nullptr ? file->why.description(url) : error.description();
}

MCPToolOutcome transcribeURL(const ToolContext& context, const ToolCall& call) {
    const auto arguments = readArguments<TranscribeURL>(call);
    if (!arguments) return MCPToolOutcome::failed(arguments.error());
    const std::string& url = arguments->url;
    const std::string language = arguments->language.value_or("");
    // Checked before anything is downloaded.
    if (!isLanguageHint(language)) {
        return MCPToolOutcome::failed(TranscriptionError{TranscriptionError::UnknownLanguage{language}}.description());
    }

    MCPURLPolicy::Decision decision = MCPURLPolicy::evaluate(url, context.resolve);
    if (const auto* rejected = std::get_if<MCPURLPolicy::Decision::Rejected>(&decision.is)) {
        return MCPToolOutcome::failed(refusal(rejected->reason));
    }
    const JudgedLink link{url, std::get<MCPURLPolicy::Decision::Allowed>(std::move(decision.is))};

    const auto audio = context.downloadAudio(link, call.cancellation, [&](double fraction) {
        call.progress({fraction * downloadFraction, "Downloading the audio, " + percentText(fraction) + " done"});
    });
    if (!audio) return MCPToolOutcome::failed(audio.error().description());
    const auto done =
        context.transcribe((*audio)->path().string(), language, call.cancellation, [&](const Progress& now) {
            call.progress({downloadFraction + now.fraction * (1 - downloadFraction), now.message});
        });
    if (!done) return MCPToolOutcome::failed(descriptionForLink(done.error(), url));
    return outcomeOf(store(context, *done, {TranscriptSource::Kind::link, url}));
}

} // namespace

void addTranscriptionTools(ToolTable& tools, const ToolContext& context) {
    tools[TranscribeFile::name] = [context](const ToolCall& call) { return transcribeFile(context, call); };
    tools[TranscribeURL::name] = [context](const ToolCall& call) { return transcribeURL(context, call); };
}

} // namespace vostel_companion
