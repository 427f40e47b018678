#include "platform/linux/x11/X11PressRecorder.h"

#include <cmath>
#include <cstring>
#include <utility>

#include <sys/socket.h>

#include "platform/HostClock.h"

namespace glintro {
namespace {

constexpr std::uint8_t kFromServer = 0;
constexpr std::uint8_t kEndOfData = 5;
constexpr xcb_button_t kLeftButton = 1;
constexpr xcb_button_t kRightButton = 3;
// For the server's word that it has begun, or has ended.
constexpr std::chrono::seconds kTimeout{1};

constexpr const char* kRefused =
    "Clicks cannot be seen, because the X server refused to show them: zooms have to be placed by hand.";
constexpr const char* kEnded =
    "Clicks are no longer seen, because the X server has stopped showing them: zooms have to be placed by "
    "hand "
    "from here on.";

Result<xcb_record_context_t> createContext(xcb_connection_t* control) {
    const xcb_record_context_t context = xcb_generate_id(control);
    const xcb_record_client_spec_t everyone = XCB_RECORD_CS_ALL_CLIENTS;
    xcb_record_range_t presses{};
    presses.device_events = {XCB_BUTTON_PRESS, XCB_BUTTON_PRESS};
    const auto cookie = xcb_record_create_context_checked(control, context, 0, 1, 1, &everyone, &presses);
    if (const X11Reply<xcb_generic_error_t> error{xcb_request_check(control, cookie)}) {
        return failure(kRefused, "RecordCreateContext", error->error_code);
    }
    return context;
}

} // namespace

Seconds hostTimeOfX11(std::uint32_t serverTime, Seconds arrival) {
    const auto arrivalMilliseconds = static_cast<std::uint64_t>(std::floor(arrival * 1000));
    const auto ahead =
        static_cast<std::int32_t>(serverTime - static_cast<std::uint32_t>(arrivalMilliseconds));
    // Servers may read a coarse clock, and their thread may have waited for the processor.
    if (ahead > 5 || ahead < -10'000) return arrival;
    return (static_cast<double>(arrivalMilliseconds) + ahead) / 1000;
}

Result<std::unique_ptr<X11PressRecorder>> X11PressRecorder::create(const X11Connection& control, double scale,
                                                                   Handlers handlers) {
    if (!hasX11Extension(control.get(), xcb_record_id)) {
        return failure(
            "Clicks cannot be seen, because this X server lacks the RECORD extension: turn it on to "
            "have zooms placed at the clicks.");
    }
    const auto context = createContext(control.get());
    if (!context) return std::unexpected(context.error());
    Result<X11Connection> data = connectToX11();
    if (!data) return std::unexpected(data.error());
    std::unique_ptr<X11PressRecorder> recorder(
        new X11PressRecorder(control, std::move(*data), *context, scale, std::move(handlers)));
    if (recorder->waitForStart() == State::refused) return failure(kRefused, "RecordEnableContext");
    return recorder;
}

X11PressRecorder::X11PressRecorder(const X11Connection& control, X11Connection data,
                                   xcb_record_context_t context, double scale, Handlers handlers)
    : control_(control),
      data_(std::move(data)),
      context_(context),
      scale_(scale),
      handlers_(std::move(handlers)) {
    const auto cookie = xcb_record_enable_context(data_.get(), context_);
    xcb_flush(data_.get());
    thread_ = std::thread([this, cookie] { run(cookie); });
}

X11PressRecorder::~X11PressRecorder() {
    {
        const std::scoped_lock lock(mutex_);
        isStopping_ = true;
    }
    xcb_record_disable_context(control_.get(), context_);
    xcb_record_free_context(control_.get(), context_);
    xcb_flush(control_.get());
    {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, kTimeout,
                          [this] { return state_ == State::refused || state_ == State::ended; });
    }
    // A server that another program keeps to itself answers nobody: then without its word.
    ::shutdown(xcb_get_file_descriptor(data_.get()), SHUT_RDWR);
    thread_.join();
}

bool X11PressRecorder::isRecording() const {
    const std::scoped_lock lock(mutex_);
    return state_ == State::recording;
}

X11PressRecorder::State X11PressRecorder::waitForStart() {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, kTimeout, [this] { return state_ != State::starting; });
    return state_;
}

void X11PressRecorder::enter(State state) {
    const std::scoped_lock lock(mutex_);
    state_ = state;
    changed_.notify_all();
}

void X11PressRecorder::run(xcb_record_enable_context_cookie_t cookie) {
    if (!begin(cookie)) return enter(State::refused);
    enter(State::recording);
    while (const X11Reply<xcb_record_enable_context_reply_t> reply{
        xcb_record_enable_context_reply(data_.get(), cookie, nullptr)}) {
        if (reply->category == kEndOfData) break;
        if (reply->category == kFromServer) handle(*reply, hostTime());
    }
    end();
}

// The first reply says that recording has begun: presses from now on are seen.
bool X11PressRecorder::begin(xcb_record_enable_context_cookie_t cookie) {
    const X11Reply<xcb_record_enable_context_reply_t> begun(
        xcb_record_enable_context_reply(data_.get(), cookie, nullptr));
    return begun != nullptr;
}

void X11PressRecorder::end() {
    bool isExpected = false;
    {
        const std::scoped_lock lock(mutex_);
        isExpected = isStopping_;
    }
    if (!isExpected && handlers_.ended) handlers_.ended(kEnded);
    enter(State::ended);
}

void X11PressRecorder::handle(xcb_record_enable_context_reply_t& reply, Seconds arrival) const {
    const std::uint8_t* data = xcb_record_enable_context_data(&reply);
    const int length = xcb_record_enable_context_data_length(&reply);
    xcb_button_press_event_t event;
    for (int at = 0; at + static_cast<int>(sizeof event) <= length; at += static_cast<int>(sizeof event)) {
        std::memcpy(&event, data + at, sizeof event);
        if (event.detail != kLeftButton && event.detail != kRightButton) continue;
        handlers_.pressed(
            {event.detail == kLeftButton ? PointerPress::Button::left : PointerPress::Button::right,
             {event.root_x / scale_, event.root_y / scale_},
             hostTimeOfX11(event.time, arrival)});
    }
}

} // namespace glintro
