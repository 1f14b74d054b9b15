// Takes one recording through the splitter and the recogniser.
//
// Recognition takes nearly all the time, and utterances do not depend on each other. So every free decoder helps: the
// calling thread reads ahead, and each helper takes the next utterance. The words and their order do not depend on the
// number of decoders.
#pragma once

#include "companion/audio/AudioSource.h"
#include "companion/speech/Sphinx.h"
#include "companion/speech/UtteranceSplitter.h"
#include "companion/support/Cancellation.h"
#include "companion/support/Progress.h"
#include "companion/support/Time.h"
#include "companion/transcription/DecoderPool.h"
#include "companion/transcription/RecognitionCache.h"
#include "posix/BlockingThread.h"

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <expected>
#include <functional>
#include <mutex>
#include <optional>
#include <span>
#include <variant>
#include <vector>

namespace vostel_companion {

/// The work on one recording. Used once, on one thread; its helpers are threads of their own.
class Recognition final {
public:
    struct Decoders {
        /// For the calling thread, with the model loaded.
        SpeechDecoder& own;
        /// Lends the decoders of helpers. A helper gives its decoder back when another call waits for one.
        DecoderPool& pool;
        /// The folder of the model.
        std::string model;
        posix::ThreadStarter startThread;
    };
    /// The words, and the length in samples.
    struct Recognised {
        std::vector<TranscriptSegment> words;
        std::size_t samples = 0;
    };
    using Error = std::variant<AudioError, SpeechError>;

    /// `kept` has the words of earlier calls and stores new ones. It may be null.
    Recognition(AudioSource& source, Decoders decoders, RecognitionCache::Recording* kept, Cancellation& cancellation,
                const ReportProgress& progress);
    Recognition(const Recognition&) = delete;
    Recognition& operator=(const Recognition&) = delete;

    /// Reports progress on the calling thread.
    [[nodiscard]] std::expected<Recognised, Error> run();

private:
    struct Piece {
        Utterance utterance;
        /// How many of its samples are not recognised yet.
        std::size_t left = 0;
        bool isTaken = false;
        std::vector<TranscriptSegment> words;
    };

    [[nodiscard]] std::expected<void, AudioError> readAhead();
    void enqueue(std::vector<Utterance> utterances);
    void startHelpers();
    void help(DecoderPool::Lease& lease);
    /// The next utterance that nobody works on. Null without one.
    [[nodiscard]] Piece* take();
    /// False if the whole recognition must stop.
    [[nodiscard]] bool recognise(Piece& piece, SpeechDecoder& decoder, const std::function<void()>& advanced);
    void setLeft(Piece& piece, std::size_t left);
    [[nodiscard]] bool hasFailed();
    void waitForHelpers();
    void report();

    AudioSource& source_;
    const Decoders decoders_;
    /// The most utterances that wait. Enough to keep the helpers busy while the reading thread recognises, too. An
    /// utterance takes up to 0.5 MB.
    const std::size_t mostWaiting_;
    const ReportProgress& progress_;

    // Only for the calling thread.
    SphinxDetector detector_;
    UtteranceSplitter splitter_{[this](std::span<const std::int16_t> frame) { return detector_.isSpeech(frame); }};
    std::size_t read_ = 0;
    bool isRead_ = false;
    double reported_ = 0;

    std::mutex mutex_;
    std::condition_variable changed_;
    RecognitionCache::Recording* const kept_;
    /// In the order of the recording.
    std::deque<Piece> pieces_;
    /// All pieces before this one are taken.
    std::size_t next_ = 0;
    /// How many pieces are not taken.
    std::size_t waiting_ = 0;
    /// The sum over all pieces.
    std::size_t left_ = 0;
    std::size_t helpers_ = 0;
    std::optional<SpeechError> failure_;

    /// Stops all threads: after a cancellation, and when one of them has failed.
    Cancellation stop_;
    const Cancellation::Listener cancelled_;
};

} // namespace vostel_companion
