#include "companion/speech/SpeechDecoder.h"

#include "companion/speech/ModelFiles.h"

#include <algorithm>
#include <sphinxbase/cmn.h>
#include <sphinxbase/feat.h>
#include <string_view>
#include <tuple>
#include <utility>

namespace vostel_companion {

namespace {

constexpr double framesPerSecond = 100;
/// Frames searched between two reports: some 50 ms of work.
constexpr std::size_t reportStep = 20;

/// The features of a whole utterance, one row per frame.
class Features final {
public:
    Features(fe_t* frontEnd, std::span<const std::int16_t> samples)
        : width_{static_cast<std::size_t>(fe_get_output_size(frontEnd))} {
        const std::size_t capacity = samples.size() / UtteranceSplitter::frameSize + 2;
        values_.resize(capacity * width_);
        rows_.resize(capacity);
        for (std::size_t row = 0; row < capacity; ++row) rows_[row] = values_.data() + row * width_;

        std::ignore = fe_start_utt(frontEnd);
        const int16* next = samples.data();
        std::size_t left = samples.size();
        int32 count = static_cast<int32>(capacity - 1);
        if (fe_process_frames(frontEnd, &next, &left, rows_.data(), &count, nullptr) < 0) count = 0;
        int32 last = 0;
        std::ignore = fe_end_utt(frontEnd, rows_[static_cast<std::size_t>(count)], &last);
        rows_.resize(static_cast<std::size_t>(count + std::max(last, 0)));
    }
    Features(const Features&) = delete;
    Features& operator=(const Features&) = delete;

    [[nodiscard]] std::span<mfcc_t*> rows() { return rows_; }

private:
    std::size_t width_;
    std::vector<mfcc_t> values_;
    std::vector<mfcc_t*> rows_;
};

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
    silenceSphinx();
    const auto files = ModelFiles::in(modelFolder);
    if (!files) return std::unexpected(SpeechError{SpeechError::Kind::modelUnusable});

    // A single pass of the search: on the LibriVox sentences it is faster than three passes and makes fewer errors.
    SphinxOptions options{cmd_ln_init(nullptr, ps_args(), /*strict=*/TRUE, "-hmm", files->acoustic.c_str(), "-lm",
                                      files->language.c_str(), "-dict", files->dictionary.c_str(), "-fwdflat", "no",
                                      "-bestpath", "no", "-remove_silence", "no", "-maxhmmpf", "5000", nullptr)};
    ps_decoder_t* decoder = options ? ps_init(options.get()) : nullptr;
    if (decoder == nullptr) return std::unexpected(SpeechError{SpeechError::Kind::modelUnusable});
    return std::unique_ptr<SpeechDecoder>{new SpeechDecoder{std::move(options), decoder}};
}

SpeechDecoder::SpeechDecoder(SphinxOptions options, ps_decoder_t* decoder)
    : options_{std::move(options)}, decoder_{decoder} {
    // Deliberate: we normalise the whole utterance before the search. The library does that only if it searches the
    // whole utterance in one call, which could not be cancelled. In small steps it normalises by an estimate.
    ps_get_feat(decoder_)->cmn = CMN_NONE;
}

SpeechDecoder::~SpeechDecoder() { ps_free(decoder_); }

void SpeechDecoder::startRecording() { std::ignore = ps_start_stream(decoder_); }

std::expected<std::vector<TranscriptSegment>, SpeechError>
SpeechDecoder::decode(const Utterance& utterance, const Cancellation& cancellation,
                      const std::function<void(double)>& consumed) {
    Features features{ps_get_fe(decoder_), utterance.samples};
    const std::span<mfcc_t*> rows = features.rows();
    if (rows.empty()) return {};
    cmn(ps_get_feat(decoder_)->cmn_struct, rows.data(), /*varnorm=*/FALSE, static_cast<int32>(rows.size()));

    if (ps_start_utt(decoder_) < 0) return std::unexpected(SpeechError{SpeechError::Kind::decodingFailed});
    bool failed = false;
    for (std::size_t done = 0; done < rows.size() && !failed && !cancellation.isCancelled();) {
        // One frame at a time: the search uses earlier frames, which a longer step would overwrite in the library's
        // ring buffer.
        failed = ps_process_cep(decoder_, &rows[done], 1, FALSE, FALSE) < 0;
        ++done;
        if (done % reportStep == 0) consumed(static_cast<double>(done) / static_cast<double>(rows.size()));
    }
    failed = ps_end_utt(decoder_) < 0 || failed;
    if (cancellation.isCancelled()) return std::unexpected(SpeechError{SpeechError::Kind::cancelled});
    if (failed) return std::unexpected(SpeechError{SpeechError::Kind::decodingFailed});
    return words(utterance.start);
}

std::vector<TranscriptSegment> SpeechDecoder::words(std::size_t start) const {
    using Seconds = std::chrono::duration<double>;
    const Seconds offset{static_cast<double>(start) / UtteranceSplitter::sampleRate};
    std::vector<TranscriptSegment> segments;
    for (ps_seg_t* segment = ps_seg_iter(decoder_); segment != nullptr; segment = ps_seg_next(segment)) {
        const char* word = ps_seg_word(segment);
        if (word == nullptr || isFiller(word)) continue;
        int first = 0;
        int last = 0;
        ps_seg_frames(segment, &first, &last);
        segments.push_back({std::string{withoutPronunciation(word)}, offset + Seconds{first / framesPerSecond},
                            offset + Seconds{(last + 1) / framesPerSecond}});
    }
    return segments;
}

} // namespace vostel_companion
