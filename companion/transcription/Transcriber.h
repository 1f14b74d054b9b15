// From a file's path to the words spoken in it.
#pragma once

#include "companion/audio/AudioError.h"
#include "companion/speech/SpeechDecoder.h"
#include "companion/speech/Transcript.h"
#include "companion/support/BoundedPool.h"
#include "companion/support/Cancellation.h"

#include <chrono>
#include <cstddef>
#include <expected>
#include <functional>
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

    bool operator==(const Transcription&) const = default;
};

/// Transcribes up to `jobs` files at a time, further ones wait their turn; one model each, loaded on demand and kept.
/// Thread-safe.
class Transcriber final {
public:
    Transcriber(std::string modelFolder, std::size_t jobs);
    Transcriber(const Transcriber&) = delete;
    Transcriber& operator=(const Transcriber&) = delete;

    /// `language` as the caller gave it, empty when not given. Deliberate: a language that the model does not know is a
    /// hint without effect, so that a caller may name the language of any recording; only what cannot be a language is
    /// refused. `progress` is called on this thread with the share of the recording that is done, never falling, and
    /// with 1 at the end.
    [[nodiscard]] std::expected<Transcription, TranscriptionError>
    transcribe(const std::string& path, const std::string& language, Cancellation& cancellation,
               const std::function<void(double)>& progress);

private:
    BoundedPool<SpeechDecoder, SpeechError> decoders_;
};

} // namespace vostel_companion
