// Turns a file into the words spoken in it.
#pragma once

#include "companion/audio/AudioError.h"
#include "companion/speech/SpeechDecoder.h"
#include "companion/support/Cancellation.h"
#include "companion/support/Progress.h"
#include "companion/transcript/Transcript.h"
#include "companion/transcription/DecoderPool.h"
#include "companion/transcription/RecognitionCache.h"
#include "companion/transcription/SpeechModel.h"
#include "posix/BlockingThread.h"

#include <chrono>
#include <cstddef>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>

namespace vostel_companion {

struct TranscriptionError {
    struct RelativePath {
        std::string path;
        bool operator==(const RelativePath&) const = default;
    };
    struct UnknownLanguage {
        std::string language;
        bool operator==(const UnknownLanguage&) const = default;
    };
    struct UnusableFile {
        std::string path;
        AudioError why;
        bool operator==(const UnusableFile&) const = default;
    };
    struct Cancelled {
        bool operator==(const Cancelled&) const = default;
    };

    std::variant<RelativePath, UnknownLanguage, UnusableFile, SpeechError, Cancelled> is;

    /// One sentence for the user.
    [[nodiscard]] std::string description() const;

    bool operator==(const TranscriptionError&) const = default;
};

struct Transcription {
    Transcript transcript;
    /// How long the recording is.
    std::chrono::duration<double> duration{};
    /// The language of the model that recognised it, where that is known.
    std::optional<std::string> language;
    /// The audio track with the words, counted from 1, and how many there are.
    std::size_t track = 1;
    std::size_t tracks = 1;

    bool operator==(const Transcription&) const = default;
};

/// Turns the file at `path` into words; see Transcriber::transcribe.
using Transcribe = std::function<std::expected<Transcription, TranscriptionError>(
    const std::string& path, const std::string& language, Cancellation& cancellation, const ReportProgress& progress)>;

/// Transcribes with up to `decoders` loaded models. Each call has one of them for itself, and further calls wait. Free
/// models help the running calls. Models are loaded on demand and kept for the next calls; see `freeIdle`. Thread-safe.
class Transcriber final {
public:
    /// Chooses the model for a language hint. Called on the callers' threads.
    using ChooseModel = std::function<SpeechModel(const std::string& language)>;

    /// How long an unused model is kept. Loading it again takes half a second, so this only has to cover the pauses
    /// within one conversation.
    static constexpr std::chrono::seconds keptIdle = std::chrono::minutes{2};

    /// Without `cache`, every call begins anew.
    Transcriber(ChooseModel chooseModel, std::size_t decoders, std::optional<RecognitionCache> cache = std::nullopt,
                posix::ThreadStarter startThread = posix::startBlockingThread,
                DecoderPool::Clock now = std::chrono::steady_clock::now);
    Transcriber(const Transcriber&) = delete;
    Transcriber& operator=(const Transcriber&) = delete;

    /// `language` is the caller's hint, possibly empty. Deliberate: a language that no model knows is ignored, so a
    /// caller may name the language of any recording. Only a text that cannot be a language is refused. `progress` is
    /// called on this thread with the fraction of the recording that is done. It rises and ends with 1. While the call
    /// waits for other calls, it rises very slowly, because clients expect that it rises.
    [[nodiscard]] std::expected<Transcription, TranscriptionError> transcribe(const std::string& path,
                                                                              const std::string& language,
                                                                              Cancellation& cancellation,
                                                                              const ReportProgress& progress);

    /// Frees the models that were not used for `keptIdle`. Returns whether there were any.
    bool freeIdle() { return decoders_.destroyIdle(keptIdle) > 0; }

private:
    /// The cache entry of the recording. Null without a cache, and if the recording is not to be stored.
    [[nodiscard]] std::unique_ptr<RecognitionCache::Recording> keptOf(const std::string& path,
                                                                      const SpeechModel& model) const;

    const ChooseModel chooseModel_;
    const std::optional<RecognitionCache> cache_;
    const posix::ThreadStarter startThread_;
    DecoderPool decoders_;
};

/// How many decoders a machine is given: one for each core. At most four, because each takes about 100 MB.
[[nodiscard]] std::size_t decodersForThisMachine();

} // namespace vostel_companion
