#include "platform/linux/camera/AvCamera.h"

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <stop_token>

#include "core/media/FFmpegHandles.h"
#include "platform/HostClock.h"
#include "platform/linux/camera/CameraPictures.h"
#include "platform/linux/camera/V4l2Devices.h"

extern "C" {
#include <libavdevice/avdevice.h>
}

namespace glintro {
namespace {

constexpr Seconds kTimeout = 5;       // for a camera's next picture
constexpr Seconds kTrustedOffset = 1; // how far a camera's own time may be from ours
constexpr std::chrono::milliseconds kPollInterval{4};

// An open camera on its thread.
class Reader {
  public:
    Result<void> open(const AvCameraInput& input);
    // Reads until the stop, or until the pictures end: then why.
    std::optional<Failure> run(std::stop_token stop, const std::function<void(CameraFrame)>& seen);

  private:
    enum class Reading { picture, nothingYet, damaged, ended };

    bool isSilent() const { return hostTime() - lastPicture_ > kTimeout; }
    bool mustEnd() const { return stop_.stop_requested() || isSilent(); }
    Result<void> openInput(const AvCameraInput& input);
    Result<void> openDecoder();
    Reading read();
    void decode(const std::function<void(CameraFrame)>& seen);
    Seconds captureTime(const AVFrame& frame) const;
    void waitForData();
    Failure ended() const;

    std::string name_;
    InputPtr input_;
    CodecPtr decoder_;
    PacketPtr packet_ = newPacket();
    FramePtr frame_ = newFrame();
    CameraPictures pictures_;
    std::stop_token stop_;
    int stream_ = 0;
    int error_ = 0;
    Seconds arrival_ = 0;
    Seconds lastPicture_ = 0;
    std::mutex mutex_;
    std::condition_variable_any never_;
};

Result<void> Reader::open(const AvCameraInput& input) {
    av_log_set_level(AV_LOG_QUIET); // failures are told, not printed
    avdevice_register_all();
    name_ = input.name;
    lastPicture_ = hostTime();
    if (auto opened = openInput(input); !opened) return opened;
    return openDecoder();
}

Result<void> Reader::openInput(const AvCameraInput& input) {
    AVDictionary* options = nullptr;
    for (const auto& [key, value] : input.options) av_dict_set(&options, key.c_str(), value.c_str(), 0);
    AVFormatContext* context = avformat_alloc_context();
    if (context == nullptr) return std::unexpected(cameraFailure(name_, ENOMEM));
    context->flags |= AVFMT_FLAG_NONBLOCK;
    context->interrupt_callback = {
        [](void* self) { return static_cast<const Reader*>(self)->mustEnd() ? 1 : 0; }, this};
    const int opened = avformat_open_input(&context, input.url.c_str(),
                                           av_find_input_format(input.format.c_str()), &options);
    const DictionaryPtr unused(options);
    if (opened < 0) return std::unexpected(cameraFailure(name_, AVUNERROR(opened)));
    input_.reset(context);
    return {};
}

Result<void> Reader::openDecoder() {
    const AVCodec* codec = nullptr;
    stream_ = av_find_best_stream(input_.get(), AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0);
    if (stream_ < 0 || codec == nullptr) return std::unexpected(cameraFailure(name_, EINVAL));
    const AVStream* stream = input_->streams[stream_];
    decoder_.reset(avcodec_alloc_context3(codec));
    if (!decoder_ || !packet_ || !frame_) return std::unexpected(cameraFailure(name_, ENOMEM));
    avcodec_parameters_to_context(decoder_.get(), stream->codecpar);
    decoder_->pkt_timebase = stream->time_base;
    decoder_->thread_count = 1; // more would hold pictures back
    const int opened = avcodec_open2(decoder_.get(), codec, nullptr);
    if (opened < 0) return std::unexpected(cameraFailure(name_, AVUNERROR(opened)));
    return {};
}

std::optional<Failure> Reader::run(std::stop_token stop, const std::function<void(CameraFrame)>& seen) {
    stop_ = std::move(stop);
    lastPicture_ = hostTime();
    bool isOver = false;
    while (!isOver && !mustEnd()) {
        switch (read()) {
            case Reading::picture:
                decode(seen);
                break;
            case Reading::nothingYet:
                waitForData();
                break;
            case Reading::damaged:
                break;
            case Reading::ended:
                isOver = true;
        }
    }
    return stop_.stop_requested() ? std::nullopt : std::optional(ended());
}

// V4L2 hands over pictures that got damaged on their way as errors or without data; the data-less ones must
// not reach the decoder, for which they mean the end.
Reader::Reading Reader::read() {
    av_packet_unref(packet_.get());
    error_ = av_read_frame(input_.get(), packet_.get());
    arrival_ = hostTime();
    // An interrupted demuxer may still come up with a remainder, which must not pass for life.
    if (isSilent()) return Reading::ended;
    if (error_ == AVERROR(EAGAIN)) return Reading::nothingYet;
    if (error_ == AVERROR_INVALIDDATA) return Reading::damaged;
    if (error_ < 0) return Reading::ended;
    return packet_->size > 0 && packet_->stream_index == stream_ ? Reading::picture : Reading::damaged;
}

void Reader::decode(const std::function<void(CameraFrame)>& seen) {
    if (avcodec_send_packet(decoder_.get(), packet_.get()) < 0) return;
    while (avcodec_receive_frame(decoder_.get(), frame_.get()) == 0) {
        const bool isDamaged =
            (frame_->flags & AV_FRAME_FLAG_CORRUPT) != 0 || frame_->decode_error_flags != 0;
        auto picture = isDamaged ? std::nullopt : pictures_.convert(*frame_, captureTime(*frame_));
        if (!picture) continue;
        seen(std::move(*picture));
        lastPicture_ = hostTime();
    }
}

Seconds Reader::captureTime(const AVFrame& frame) const {
    if (frame.pts == AV_NOPTS_VALUE) return arrival_;
    const Seconds own = static_cast<Seconds>(frame.pts) * av_q2d(input_->streams[stream_]->time_base);
    return own <= arrival_ && arrival_ - own < kTrustedOffset ? own : arrival_;
}

void Reader::waitForData() {
    std::unique_lock lock(mutex_);
    never_.wait_for(lock, stop_, kPollInterval, [] { return false; });
}

Failure Reader::ended() const {
    if (isSilent()) return {"The camera “" + name_ + "” has stopped sending pictures; plug it in again."};
    return ffmpegFailure("The camera “" + name_ + "” was disconnected; what follows has no camera picture.",
                         error_)
        .error();
}

} // namespace

Result<void> AvCamera::start(std::function<void(CameraFrame)> seen, std::function<void(Failure)> lost) {
    stop();
    auto reader = std::make_unique<Reader>();
    if (auto opened = reader->open(input_); !opened) return opened;
    thread_ = std::jthread(
        [reader = std::move(reader), seen = std::move(seen), lost = std::move(lost)](std::stop_token stop) {
            auto failure = reader->run(std::move(stop), seen);
            if (failure) lost(std::move(*failure));
        });
    return {};
}

void AvCamera::stop() {
    thread_.request_stop();
    if (thread_.joinable()) thread_.join();
}

} // namespace glintro
