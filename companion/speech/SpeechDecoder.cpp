#include "companion/speech/SpeechDecoder.h"

#include "companion/speech/ModelFiles.h"

#include <string_view>
#include <utility>

namespace vostel_companion {

namespace {

constexpr double framesPerSecond = 100;

/// Marks for silence, noise and the ends of an utterance: "<sil>", "[NOISE]", "++breath++".
bool isFiller(std::string_view word) { return word.empty() || word[0] == '<' || word[0] == '[' || word[0] == '+'; }

/// "read(2)" is a pronunciation of "read".
std::string_view withoutPronunciation(std::string_view word) {
    const std::size_t mark = word.find('(');
    return mark == 0 ? word : word.substr(0, mark);
}

} // namespace

std::string SpeechError::description() const {
    switch (is) {
    case Kind::modelUnusable:
        return "Vostel's speech recognition model is missing or damaged; please install it again.";
    case Kind::decodingFailed:
        return "Vostel's speech recognition could not process this audio.";
    case Kind::cancelled:
        return "The transcription was cancelled.";
    }
    return {};
}

std::expected<std::unique_ptr<SpeechDecoder>, SpeechError> SpeechDecoder::load(const std::string& modelFolder) {
    const auto files = ModelFiles::in(modelFolder);
    auto sphinx = files ? SphinxDecoder::load(*files) : nullptr;
    if (!sphinx) return std::unexpected(SpeechError{SpeechError::Kind::modelUnusable});
    return std::unique_ptr<SpeechDecoder>{new SpeechDecoder{std::move(sphinx)}};
}

SpeechDecoder::SpeechDecoder(std::unique_ptr<SphinxDecoder> sphinx) : sphinx_{std::move(sphinx)} {}

std::expected<std::vector<TranscriptSegment>, SpeechError>
SpeechDecoder::decode(const Utterance& utterance, const Cancellation& cancellation,
                      const std::function<void(double)>& consumed) {
    if (cancellation.isCancelled()) return std::unexpected(SpeechError{SpeechError::Kind::cancelled});
    const auto end = sphinx_->search(utterance.samples, [&](double fraction) {
        consumed(fraction);
        return !cancellation.isCancelled();
    });
    if (cancellation.isCancelled()) return std::unexpected(SpeechError{SpeechError::Kind::cancelled});
    if (end == SphinxDecoder::End::failed) return std::unexpected(SpeechError{SpeechError::Kind::decodingFailed});
    if (end == SphinxDecoder::End::tooShort) return {};
    return words(utterance.start);
}

std::vector<TranscriptSegment> SpeechDecoder::words(std::size_t start) const {
    using Seconds = std::chrono::duration<double>;
    const Seconds offset{static_cast<double>(start) / UtteranceSplitter::sampleRate};
    std::vector<TranscriptSegment> segments;
    for (const auto& word : sphinx_->words()) {
        if (isFiller(word.text)) continue;
        segments.push_back({std::string{withoutPronunciation(word.text)},
                            offset + Seconds{word.firstFrame / framesPerSecond},
                            offset + Seconds{(word.lastFrame + 1) / framesPerSecond}});
    }
    return segments;
}

} // namespace vostel_companion
