#include "platform/linux/camera/CameraPictures.h"

#include <array>

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace glintro {
namespace {

constexpr int kRowAlignment = 64;

// The formats named "yuvj" say the range by their name, which swscale takes for a mistake.
AVPixelFormat withoutRange(int format) {
    switch (format) {
        case AV_PIX_FMT_YUVJ420P:
            return AV_PIX_FMT_YUV420P;
        case AV_PIX_FMT_YUVJ422P:
            return AV_PIX_FMT_YUV422P;
        case AV_PIX_FMT_YUVJ444P:
            return AV_PIX_FMT_YUV444P;
        case AV_PIX_FMT_YUVJ440P:
            return AV_PIX_FMT_YUV440P;
        case AV_PIX_FMT_YUVJ411P:
            return AV_PIX_FMT_YUV411P;
        default:
            return static_cast<AVPixelFormat>(format);
    }
}

bool isFullRange(const AVFrame& picture) {
    return picture.color_range == AVCOL_RANGE_JPEG || withoutRange(picture.format) != picture.format;
}

// swscale numbers the matrices as streams do, but for what is not said.
int matrixOf(const AVFrame& picture) {
    const bool isSaid = picture.colorspace != AVCOL_SPC_UNSPECIFIED && picture.colorspace != AVCOL_SPC_RGB
                        && picture.colorspace != AVCOL_SPC_RESERVED;
    return isSaid ? picture.colorspace : SWS_CS_ITU601;
}

struct BufferDeleter {
    void operator()(AVBufferRef* buffer) const { av_buffer_unref(&buffer); }
};

} // namespace

bool CameraPictures::prepareScaler(const AVFrame& picture) {
    scaler_.reset(sws_getCachedContext(
        scaler_.release(), picture.width, picture.height, withoutRange(picture.format), picture.width,
        picture.height, AV_PIX_FMT_YUV420P, SWS_BILINEAR | SWS_ACCURATE_RND, nullptr, nullptr, nullptr));
    if (!scaler_) return false;
    constexpr int neutral = 1 << 16;
    return sws_setColorspaceDetails(scaler_.get(), sws_getCoefficients(matrixOf(picture)),
                                    isFullRange(picture) ? 1 : 0, sws_getCoefficients(SWS_CS_ITU709), 0, 0,
                                    neutral, neutral)
           >= 0;
}

void CameraPictures::preparePool(PixelSize size) {
    if (pool_ && size == poolSize_) return;
    const int bytes = av_image_get_buffer_size(AV_PIX_FMT_YUV420P, size.width, size.height, kRowAlignment);
    pool_.reset(bytes < 0 ? nullptr : av_buffer_pool_init(static_cast<std::size_t>(bytes), nullptr));
    poolSize_ = size;
}

std::optional<CameraFrame> CameraPictures::convert(const AVFrame& picture, Seconds hostTime) {
    const PixelSize size{picture.width, picture.height};
    if (!prepareScaler(picture)) return std::nullopt;
    preparePool(size);
    std::shared_ptr<AVBufferRef> buffer(pool_ ? av_buffer_pool_get(pool_.get()) : nullptr, BufferDeleter());
    if (!buffer) return std::nullopt;
    std::array<std::uint8_t*, 4> planes{};
    std::array<int, 4> strides{};
    av_image_fill_arrays(planes.data(), strides.data(), buffer->data, AV_PIX_FMT_YUV420P, size.width,
                         size.height, kRowAlignment);
    if (sws_scale(scaler_.get(), picture.data, picture.linesize, 0, size.height, planes.data(),
                  strides.data())
        < size.height) {
        return std::nullopt;
    }
    return CameraFrame{size,
                       {planes[0], planes[1], planes[2]},
                       {strides[0], strides[1], strides[2]},
                       hostTime,
                       std::move(buffer)};
}

} // namespace glintro
