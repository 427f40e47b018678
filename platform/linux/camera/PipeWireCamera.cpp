#include "platform/linux/camera/PipeWireCamera.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <mutex>
#include <optional>
#include <utility>

#include <spa/buffer/meta.h>
#include <spa/param/param.h>
#include <spa/param/video/format-utils.h>

#include "platform/linux/camera/CameraPictures.h"
#include "platform/linux/camera/PipeWirePictures.h"
#include "platform/linux/camera/V4l2Devices.h"
#include "platform/linux/pipewire/BufferStamp.h"
#include "platform/linux/pipewire/PipeWireConnection.h"
#include "platform/linux/pipewire/PipeWireNodes.h"

namespace glintro {
namespace {

constexpr const char* kPrefix = "pipewire:"; // of identifiers; the node's name follows
constexpr timespec kPictureTimeout{5, 0};    // for a camera's next picture

std::vector<PipeWireNode> cameraNodes(PipeWireConnection& connection) {
    std::vector<PipeWireNode> nodes = nodesOfClass(connection, "Video/Source");
    std::erase_if(nodes,
                  [](const PipeWireNode& node) { return node.deviceApi == "v4l2" || node.name.empty(); });
    return nodes;
}

std::optional<PipeWireNode> cameraNode(PipeWireConnection& connection, const std::string& id) {
    const auto nodes = cameraNodes(connection);
    const auto node =
        std::ranges::find(nodes, id, [](const PipeWireNode& each) { return kPrefix + each.name; });
    return node == nodes.end() ? std::nullopt : std::optional(*node);
}

class PipeWireCamera final : public Camera {
  public:
    explicit PipeWireCamera(std::string id) : id_(std::move(id)) {}
    ~PipeWireCamera() override { stop(); }

    Result<void> start(std::function<void(CameraFrame)> seen, std::function<void(Failure)> lost) override;
    void stop() override;

  private:
    static const pw_stream_events kStreamEvents;
    static const pw_registry_events kRegistryEvents;

    Result<void> connectStream();
    void formatChanged(const spa_pod* parameter);
    void process();
    void waitForNext();
    void lose(int systemError);

    const std::string id_;
    PipeWireNode node_;
    std::unique_ptr<PipeWireConnection> connection_;
    // Under the connection's lock, or when its thread has ended.
    std::function<void(CameraFrame)> seen_;
    std::function<void(Failure)> lost_;
    std::optional<spa_video_info_raw> format_;
    CameraPictures pictures_;
    FramePtr view_ = newFrame();
    spa_source* timeout_ = nullptr;
    PipeWireRegistry registry_;
    std::optional<PipeWireHook> registryHook_;
    PipeWireStream stream_;
    std::optional<PipeWireHook> streamHook_;
};

const pw_stream_events PipeWireCamera::kStreamEvents = [] {
    pw_stream_events events{};
    events.version = PW_VERSION_STREAM_EVENTS;
    events.state_changed = [](void* self, pw_stream_state, pw_stream_state state, const char*) {
        if (state == PW_STREAM_STATE_ERROR || state == PW_STREAM_STATE_UNCONNECTED) {
            static_cast<PipeWireCamera*>(self)->lose(EIO);
        }
    };
    events.param_changed = [](void* self, std::uint32_t id, const spa_pod* parameter) {
        if (id == SPA_PARAM_Format && parameter) static_cast<PipeWireCamera*>(self)->formatChanged(parameter);
    };
    events.process = [](void* self) { static_cast<PipeWireCamera*>(self)->process(); };
    return events;
}();

const pw_registry_events PipeWireCamera::kRegistryEvents = [] {
    pw_registry_events events{};
    events.version = PW_VERSION_REGISTRY_EVENTS;
    events.global_remove = [](void* self, std::uint32_t id) {
        auto* camera = static_cast<PipeWireCamera*>(self);
        if (id == camera->node_.id) camera->lose(ENODEV);
    };
    return events;
}();

Result<void> PipeWireCamera::start(std::function<void(CameraFrame)> seen, std::function<void(Failure)> lost) {
    stop();
    auto connection = PipeWireConnection::connect();
    if (!connection) return std::unexpected(connection.error());
    const auto node = cameraNode(**connection, id_);
    if (!node) return std::unexpected(cameraFailure(id_, ENODEV));
    node_ = *node;
    connection_ = std::move(*connection);
    Result<void> connected;
    {
        const std::scoped_lock lock(*connection_);
        seen_ = std::move(seen);
        lost_ = std::move(lost);
        connected = connectStream();
    }
    if (!connected) stop();
    return connected;
}

Result<void> PipeWireCamera::connectStream() {
    connection_->onLost([this] { lose(EIO); });
    timeout_ = pw_loop_add_timer(
        connection_->loop(),
        [](void* self, std::uint64_t) { static_cast<PipeWireCamera*>(self)->lose(ETIMEDOUT); }, this);
    waitForNext();
    registry_.reset(pw_core_get_registry(connection_->core(), PW_VERSION_REGISTRY, 0));
    pw_registry_add_listener(registry_.get(), &registryHook_.emplace(), &kRegistryEvents, this);
    stream_.reset(pw_stream_new(
        connection_->core(), "glintro-camera",
        pw_properties_new(PW_KEY_MEDIA_TYPE, "Video", PW_KEY_MEDIA_CATEGORY, "Capture", PW_KEY_MEDIA_ROLE,
                          "Camera", PW_KEY_TARGET_OBJECT, node_.name.c_str(), nullptr)));
    if (!stream_) return std::unexpected(cameraFailure(node_.description, errno));
    pw_stream_add_listener(stream_.get(), &streamHook_.emplace(), &kStreamEvents, this);
    std::array<std::uint8_t, 1024> memory{};
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(memory.data(), static_cast<std::uint32_t>(memory.size()));
    const spa_pod* parameters[] = {offeredCameraFormats(builder)};
    // NOLINTNEXTLINE(clang-analyzer-optin.core.EnumCastOutOfRange): flags, of which several are set.
    const auto flags = static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS
                                                    | PW_STREAM_FLAG_DONT_RECONNECT);
    const int code = pw_stream_connect(stream_.get(), PW_DIRECTION_INPUT, PW_ID_ANY, flags, parameters, 1);
    if (code < 0) return std::unexpected(cameraFailure(node_.description, -code));
    return {};
}

void PipeWireCamera::stop() {
    if (!connection_) return;
    connection_->stop();
    streamHook_.reset();
    stream_.reset();
    registryHook_.reset();
    registry_.reset();
    pw_loop_destroy_source(connection_->loop(), timeout_);
    connection_.reset();
    format_.reset();
    pictures_ = {};
}

void PipeWireCamera::formatChanged(const spa_pod* parameter) {
    spa_video_info_raw format{};
    if (spa_format_video_raw_parse(parameter, &format) < 0) return;
    format_ = format;
    std::array<std::uint8_t, 512> memory{};
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(memory.data(), static_cast<std::uint32_t>(memory.size()));
    const spa_pod* wanted[] = {
        static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamBuffers, SPA_PARAM_Buffers, SPA_PARAM_BUFFERS_buffers,
            SPA_POD_CHOICE_RANGE_Int(4, 2, 16), SPA_PARAM_BUFFERS_dataType,
            SPA_POD_CHOICE_FLAGS_Int((1 << SPA_DATA_MemFd) | (1 << SPA_DATA_MemPtr)))),
        static_cast<const spa_pod*>(spa_pod_builder_add_object(
            &builder, SPA_TYPE_OBJECT_ParamMeta, SPA_PARAM_Meta, SPA_PARAM_META_type,
            SPA_POD_Id(SPA_META_Header), SPA_PARAM_META_size, SPA_POD_Int(sizeof(spa_meta_header))))};
    pw_stream_update_params(stream_.get(), wanted, 2);
}

void PipeWireCamera::process() {
    while (pw_buffer* dequeued = pw_stream_dequeue_buffer(stream_.get())) {
        const spa_buffer& buffer = *dequeued->buffer;
        std::optional<CameraFrame> frame;
        if (format_ && viewPicture(*view_, buffer, *format_))
            frame = pictures_.convert(*view_, stampOf(buffer));
        pw_stream_queue_buffer(stream_.get(), dequeued);
        if (!frame || !lost_) continue;
        waitForNext();
        seen_(std::move(*frame));
    }
}

void PipeWireCamera::waitForNext() {
    timespec timeout = kPictureTimeout;
    pw_loop_update_timer(connection_->loop(), timeout_, &timeout, nullptr, false);
}

void PipeWireCamera::lose(int systemError) {
    if (const auto lost = std::exchange(lost_, nullptr)) lost(cameraFailure(node_.description, systemError));
}

} // namespace

std::vector<CameraDevice> pipeWireCameras() {
    const auto connection = PipeWireConnection::connect();
    if (!connection) return {};
    std::vector<CameraDevice> devices;
    for (const PipeWireNode& node : cameraNodes(**connection))
        devices.push_back({kPrefix + node.name, node.description, false});
    return devices;
}

Result<std::unique_ptr<Camera>> openPipeWireCamera(const std::string& id) {
    const auto connection = PipeWireConnection::connect();
    if (!connection) return std::unexpected(connection.error());
    if (!cameraNode(**connection, id)) return std::unexpected(cameraFailure(id, ENODEV));
    return std::make_unique<PipeWireCamera>(id);
}

} // namespace glintro
