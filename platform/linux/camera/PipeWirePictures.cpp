#include "platform/linux/camera/PipeWirePictures.h"

#include <algorithm>
#include <array>
#include <cstdint>

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}
#include <spa/param/param.h>
#include <spa/param/video/format.h>

namespace glintro {
namespace {

AVPixelFormat pixelFormat(spa_video_format format) {
    switch (format) {
        case SPA_VIDEO_FORMAT_I420:
            return AV_PIX_FMT_YUV420P;
        case SPA_VIDEO_FORMAT_NV12:
            return AV_PIX_FMT_NV12;
        case SPA_VIDEO_FORMAT_YUY2:
            return AV_PIX_FMT_YUYV422;
        case SPA_VIDEO_FORMAT_UYVY:
            return AV_PIX_FMT_UYVY422;
        case SPA_VIDEO_FORMAT_RGB:
            return AV_PIX_FMT_RGB24;
        case SPA_VIDEO_FORMAT_BGR:
            return AV_PIX_FMT_BGR24;
        case SPA_VIDEO_FORMAT_RGBx:
        case SPA_VIDEO_FORMAT_RGBA:
            return AV_PIX_FMT_RGB0;
        case SPA_VIDEO_FORMAT_BGRx:
        case SPA_VIDEO_FORMAT_BGRA:
            return AV_PIX_FMT_BGR0;
        default:
            return AV_PIX_FMT_NONE;
    }
}

AVColorSpace colorSpace(spa_video_color_matrix matrix) {
    if (matrix == SPA_VIDEO_COLOR_MATRIX_BT709) return AVCOL_SPC_BT709;
    if (matrix == SPA_VIDEO_COLOR_MATRIX_BT601) return AVCOL_SPC_SMPTE170M;
    return AVCOL_SPC_UNSPECIFIED;
}

AVColorRange colorRange(spa_video_color_range range) {
    return range == SPA_VIDEO_COLOR_RANGE_0_255 ? AVCOL_RANGE_JPEG : AVCOL_RANGE_UNSPECIFIED;
}

bool isMapped(const spa_data& data, std::size_t needed) {
    return data.data && needed > 0 && data.chunk->offset + needed <= data.maxsize;
}

} // namespace

const spa_pod* offeredCameraFormats(spa_pod_builder& builder) {
    const spa_rectangle best{1920, 1080}, least{1, 1};
    const spa_fraction usualRate{30, 1}, leastRate{0, 1}, mostRate{30, 1};
    return static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType,
        SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype, SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw),
        SPA_FORMAT_VIDEO_format,
        SPA_POD_CHOICE_ENUM_Id(11, SPA_VIDEO_FORMAT_I420, SPA_VIDEO_FORMAT_I420, SPA_VIDEO_FORMAT_NV12,
                               SPA_VIDEO_FORMAT_YUY2, SPA_VIDEO_FORMAT_UYVY, SPA_VIDEO_FORMAT_RGB,
                               SPA_VIDEO_FORMAT_BGR, SPA_VIDEO_FORMAT_RGBx, SPA_VIDEO_FORMAT_RGBA,
                               SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRA),
        SPA_FORMAT_VIDEO_size, SPA_POD_CHOICE_RANGE_Rectangle(&best, &least, &best),
        SPA_FORMAT_VIDEO_framerate, SPA_POD_CHOICE_RANGE_Fraction(&usualRate, &leastRate, &mostRate)));
}

bool viewPicture(AVFrame& picture, const spa_buffer& buffer, const spa_video_info_raw& format) {
    picture.format = pixelFormat(format.format);
    picture.width = static_cast<int>(format.size.width);
    picture.height = static_cast<int>(format.size.height);
    picture.colorspace = colorSpace(format.color_matrix);
    picture.color_range = colorRange(format.color_range);
    const auto pixels = static_cast<AVPixelFormat>(picture.format);
    if (buffer.n_datas == 0 || av_image_fill_linesizes(picture.linesize, pixels, picture.width) < 0)
        return false;

    // Planes may come in one block each or one after the other; then the first one's stride tells the
    // others'.
    const int planes = av_pix_fmt_count_planes(pixels);
    const bool together = buffer.n_datas < static_cast<std::uint32_t>(planes);
    const int tight = picture.linesize[0];
    std::size_t offset = 0;
    for (int plane = 0; plane < planes; ++plane) {
        const spa_data& data = buffer.datas[together ? 0 : plane];
        if (!together) offset = 0;
        const int given = data.chunk->stride;
        if (given > 0) picture.linesize[plane] = together ? picture.linesize[plane] * given / tight : given;
        const int rows = plane == 0 ? picture.height : AV_CEIL_RSHIFT(picture.height, 1);
        const std::size_t bytes =
            static_cast<std::size_t>(rows) * static_cast<std::size_t>(picture.linesize[plane]);
        if (!isMapped(data, offset + bytes)) return false;
        picture.data[plane] = static_cast<std::uint8_t*>(data.data) + data.chunk->offset + offset;
        offset += bytes;
    }
    return true;
}

} // namespace glintro
