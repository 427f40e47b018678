#include "core/media/encode/LiveVideoEncoder.h"

#include <algorithm>
#include <cmath>

#include "core/media/MovieSentences.h"
#include "core/media/encode/LiveEncoderTrial.h"
#include "core/media/fragments/ParameterSets.h"

namespace glintro {
namespace {

bool isEncodable(const LiveVideoSettings& settings) {
    const auto [width, height] = settings.size;
    return width >= 2 && height >= 2 && width % 2 == 0 && height % 2 == 0 && settings.fps > 0
           && settings.bitRate > 0 && settings.keyFrameSpacing > 0;
}

ByteView descriptionOf(const AVCodecContext& encoder) {
    return {encoder.extradata, static_cast<std::size_t>(encoder.extradata_size)};
}

} // namespace

Result<std::unique_ptr<LiveVideoEncoder>> LiveVideoEncoder::create(const LiveVideoSettings& settings) {
    if (!isEncodable(settings)) return failure(kCannotStartMovie, "video settings out of range");
    prepareFFmpeg();
    auto ladder = fastEnough(liveLadder(settings), settings);
    const bool isLastOfHevc = settings.codec == VideoCodec::hevc && ladder.size() == 1;
    if (!isLastOfHevc || isWithinReach(ladder.front(), settings)) return create(settings, std::move(ladder));
    LiveVideoSettings cheaper = settings;
    cheaper.codec = VideoCodec::h264;
    return create(cheaper, fastEnough(liveLadder(cheaper), cheaper));
}

Result<std::unique_ptr<LiveVideoEncoder>> LiveVideoEncoder::create(const LiveVideoSettings& settings,
                                                                   std::vector<LiveEncoderRung> ladder) {
    if (!isEncodable(settings) || ladder.empty())
        return failure(kCannotStartMovie, "video settings out of range");
    std::unique_ptr<LiveVideoEncoder> encoder(new LiveVideoEncoder(settings, std::move(ladder)));
    if (auto described = encoder->describe(); !described) return std::unexpected(described.error());
    return encoder;
}

// Keeps the rungs that open and whose parameter sets have ids of their own, down to one that cannot be
// replaced. Hardware all uses the same id, so only the first card of a ladder is kept: with two of them in
// one description a decoder would read the pictures of one by the sets of the other.
Result<void> LiveVideoEncoder::describe() {
    std::vector<LiveEncoderRung> open;
    Bytes parameterSets;
    ParameterSetIds used;
    Failure last;
    for (const LiveEncoderRung& rung : ladder_) {
        auto encoder = openRung(rung, settings_);
        if (!encoder) {
            last = encoder.error();
            continue;
        }
        const ByteView description = descriptionOf(**encoder);
        const ParameterSetIds ids = rung.canBeReplaced() ? parameterSetIds(description) : ParameterSetIds{};
        if (!open.empty() && (ids.isEmpty() || !ids.areDisjoint(used))) continue;
        parameterSets.insert(parameterSets.end(), description.begin(), description.end());
        open.push_back(rung);
        if (!encoder_) encoder_ = std::move(*encoder);
        if (ids.isEmpty()) break;
        used.add(ids);
    }
    if (open.empty()) return std::unexpected(last);
    ladder_ = std::move(open);
    return copyDescription(parameterSets);
}

// The open encoder's, but for the parameter sets and for what only it needs to know of hardware.
Result<void> LiveVideoEncoder::copyDescription(std::span<const std::uint8_t> parameterSets) {
    const ParametersPtr parameters(avcodec_parameters_alloc());
    description_.reset(avcodec_alloc_context3(encoder_->codec));
    int code = avcodec_parameters_from_context(parameters.get(), encoder_.get());
    if (code >= 0) code = avcodec_parameters_to_context(description_.get(), parameters.get());
    if (code < 0) return ffmpegFailure(kCannotStartMovie, code);
    description_->pix_fmt = AV_PIX_FMT_YUV420P;
    description_->time_base = kLiveTimeBase;
    description_->framerate = encoder_->framerate;
    av_freep(&description_->extradata);
    description_->extradata =
        static_cast<std::uint8_t*>(av_mallocz(parameterSets.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (description_->extradata == nullptr) return failure(kCannotStartMovie, "out of memory");
    std::ranges::copy(parameterSets, description_->extradata);
    description_->extradata_size = static_cast<int>(parameterSets.size());
    return {};
}

bool LiveVideoEncoder::stepDown() {
    std::size_t rung = rung_;
    while (rung + 1 < ladder_.size()) {
        if (rung_.compare_exchange_weak(rung, rung + 1)) return true;
    }
    return false;
}

Result<void> LiveVideoEncoder::openWantedRung() {
    const std::size_t wanted = rung_;
    if (encoder_ && openRung_ == wanted) return {};
    auto encoder = openRung(ladder_[wanted], settings_);
    if (!encoder) return std::unexpected(encoder.error());
    encoder_ = std::move(*encoder);
    openRung_ = wanted;
    lastKeyTime_.reset();
    return {};
}

bool LiveVideoEncoder::needsKeyFrame(std::int64_t time) const {
    if (!lastKeyTime_) return true;
    const double frame = 1.0 / settings_.fps;
    // A picture may be late: the next one would be too far from the last key frame.
    return static_cast<double>(time - *lastKeyTime_) / kLiveTimeBase.den
           > settings_.keyFrameSpacing - 1.5 * frame;
}

Result<void> LiveVideoEncoder::encodeOnce(const Picture& picture, std::int64_t time, const PacketSink& sink) {
    if (auto open = openWantedRung(); !open) return open;
    auto frame = frameFor(*encoder_, picture);
    if (!frame) return std::unexpected(frame.error());
    (*frame)->pts = time;
    const bool keyFrame = needsKeyFrame(time);
    (*frame)->pict_type = keyFrame ? AV_PICTURE_TYPE_I : AV_PICTURE_TYPE_NONE;
    bool given = false;
    const auto passOn = [&](AVPacket& packet) -> Result<void> {
        given = true;
        if ((packet.flags & AV_PKT_FLAG_KEY) != 0) lastKeyTime_ = packet.pts;
        packet.duration = kLiveTimeBase.den / settings_.fps;
        return sink(packet);
    };
    if (auto pumped = pumpEncoder(*encoder_, frame->get(), passOn); !pumped) return pumped;
    return given ? Result<void>{} : failure(kCannotEncodeMovie, "the encoder holds pictures back");
}

Result<void> LiveVideoEncoder::encode(const Picture& picture, std::int64_t time, const PacketSink& sink) {
    const bool fits = picture.layout == PixelLayout::yuv420 && picture.size == settings_.size;
    if (!fits || (lastTime_ && time <= *lastTime_))
        return failure(kCannotEncodeMovie, "picture or time out of order");
    lastTime_ = time;
    bool written = false;
    Result<void> sunk;
    // A failure to store a packet is not the encoder's: another one would not help.
    const auto remember = [&](AVPacket& packet) {
        written = true;
        sunk = sink(packet);
        return sunk;
    };
    while (true) {
        auto encoded = encodeOnce(picture, time, remember);
        if (encoded || written) return encoded;
        if (!stepDown()) return encoded;
    }
}

} // namespace glintro
