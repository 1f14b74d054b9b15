#include "companion/speech/SpeechDetector.h"

#include <cassert>
#include <tuple>

namespace vostel_companion {

SpeechDetector::SpeechDetector() {
    silenceSphinx();
    options_.reset(cmd_ln_init(nullptr, fe_get_args(), /*strict=*/FALSE, "-remove_silence", "yes", "-remove_noise",
                               "yes", nullptr));
    frontEnd_ = fe_init_auto_r(options_.get());
    assert(frontEnd_ != nullptr); // constant options
    fe_start_stream(frontEnd_);
    std::ignore = fe_start_utt(frontEnd_);
}

SpeechDetector::~SpeechDetector() { fe_free(frontEnd_); }

bool SpeechDetector::isSpeech(std::span<const std::int16_t> samples) {
    std::array<mfcc_t*, rows> pointers;
    for (std::size_t row = 0; row < rows; ++row) pointers[row] = features_.data() + row * coefficients;
    const int16* next = samples.data();
    std::size_t left = samples.size();
    while (left > 0) {
        int32 frames = static_cast<int32>(rows);
        const std::size_t before = left;
        if (fe_process_frames(frontEnd_, &next, &left, pointers.data(), &frames, nullptr) < 0) break;
        if (left == before) break;
    }
    return fe_get_vad_state(frontEnd_) != 0;
}

} // namespace vostel_companion
