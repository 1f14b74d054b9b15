#include "companion/commands/RecordVerb.h"

#include "companion/models/LanguageHint.h"
#include "companion/store/Recordings.h"
#include "companion/store/Vocabulary.h"
#include "companion/support/TerminalSafe.h"
#include "companion/transcript/SpokenTurns.h"
#include "companion/transcript/VocabularyMatcher.h"
#include "posix/FileLock.h"
#include "posix/PrivateFolder.h"

#include <algorithm>
#include <unistd.h>
#include <utility>

namespace vostel_companion {

using VostelMCPKit::UUID;

namespace {

/// Progress is stored in these steps. Each report waits for the disk, and clients need no finer ones.
constexpr double reportedStep = 0.02;

/// One audio file of the call.
struct Track {
    std::string path;
    Seconds duration{0};
};

/// Transcribes one recording and stores its states.
class Work final {
public:
    Work(CommandContext& context, const UUID& id) : context_{context}, id_{id}, recordings_{context.database} {}
    Work(const Work&) = delete;
    Work& operator=(const Work&) = delete;

    /// Returns the stored lines, or why the recording failed.
    std::expected<std::vector<RecordingLine>, std::string> run(const Track& microphone, const Track& system,
                                                               const std::string& language) {
        const Timestamp startedAt = std::chrono::floor<Timestamp::duration>(context_.now());
        if (const auto begun = recordings_.begin(id_, startedAt); !begun) {
            return std::unexpected(begun.error().description());
        }
        const auto transcribing = recordings_.beginTranscribing(id_, std::max(microphone.duration, system.duration));
        if (!transcribing) return std::unexpected(transcribing.error().description());

        const Seconds whole = microphone.duration + system.duration;
        const double fraction = whole > Seconds{0} ? microphone.duration / whole : 0.5;
        const auto mine = transcribe(microphone, language, 0, fraction);
        if (!mine) return std::unexpected(mine.error().description());
        const auto theirs = transcribe(system, language, fraction, 1);
        if (!theirs) return std::unexpected(theirs.error().description());

        const auto rules = Vocabulary{context_.database}.list();
        if (!rules) return std::unexpected(rules.error().description());
        const VocabularyMatcher matcher{*rules};
        auto lines = conversation({matcher.apply(mine->transcript.segments), mine->language},
                                  {matcher.apply(theirs->transcript.segments), theirs->language}, *rules);
        const auto finished = recordings_.finish(id_, mine->language, lines);
        if (!finished) return std::unexpected(finished.error().description());
        if (!*finished) return std::unexpected("The recording was ended by another process.");
        return lines;
    }

    /// Stores the reason with the recording. A failure is ignored, because the user sees the reason anyway.
    void fail(const std::string& reason) { std::ignore = recordings_.fail(id_, reason); }

private:
    std::expected<Transcription, TranscriptionError> transcribe(const Track& track, const std::string& language,
                                                                double from, double to) {
        return context_.transcribe(track.path, language, context_.cancellation,
                                   [&](const Progress& now) { report(from + (to - from) * now.fraction); });
    }

    void report(double fraction) {
        bar_.show(fraction);
        if (fraction < reported_ + reportedStep) return;
        reported_ = fraction;
        // Deliberate: a failure is ignored, because the next report follows soon.
        std::ignore = recordings_.reportProgress(id_, fraction);
    }

    CommandContext& context_;
    const UUID id_;
    Recordings recordings_;
    ProgressBar bar_{context_.progress, "Transcribing"};
    double reported_ = 0;
};

std::expected<Track, Exit> openTrack(const std::string& file, CommandContext& context) {
    const std::string path = context.workingFolder / file;
    const auto duration = context.measure(path, context.cancellation);
    if (duration) return Track{path, *duration};
    context.printError(duration.error().description(path));
    return std::unexpected(Exit::failed);
}

} // namespace

Exit run(const Command::Record& verb, CommandContext& context) {
    if (!isLanguageHint(verb.language)) {
        return context.failed(TranscriptionError{TranscriptionError::UnknownLanguage{verb.language}});
    }
    const auto microphone = openTrack(verb.microphone, context);
    if (!microphone) return microphone.error();
    const auto system = openTrack(verb.system, context);
    if (!system) return system.error();

    const UUID id = context.newID();
    const std::filesystem::path lockFile = context.paths.lockOfRecording(id);
    if (const auto made = posix::ensureFolder(lockFile.parent_path()); !made) return context.failed(made.error());
    const auto lock = posix::FileLock::acquire(lockFile, posix::FileLock::IfMissing::create);
    if (!lock) return context.failed(lock.error());

    const auto lines = [&] {
        Work work{context, id};
        auto done = work.run(*microphone, *system, verb.language);
        if (!done) work.fail(done.error());
        return done;
    }();
    ::unlink(lockFile.c_str());
    if (!lines) {
        context.printError(lines.error());
        return Exit::failed;
    }
    if (lines->empty()) context.printError("No speech was found in this call.");
    for (const RecordingLine& line : *lines) context.print(printableLine(plainText({&line, 1})) + "\n");
    return Exit::done;
}

} // namespace vostel_companion
