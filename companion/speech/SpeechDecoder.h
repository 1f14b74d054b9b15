// The recogniser: one stretch of speech in, words with their times out.
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
        /// The recogniser gave up on the sound.
        decodingFailed,
        cancelled,
    };
    Kind is;

    /// One sentence for the user.
    [[nodiscard]] std::string description() const;

    bool operator==(const SpeechError&) const = default;
};

/// A loaded model, some 100 MB and half a second's work; kept for reuse. For one thread at a time, while several
/// decoders work side by side.
class SpeechDecoder final {
public:
    /// `modelFolder` holds the parts of one model; see ModelFiles.
    [[nodiscard]] static std::expected<std::unique_ptr<SpeechDecoder>, SpeechError>
    load(const std::string& modelFolder);
    SpeechDecoder(const SpeechDecoder&) = delete;
    SpeechDecoder& operator=(const SpeechDecoder&) = delete;
    ~SpeechDecoder();

    /// Begins another recording: what was learnt about the noise of the last one is forgotten.
    void startRecording();

    /// The words of `utterance`, without silence and noise marks, times counted from the beginning of the recording.
    /// `consumed` is called with the share of the utterance that is done, several times a second of work; there, too,
    /// `cancellation` is looked at.
    [[nodiscard]] std::expected<std::vector<TranscriptSegment>, SpeechError>
    decode(const Utterance& utterance, const Cancellation& cancellation, const std::function<void(double)>& consumed);

private:
    SpeechDecoder(SphinxOptions options, ps_decoder_t* decoder);
    [[nodiscard]] std::vector<TranscriptSegment> words(std::size_t start) const;

    SphinxOptions options_;
    ps_decoder_t* decoder_;
};

} // namespace vostel_companion
