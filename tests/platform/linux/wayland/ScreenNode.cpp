#include "tests/platform/linux/wayland/ScreenNode.h"

#include <array>
#include <cstring>
#include <mutex>
#include <stdexcept>

#include <spa/buffer/buffer.h>
#include <spa/param/param.h>
#include <spa/param/video/format.h>
#include <spa/param/video/raw.h>
#include <spa/pod/builder.h>

#include "tests/support/WaitUntil.h"

namespace glintro::test {
namespace {

constexpr int kRegions = 16;

const spa_pod* formatOf(spa_pod_builder& builder, PixelSize size, std::uint32_t format) {
    const spa_rectangle rectangle{static_cast<std::uint32_t>(size.width),
                                  static_cast<std::uint32_t>(size.height)};
    const spa_fraction variable{0, 1}, most{60, 1};
    return static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_Format, SPA_PARAM_EnumFormat, SPA_FORMAT_mediaType,
        SPA_POD_Id(SPA_MEDIA_TYPE_video), SPA_FORMAT_mediaSubtype, SPA_POD_Id(SPA_MEDIA_SUBTYPE_raw),
        SPA_FORMAT_VIDEO_format, SPA_POD_Id(format), SPA_FORMAT_VIDEO_size, SPA_POD_Rectangle(&rectangle),
        SPA_FORMAT_VIDEO_framerate, SPA_POD_Fraction(&variable), SPA_FORMAT_VIDEO_maxFramerate,
        SPA_POD_Fraction(&most)));
}

const spa_pod* metaOf(spa_pod_builder& builder, std::uint32_t type, std::size_t bytes) {
    return static_cast<const spa_pod*>(spa_pod_builder_add_object(
        &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type, SPA_POD_Id(type),
        SPA_PARAM_META_size, SPA_POD_Int(static_cast<int>(bytes))));
}

template <class T>
T* metaIn(const spa_buffer& buffer, std::uint32_t type) {
    return static_cast<T*>(spa_buffer_find_meta_data(&buffer, type, sizeof(T)));
}

} // namespace

const pw_stream_events ScreenNode::kEvents = [] {
    pw_stream_events events{};
    events.version = PW_VERSION_STREAM_EVENTS;
    events.param_changed = [](void* self, std::uint32_t id, const spa_pod* parameter) {
        if (id == SPA_PARAM_Format && parameter) static_cast<ScreenNode*>(self)->describeBuffers();
    };
    return events;
}();

ScreenNode::ScreenNode(PixelSize size, std::uint32_t format)
    : connection_(*PipeWireConnection::connect()), size_(size), format_(format) {
    const std::scoped_lock lock(*connection_);
    stream_.reset(pw_stream_new(connection_->core(), "screen",
                                pw_properties_new("media.class", "Video/Source", nullptr)));
    pw_stream_add_listener(stream_.get(), &hook_, &kEvents, this);
    std::array<std::uint8_t, 512> memory{};
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(memory.data(), static_cast<std::uint32_t>(memory.size()));
    const spa_pod* parameters[] = {formatOf(builder, size, format)};
    const auto flags = static_cast<pw_stream_flags>(PW_STREAM_FLAG_DRIVER | PW_STREAM_FLAG_MAP_BUFFERS);
    pw_stream_connect(stream_.get(), PW_DIRECTION_OUTPUT, PW_ID_ANY, flags, parameters, 1);
}

ScreenNode::~ScreenNode() {
    connection_->stop();
}

std::uint32_t ScreenNode::id() {
    std::uint32_t id = SPA_ID_INVALID;
    const auto isKnown = [&] {
        const std::scoped_lock lock(*connection_);
        id = pw_stream_get_node_id(stream_.get());
        return id != SPA_ID_INVALID;
    };
    if (!waitUntil(isKnown)) throw std::runtime_error("PipeWire takes no node");
    return id;
}

void ScreenNode::resize(PixelSize size) {
    const std::scoped_lock lock(*connection_);
    size_ = size;
    std::array<std::uint8_t, 512> memory{};
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(memory.data(), static_cast<std::uint32_t>(memory.size()));
    const spa_pod* parameters[] = {formatOf(builder, size, format_)};
    pw_stream_update_params(stream_.get(), parameters, 1);
}

void ScreenNode::describeBuffers() {
    std::array<std::uint8_t, 1024> memory{};
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(memory.data(), static_cast<std::uint32_t>(memory.size()));
    const spa_pod* parameters[] = {
        static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
            SPA_POD_CHOICE_RANGE_Int(4, 2, 8), SPA_PARAM_BUFFERS_blocks, SPA_POD_Int(1),
            SPA_PARAM_BUFFERS_size, SPA_POD_Int(size_.width * size_.height * 4), SPA_PARAM_BUFFERS_stride,
            SPA_POD_Int(size_.width * 4))),
        metaOf(builder, SPA_META_Header, sizeof(spa_meta_header)),
        metaOf(builder, SPA_META_VideoCrop, sizeof(spa_meta_region)),
        metaOf(builder, SPA_META_VideoTransform, sizeof(spa_meta_videotransform)),
        metaOf(builder, SPA_META_VideoDamage, kRegions * sizeof(spa_meta_region)),
        metaOf(builder, SPA_META_Cursor, sizeof(spa_meta_cursor) + sizeof(spa_meta_bitmap) + 64 * 64 * 4)};
    pw_stream_update_params(stream_.get(), parameters, 6);
}

void ScreenNode::send(std::uint8_t value, const std::function<void(const Sheet&)>& write) {
    if (!waitUntil([&] { return trySend(value, write); }))
        throw std::runtime_error("nobody takes the picture");
}

bool ScreenNode::trySend(std::uint8_t value, const std::function<void(const Sheet&)>& write) {
    const std::scoped_lock lock(*connection_);
    pw_buffer* taken = pw_stream_dequeue_buffer(stream_.get());
    if (!taken) return false;
    // A buffer from before a resize is of no use, and goes back empty.
    const bool fits = taken->buffer->datas[0].maxsize >= bytes();
    if (fits) fill(*taken->buffer, value, write);
    pw_stream_queue_buffer(stream_.get(), taken);
    pw_stream_trigger_process(stream_.get());
    return fits;
}

void ScreenNode::fill(spa_buffer& buffer, std::uint8_t value,
                      const std::function<void(const Sheet&)>& write) const {
    *buffer.datas[0].chunk = spa_chunk{0, bytes(), 0, SPA_CHUNK_FLAG_NONE}; // a stride of 0, as mutter's
    std::memset(buffer.datas[0].data, value, bytes());
    for (std::uint32_t i = 0; i < buffer.n_metas; ++i)
        std::memset(buffer.metas[i].data, 0, buffer.metas[i].size);
    if (!write) return;
    write({&buffer.datas[0], metaIn<spa_meta_header>(buffer, SPA_META_Header),
           metaIn<spa_meta_cursor>(buffer, SPA_META_Cursor), metaIn<spa_region>(buffer, SPA_META_VideoCrop),
           metaIn<spa_region>(buffer, SPA_META_VideoDamage),
           metaIn<spa_meta_videotransform>(buffer, SPA_META_VideoTransform)});
}

} // namespace glintro::test
