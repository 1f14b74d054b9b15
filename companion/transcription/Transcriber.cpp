#include "companion/transcription/Transcriber.h"

#include "companion/audio/AudioSource.h"
#include "companion/models/LanguageHint.h"
#include "companion/speech/Sphinx.h"
#include "companion/speech/UtteranceSplitter.h"
#include "companion/support/InQuotes.h"
#include "companion/support/Time.h"
#include "companion/support/Wording.h"
#include "kit/support/match.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <sys/stat.h>
#include <utility>

namespace vostel_companion {

namespace {

/// The step between two reports.
constexpr double smallestStep = 0.001;
static_assert(mostWhileWaiting < smallestStep);

/// "Transcribing 12:30 of 58:10".
std::string positionText(Seconds position, const std::optional<Seconds>& whole) {
    std::string text = "Transcribing " + clockText(std::chrono::floor<std::chrono::seconds>(position));
    if (whole) text += " of " + clockText(std::chrono::round<std::chrono::seconds>(*whole));
    return text;
}

TranscriptionError unusable(const std::string& path, const AudioError& why) {
    if (std::holds_alternative<AudioError::Cancelled>(why.is)) return {TranscriptionError::Cancelled{}};
    return {TranscriptionError::UnusableFile{path, why}};
}

TranscriptionError failed(const SpeechError& why) {
    if (why.is == SpeechError::Kind::cancelled) return {TranscriptionError::Cancelled{}};
    return {why};
}

/// Takes one recording through the splitter and the recogniser.
class Recognition final {
public:
    /// `kept` may be null.
    Recognition(AudioSource& source, SpeechDecoder& decoder, RecognitionCache::Recording* kept,
                const Cancellation& cancellation, const ReportProgress& progress)
        : source_{source}, decoder_{decoder}, kept_{kept}, cancellation_{cancellation}, progress_{progress} {}
    Recognition(const Recognition&) = delete;
    Recognition& operator=(const Recognition&) = delete;

    std::expected<Transcription, TranscriptionError> run(const std::string& path) {
        decoder_.startRecording();
        while (true) {
            const auto samples = source_.read();
            if (!samples) return std::unexpected(unusable(path, samples.error()));
            if (samples->empty()) break;
            read_ += samples->size();
            if (auto taken = recognise(splitter_.push(*samples)); !taken) return std::unexpected(failed(taken.error()));
            report(splitter_.position());
        }
        if (auto taken = recognise(splitter_.finish()); !taken) return std::unexpected(failed(taken.error()));
        if (kept_ != nullptr) kept_->finish(read_);
        const Seconds whole = timeOf(read_);
        progress_({1.0, positionText(whole, whole)});
        return Transcription{std::move(transcript_), whole, std::nullopt};
    }

private:
    std::expected<void, SpeechError> recognise(const std::vector<Utterance>& utterances) {
        for (const Utterance& utterance : utterances) {
            const auto consumed = [&](double fraction) {
                report(utterance.start +
                       static_cast<std::size_t>(fraction * static_cast<double>(utterance.samples.size())));
            };
            const auto* const known = kept_ != nullptr ? kept_->find(utterance) : nullptr;
            if (known != nullptr) {
                if (cancellation_.isCancelled()) return std::unexpected(SpeechError{SpeechError::Kind::cancelled});
                std::ranges::copy(*known, std::back_inserter(transcript_.segments));
                continue;
            }
            auto words = decoder_.decode(utterance, cancellation_, consumed);
            if (!words) return std::unexpected(words.error());
            if (kept_ != nullptr) kept_->add(utterance, *words);
            std::ranges::move(*words, std::back_inserter(transcript_.segments));
        }
        return {};
    }

    /// Reading runs ahead of recognition, so this multiplies the fraction of the file that was read with the fraction
    /// of that which was recognised.
    void report(std::size_t position) {
        const double exact = source_.consumed() * static_cast<double>(position) / static_cast<double>(read_);
        const double fraction = std::floor(exact / smallestStep) * smallestStep; // more digits are of no use
        if (fraction <= reported_) return;
        reported_ = fraction;
        progress_({fraction, positionText(timeOf(position), source_.duration())});
    }

    static Seconds timeOf(std::size_t samples) {
        return Seconds{static_cast<double>(samples) / AudioSource::sampleRate};
    }

    AudioSource& source_;
    SpeechDecoder& decoder_;
    RecognitionCache::Recording* const kept_;
    const Cancellation& cancellation_;
    const ReportProgress& progress_;

    SphinxDetector detector_;
    UtteranceSplitter splitter_{[this](std::span<const std::int16_t> frame) { return detector_.isSpeech(frame); }};
    Transcript transcript_;
    std::size_t read_ = 0;
    double reported_ = 0;
};

} // namespace

std::string TranscriptionError::description() const {
    return VostelMCPKit::match(
        is,
        [](const RelativePath& relative) {
            return "The path " + inQuotes(relative.path) +
                   " is relative; transcribe_file needs the absolute path of the file.";
        },
        [](const UnknownLanguage& unknown) {
            return "The language " + inQuotes(unknown.language) +
                   " is unknown; pass an ISO 639-1 code such as 'en', or leave it out.";
        },
        [](const UnusableFile& file) { return file.why.description(file.path); },
        [](const SpeechError& error) { return error.description(); },
        [](const Cancelled&) { return std::string{"The transcription was cancelled."}; });
}

Transcriber::Transcriber(ChooseModel chooseModel, std::size_t jobs, std::optional<RecognitionCache> cache)
    : chooseModel_{std::move(chooseModel)}, cache_{std::move(cache)},
      slots_{jobs, [] { return std::make_unique<Slot>(); }} {}

std::expected<Transcription, TranscriptionError> Transcriber::transcribe(const std::string& path,
                                                                         const std::string& language,
                                                                         Cancellation& cancellation,
                                                                         const ReportProgress& progress) {
    if (!path.starts_with('/')) return std::unexpected(TranscriptionError{TranscriptionError::RelativePath{path}});
    if (!isLanguageHint(language)) {
        return std::unexpected(TranscriptionError{TranscriptionError::UnknownLanguage{language}});
    }
    // The system would cut a path at a NUL and open another file.
    if (path.contains('\0')) {
        return std::unexpected(TranscriptionError{TranscriptionError::UnusableFile{path, {AudioError::Missing{}}}});
    }

    auto source = AudioSource::open(path, cancellation);
    if (!source) return std::unexpected(unusable(path, source.error()));
    auto borrowed = slots_.borrow(cancellation, reportWaiting(progress));
    if (!borrowed) return std::unexpected(failed(borrowed.error()));
    const auto& slot = *borrowed;
    if (!slot) return std::unexpected(TranscriptionError{TranscriptionError::Cancelled{}});

    SpeechModel model = chooseModel_(language);
    const auto kept = keptOf(path, model);
    if (const auto samples = kept ? kept->samples() : std::nullopt) {
        return Transcription{kept->transcript(), Seconds{static_cast<double>(*samples) / AudioSource::sampleRate},
                             std::move(model.language)};
    }
    if (auto loaded = load(**slot, model.folder); !loaded) return std::unexpected(failed(loaded.error()));
    auto done = Recognition{*source, *(*slot)->decoder, kept.get(), cancellation, progress}.run(path);
    if (done) done->language = std::move(model.language);
    return done;
}

std::unique_ptr<RecognitionCache::Recording> Transcriber::keptOf(const std::string& path,
                                                                 const SpeechModel& model) const {
    if (!cache_) return nullptr;
    const Folder folder = folderAt(model.folder);
    const std::string identity = folder.path + "\n" + std::to_string(folder.device) + "\n" +
                                 std::to_string(folder.number) + "\n" + std::to_string(folder.changed) + "\n" +
                                 model.language.value_or("");
    const auto key = cache_->keyOf(path, identity);
    if (!key) return nullptr;
    cache_->prune(std::filesystem::file_time_type::clock::now());
    return std::make_unique<RecognitionCache::Recording>(cache_->folder(), *key, path);
}

Transcriber::Folder Transcriber::folderAt(const std::string& path) {
    struct stat status{};
    if (::stat(path.c_str(), &status) != 0) return {.path = path};
    return {path, status.st_dev, status.st_ino, status.st_ctime};
}

std::expected<void, SpeechError> Transcriber::load(Slot& slot, const std::string& path) {
    // Before the model is read: a folder that replaces it during that time is noticed the next time.
    Folder folder = folderAt(path);
    if (slot.decoder && slot.folder == folder) return {};
    // First, because the memory may not hold two models.
    slot.decoder.reset();
    auto loaded = SpeechDecoder::load(path);
    if (!loaded) return std::unexpected(loaded.error());
    slot = {std::move(folder), *std::move(loaded)};
    return {};
}

} // namespace vostel_companion
