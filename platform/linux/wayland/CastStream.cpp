#include "platform/linux/wayland/CastStream.h"

#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

#include <spa/buffer/meta.h>
#include <spa/param/video/format-utils.h>

#include "platform/linux/pipewire/BufferStamp.h"
#include "platform/linux/wayland/CastFormat.h"

namespace glintro {
namespace {

constexpr timespec kNudgeInterval{0, 300'000'000};

template <class T>
const T* metadata(const spa_buffer& buffer, std::uint32_t type) {
    return static_cast<const T*>(spa_buffer_find_meta_data(&buffer, type, sizeof(T)));
}

bool isCorrupted(const spa_buffer& buffer) {
    const auto* header = metadata<spa_meta_header>(buffer, SPA_META_Header);
    return header && (header->flags & SPA_META_HEADER_FLAG_CORRUPTED) != 0;
}

// The part of the buffer that holds the picture; all of it when the compositor does not say or is mistaken.
PixelRect cropOf(const spa_buffer& buffer, PixelSize whole) {
    const auto* crop = metadata<spa_meta_region>(buffer, SPA_META_VideoCrop);
    if (!crop || !spa_meta_region_is_valid(crop)) return {0, 0, whole.width, whole.height};
    const auto& region = crop->region;
    const int x = std::clamp(region.position.x, 0, whole.width),
              y = std::clamp(region.position.y, 0, whole.height);
    const auto least = [](std::uint32_t wanted, int most) {
        return static_cast<int>(std::min<std::int64_t>(wanted, most));
    };
    const PixelRect part{x, y, least(region.size.width, whole.width - x),
                         least(region.size.height, whole.height - y)};
    return part.width > 0 && part.height > 0 ? part : PixelRect{0, 0, whole.width, whole.height};
}

std::optional<std::vector<RowRange>> damageOf(const spa_buffer& buffer, const PixelRect& crop) {
    const spa_meta* meta = spa_buffer_find_meta(&buffer, SPA_META_VideoDamage);
    if (!meta) return std::nullopt;
    std::vector<RowRange> rows;
    const auto* region = static_cast<const spa_meta_region*>(meta->data);
    bool isTold = false;
    for (; spa_meta_check(region, meta) && spa_meta_region_is_valid(region); ++region) {
        isTold = true;
        const int begin = region->region.position.y - crop.y;
        const int end =
            begin + static_cast<int>(std::min<std::uint32_t>(region->region.size.height, 1 << 20));
        rows.push_back({std::clamp(begin, 0, crop.height), std::clamp(end, 0, crop.height)});
    }
    // Some compositors agree to tell of damage and then leave the list empty whatever changes.
    if (!isTold) return std::nullopt;
    return rows;
}

CastPicture turnedClockwise(CastPicture picture) {
    picture.pixels += (picture.size.height - 1) * picture.stride;
    picture.step = std::exchange(picture.stride, picture.step);
    picture.step = -picture.step;
    std::swap(picture.size.width, picture.size.height);
    return picture;
}

CastPicture mirrored(CastPicture picture) {
    picture.pixels += (picture.size.width - 1) * picture.step;
    picture.step = -picture.step;
    return picture;
}

// Compositors hand over a rotated screen as it lies in memory, and tell how it was transformed: perhaps
// mirrored, then rotated anticlockwise. Undoing it only changes where reading begins and the steps.
CastPicture upright(CastPicture picture, const spa_buffer& buffer) {
    const auto* turn = metadata<spa_meta_videotransform>(buffer, SPA_META_VideoTransform);
    if (!turn || turn->transform == SPA_META_TRANSFORMATION_None) return picture;
    const auto quarters = turn->transform % 4;
    for (std::uint32_t i = 0; i < quarters; ++i) picture = turnedClockwise(std::move(picture));
    if (turn->transform >= SPA_META_TRANSFORMATION_Flipped) picture = mirrored(std::move(picture));
    picture.damage.reset(); // it counts the buffer's rows
    return picture;
}

CastPicture::Order orderOf(spa_video_format format) {
    const bool redFirst = format == SPA_VIDEO_FORMAT_RGBx || format == SPA_VIDEO_FORMAT_RGBA;
    return redFirst ? CastPicture::Order::rgbx : CastPicture::Order::bgrx;
}

} // namespace

const pw_stream_events CastStream::kStreamEvents = [] {
    pw_stream_events events{};
    events.version = PW_VERSION_STREAM_EVENTS;
    events.state_changed = [](void* self, pw_stream_state, pw_stream_state state, const char* error) {
        if (state == PW_STREAM_STATE_ERROR || state == PW_STREAM_STATE_UNCONNECTED) {
            static_cast<CastStream*>(self)->end(error ? error : "unconnected");
        }
    };
    events.param_changed = [](void* self, std::uint32_t id, const spa_pod* parameter) {
        if (id == SPA_PARAM_Format && parameter) static_cast<CastStream*>(self)->formatChanged(parameter);
    };
    events.process = [](void* self) { static_cast<CastStream*>(self)->process(); };
    return events;
}();

const pw_registry_events CastStream::kRegistryEvents = [] {
    pw_registry_events events{};
    events.version = PW_VERSION_REGISTRY_EVENTS;
    events.global_remove = [](void* self, std::uint32_t id) {
        auto* stream = static_cast<CastStream*>(self);
        if (id == stream->node_) stream->end("node removed");
    };
    return events;
}();

Result<std::unique_ptr<CastStream>> CastStream::connect(PipeWireConnection& connection, std::uint32_t node,
                                                        CastHandlers handlers) {
    std::unique_ptr<CastStream> cast(new CastStream(connection, node, std::move(handlers)));
    connection.onLost([raw = cast.get()] { raw->end("daemon gone"); });
    cast->registry_.reset(pw_core_get_registry(connection.core(), PW_VERSION_REGISTRY, 0));
    pw_registry_add_listener(cast->registry_.get(), &cast->registryHook_, &kRegistryEvents, cast.get());
    cast->stream_.reset(pw_stream_new(connection.core(), "glintro-screen",
                                      pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY,
                                                        "Capture", PW_KEY_MEDIA_ROLE, "Screen", nullptr)));
    if (!cast->stream_)
        return failure("PipeWire gave no stream of the screen; try again.", "pw_stream_new", errno);
    pw_stream_add_listener(cast->stream_.get(), &cast->streamHook_, &kStreamEvents, cast.get());

    std::array<std::uint8_t, 1024> memory{};
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(memory.data(), static_cast<std::uint32_t>(memory.size()));
    const spa_pod* parameters[] = {offeredFormats(builder)};
    // NOLINTNEXTLINE(clang-analyzer-optin.core.EnumCastOutOfRange): flags are or-ed
    const auto flags = static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS
                                                    | PW_STREAM_FLAG_DONT_RECONNECT);
    const int code = pw_stream_connect(cast->stream_.get(), PW_DIRECTION_INPUT, node, flags, parameters, 1);
    if (code < 0)
        return failure("PipeWire gave no stream of the screen; try again.", "pw_stream_connect", -code);
    cast->nudgeTimer_ = pw_loop_add_timer(
        connection.loop(), [](void* self, std::uint64_t) { static_cast<CastStream*>(self)->nudge(); },
        cast.get());
    timespec interval = kNudgeInterval;
    pw_loop_update_timer(connection.loop(), cast->nudgeTimer_, &interval, &interval, false);
    return cast;
}

CastStream::~CastStream() {
    if (nudgeTimer_) pw_loop_destroy_source(connection_.loop(), nudgeTimer_);
}

// Compositors send a still window once, when the stream starts. Mutter may do so before it has a buffer to
// send it in, and then sends nothing until the window changes. Starting again brings the picture.
void CastStream::nudge() {
    if (hasPicture_ || hasEnded_) {
        pw_loop_update_timer(connection_.loop(), nudgeTimer_, nullptr, nullptr, false);
        return;
    }
    const pw_stream_state state = pw_stream_get_state(stream_.get(), nullptr);
    if (state == PW_STREAM_STATE_STREAMING) pw_stream_set_active(stream_.get(), false);
    if (state == PW_STREAM_STATE_PAUSED) pw_stream_set_active(stream_.get(), true);
}

void CastStream::formatChanged(const spa_pod* parameter) {
    spa_video_info_raw format{};
    if (spa_format_video_raw_parse(parameter, &format) < 0) return;
    format_ = format;
    std::array<std::uint8_t, 1024> memory{};
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(memory.data(), static_cast<std::uint32_t>(memory.size()));
    auto wanted = wantedBuffers(builder);
    pw_stream_update_params(stream_.get(), wanted.data(), static_cast<std::uint32_t>(wanted.size()));
}

void CastStream::process() {
    while (pw_buffer* dequeued = pw_stream_dequeue_buffer(stream_.get())) {
        readBuffer(*dequeued->buffer);
        pw_stream_queue_buffer(stream_.get(), dequeued);
    }
}

void CastStream::readBuffer(const spa_buffer& buffer) {
    if (!format_ || buffer.n_datas == 0) return;
    const PixelSize whole{static_cast<int>(format_->size.width), static_cast<int>(format_->size.height)};
    const PixelRect crop = cropOf(buffer, whole);
    readPointer(buffer, {static_cast<double>(crop.x), static_cast<double>(crop.y)});

    const spa_data& data = buffer.datas[0];
    const bool hasPicture = data.data && data.chunk->size > 0
                            && !(data.chunk->flags & SPA_CHUNK_FLAG_CORRUPTED) && !isCorrupted(buffer);
    const std::int64_t rowBytes = std::int64_t{whole.width} * 4;
    const std::int64_t stride = data.chunk->stride > 0 ? data.chunk->stride : rowBytes;
    const std::int64_t needed = data.chunk->offset + stride * (whole.height - 1) + rowBytes;
    auto damage = damageOf(buffer, crop);
    if (!hasPicture || stride < rowBytes || needed > data.maxsize) {
        hasMissedDamage_ = hasMissedDamage_ || (damage && !damage->empty());
        return;
    }
    if (std::exchange(hasMissedDamage_, false)) damage.reset();
    const auto* first = static_cast<const std::uint8_t*>(data.data) + data.chunk->offset;
    hasPicture_ = true;
    handlers_.picture(upright({{crop.width, crop.height},
                               first + crop.y * stride + std::int64_t{crop.x} * 4,
                               static_cast<std::ptrdiff_t>(stride),
                               orderOf(format_->format),
                               stampOf(buffer),
                               std::move(damage)},
                              buffer));
}

void CastStream::readPointer(const spa_buffer& buffer, Point origin) {
    const auto* pointer = metadata<spa_meta_cursor>(buffer, SPA_META_Cursor);
    if (!pointer) return;
    if (!spa_meta_cursor_is_valid(pointer)) return handlers_.pointer(std::nullopt);
    handlers_.pointer(Point{pointer->position.x - origin.x, pointer->position.y - origin.y});
}

void CastStream::end(const char* detail) {
    if (std::exchange(hasEnded_, true)) return;
    handlers_.ended({"The desktop no longer sends pictures of what is recorded.", detail});
}

} // namespace glintro
