#include "companion/transcription/Transcriber.h"

#include "companion/audio/AudioSource.h"
#include "companion/models/LanguageHint.h"
#include "companion/support/InQuotes.h"
#include "companion/support/Time.h"
#include "companion/transcription/Recognition.h"
#include "companion/transcription/SpeechTrack.h"
#include "kit/support/match.h"

#include <algorithm>
#include <thread>
#include <utility>
#include <variant>

namespace vostel_companion {

namespace {

TranscriptionError unusable(const std::string& path, const AudioError& why) {
    if (std::holds_alternative<AudioError::Cancelled>(why.is)) return {TranscriptionError::Cancelled{}};
    return {TranscriptionError::UnusableFile{path, why}};
}

TranscriptionError failed(const SpeechError& why) {
    if (why.is == SpeechError::Kind::cancelled) return {TranscriptionError::Cancelled{}};
    return {why};
}

TranscriptionError failed(const Recognition::Error& why, const std::string& path) {
    return VostelMCPKit::match(
        why, [&](const AudioError& error) { return unusable(path, error); },
        [](const SpeechError& error) { return failed(error); });
}

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

Transcriber::Transcriber(ChooseModel chooseModel, std::size_t decoders, std::optional<RecognitionCache> cache,
                         posix::ThreadStarter startThread, DecoderPool::Clock now)
    : chooseModel_{std::move(chooseModel)}, cache_{std::move(cache)}, startThread_{std::move(startThread)},
      decoders_{decoders, [] { return std::make_unique<DecoderSlot>(); }, std::move(now)} {}

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

    // Checked before the call waits, so that the caller learns at once that a file cannot be used.
    if (auto usable = AudioSource::open(path, cancellation); !usable) {
        return std::unexpected(unusable(path, usable.error()));
    }
    auto borrowed = decoders_.borrow(cancellation, reportWaiting(progress));
    if (!borrowed) return std::unexpected(failed(borrowed.error()));
    const auto& place = *borrowed;
    if (!place) return std::unexpected(TranscriptionError{TranscriptionError::Cancelled{}});

    SpeechModel model = chooseModel_(language);
    const auto kept = keptOf(path, model);
    if (const auto whole = kept ? kept->whole() : std::nullopt) {
        return Transcription{kept->transcript(), AudioSource::timeOf(whole->samples), std::move(model.language),
                             whole->track, whole->tracks};
    }
    auto source = openTrackWithSpeech(path, cancellation);
    if (!source) return std::unexpected(unusable(path, source.error()));
    const auto decoder = (*place)->decoder(model.folder);
    if (!decoder) return std::unexpected(failed(decoder.error()));
    auto done =
        Recognition{*source, {**decoder, decoders_, model.folder, startThread_}, kept.get(), cancellation, progress}
            .run();
    if (!done) return std::unexpected(failed(done.error(), path));
    const std::size_t track = source->track() + 1;
    if (kept) kept->finish({done->samples, track, source->trackCount()});
    return Transcription{{std::move(done->words)},
                         AudioSource::timeOf(done->samples),
                         std::move(model.language),
                         track,
                         source->trackCount()};
}

std::unique_ptr<RecognitionCache::Recording> Transcriber::keptOf(const std::string& path,
                                                                 const SpeechModel& model) const {
    if (!cache_) return nullptr;
    const ModelFolder folder = ModelFolder::at(model.folder);
    const std::string identity = folder.path + "\n" + std::to_string(folder.device) + "\n" +
                                 std::to_string(folder.number) + "\n" + std::to_string(folder.changed) + "\n" +
                                 model.language.value_or("");
    const auto key = cache_->keyOf(path, identity);
    if (!key) return nullptr;
    cache_->prune(std::filesystem::file_time_type::clock::now());
    return std::make_unique<RecognitionCache::Recording>(cache_->folder(), *key, path);
}

std::size_t decodersForThisMachine() { return std::clamp(std::thread::hardware_concurrency(), 1U, 4U); }

} // namespace vostel_companion
