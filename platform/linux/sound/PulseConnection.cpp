#include "platform/linux/sound/PulseConnection.h"

namespace glintro {
namespace {

constexpr pa_usec_t kAnswerLimit = 4 * PA_USEC_PER_SEC;

// Wakes who waits on a connection when the server has had its time to answer.
class AnswerLimit {
  public:
    AnswerLimit(PulseConnection& connection, pa_mainloop_api* api)
        : connection_(connection),
          api_(api),
          event_(pa_context_rttime_new(connection.context(), pa_rtclock_now() + kAnswerLimit,
                                       &AnswerLimit::reached, this)) {}
    ~AnswerLimit() {
        if (event_ != nullptr) api_->time_free(event_);
    }
    AnswerLimit(const AnswerLimit&) = delete;
    AnswerLimit& operator=(const AnswerLimit&) = delete;

    bool isOver() const { return isOver_ || event_ == nullptr; }

  private:
    static void reached(pa_mainloop_api*, pa_time_event*, const timeval*, void* self) {
        auto* limit = static_cast<AnswerLimit*>(self);
        limit->isOver_ = true;
        limit->connection_.wake();
    }

    PulseConnection& connection_;
    pa_mainloop_api* api_;
    bool isOver_ = false;
    pa_time_event* event_;
};

} // namespace

PulseConnection::Lock::Lock(const PulseConnection& connection)
    : loop_(pa_threaded_mainloop_in_thread(connection.loop_.get()) != 0 ? nullptr : connection.loop_.get()) {
    if (loop_ != nullptr) pa_threaded_mainloop_lock(loop_);
}

PulseConnection::Lock::~Lock() {
    if (loop_ != nullptr) pa_threaded_mainloop_unlock(loop_);
}

Result<std::unique_ptr<PulseConnection>> PulseConnection::open() {
    std::unique_ptr<PulseConnection> connection(new PulseConnection);
    if (auto connected = connection->connect(); !connected) return std::unexpected(connected.error());
    return connection;
}

Result<void> PulseConnection::connect() {
    const char* message =
        "No sound server answers, so there is no sound; start PulseAudio or PipeWire and try again.";
    loop_.reset(pa_threaded_mainloop_new());
    if (!loop_) return failure(message, "pa_threaded_mainloop_new");
    context_.reset(pa_context_new(pa_threaded_mainloop_get_api(loop_.get()), "Glintro"));
    if (!context_) return failure(message, "pa_context_new");
    const auto wakeUp = [](pa_context*, void* self) { static_cast<PulseConnection*>(self)->wake(); };
    pa_context_set_state_callback(context_.get(), wakeUp, this);
    if (pa_context_connect(context_.get(), nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0
        || pa_threaded_mainloop_start(loop_.get()) < 0) {
        const int error = pa_context_errno(context_.get());
        return failure(message, pa_strerror(error), error);
    }
    const Lock lock(*this);
    if (await([this] { return pa_context_get_state(context()) == PA_CONTEXT_READY; })) return {};
    const int error = isAlive() ? PA_ERR_TIMEOUT : pa_context_errno(context());
    return failure(message, pa_strerror(error), error);
}

PulseConnection::~PulseConnection() {
    if (context_) {
        const Lock lock(*this);
        pa_context_set_state_callback(context_.get(), nullptr, nullptr);
        pa_context_disconnect(context_.get());
    }
    if (loop_) pa_threaded_mainloop_stop(loop_.get());
}

bool PulseConnection::isAlive() const {
    return PA_CONTEXT_IS_GOOD(pa_context_get_state(context()));
}

bool PulseConnection::await(const std::function<bool()>& done) {
    const AnswerLimit limit(*this, pa_threaded_mainloop_get_api(loop_.get()));
    while (!done()) {
        if (!isAlive() || limit.isOver()) return false;
        pa_threaded_mainloop_wait(loop_.get());
    }
    return true;
}

bool PulseConnection::await(pa_operation* operation) {
    if (operation == nullptr) return false;
    const auto wakeUp = [](pa_operation*, void* self) { static_cast<PulseConnection*>(self)->wake(); };
    pa_operation_set_state_callback(operation, wakeUp, this);
    await([&] { return pa_operation_get_state(operation) != PA_OPERATION_RUNNING; });
    const bool done = pa_operation_get_state(operation) == PA_OPERATION_DONE;
    pa_operation_set_state_callback(operation, nullptr, nullptr);
    if (!done) pa_operation_cancel(operation);
    pa_operation_unref(operation);
    return done;
}

bool PulseConnection::awaitReady(pa_stream* stream) {
    await([&] { return pa_stream_get_state(stream) != PA_STREAM_CREATING; });
    return pa_stream_get_state(stream) == PA_STREAM_READY;
}

void PulseConnection::wake() {
    pa_threaded_mainloop_signal(loop_.get(), 0);
}

} // namespace glintro
