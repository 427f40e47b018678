#include "platform/linux/pipewire/PipeWireConnection.h"

#include <cerrno>
#include <mutex>
#include <utility>

namespace glintro {

const pw_core_events PipeWireConnection::kCoreEvents = [] {
    pw_core_events events{};
    events.version = PW_VERSION_CORE_EVENTS;
    events.done = [](void* self, std::uint32_t id, int sequence) {
        auto* connection = static_cast<PipeWireConnection*>(self);
        if (id != PW_ID_CORE || sequence != connection->sequence_ || !connection->synchronised_) return;
        std::exchange(connection->synchronised_, nullptr)();
    };
    events.error = [](void* self, std::uint32_t id, int, int code, const char*) {
        auto* connection = static_cast<PipeWireConnection*>(self);
        if (id != PW_ID_CORE || code != -EPIPE) return;
        connection->isLost_ = true;
        if (connection->lost_) connection->lost_();
    };
    return events;
}();

Result<std::unique_ptr<PipeWireConnection>> PipeWireConnection::connect(int descriptor) {
    static std::once_flag initialised;
    std::call_once(initialised, [] { pw_init(nullptr, nullptr); });

    std::unique_ptr<PipeWireConnection> connection(new PipeWireConnection);
    connection->loop_.reset(pw_thread_loop_new("pipewire", nullptr));
    if (connection->loop_) connection->context_.reset(pw_context_new(connection->loop(), nullptr, 0));
    if (connection->context_) {
        pw_context* context = connection->context_.get();
        connection->core_.reset(descriptor < 0 ? pw_context_connect(context, nullptr, 0)
                                               : pw_context_connect_fd(context, descriptor, nullptr, 0));
    }
    if (!connection->core_) {
        return failure(
            "PipeWire does not answer; start its user service (systemctl --user start pipewire) and try "
            "again.",
            "pw_context_connect", errno);
    }
    pw_core_add_listener(connection->core(), &connection->hook_, &kCoreEvents, connection.get());
    if (const int code = pw_thread_loop_start(connection->loop_.get()); code < 0) {
        return failure("The system allows no further thread; close some programs and try again.",
                       "pw_thread_loop_start", -code);
    }
    return connection;
}

PipeWireConnection::~PipeWireConnection() {
    if (loop_) stop();
}

void PipeWireConnection::onLost(std::function<void()> handler) {
    lost_ = std::move(handler);
    if (!isLost_) return;
    const auto tell = [](spa_loop*, bool, std::uint32_t, const void*, std::size_t, void* self) {
        const auto* connection = static_cast<PipeWireConnection*>(self);
        if (connection->lost_) connection->lost_();
        return 0;
    };
    pw_loop_invoke(loop(), tell, 0, nullptr, 0, false, this);
}

void PipeWireConnection::afterRoundTrip(std::function<void()> handler) {
    synchronised_ = std::move(handler);
    sequence_ = pw_core_sync(core(), PW_ID_CORE, sequence_);
}

} // namespace glintro
