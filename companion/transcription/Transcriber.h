// From a file's path to the words spoken in it.
#pragma once

#include "companion/audio/AudioError.h"
#include "companion/speech/SpeechDecoder.h"
#include "companion/support/BoundedPool.h"
#include "companion/support/Cancellation.h"
#include "companion/transcript/Transcript.h"
#include "companion/transcription/SpeechModel.h"

#include <chrono>
#include <cstddef>
#include <ctime>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <sys/types.h>
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

    bool operator==(const Transcription&) const = default;
};

/// From the path of a file, and what the caller said about its language, to its words; see Transcriber::transcribe.
using Transcribe = std::function<std::expected<Transcription, TranscriptionError>(
    const std::string& path, const std::string& language, Cancellation& cancellation,
    const std::function<void(double)>& progress)>;

/// Transcribes up to `jobs` files at a time, further ones wait their turn; one model each, loaded on demand and kept
/// until another one is needed in its place. Thread-safe.
class Transcriber final {
public:
    /// Picks the model for what the caller said about the language; called on the callers' threads.
    using ChooseModel = std::function<SpeechModel(const std::string& language)>;

    Transcriber(ChooseModel chooseModel, std::size_t jobs);
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
    /// Which folder stands at a path: a model that is installed again stands in another one.
    struct Folder {
        std::string path;
        dev_t device = 0;
        ino_t number = 0;
        /// When it last changed, for numbers are given again.
        std::time_t changed = 0;
        bool operator==(const Folder&) const = default;
    };
    /// Room for one loaded model.
    struct Slot {
        Folder folder;
        std::unique_ptr<SpeechDecoder> decoder;
    };

    [[nodiscard]] static Folder folderAt(const std::string& path);

    /// Sees to it that the slot holds the model of the folder at `path`.
    [[nodiscard]] static std::expected<void, SpeechError> load(Slot& slot, const std::string& path);

    const ChooseModel chooseModel_;
    BoundedPool<Slot, SpeechError> slots_;
};

} // namespace vostel_companion
