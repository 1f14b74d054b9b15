#include "companion/tools/StoredTranscription.h"

#include "companion/models/LanguageHint.h"
#include "companion/store/Vocabulary.h"
#include "companion/support/InQuotes.h"
#include "companion/support/Wording.h"
#include "companion/tools/TranscriptFile.h"
#include "companion/transcript/ReadableText.h"
#include "companion/transcript/VocabularyMatcher.h"
#include "kit/support/Unicode.h"

namespace vostel_companion {

namespace MCPURLPolicy = VostelMCPKit::MCPURLPolicy;

namespace {

using Result = std::expected<StoredTranscription, std::string>;

/// The fraction of a link's progress that is the download. Recognition usually takes longer.
constexpr double downloadFraction = 0.25;

/// The rules of the vocabulary. If they cannot be read, there are none, and a note says so.
std::vector<VocabularyRule> readVocabulary(Database& database, std::vector<std::string>& notes) {
    auto rules = Vocabulary{database}.list();
    if (rules) return *std::move(rules);
    notes.push_back("The vocabulary was not applied. " + rules.error().description());
    return {};
}

/// Applies the vocabulary, stores the transcript and saves its text as a file. If a step fails, a note says so, and the
/// next step is still tried.
StoredTranscription store(const ToolContext& context, const Transcription& done, const TranscriptSource& source) {
    StoredTranscription stored;
    // Deliberate: the transcript of a cancelled call is stored too. The work is done, and the history can show it.
    Cancellation never;
    const auto permit = context.databaseWork->acquire(never);
    auto database = openStore(context.paths.database());
    std::vector<VocabularyRule> rules;
    if (database) {
        rules = readVocabulary(*database, stored.notes);
    } else {
        stored.notes.push_back("The vocabulary was not applied, and the transcript was not stored. " +
                               database.error().description());
    }
    stored.transcript.segments = VocabularyMatcher{rules}.apply(done.transcript.segments);
    stored.text = readableText(stored.transcript.segments, done.language, rules);

    const Timestamp date = std::chrono::floor<Timestamp::duration>(context.now());
    const VostelMCPKit::UUID id = context.newID();
    if (database) {
        const auto added = Transcripts{*database}.add(
            id, {date, source, done.duration, done.language, stored.text, stored.transcript.segments});
        if (added) {
            stored.id = id;
        } else {
            stored.notes.push_back("The transcript was not stored. " + added.error().description());
        }
    }
    const auto path =
        saveTranscriptFile(context.paths.transcripts(), transcriptFileName(date, titleOf(source), id), stored.text);
    if (path) {
        stored.path = *path;
    } else {
        stored.notes.push_back("The transcript was not saved as a file. " + path.error().description());
    }
    if (done.tracks > 1) {
        stored.notes.push_back("This file has " + std::to_string(done.tracks) +
                               " audio tracks. The words are those of track " + std::to_string(done.track) + ".");
    }
    if (stored.text.empty()) stored.notes.push_back("No speech was found in " + inQuotes(source.value) + ".");
    return stored;
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

/// Names the link instead of the downloaded file, because the user does not know that file.
std::string descriptionForLink(const TranscriptionError& error, const std::string& url) {
    const auto* file = std::get_if<TranscriptionError::UnusableFile>(&error.is);
    return file != nullptr ? file->why.description(url) : error.description();
}

Result transcribeFile(const ToolContext& context, const TranscriptSource& file, const std::string& language,
                      Cancellation& cancellation, const ReportProgress& progress) {
    // Checked before anything opens the file.
    if (isFileOfDatabase(file.value, context.paths.database())) {
        return std::unexpected(AudioError{AudioError::NotAudio{}}.description(file.value));
    }
    const auto done = context.transcribe(file.value, language, cancellation, progress);
    if (!done) return std::unexpected(done.error().description());
    return store(context, *done, {file.kind, VostelMCPKit::repairedUTF8(file.value)});
}

Result transcribeLink(const ToolContext& context, const TranscriptSource& link, const std::string& language,
                      Cancellation& cancellation, const ReportProgress& progress) {
    // Checked before anything is downloaded.
    if (!isLanguageHint(language)) {
        return std::unexpected(TranscriptionError{TranscriptionError::UnknownLanguage{language}}.description());
    }
    MCPURLPolicy::Decision decision = MCPURLPolicy::evaluate(link.value, context.resolve);
    if (const auto* rejected = std::get_if<MCPURLPolicy::Decision::Rejected>(&decision.is)) {
        return std::unexpected(refusal(rejected->reason));
    }
    const AllowedLink allowed{link.value, std::get<MCPURLPolicy::Decision::Allowed>(std::move(decision.is))};

    const auto audio = context.downloadAudio(allowed, cancellation, [&](double fraction) {
        progress({fraction * downloadFraction, "Downloading the audio, " + percentText(fraction) + " done"});
    });
    if (!audio) return std::unexpected(audio.error().description());
    const auto done = context.transcribe(audio->path.string(), language, cancellation, [&](const Progress& now) {
        progress({downloadFraction + now.fraction * (1 - downloadFraction), now.message});
    });
    if (!done) return std::unexpected(descriptionForLink(done.error(), link.value));
    return store(context, *done, link);
}

} // namespace

Result transcribeAndStore(const ToolContext& context, const TranscriptSource& source, const std::string& language,
                          Cancellation& cancellation, const ReportProgress& progress) {
    const bool isFile = source.kind == TranscriptSource::Kind::file;
    return (isFile ? transcribeFile : transcribeLink)(context, source, language, cancellation, progress);
}

} // namespace vostel_companion
