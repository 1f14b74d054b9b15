#include "companion/audio/AudioSource.h"

#include "companion/audio/RegularFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <utility>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libavutil/log.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

namespace vostel_companion {

namespace {

using Seconds = std::chrono::duration<double>;

constexpr int ioBufferSize = 64 * 1024;
/// Below this rate a few bytes would become megabytes of samples. No recording of speech has such a low rate.
constexpr int lowestRate = 1000;
/// In samples. Frames of real codecs are much shorter.
constexpr std::int64_t longestFrame = 1 << 22;
/// A file with a longer run of undecodable sound counts as damaged.
constexpr Seconds damageLimit{2.0};
/// The assumed length of a packet that does not state its length.
constexpr Seconds usualPacket{0.02};
/// Smaller gaps come from rounding and from the delay of codecs.
constexpr Seconds smallestGap{0.1};
constexpr std::size_t silenceStep = 8192;

template <class T, void (*release)(T**)>
struct Releasing {
    void operator()(T* thing) const { release(&thing); }
};

struct FreeIO {
    void operator()(AVIOContext* io) const {
        av_freep(&io->buffer);
        avio_context_free(&io);
    }
};

using FormatPointer = std::unique_ptr<AVFormatContext, Releasing<AVFormatContext, avformat_close_input>>;
using CodecPointer = std::unique_ptr<AVCodecContext, Releasing<AVCodecContext, avcodec_free_context>>;
using PacketPointer = std::unique_ptr<AVPacket, Releasing<AVPacket, av_packet_free>>;
using FramePointer = std::unique_ptr<AVFrame, Releasing<AVFrame, av_frame_free>>;
using ResamplerPointer = std::unique_ptr<SwrContext, Releasing<SwrContext, swr_free>>;
using IOPointer = std::unique_ptr<AVIOContext, FreeIO>;

AudioError outOfMemory() { return {VostelMCPKit::PosixError{ENOMEM}}; }

int refuseToOpen(AVFormatContext*, AVIOContext**, const char*, int, AVDictionary**) { return AVERROR(EPERM); }

std::size_t samplesIn(Seconds time) { return static_cast<std::size_t>(time.count() * AudioSource::sampleRate); }

} // namespace

// The order of the members is the order in which FFmpeg's objects depend on each other.
class AudioSource::Decoder final {
public:
    Decoder(RegularFile file, const Cancellation& cancellation) : file_{std::move(file)}, cancellation_{cancellation} {}
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    std::expected<void, AudioError> open(std::optional<std::size_t> track) {
        if (auto opened = openContainer(); !opened) return opened;
        return openTrack(track);
    }

    [[nodiscard]] std::size_t trackCount() const { return tracks_.size(); }
    [[nodiscard]] std::size_t track() const {
        return static_cast<std::size_t>(std::ranges::find(tracks_, stream_->index) - tracks_.begin());
    }

    [[nodiscard]] std::optional<Seconds> duration() const {
        if (format_->duration == AV_NOPTS_VALUE || format_->duration <= 0) return std::nullopt;
        return Seconds{static_cast<double>(format_->duration) / AV_TIME_BASE};
    }

    [[nodiscard]] double consumed() const {
        const auto whole = duration();
        const double fraction = whole ? produced().count() / whole->count()
                                      : static_cast<double>(offset_) / static_cast<double>(file_.size());
        return std::clamp(fraction, 0.0, 1.0);
    }

    std::expected<std::span<const std::int16_t>, AudioError> read() {
        samples_.clear();
        while (samples_.empty() && !ended_) {
            if (cancellation_.isCancelled()) return std::unexpected(AudioError{AudioError::Cancelled{}});
            if (auto stepped = pendingSilence_ > 0 ? emitSilence()
                               : hasPendingFrame_  ? emitFrame()
                                                   : decodeStep();
                !stepped) {
                return std::unexpected(stepped.error());
            }
        }
        producedSamples_ += samples_.size();
        if (producedSamples_ > samplesIn(longest)) return std::unexpected(AudioError{AudioError::TooLong{longest}});
        return std::span<const std::int16_t>{samples_};
    }

private:
    using Step = std::expected<void, AudioError>;

    Step openContainer() {
        auto* buffer = static_cast<unsigned char*>(av_malloc(ioBufferSize));
        if (buffer == nullptr) return std::unexpected(outOfMemory());
        io_.reset(avio_alloc_context(buffer, ioBufferSize, /*write_flag=*/0, this, readFile, nullptr, seekFile));
        AVFormatContext* format = avformat_alloc_context();
        if (!io_ || format == nullptr) {
            if (!io_) av_free(buffer);
            avformat_free_context(format);
            return std::unexpected(outOfMemory());
        }
        format->pb = io_.get();
        format->interrupt_callback = {isInterrupted, this};
        // Deliberate: FFmpeg gets no file name and may open nothing else, so a playlist cannot lead to other files.
        format->io_open = refuseToOpen;
        std::ignore = av_opt_set(format, "protocol_whitelist", "none", 0);

        // Frees the context when it fails.
        if (avformat_open_input(&format, "", nullptr, nullptr) < 0) {
            return std::unexpected(failure(AudioError{AudioError::NotAudio{}}));
        }
        format_.reset(format);
        if (avformat_find_stream_info(format_.get(), nullptr) < 0) {
            return std::unexpected(failure(AudioError{AudioError::NotAudio{}}));
        }
        return {};
    }

    Step openTrack(std::optional<std::size_t> wanted) {
        for (unsigned i = 0; i < format_->nb_streams; ++i) {
            const AVCodecParameters& parameters = *format_->streams[i]->codecpar;
            if (parameters.codec_type != AVMEDIA_TYPE_AUDIO || avcodec_find_decoder(parameters.codec_id) == nullptr)
                continue;
            tracks_.push_back(static_cast<int>(i));
        }
        if (wanted && *wanted >= tracks_.size()) return std::unexpected(AudioError{AudioError::NoAudioTrack{}});
        const AVCodec* codec = nullptr;
        const int track =
            av_find_best_stream(format_.get(), AVMEDIA_TYPE_AUDIO, wanted ? tracks_[*wanted] : -1, -1, &codec, 0);
        if (track == AVERROR_DECODER_NOT_FOUND) return std::unexpected(AudioError{AudioError::NotAudio{}});
        if (track < 0 || codec == nullptr) return std::unexpected(AudioError{AudioError::NoAudioTrack{}});
        for (unsigned i = 0; i < format_->nb_streams; ++i) {
            if (static_cast<int>(i) != track) format_->streams[i]->discard = AVDISCARD_ALL;
        }
        stream_ = format_->streams[track];
        codec_.reset(avcodec_alloc_context3(codec));
        packet_.reset(av_packet_alloc());
        frame_.reset(av_frame_alloc());
        if (!codec_ || !packet_ || !frame_) return std::unexpected(outOfMemory());
        codec_->thread_count = 1;
        codec_->max_samples = longestFrame;
        codec_->pkt_timebase = stream_->time_base;
        if (avcodec_parameters_to_context(codec_.get(), stream_->codecpar) < 0 ||
            avcodec_open2(codec_.get(), codec, nullptr) < 0) {
            return std::unexpected(AudioError{AudioError::NotAudio{}});
        }

        const bool isEstimated = format_->duration_estimation_method == AVFMT_DURATION_FROM_BITRATE;
        if (const auto whole = duration(); whole && !isEstimated && *whole > longest) {
            return std::unexpected(AudioError{AudioError::TooLong{longest}});
        }
        return {};
    }

    /// Receives one frame from the decoder, or sends it one packet.
    Step decodeStep() {
        const int received = avcodec_receive_frame(codec_.get(), frame_.get());
        if (received == 0) {
            damage_ = Seconds::zero();
            addSilenceUpTo(*frame_);
            hasPendingFrame_ = true;
            return {};
        }
        if (received == AVERROR_EOF) return finish();
        if (received != AVERROR(EAGAIN)) return recordDamage(usualPacket);

        const int got = av_read_frame(format_.get(), packet_.get());
        if (got == AVERROR_EOF || (got < 0 && avio_feof(io_.get()) != 0 && systemError_ == 0)) {
            std::ignore = avcodec_send_packet(codec_.get(), nullptr);
            return {};
        }
        if (got < 0) return std::unexpected(failure(AudioError{AudioError::Damaged{produced()}}));
        Step sent;
        if (packet_->stream_index == stream_->index && avcodec_send_packet(codec_.get(), packet_.get()) < 0) {
            const Seconds stated{static_cast<double>(packet_->duration) * av_q2d(stream_->time_base)};
            sent = recordDamage(stated > Seconds::zero() ? stated : usualPacket);
        }
        av_packet_unref(packet_.get());
        return sent;
    }

    Step recordDamage(Seconds lost) {
        damage_ += lost;
        if (damage_ < damageLimit) return {};
        return std::unexpected(AudioError{AudioError::Damaged{produced()}});
    }

    /// Fills a gap before the frame with silence, so that times stay those of the file. A track that starts late and a
    /// lost packet leave such gaps.
    void addSilenceUpTo(const AVFrame& frame) {
        const auto whole = duration();
        if (frame.best_effort_timestamp == AV_NOPTS_VALUE || !whole) return;
        const Seconds origin{
            format_->start_time == AV_NOPTS_VALUE ? 0.0 : static_cast<double>(format_->start_time) / AV_TIME_BASE};
        const Seconds time =
            Seconds{static_cast<double>(frame.best_effort_timestamp) * av_q2d(stream_->time_base)} - origin;
        if (time > produced() + smallestGap && time <= *whole) pendingSilence_ = samplesIn(time) - producedSamples_;
    }

    Step emitSilence() {
        const std::size_t step = std::min(pendingSilence_, silenceStep);
        samples_.assign(step, 0);
        pendingSilence_ -= step;
        return {};
    }

    Step emitFrame() {
        hasPendingFrame_ = false;
        if (auto ready = prepareResampler(*frame_); !ready) return ready;
        return resample(const_cast<const std::uint8_t**>(frame_->extended_data), frame_->nb_samples);
    }

    /// Makes a resampler for the format of the frame. The format may change within a stream, as in radio recordings.
    Step prepareResampler(const AVFrame& frame) {
        if (resampler_ && frame.format == inputFormat_ && frame.sample_rate == inputRate_ &&
            frame.ch_layout.nb_channels == inputChannels_) {
            return {};
        }
        if (frame.sample_rate < lowestRate || frame.ch_layout.nb_channels < 1) {
            return std::unexpected(AudioError{AudioError::NotAudio{}});
        }
        inputFormat_ = frame.format;
        inputRate_ = frame.sample_rate;
        inputChannels_ = frame.ch_layout.nb_channels;

        AVChannelLayout from{};
        if (frame.ch_layout.order == AV_CHANNEL_ORDER_NATIVE) {
            std::ignore = av_channel_layout_copy(&from, &frame.ch_layout);
        } else {
            av_channel_layout_default(&from, inputChannels_);
        }
        AVChannelLayout mono{};
        av_channel_layout_default(&mono, 1);
        SwrContext* fresh = nullptr;
        int made = swr_alloc_set_opts2(&fresh, &mono, AV_SAMPLE_FMT_S16, sampleRate, &from,
                                       static_cast<AVSampleFormat>(inputFormat_), inputRate_, 0, nullptr);
        resampler_.reset(fresh);
        if (made == 0 && from.order != AV_CHANNEL_ORDER_NATIVE) {
            // The positions of the channels are unknown, so all get the same weight.
            const std::vector<double> weights(static_cast<std::size_t>(inputChannels_), 1.0 / inputChannels_);
            made = swr_set_matrix(fresh, weights.data(), inputChannels_);
        }
        av_channel_layout_uninit(&from);
        if (made < 0 || swr_init(fresh) < 0) return std::unexpected(AudioError{AudioError::NotAudio{}});
        return {};
    }

    /// Converts `count` samples of `input`. Without input, flushes the resampler.
    Step resample(const std::uint8_t** input, int count) {
        const int room = swr_get_out_samples(resampler_.get(), count);
        if (room < 0) return recordDamage(usualPacket);
        samples_.resize(static_cast<std::size_t>(room));
        auto* out = reinterpret_cast<std::uint8_t*>(samples_.data());
        const int converted = swr_convert(resampler_.get(), &out, room, input, count);
        samples_.resize(static_cast<std::size_t>(std::max(converted, 0)));
        if (converted < 0) return recordDamage(usualPacket);
        return {};
    }

    Step finish() {
        ended_ = true;
        if (producedSamples_ == 0 && damage_ > Seconds::zero()) {
            return std::unexpected(AudioError{AudioError::Damaged{Seconds::zero()}});
        }
        if (!resampler_) return {};
        return resample(nullptr, 0);
    }

    [[nodiscard]] Seconds produced() const {
        return Seconds{static_cast<double>(producedSamples_) / AudioSource::sampleRate};
    }

    /// The cause of an FFmpeg failure: the cancellation, an error of the system, or else `otherwise`. FFmpeg's own
    /// codes are misleading: for example, it reports a playlist as out of memory.
    [[nodiscard]] AudioError failure(AudioError otherwise) const {
        if (cancellation_.isCancelled()) return {AudioError::Cancelled{}};
        if (systemError_ != 0) return {VostelMCPKit::PosixError{systemError_}};
        return otherwise;
    }

    static int isInterrupted(void* self) {
        return static_cast<const Decoder*>(self)->cancellation_.isCancelled() ? 1 : 0;
    }

    static int readFile(void* opaque, std::uint8_t* buffer, int size) {
        auto& self = *static_cast<Decoder*>(opaque);
        if (self.cancellation_.isCancelled()) return AVERROR_EXIT;
        const auto count =
            self.file_.read(self.offset_, std::as_writable_bytes(std::span{buffer, static_cast<std::size_t>(size)}));
        if (!count) {
            self.systemError_ = count.error().errorNumber;
            return AVERROR(count.error().errorNumber);
        }
        if (*count == 0) return AVERROR_EOF;
        self.offset_ += static_cast<std::int64_t>(*count);
        return static_cast<int>(*count);
    }

    static std::int64_t seekFile(void* opaque, std::int64_t offset, int whence) {
        auto& self = *static_cast<Decoder*>(opaque);
        switch (whence & ~AVSEEK_FORCE) {
        case AVSEEK_SIZE:
            return self.file_.size();
        case SEEK_SET:
            break;
        case SEEK_CUR:
            offset += self.offset_;
            break;
        case SEEK_END:
            offset += self.file_.size();
            break;
        default:
            return AVERROR(EINVAL);
        }
        if (offset < 0) return AVERROR(EINVAL);
        return self.offset_ = offset;
    }

    RegularFile file_;
    const Cancellation& cancellation_;
    std::int64_t offset_ = 0;
    int systemError_ = 0;

    IOPointer io_;
    FormatPointer format_;
    /// The indices of the streams that can be decoded.
    std::vector<int> tracks_;
    AVStream* stream_ = nullptr;
    CodecPointer codec_;
    PacketPointer packet_;
    FramePointer frame_;
    ResamplerPointer resampler_;
    int inputFormat_ = -1;
    int inputRate_ = 0;
    int inputChannels_ = 0;

    bool hasPendingFrame_ = false;
    bool ended_ = false;
    std::size_t pendingSilence_ = 0;
    Seconds damage_ = Seconds::zero();
    std::vector<std::int16_t> samples_;
    std::size_t producedSamples_ = 0;
};

std::expected<AudioSource, AudioError> AudioSource::open(const std::string& path, const Cancellation& cancellation,
                                                         std::optional<std::size_t> track) {
    [[maybe_unused]] static const bool quiet = (av_log_set_level(AV_LOG_QUIET), true);
    auto file = RegularFile::open(path);
    if (!file) return std::unexpected(file.error());
    auto decoder = std::make_unique<Decoder>(*std::move(file), cancellation);
    if (auto opened = decoder->open(track); !opened) return std::unexpected(opened.error());
    return AudioSource{std::move(decoder)};
}

AudioSource::AudioSource(std::unique_ptr<Decoder> decoder) : decoder_{std::move(decoder)} {}
AudioSource::AudioSource(AudioSource&&) noexcept = default;
AudioSource::~AudioSource() = default;

std::size_t AudioSource::trackCount() const { return decoder_->trackCount(); }
std::size_t AudioSource::track() const { return decoder_->track(); }
std::optional<std::chrono::duration<double>> AudioSource::duration() const { return decoder_->duration(); }
std::expected<std::span<const std::int16_t>, AudioError> AudioSource::read() { return decoder_->read(); }
double AudioSource::consumed() const { return decoder_->consumed(); }

} // namespace vostel_companion
