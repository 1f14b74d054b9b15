#include "companion/speech/Sphinx.h"

#include "companion/speech/UtteranceSplitter.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <pocketsphinx.h>
#include <tuple>
#include <utility>
#if !VOSTEL_POCKETSPHINX_5
#include <sphinxbase/cmn.h>
#include <sphinxbase/err.h>
#include <sphinxbase/feat.h>
#endif

namespace vostel_companion {

namespace {

/// Frames that are searched between two reports: about 50 ms of work.
constexpr std::size_t reportStep = 20;

/// Stops the library from writing to standard error. Works once per process. Thread-safe.
void silenceSphinx() {
    [[maybe_unused]] static const bool quiet = (err_set_logfp(nullptr), err_set_callback(nullptr, nullptr), true);
}

#if VOSTEL_POCKETSPHINX_5
struct FreeOptions {
    void operator()(ps_config_t* options) const { ps_config_free(options); }
};
using Options = std::unique_ptr<ps_config_t, FreeOptions>;
#else
struct FreeOptions {
    void operator()(cmd_ln_t* options) const { cmd_ln_free_r(options); }
};
using Options = std::unique_ptr<cmd_ln_t, FreeOptions>;

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
#endif

} // namespace

struct SphinxDecoder::State {
    Options options;
    ps_decoder_t* decoder;
    /// For version 5: the mean by which it normalises before it has heard anything.
    std::string initialMean = {};
};

SphinxDecoder::SphinxDecoder(std::unique_ptr<State> state) : state_{std::move(state)} {}

SphinxDecoder::~SphinxDecoder() { ps_free(state_->decoder); }

void SphinxDecoder::forget() {
    std::ignore = ps_start_stream(state_->decoder);
#if VOSTEL_POCKETSPHINX_5
    std::ignore = ps_set_cmn(state_->decoder, state_->initialMean.c_str());
#endif
}

std::vector<SphinxDecoder::Word> SphinxDecoder::words() const {
    std::vector<Word> found;
    for (ps_seg_t* segment = ps_seg_iter(state_->decoder); segment != nullptr; segment = ps_seg_next(segment)) {
        const char* text = ps_seg_word(segment);
        if (text == nullptr) continue;
        Word& word = found.emplace_back(text, 0, 0);
        ps_seg_frames(segment, &word.firstFrame, &word.lastFrame);
    }
    return found;
}

#if VOSTEL_POCKETSPHINX_5

std::unique_ptr<SphinxDecoder> SphinxDecoder::load(const ModelFiles& files) {
    silenceSphinx();
    Options options{ps_config_init(nullptr)};
    ps_config_set_str(options.get(), "hmm", files.acoustic.c_str());
    ps_config_set_str(options.get(), "lm", files.language.c_str());
    ps_config_set_str(options.get(), "dict", files.dictionary.c_str());
    // One pass of the search: on the LibriVox sentences it is faster than three and makes fewer errors.
    ps_config_set_bool(options.get(), "fwdflat", 0);
    ps_config_set_bool(options.get(), "bestpath", 0);
    ps_config_set_int(options.get(), "maxhmmpf", 5000);
    ps_config_set_str(options.get(), "cmn", "live");
    ps_decoder_t* decoder = ps_init(options.get());
    if (decoder == nullptr) return nullptr;
    return std::unique_ptr<SphinxDecoder>{new SphinxDecoder{
        std::make_unique<State>(State{std::move(options), decoder, ps_get_cmn(decoder, /*update=*/0)})}};
}

SphinxDecoder::End SphinxDecoder::search(std::span<const std::int16_t> samples,
                                         const std::function<bool(double)>& shouldContinue) {
    // Deliberate: in small pieces, although the library then normalises by an estimate. A search of the whole utterance
    // at once could not be cancelled. This version gives no access to the features, so we cannot normalise them.
    if (samples.empty()) return End::tooShort;
    forget();
    if (ps_start_utt(state_->decoder) < 0) return End::failed;
    constexpr std::size_t step = reportStep * UtteranceSplitter::frameSize;
    bool failed = false;
    bool stopped = false;
    for (std::size_t done = 0; done < samples.size() && !failed && !stopped;) {
        const auto piece = samples.subspan(done, std::min(step, samples.size() - done));
        failed = ps_process_raw(state_->decoder, piece.data(), piece.size(), /*no_search=*/0, /*full_utt=*/0) < 0;
        done += piece.size();
        stopped = !shouldContinue(static_cast<double>(done) / static_cast<double>(samples.size()));
    }
    failed = ps_end_utt(state_->decoder) < 0 || failed;
    if (stopped) return End::stopped;
    return failed ? End::failed : End::finished;
}

/// The library classifies each frame alone. Here, speech begins and ends only after several equal frames in a row.
struct SphinxDetector::State {
    static constexpr int framesToBegin = 10;
    static constexpr int framesToEnd = 50;

    ps_vad_t* classifier;
    bool isSpeech = false;
    /// How many frames in a row differ from `isSpeech`.
    int opposite = 0;
};

SphinxDetector::SphinxDetector() : state_{std::make_unique<State>()} {
    silenceSphinx();
    state_->classifier = ps_vad_init(PS_VAD_LOOSE, UtteranceSplitter::sampleRate, /*frame_length=*/0.01);
    assert(state_->classifier != nullptr); // constant options
    assert(ps_vad_frame_size(state_->classifier) == UtteranceSplitter::frameSize);
}

SphinxDetector::~SphinxDetector() { ps_vad_free(state_->classifier); }

bool SphinxDetector::isSpeech(std::span<const std::int16_t> samples) {
    constexpr std::size_t frameSize = UtteranceSplitter::frameSize;
    for (; samples.size() >= frameSize; samples = samples.subspan(frameSize)) {
        const bool classified = ps_vad_classify(state_->classifier, samples.data()) == PS_VAD_SPEECH;
        state_->opposite = classified == state_->isSpeech ? 0 : state_->opposite + 1;
        if (state_->opposite < (state_->isSpeech ? State::framesToEnd : State::framesToBegin)) continue;
        state_->isSpeech = classified;
        state_->opposite = 0;
    }
    return state_->isSpeech;
}

#else

std::unique_ptr<SphinxDecoder> SphinxDecoder::load(const ModelFiles& files) {
    silenceSphinx();
    // One pass of the search: on the LibriVox sentences it is faster than three and makes fewer errors.
    Options options{cmd_ln_init(nullptr, ps_args(), /*strict=*/TRUE, "-hmm", files.acoustic.c_str(), "-lm",
                                files.language.c_str(), "-dict", files.dictionary.c_str(), "-fwdflat", "no",
                                "-bestpath", "no", "-remove_silence", "no", "-maxhmmpf", "5000", nullptr)};
    ps_decoder_t* decoder = options ? ps_init(options.get()) : nullptr;
    if (decoder == nullptr) return nullptr;
    // Deliberate: `search` normalises the whole utterance before the search. The library does so only if it searches
    // the utterance at once, which could not be cancelled. In small pieces, it normalises by an estimate.
    ps_get_feat(decoder)->cmn = CMN_NONE;
    return std::unique_ptr<SphinxDecoder>{
        new SphinxDecoder{std::make_unique<State>(State{std::move(options), decoder})}};
}

SphinxDecoder::End SphinxDecoder::search(std::span<const std::int16_t> samples,
                                         const std::function<bool(double)>& shouldContinue) {
    forget();
    Features features{ps_get_fe(state_->decoder), samples};
    const std::span<mfcc_t*> rows = features.rows();
    if (rows.empty()) return End::tooShort;
    cmn(ps_get_feat(state_->decoder)->cmn_struct, rows.data(), /*varnorm=*/FALSE, static_cast<int32>(rows.size()));

    if (ps_start_utt(state_->decoder) < 0) return End::failed;
    bool failed = false;
    bool stopped = false;
    for (std::size_t done = 0; done < rows.size() && !failed && !stopped;) {
        // Frame by frame: the search looks back at earlier frames. A longer step would overwrite them in the library's
        // ring buffer.
        failed = ps_process_cep(state_->decoder, &rows[done], 1, FALSE, FALSE) < 0;
        ++done;
        if (done % reportStep == 0)
            stopped = !shouldContinue(static_cast<double>(done) / static_cast<double>(rows.size()));
    }
    failed = ps_end_utt(state_->decoder) < 0 || failed;
    if (stopped) return End::stopped;
    return failed ? End::failed : End::finished;
}

struct SphinxDetector::State {
    static constexpr std::size_t coefficients = 13;
    /// The library holds frames back while it is undecided and then returns several at once.
    static constexpr std::size_t rows = 64;

    Options options;
    fe_t* frontEnd;
    std::array<mfcc_t, rows * coefficients> features{};
};

SphinxDetector::SphinxDetector() : state_{std::make_unique<State>()} {
    silenceSphinx();
    state_->options.reset(cmd_ln_init(nullptr, fe_get_args(), /*strict=*/FALSE, "-remove_silence", "yes",
                                      "-remove_noise", "yes", nullptr));
    state_->frontEnd = fe_init_auto_r(state_->options.get());
    assert(state_->frontEnd != nullptr); // constant options
    fe_start_stream(state_->frontEnd);
    std::ignore = fe_start_utt(state_->frontEnd);
}

SphinxDetector::~SphinxDetector() { fe_free(state_->frontEnd); }

bool SphinxDetector::isSpeech(std::span<const std::int16_t> samples) {
    std::array<mfcc_t*, State::rows> pointers;
    for (std::size_t row = 0; row < State::rows; ++row)
        pointers[row] = state_->features.data() + row * State::coefficients;
    const int16* next = samples.data();
    std::size_t left = samples.size();
    while (left > 0) {
        int32 frames = static_cast<int32>(State::rows);
        const std::size_t before = left;
        if (fe_process_frames(state_->frontEnd, &next, &left, pointers.data(), &frames, nullptr) < 0) break;
        if (left == before) break;
    }
    return fe_get_vad_state(state_->frontEnd) != 0;
}

#endif

} // namespace vostel_companion
