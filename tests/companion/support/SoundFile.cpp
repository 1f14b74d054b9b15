#include "tests/companion/support/SoundFile.h"

#include "tests/support/Files.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <memory>
#include <numbers>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/log.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

namespace vostel_tests {

namespace {

constexpr int encodingRate = 48000;
constexpr int picturesPerSecond = 10;

void appendNumber(std::string& bytes, std::uint32_t number, int width) {
    for (int byte = 0; byte < width; ++byte) bytes += static_cast<char>(number >> (8 * byte) & 0xFF);
}

/// The objects of one encoding. If one cannot be made, `ready` is false.
class Encoding final {
public:
    Encoding(const std::filesystem::path& file, std::string_view encoder, bool video) {
        av_log_set_level(AV_LOG_QUIET);
        const AVCodec* codec = avcodec_find_encoder_by_name(std::string{encoder}.c_str());
        if (codec == nullptr) return;
        if (avformat_alloc_output_context2(&format_, nullptr, nullptr, file.c_str()) < 0) return;
        audio_ = avcodec_alloc_context3(codec);
        audio_->sample_rate = encodingRate;
        audio_->sample_fmt = codec->sample_fmts[0];
        audio_->bit_rate = 64000;
        audio_->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
        av_channel_layout_default(&audio_->ch_layout, 1);
        if (!addTrack(audio_)) return;
        if (video) {
            picture_ = avcodec_alloc_context3(avcodec_find_encoder(AV_CODEC_ID_MPEG4));
            picture_->width = picture_->height = 32;
            picture_->pix_fmt = AV_PIX_FMT_YUV420P;
            picture_->time_base = {1, picturesPerSecond};
            if (!addTrack(picture_)) return;
        }
        if (avio_open(&format_->pb, file.c_str(), AVIO_FLAG_WRITE) < 0) return;
        ready_ = avformat_write_header(format_, nullptr) >= 0;
    }
    ~Encoding() {
        avcodec_free_context(&audio_);
        avcodec_free_context(&picture_);
        if (format_ != nullptr) avio_closep(&format_->pb);
        avformat_free_context(format_);
    }
    Encoding(const Encoding&) = delete;
    Encoding& operator=(const Encoding&) = delete;

    [[nodiscard]] bool ready() const { return ready_; }

    void encodeAudio(const std::vector<std::int16_t>& samples, double lateBy) {
        SwrContext* convert = nullptr;
        swr_alloc_set_opts2(&convert, &audio_->ch_layout, audio_->sample_fmt, encodingRate, &audio_->ch_layout,
                            AV_SAMPLE_FMT_S16, encodingRate, 0, nullptr);
        swr_init(convert);
        const int step = audio_->frame_size > 0 ? audio_->frame_size : 1024;
        for (std::size_t at = 0; at < samples.size(); at += static_cast<std::size_t>(step)) {
            AVFrame* frame = av_frame_alloc();
            frame->nb_samples = std::min(step, static_cast<int>(samples.size() - at));
            frame->format = audio_->sample_fmt;
            frame->sample_rate = encodingRate;
            frame->pts = static_cast<std::int64_t>(at) + static_cast<std::int64_t>(lateBy * encodingRate);
            av_channel_layout_copy(&frame->ch_layout, &audio_->ch_layout);
            av_frame_get_buffer(frame, 0);
            const auto* input = reinterpret_cast<const std::uint8_t*>(samples.data() + at);
            swr_convert(convert, frame->extended_data, frame->nb_samples, &input, frame->nb_samples);
            encode(audio_, frame, 0);
            av_frame_free(&frame);
        }
        encode(audio_, nullptr, 0);
        swr_free(&convert);
    }

    void encodePictures(int count) {
        if (picture_ == nullptr) return;
        for (int i = 0; i < count; ++i) {
            AVFrame* frame = av_frame_alloc();
            frame->width = frame->height = 32;
            frame->format = AV_PIX_FMT_YUV420P;
            frame->pts = i;
            av_frame_get_buffer(frame, 0);
            for (int plane = 0; plane < 3; ++plane) {
                std::memset(frame->data[plane], 128,
                            static_cast<std::size_t>(frame->linesize[plane] * (plane == 0 ? 32 : 16)));
            }
            encode(picture_, frame, 1);
            av_frame_free(&frame);
        }
        encode(picture_, nullptr, 1);
    }

    void finish() { av_write_trailer(format_); }

private:
    bool addTrack(AVCodecContext* codec) {
        if ((format_->oformat->flags & AVFMT_GLOBALHEADER) != 0) codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        if (avcodec_open2(codec, nullptr, nullptr) < 0) return false;
        AVStream* stream = avformat_new_stream(format_, nullptr);
        stream->time_base = codec->time_base;
        return avcodec_parameters_from_context(stream->codecpar, codec) >= 0;
    }

    void encode(AVCodecContext* codec, const AVFrame* frame, int track) {
        AVPacket* packet = av_packet_alloc();
        avcodec_send_frame(codec, frame);
        while (avcodec_receive_packet(codec, packet) == 0) {
            packet->stream_index = track;
            av_packet_rescale_ts(packet, codec->time_base, format_->streams[track]->time_base);
            av_interleaved_write_frame(format_, packet);
        }
        av_packet_free(&packet);
    }

    AVFormatContext* format_ = nullptr;
    AVCodecContext* audio_ = nullptr;
    AVCodecContext* picture_ = nullptr;
    bool ready_ = false;
};

} // namespace

std::vector<std::int16_t> tone(double seconds, int sampleRate) {
    std::vector<std::int16_t> samples(static_cast<std::size_t>(seconds * sampleRate));
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double time = static_cast<double>(i) / sampleRate;
        const double swell = 0.5 + 0.5 * std::sin(2 * std::numbers::pi * 3 * time);
        samples[i] = static_cast<std::int16_t>(8000 * swell * std::sin(2 * std::numbers::pi * 440 * time));
    }
    return samples;
}

std::string wav(const std::vector<std::int16_t>& samples, int sampleRate, int channels) {
    const auto dataSize = static_cast<std::uint32_t>(samples.size() * sizeof(std::int16_t));
    const auto rate = static_cast<std::uint32_t>(sampleRate);
    const auto frame = static_cast<std::uint32_t>(channels) * 2;
    std::string bytes = "RIFF";
    appendNumber(bytes, 36 + dataSize, 4);
    bytes += "WAVEfmt ";
    appendNumber(bytes, 16, 4);
    appendNumber(bytes, 1, 2); // PCM
    appendNumber(bytes, static_cast<std::uint32_t>(channels), 2);
    appendNumber(bytes, rate, 4);
    appendNumber(bytes, rate * frame, 4);
    appendNumber(bytes, frame, 2);
    appendNumber(bytes, 16, 2);
    bytes += "data";
    appendNumber(bytes, dataSize, 4);
    // At once, because the recordings of some tests are long. Our processors store numbers as this format does.
    static_assert(std::endian::native == std::endian::little);
    return bytes.append(reinterpret_cast<const char*>(samples.data()), dataSize);
}

std::vector<std::int16_t> samplesOf(const std::filesystem::path& file) {
    constexpr std::size_t header = 44;
    const std::string bytes = readFile(file);
    std::vector<std::int16_t> samples(bytes.size() < header ? 0 : (bytes.size() - header) / 2);
    std::memcpy(samples.data(), bytes.data() + header, samples.size() * 2);
    return samples;
}

bool encodeTone(const std::filesystem::path& file, std::string_view encoder, double seconds, bool video,
                double lateBy) {
    Encoding encoding{file, encoder, video};
    if (!encoding.ready()) return false;
    encoding.encodeAudio(tone(seconds, encodingRate), lateBy);
    encoding.encodePictures(static_cast<int>((lateBy + seconds) * picturesPerSecond));
    encoding.finish();
    return true;
}

bool writeTracks(const std::filesystem::path& file, const std::vector<std::vector<std::int16_t>>& tracks) {
    constexpr int rate = 16'000;
    constexpr std::size_t step = 1600;
    AVFormatContext* format = nullptr;
    if (avformat_alloc_output_context2(&format, nullptr, "matroska", file.c_str()) < 0) return false;
    std::size_t longest = 0;
    for (const auto& samples : tracks) {
        AVCodecParameters* parameters = avformat_new_stream(format, nullptr)->codecpar;
        parameters->codec_type = AVMEDIA_TYPE_AUDIO;
        parameters->codec_id = AV_CODEC_ID_PCM_S16LE;
        parameters->sample_rate = rate;
        parameters->bits_per_coded_sample = 16;
        av_channel_layout_default(&parameters->ch_layout, 1);
        longest = std::max(longest, samples.size());
    }
    const bool isOpen =
        avio_open(&format->pb, file.c_str(), AVIO_FLAG_WRITE) >= 0 && avformat_write_header(format, nullptr) >= 0;
    AVPacket* packet = av_packet_alloc();
    for (std::size_t at = 0; isOpen && at < longest; at += step) {
        for (std::size_t track = 0; track < tracks.size(); ++track) {
            const auto& samples = tracks[track];
            if (at >= samples.size()) continue;
            const std::size_t count = std::min(step, samples.size() - at);
            av_new_packet(packet, static_cast<int>(count * 2));
            std::memcpy(packet->data, samples.data() + at, count * 2);
            packet->stream_index = static_cast<int>(track);
            packet->pts = packet->dts = static_cast<std::int64_t>(at);
            packet->duration = static_cast<std::int64_t>(count);
            av_packet_rescale_ts(packet, {1, rate}, format->streams[track]->time_base);
            av_interleaved_write_frame(format, packet);
        }
    }
    const bool isWritten = isOpen && av_write_trailer(format) >= 0;
    av_packet_free(&packet);
    avio_closep(&format->pb);
    avformat_free_context(format);
    return isWritten;
}

std::filesystem::path spoken(std::string_view number) {
    return std::filesystem::path{VOSTEL_SPEECH_DATA} /
           ("sense_and_sensibility_01_austen_64kb-" + std::string{number} + ".wav");
}

} // namespace vostel_tests
