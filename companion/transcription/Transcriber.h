// Turns a file into the words spoken in it.
#pragma once

#include "companion/audio/AudioError.h"
#include "companion/speech/SpeechDecoder.h"
#include "companion/support/BoundedPool.h"
#include "companion/support/Cancellation.h"
#include "companion/support/Progress.h"
#include "companion/transcript/Transcript.h"
#include "companion/transcription/RecognitionCache.h"
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

/// Turns the file at `path` into words; see Transcriber::transcribe.
using Transcribe = std::function<std::expected<Transcription, TranscriptionError>(
    const std::string& path, const std::string& language, Cancellation& cancellation, const ReportProgress& progress)>;

/// Transcribes up to `jobs` files at a time; further calls wait. Each job has one model, which is loaded on demand and
/// kept until the job needs another one. Thread-safe.
class Transcriber final {
public:
    /// Chooses the model for a language hint. Called on the callers' threads.
    using ChooseModel = std::function<SpeechModel(const std::string& language)>;

    /// Without `cache`, every call begins anew.
    Transcriber(ChooseModel chooseModel, std::size_t jobs, std::optional<RecognitionCache> cache = std::nullopt);
    Transcriber(const Transcriber&) = delete;
    Transcriber& operator=(const Transcriber&) = delete;

    /// `language` is the caller's hint, possibly empty. Deliberate: a language that no model knows is a hint without
    /// effect, so a caller may name the language of any recording. Only what cannot be a language is refused.
    /// `progress` is called on this thread with the fraction of the recording that is done. It rises and ends with 1.
    /// While the call waits for other files, it rises by too little to be seen, because clients expect that it rises.
    [[nodiscard]] std::expected<Transcription, TranscriptionError> transcribe(const std::string& path,
                                                                              const std::string& language,
                                                                              Cancellation& cancellation,
                                                                              const ReportProgress& progress);

private:
    /// Identifies the folder at a path. A model that is installed again is in another folder.
    struct Folder {
        std::string path;
        dev_t device = 0;
        ino_t number = 0;
        /// When it last changed, because the system reuses numbers.
        std::time_t changed = 0;
        bool operator==(const Folder&) const = default;
    };
    /// Holds one loaded model.
    struct Slot {
        Folder folder;
        std::unique_ptr<SpeechDecoder> decoder;
    };

    /// What is kept of the recording, if anything may be.
    [[nodiscard]] std::unique_ptr<RecognitionCache::Recording> keptOf(const std::string& path,
                                                                      const SpeechModel& model) const;
    [[nodiscard]] static Folder folderAt(const std::string& path);

    /// Loads the model of the folder at `path`, unless the slot holds it already.
    [[nodiscard]] static std::expected<void, SpeechError> load(Slot& slot, const std::string& path);

    const ChooseModel chooseModel_;
    const std::optional<RecognitionCache> cache_;
    BoundedPool<Slot, SpeechError> slots_;
};

} // namespace vostel_companion
