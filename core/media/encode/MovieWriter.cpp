#include "core/media/encode/MovieWriter.h"

#include <utility>

#include "core/media/FFmpegHandles.h"
#include "core/media/MovieSentences.h"
#include "core/media/OutputFailure.h"
#include "core/media/encode/AudioEncoder.h"
#include "core/media/encode/VideoEncoder.h"

namespace glintro {
namespace {

std::unexpected<Failure> writeFailure(int code, const char* fallback) {
    return outputFailure("movie", AVUNERROR(code), fallback);
}

Result<OutputPtr> openOutput(const std::filesystem::path& file, const AVIOInterruptCB& interruption) {
    AVFormatContext* context = nullptr;
    const char* format = file.extension() == ".mov" ? "mov" : "mp4";
    const std::string url = fileUrl(file);
    int code = avformat_alloc_output_context2(&context, nullptr, format, url.c_str());
    if (code < 0) return ffmpegFailure(kCannotStartMovie, code);
    OutputPtr output(context);
    output->interrupt_callback = interruption; // also of the file that moving the index opens
    code = avio_open2(&output->pb, url.c_str(), AVIO_FLAG_WRITE, &output->interrupt_callback, nullptr);
    if (code < 0) return writeFailure(code, kCannotStartMovie);
    return output;
}

Result<AVStream*> addStream(AVFormatContext& output, const AVCodecContext& encoder) {
    AVStream* stream = avformat_new_stream(&output, nullptr);
    if (stream == nullptr) return failure(kCannotStartMovie);
    const int code = avcodec_parameters_from_context(stream->codecpar, &encoder);
    if (code < 0) return ffmpegFailure(kCannotStartMovie, code);
    stream->time_base = encoder.time_base;
    stream->avg_frame_rate = encoder.framerate;
    return stream;
}

} // namespace

struct MovieWriter::Impl {
    // Asked before each packet, and by FFmpeg before each read and write of the file; may be empty. Outlives
    // `output`, which asks it when it is closed.
    std::function<bool()> isCancelled;
    OutputPtr output;
    std::unique_ptr<VideoEncoder> video;
    std::unique_ptr<AudioEncoder> audio;
    AVStream* videoStream = nullptr;
    AVStream* audioStream = nullptr;

    [[nodiscard]] Result<void> start(const std::filesystem::path& file,
                                     const VideoTrackSettings& videoSettings,
                                     const std::optional<AudioTrackSettings>& audioSettings);
    // Hands a packet to the container, which then owns its data.
    [[nodiscard]] Result<void> mux(AVPacket& packet, const AVCodecContext& encoder, const AVStream& stream);
    [[nodiscard]] Result<void> finish();
    bool mustStop() const { return isCancelled && isCancelled(); }
    AVIOInterruptCB interruption() {
        return {[](void* self) { return static_cast<Impl*>(self)->mustStop() ? 1 : 0; }, this};
    }
    PacketSink videoSink() {
        return [this](AVPacket& packet) { return mux(packet, video->context(), *videoStream); };
    }
    PacketSink audioSink() {
        return [this](AVPacket& packet) { return mux(packet, audio->context(), *audioStream); };
    }
};

Result<void> MovieWriter::Impl::start(const std::filesystem::path& file,
                                      const VideoTrackSettings& videoSettings,
                                      const std::optional<AudioTrackSettings>& audioSettings) {
    auto videoEncoder = VideoEncoder::create(videoSettings);
    if (!videoEncoder) return std::unexpected(videoEncoder.error());
    video = std::move(*videoEncoder);
    if (audioSettings) {
        auto audioEncoder = AudioEncoder::create(*audioSettings);
        if (!audioEncoder) return std::unexpected(audioEncoder.error());
        audio = std::move(*audioEncoder);
    }

    auto opened = openOutput(file, interruption());
    if (!opened) return std::unexpected(opened.error());
    output = std::move(*opened);
    auto stream = addStream(*output, video->context());
    if (!stream) return std::unexpected(stream.error());
    videoStream = *stream;
    if (audio) {
        stream = addStream(*output, audio->context());
        if (!stream) return std::unexpected(stream.error());
        audioStream = *stream;
    }

    AVDictionary* options = nullptr;
    av_dict_set(&options, "movflags", "+faststart", 0);
    const int code = avformat_write_header(output.get(), &options);
    av_dict_free(&options);
    if (code < 0) return writeFailure(code, kCannotStartMovie);
    return {};
}

Result<void> MovieWriter::Impl::finish() {
    if (auto flushed = video->flush(videoSink()); !flushed) return flushed;
    if (audio)
        if (auto flushed = audio->flush(audioSink()); !flushed) return flushed;
    // The trailer rewrites the file for the index in front; a full disk may show only when the last buffer
    // goes out.
    const int written = av_write_trailer(output.get());
    const int buffered = output->pb->error;
    const int closed = avio_closep(&output->pb);
    for (const int code : {written, buffered, closed})
        if (code < 0) return writeFailure(code, kCannotWriteMovie);
    return {};
}

Result<void> MovieWriter::Impl::mux(AVPacket& packet, const AVCodecContext& encoder, const AVStream& stream) {
    if (mustStop()) return std::unexpected(Failure::cancelled());
    packet.stream_index = stream.index;
    av_packet_rescale_ts(&packet, encoder.time_base, stream.time_base);
    const int code = av_interleaved_write_frame(output.get(), &packet);
    if (code < 0) return writeFailure(code, kCannotWriteMovie);
    return {};
}

MovieWriter::MovieWriter(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
MovieWriter::~MovieWriter() = default;

Result<std::unique_ptr<MovieWriter>> MovieWriter::create(const std::filesystem::path& file,
                                                         const VideoTrackSettings& video,
                                                         std::optional<AudioTrackSettings> audio) {
    prepareFFmpeg();
    auto impl = std::make_unique<Impl>();
    auto started = impl->start(file, video, audio);
    if (!started) return std::unexpected(started.error());
    return std::unique_ptr<MovieWriter>(new MovieWriter(std::move(impl)));
}

Result<void> MovieWriter::writeFrame(const Picture& picture, std::int64_t index) {
    return impl_->video->encode(picture, index, impl_->videoSink());
}

Result<void> MovieWriter::writeAudio(std::span<const float> samples) {
    if (!impl_->audio) return failure(kCannotWriteMovie, "the movie has no audio track");
    return impl_->audio->encode(samples, impl_->audioSink());
}

Result<void> MovieWriter::finish(const std::function<bool()>& isCancelled) {
    impl_->isCancelled = isCancelled;
    auto finished = impl_->finish();
    impl_->isCancelled = nullptr;
    if (!finished && isCancelled && isCancelled()) return std::unexpected(Failure::cancelled());
    return finished;
}

} // namespace glintro
