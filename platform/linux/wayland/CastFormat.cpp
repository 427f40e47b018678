#include "platform/linux/wayland/CastFormat.h"

#include <cstdint>

#include <spa/buffer/buffer.h>
#include <spa/buffer/meta.h>
#include <spa/param/param.h>
#include <spa/param/video/format.h>

namespace glintro {
namespace {

constexpr int kDamageRegions = 16;
// Pixels along a side. The pointer's image is not looked at, but some compositors insist on room for theirs.
constexpr int kUsualPointer = 64;
constexpr int kLargestPointer = 1024;

constexpr int pointerBytes(int side) {
    return static_cast<int>(sizeof(spa_meta_cursor) + sizeof(spa_meta_bitmap)) + side * side * 4;
}

const spa_pod* meta(spa_pod_builder& builder, std::uint32_t type, int usual, int least, int most) {
    return static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type, SPA_POD_Id(type),
        SPA_PARAM_META_size, SPA_POD_CHOICE_RANGE_Int(usual, least, most)));
}

template <class T>
const spa_pod* meta(spa_pod_builder& builder, std::uint32_t type) {
    return static_cast<const spa_pod*>(
        spa_pod_builder_add_object(&builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type,
                                   SPA_POD_Id(type), SPA_PARAM_META_size, SPA_POD_Int(sizeof(T))));
}

} // namespace

const spa_pod* offeredFormats(spa_pod_builder& builder) {
    const spa_rectangle usual{1920, 1080}, least{1, 1}, most{16384, 16384};
    const spa_fraction anyRate{0, 1}, usualRate{60, 1}, leastRate{0, 1}, mostRate{1000, 1};
    return static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType,
        SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype, SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw),
        SPA_FORMAT_VIDEO_format,
        SPA_POD_CHOICE_ENUM_Id(5, SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRx, SPA_VIDEO_FORMAT_BGRA,
                               SPA_VIDEO_FORMAT_RGBx, SPA_VIDEO_FORMAT_RGBA),
        SPA_FORMAT_VIDEO_size, SPA_POD_CHOICE_RANGE_Rectangle(&usual, &least, &most),
        SPA_FORMAT_VIDEO_framerate, SPA_POD_Fraction(&anyRate), SPA_FORMAT_VIDEO_maxFramerate,
        SPA_POD_CHOICE_RANGE_Fraction(&usualRate, &leastRate, &mostRate)));
}

std::vector<const spa_pod*> wantedBuffers(spa_pod_builder& builder) {
    const auto* buffers = static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
        SPA_POD_CHOICE_RANGE_Int(4, 2, 8), SPA_PARAM_BUFFERS_dataType,
        SPA_POD_CHOICE_FLAGS_Int((1 << SPA_DATA_MemFd) | (1 << SPA_DATA_MemPtr))));
    const int region = sizeof(spa_meta_region);
    return {buffers,
            meta<spa_meta_header>(builder, SPA_META_Header),
            meta<spa_meta_region>(builder, SPA_META_VideoCrop),
            meta<spa_meta_videotransform>(builder, SPA_META_VideoTransform),
            meta(builder, SPA_META_VideoDamage, kDamageRegions * region, region, kDamageRegions * region),
            meta(builder, SPA_META_Cursor, pointerBytes(kUsualPointer), pointerBytes(1),
                 pointerBytes(kLargestPointer))};
}

} // namespace glintro
