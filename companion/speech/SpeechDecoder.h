// The recogniser: turns an utterance into words with their times.
#pragma once

#include "companion/speech/Sphinx.h"
#include "companion/speech/UtteranceSplitter.h"
#include "companion/support/Cancellation.h"
#include "companion/transcript/Transcript.h"

#include <expected>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vostel_companion {

struct SpeechError {
    enum class Kind {
        /// The model's files are missing or broken.
        modelUnusable,
        /// The recogniser could not process the sound.
        decodingFailed,
        cancelled,
    };
    Kind is;

    /// One sentence for the user.
    [[nodiscard]] std::string description() const;

    bool operator==(const SpeechError&) const = default;
};

/// A loaded model. It takes about 100 MB and half a second to load, so it is kept for reuse. For one thread at a time;
/// several decoders may work in parallel.
class SpeechDecoder final {
public:
    /// `modelFolder` holds the parts of one model; see ModelFiles.
    [[nodiscard]] static std::expected<std::unique_ptr<SpeechDecoder>, SpeechError>
    load(const std::string& modelFolder);
    SpeechDecoder(const SpeechDecoder&) = delete;
    SpeechDecoder& operator=(const SpeechDecoder&) = delete;

    /// The words of `utterance`, without marks for silence and noise. Times count from the beginning of the recording.
    /// They do not depend on what the decoder was given before, so several decoders can share a recording.
    /// `consumed` is called several times per second with the fraction of the utterance that is done. `cancellation` is
    /// checked as often.
    [[nodiscard]] std::expected<std::vector<TranscriptSegment>, SpeechError>
    decode(const Utterance& utterance, const Cancellation& cancellation, const std::function<void(double)>& consumed);

private:
    explicit SpeechDecoder(std::unique_ptr<SphinxDecoder> sphinx);
    [[nodiscard]] std::vector<TranscriptSegment> words(std::size_t start) const;

    const std::unique_ptr<SphinxDecoder> sphinx_;
};

} // namespace vostel_companion
