#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>

#include "platform/ScreenStream.h"
#include "platform/linux/pipewire/PipeWireConnection.h"
#include "platform/linux/wayland/CastStream.h"
#include "platform/linux/wayland/FramePacer.h"
#include "platform/linux/wayland/PortalPointer.h"
#include "platform/linux/wayland/ScreenCast.h"

namespace glintro {

// The stream of what the user has agreed to share. Pictures arrive from the moment it is opened, so that its
// size is known; they are delivered between start and stop. The desktop shows that the screen is shared until
// the stream is destroyed.
class PortalStream final : public ScreenStream {
  public:
    // `area`: the part of the screen to record, in desktop coordinates; all of it when absent.
    // Waits for the first picture.
    [[nodiscard]] static Result<std::unique_ptr<ScreenStream>> open(std::unique_ptr<ScreenCast> cast,
                                                                    const std::optional<Rect>& area,
                                                                    const CastRequest& request,
                                                                    const std::stop_token& cancel);
    ~PortalStream() override;

    PixelSize pixelSize() const override { return {crop_.width, crop_.height}; }
    Rect frame() const override { return frame_; }
    PointerSource& pointer() override { return pointer_; }
    bool pointerIsEmbedded() const override { return pointerMode_ == ScreenCast::PointerMode::embedded; }
    std::optional<std::string> rememberedChoice() const override;
    Result<void> start(const StreamConfiguration& configuration, StreamHandlers handlers) override;
    void stop() override;

  private:
    PortalStream(std::unique_ptr<ScreenCast> cast, const std::optional<Rect>& area, CastRequest request);
    [[nodiscard]] Result<void> connect();
    [[nodiscard]] Result<void> waitForPicture(const std::stop_token& cancel);

    // On the connection's thread, with its lock held.
    void sessionSpoke();
    bool place(PixelSize pixels);
    void pictureArrived(const CastPicture& picture);
    void publishPointer();
    void ended(Failure why);
    void deliver();
    void wakeAt(Seconds time);

    const std::unique_ptr<ScreenCast> cast_;
    const ScreenCast::PointerMode pointerMode_;
    const std::optional<Rect> area_;
    const CastRequest request_;
    PortalPointer pointer_;
    std::unique_ptr<PipeWireConnection> connection_;
    std::unique_ptr<CastStream> pictures_;
    spa_source* timer_ = nullptr;
    spa_source* sessionWatch_ = nullptr;

    // Set by the first picture, constant from then on.
    PixelRect crop_; // of the screen's pictures, or all of the first
    Rect frame_;

    // Under the connection's lock.
    FramePacer pacer_;
    std::function<void(Failure)> stopped_;
    bool isOver_ = false;
    std::optional<Point> pointerPixel_;

    std::mutex mutex_; // of what open() waits for
    std::condition_variable_any changed_;
    bool isPlaced_ = false;
    std::optional<Failure> end_;
};

} // namespace glintro
