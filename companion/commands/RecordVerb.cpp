#include "companion/commands/RecordVerb.h"

#include "companion/models/LanguageHint.h"
#include "companion/store/Recordings.h"
#include "companion/store/Vocabulary.h"
#include "companion/support/TerminalSafe.h"
#include "companion/transcript/SpokenTurns.h"
#include "companion/transcript/VocabularyMatcher.h"
#include "posix/Files.h"

#include <algorithm>
#include <unistd.h>
#include <utility>

namespace vostel_companion {

using VostelMCPKit::UUID;

namespace {

/// Each report waits for the disk, and clients that poll read no more than percents.
constexpr double reportedStep = 0.02;

/// A file of the call.
struct Track {
    std::string path;
    Seconds duration{0};
};

/// The work on one recording, between its beginning and its end.
class Work final {
public:
    Work(World& world, const UUID& id) : world_{world}, id_{id}, recordings_{world.database} {}
    Work(const Work&) = delete;
    Work& operator=(const Work&) = delete;

    /// The stored lines, or why there are none.
    std::expected<std::vector<RecordingLine>, std::string> run(const Track& microphone, const Track& system,
                                                               const std::string& language) {
        const Timestamp startedAt = std::chrono::floor<Timestamp::duration>(world_.now());
        if (const auto begun = recordings_.begin(id_, startedAt); !begun)
            return std::unexpected(begun.error().description());
        const auto transcribing = recordings_.beginTranscribing(id_, std::max(microphone.duration, system.duration));
        if (!transcribing) return std::unexpected(transcribing.error().description());

        const Seconds whole = microphone.duration + system.duration;
        const double share = whole > Seconds{0} ? microphone.duration / whole : 0.5;
        const auto mine = transcribe(microphone, language, 0, share);
        if (!mine) return std::unexpected(mine.error().description());
        const auto theirs = transcribe(system, language, share, 1);
        if (!theirs) return std::unexpected(theirs.error().description());

        const auto rules = Vocabulary{world_.database}.list();
        if (!rules) return std::unexpected(rules.error().description());
        const VocabularyMatcher matcher{*rules};
        auto lines = conversation(matcher.apply(mine->transcript.segments), matcher.apply(theirs->transcript.segments));
        const auto finished = recordings_.finish(id_, mine->language, lines);
        if (!finished) return std::unexpected(finished.error().description());
        if (!*finished) return std::unexpected("The recording was ended by another process.");
        return lines;
    }

    /// Keeps the reason with the recording; whether that succeeded makes no difference to the person.
    void fail(const std::string& reason) { std::ignore = recordings_.fail(id_, reason); }

private:
    std::expected<Transcription, TranscriptionError> transcribe(const Track& track, const std::string& language,
                                                                double from, double to) {
        return world_.transcribe(track.path, language, world_.cancellation,
                                 [&](double share) { report(from + (to - from) * share); });
    }

    void report(double share) {
        bar_.show(share);
        if (share < reported_ + reportedStep) return;
        reported_ = share;
        // Deliberate: a report that is lost is followed by the next one.
        std::ignore = recordings_.reportProgress(id_, share);
    }

    World& world_;
    const UUID id_;
    Recordings recordings_;
    ProgressBar bar_{world_.progress, "Transcribing"};
    double reported_ = 0;
};

std::expected<Track, Exit> openTrack(const std::string& file, World& world) {
    const std::string path = world.workingFolder / file;
    const auto duration = world.measure(path, world.cancellation);
    if (duration) return Track{path, *duration};
    world.tell(duration.error().description(path));
    return std::unexpected(Exit::failed);
}

} // namespace

Exit run(const Command::Record& verb, World& world) {
    if (!isLanguageHint(verb.language))
        return world.failed(TranscriptionError{TranscriptionError::UnknownLanguage{verb.language}});
    const auto microphone = openTrack(verb.microphone, world);
    if (!microphone) return microphone.error();
    const auto system = openTrack(verb.system, world);
    if (!system) return system.error();

    const UUID id = world.newID();
    const std::filesystem::path lockFile = world.paths.lockOfRecording(id);
    if (const auto made = posix::ensureFolder(lockFile.parent_path()); !made) return world.failed(made.error());
    const auto lock = posix::FileLock::acquire(lockFile);
    if (!lock) return world.failed(lock.error());

    const auto lines = [&] {
        Work work{world, id};
        auto done = work.run(*microphone, *system, verb.language);
        if (!done) work.fail(done.error());
        return done;
    }();
    ::unlink(lockFile.c_str());
    if (!lines) {
        world.tell(lines.error());
        return Exit::failed;
    }
    if (lines->empty()) world.tell("Nobody said anything that was recognised.");
    for (const RecordingLine& line : *lines) world.print(printableLine(plainText({&line, 1})) + "\n");
    return Exit::done;
}

} // namespace vostel_companion
