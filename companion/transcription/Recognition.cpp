#include "companion/transcription/Recognition.h"

#include "companion/support/Wording.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iterator>
#include <memory>
#include <utility>

namespace vostel_companion {

namespace {

/// The step between two reports.
constexpr double smallestStep = 0.001;
static_assert(mostWhileWaiting < smallestStep);

constexpr std::size_t waitingForEachDecoder = 4;

/// "Transcribing 12:30 of 58:10".
std::string positionText(Seconds position, const std::optional<Seconds>& whole) {
    std::string text = "Transcribing " + clockText(std::chrono::floor<std::chrono::seconds>(position));
    if (whole) text += " of " + clockText(std::chrono::round<std::chrono::seconds>(*whole));
    return text;
}

} // namespace

Recognition::Recognition(AudioSource& source, Decoders decoders, RecognitionCache::Recording* kept,
                         Cancellation& cancellation, const ReportProgress& progress)
    : source_{source}, decoders_{std::move(decoders)},
      mostWaiting_{decoders_.pool.limit() == 1 ? 1 : decoders_.pool.limit() * waitingForEachDecoder},
      progress_{progress}, kept_{kept}, cancelled_{cancellation, [this] { stop_.cancel(); }} {}

std::expected<Recognition::Recognised, Recognition::Error> Recognition::run() {
    std::expected<void, AudioError> reading;
    while (true) {
        reading = readAhead();
        if (!reading) break;
        Piece* const piece = take();
        if (piece != nullptr) {
            if (!recognise(*piece, decoders_.own, [this] { report(); })) break;
        } else if (isRead_ || hasFailed()) {
            break;
        }
    }
    if (!reading) stop_.cancel();
    waitForHelpers();
    if (!reading) return std::unexpected(Error{reading.error()});
    if (failure_) return std::unexpected(Error{*failure_});

    Recognised done{{}, read_};
    for (Piece& piece : pieces_) std::ranges::move(piece.words, std::back_inserter(done.words));
    progress_({1.0, positionText(AudioSource::timeOf(read_), AudioSource::timeOf(read_))});
    return done;
}

std::expected<void, AudioError> Recognition::readAhead() {
    const auto isEnough = [this] {
        const std::lock_guard lock{mutex_};
        return waiting_ >= mostWaiting_ || failure_.has_value();
    };
    while (!isRead_ && !isEnough()) {
        const auto samples = source_.read();
        if (!samples) return std::unexpected(samples.error());
        isRead_ = samples->empty();
        read_ += samples->size();
        enqueue(isRead_ ? splitter_.finish() : splitter_.push(*samples));
        startHelpers();
        if (!isRead_) report();
    }
    startHelpers();
    return {};
}

void Recognition::enqueue(std::vector<Utterance> utterances) {
    const std::lock_guard lock{mutex_};
    for (Utterance& utterance : utterances) {
        const auto* const known = kept_ != nullptr ? kept_->find(utterance) : nullptr;
        Piece& piece = pieces_.emplace_back();
        if (known != nullptr) {
            piece.words = *known;
            piece.isTaken = true;
            continue;
        }
        piece.left = utterance.samples.size();
        piece.utterance = std::move(utterance);
        left_ += piece.left;
        ++waiting_;
    }
}

/// Starts helpers while at least two utterances wait. The calling thread takes one of them itself.
void Recognition::startHelpers() {
    while (true) {
        {
            const std::lock_guard lock{mutex_};
            if (waiting_ < 2 || failure_) return;
        }
        auto lease = decoders_.pool.tryBorrow();
        if (!lease || !*lease) return;
        {
            const std::lock_guard lock{mutex_};
            ++helpers_;
        }
        // Shared, because the function of a thread must be copyable.
        const auto shared = std::make_shared<std::optional<DecoderPool::Lease>>(*std::move(lease));
        const auto started = decoders_.startThread({"com.vostel.vostel.recogniser", "recogniser"}, [this, shared] {
            help(**shared);
            shared->reset();
            const std::lock_guard lock{mutex_};
            --helpers_;
            changed_.notify_all();
        });
        if (started) continue;
        // No thread could be started. The other threads do the work.
        const std::lock_guard lock{mutex_};
        --helpers_;
        return;
    }
}

void Recognition::help(DecoderPool::Lease& lease) {
    const auto decoder = lease->decoder(decoders_.model);
    // The calling thread has loaded the same model, so the memory was not enough for another one. The other threads do
    // the work.
    if (!decoder) return;
    while (!decoders_.pool.isWanted()) {
        Piece* const piece = take();
        if (piece == nullptr || !recognise(*piece, **decoder, [] {})) return;
    }
}

Recognition::Piece* Recognition::take() {
    const std::lock_guard lock{mutex_};
    if (failure_) return nullptr;
    while (next_ < pieces_.size() && pieces_[next_].isTaken) ++next_;
    if (next_ == pieces_.size()) return nullptr;
    Piece& piece = pieces_[next_++];
    piece.isTaken = true;
    --waiting_;
    return &piece;
}

bool Recognition::recognise(Piece& piece, SpeechDecoder& decoder, const std::function<void()>& advanced) {
    const std::size_t size = piece.utterance.samples.size();
    auto words = decoder.decode(piece.utterance, stop_, [&](double fraction) {
        setLeft(piece, size - std::min(size, static_cast<std::size_t>(fraction * static_cast<double>(size))));
        advanced();
    });
    if (!words) {
        {
            const std::lock_guard lock{mutex_};
            if (!failure_) failure_ = words.error();
        }
        stop_.cancel();
        return false;
    }
    {
        const std::lock_guard lock{mutex_};
        if (kept_ != nullptr) kept_->add(piece.utterance, *words);
        piece.words = *std::move(words);
        piece.utterance = {};
    }
    setLeft(piece, 0);
    return true;
}

void Recognition::setLeft(Piece& piece, std::size_t left) {
    const std::lock_guard lock{mutex_};
    left_ -= piece.left - left;
    piece.left = left;
    changed_.notify_all();
}

bool Recognition::hasFailed() {
    const std::lock_guard lock{mutex_};
    return failure_.has_value();
}

void Recognition::waitForHelpers() {
    std::unique_lock lock{mutex_};
    while (helpers_ > 0) {
        changed_.wait(lock);
        if (failure_ || stop_.isCancelled()) continue;
        lock.unlock();
        report();
        lock.lock();
    }
}

/// Reading is ahead of recognition. So the progress is the fraction of the file that was read, times the fraction of
/// the read part that was recognised.
void Recognition::report() {
    std::size_t left = 0;
    {
        const std::lock_guard lock{mutex_};
        left = left_;
    }
    const std::size_t position = splitter_.position() - left;
    const double exact = source_.consumed() * static_cast<double>(position) / static_cast<double>(read_);
    const double fraction = std::floor(exact / smallestStep) * smallestStep; // more digits are of no use
    if (fraction <= reported_) return;
    reported_ = fraction;
    progress_({fraction, positionText(AudioSource::timeOf(position), source_.duration())});
}

} // namespace vostel_companion
