#include "platform/linux/camera/CameraPictures.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

#include "core/media/FFmpegColours.h"

extern "C" {
#include <libavutil/imgutils.h>
}

namespace glintro {
namespace {

constexpr int kRowAlignment = 64;

// swscale numbers the matrices as streams do, but for what is not said.
int matrixOf(const AVFrame& picture) {
    const bool isSaid = picture.colorspace != AVCOL_SPC_UNSPECIFIED && picture.colorspace != AVCOL_SPC_RGB
                        && picture.colorspace != AVCOL_SPC_RESERVED;
    return isSaid ? picture.colorspace : SWS_CS_ITU601;
}

// The largest part of the picture that has the shape of `canvas`.
PixelSize partOfShape(PixelSize picture, PixelSize canvas) {
    const std::int64_t byWidth = std::int64_t{picture.width} * canvas.height;
    const std::int64_t byHeight = std::int64_t{picture.height} * canvas.width;
    if (byWidth > byHeight) return {std::max(1, static_cast<int>(byHeight / canvas.height)), picture.height};
    return {picture.width, std::max(1, static_cast<int>(byWidth / canvas.width))};
}

} // namespace

// Makes `cropped_` show the middle of the picture, as much as has the shape of all frames.
bool CameraPictures::crop(const AVFrame& picture) {
    if (!cropped_) return false;
    std::ranges::copy(picture.data, cropped_->data);
    std::ranges::copy(picture.linesize, cropped_->linesize);
    cropped_->format = picture.format;
    cropped_->width = picture.width;
    cropped_->height = picture.height;
    const PixelSize part = partOfShape({picture.width, picture.height}, size_);
    // Even offsets, where every pixel has a chroma sample of its own.
    const int left = (picture.width - part.width) / 4 * 2;
    const int top = (picture.height - part.height) / 4 * 2;
    cropped_->crop_left = static_cast<std::size_t>(left);
    cropped_->crop_top = static_cast<std::size_t>(top);
    cropped_->crop_right = static_cast<std::size_t>(picture.width - part.width - left);
    cropped_->crop_bottom = static_cast<std::size_t>(picture.height - part.height - top);
    return av_frame_apply_cropping(cropped_.get(), AV_FRAME_CROP_UNALIGNED) >= 0;
}

bool CameraPictures::prepareScaler(const AVFrame& picture) {
    scaler_.reset(sws_getCachedContext(
        scaler_.release(), cropped_->width, cropped_->height, plainFormat(picture.format), size_.width,
        size_.height, AV_PIX_FMT_YUV420P, SWS_BILINEAR | SWS_ACCURATE_RND, nullptr, nullptr, nullptr));
    if (!scaler_) return false;
    constexpr int kNeutral = 1 << 16;
    return sws_setColorspaceDetails(scaler_.get(), sws_getCoefficients(matrixOf(picture)),
                                    isFullRange(picture) ? 1 : 0, sws_getCoefficients(SWS_CS_ITU709), 0, 0,
                                    kNeutral, kNeutral)
           >= 0;
}

std::shared_ptr<AVBufferRef> CameraPictures::newBuffer() {
    if (!pool_) {
        const int bytes =
            av_image_get_buffer_size(AV_PIX_FMT_YUV420P, size_.width, size_.height, kRowAlignment);
        if (bytes < 0) return nullptr;
        pool_.reset(av_buffer_pool_init(static_cast<std::size_t>(bytes), nullptr));
    }
    return {pool_ ? av_buffer_pool_get(pool_.get()) : nullptr, FreeByAddress<av_buffer_unref>()};
}

std::optional<CameraFrame> CameraPictures::convert(const AVFrame& picture, Seconds hostTime) {
    if (size_ == PixelSize()) size_ = {picture.width, picture.height};
    if (!crop(picture) || !prepareScaler(picture)) return std::nullopt;
    std::shared_ptr<AVBufferRef> buffer = newBuffer();
    if (!buffer) return std::nullopt;
    std::array<std::uint8_t*, 4> planes{};
    std::array<int, 4> strides{};
    av_image_fill_arrays(planes.data(), strides.data(), buffer->data, AV_PIX_FMT_YUV420P, size_.width,
                         size_.height, kRowAlignment);
    if (sws_scale(scaler_.get(), cropped_->data, cropped_->linesize, 0, cropped_->height, planes.data(),
                  strides.data())
        < size_.height) {
        return std::nullopt;
    }
    return CameraFrame{size_,
                       {planes[0], planes[1], planes[2]},
                       {strides[0], strides[1], strides[2]},
                       hostTime,
                       std::move(buffer)};
}

} // namespace glintro
