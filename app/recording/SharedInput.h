#pragma once

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/base/Failure.h"
#include "platform/Camera.h"
#include "platform/Sound.h"

namespace glintro {

// One opening of a device for several users: the preview of a camera and the take that records it. The device
// runs from the first open() until the last tap of it has been stopped. Device: Camera or Microphone; Sample:
// what its handler is given.
template <class Device, class Sample>
class SharedInput {
  public:
    using Handler = std::function<void(Sample)>;
    using LossHandler = std::function<void(Failure)>;
    using Opener = std::function<Result<std::unique_ptr<Device>>(const std::optional<std::string>&)>;

    explicit SharedInput(Opener opener) : opener_(std::move(opener)) {}

    // A tap of the device with this name; of the one that runs already when there is one. Blocks while the
    // device is opened. From any thread.
    [[nodiscard]] Result<std::unique_ptr<Device>> open(const std::optional<std::string>& name) {
        const std::scoped_lock lock(mutex_);
        auto running = running_[name].lock();
        if (!running || running->isLost()) {
            auto opened = Running::open(opener_, name);
            if (!opened) return std::unexpected(opened.error());
            running_[name] = running = *std::move(opened);
        }
        return std::make_unique<Tap>(std::move(running));
    }

  private:
    struct Listener {
        std::mutex mutex;
        Handler seen;     // guarded by mutex
        LossHandler lost; // guarded by mutex

        // The caller's handlers do not run any more when this returns.
        void close() {
            const std::scoped_lock lock(mutex);
            seen = nullptr;
            lost = nullptr;
        }
    };

    class Running {
      public:
        static Result<std::shared_ptr<Running>> open(const Opener& opener,
                                                     const std::optional<std::string>& name) {
            auto device = opener(name);
            if (!device) return std::unexpected(device.error());
            auto running = std::make_shared<Running>();
            running->device_ = *std::move(device);
            Running& self = *running; // stops the device before it goes
            auto started = running->device_->start([&self](Sample sample) { self.deliver(sample); },
                                                   [&self](const Failure& failure) { self.lose(failure); });
            if (!started) return std::unexpected(started.error());
            return running;
        }
        ~Running() {
            if (device_) device_->stop();
        }

        bool isLost() const {
            const std::scoped_lock lock(mutex_);
            return loss_.has_value();
        }
        Result<void> add(const std::shared_ptr<Listener>& listener) {
            const std::scoped_lock lock(mutex_);
            if (loss_) return std::unexpected(*loss_);
            listeners_.push_back(listener);
            return {};
        }
        void remove(const std::shared_ptr<Listener>& listener) {
            const std::scoped_lock lock(mutex_);
            std::erase(listeners_, listener);
        }

      private:
        std::vector<std::shared_ptr<Listener>> listeners() const {
            const std::scoped_lock lock(mutex_);
            return listeners_;
        }
        void deliver(Sample sample) {
            for (const auto& listener : listeners()) {
                const std::scoped_lock lock(listener->mutex);
                if (listener->seen) listener->seen(sample);
            }
        }
        void lose(const Failure& failure) {
            {
                const std::scoped_lock lock(mutex_);
                loss_ = failure;
            }
            for (const auto& listener : listeners()) {
                const std::scoped_lock lock(listener->mutex);
                if (listener->lost) listener->lost(failure);
            }
        }

        mutable std::mutex mutex_;
        std::vector<std::shared_ptr<Listener>> listeners_; // guarded by mutex_
        std::optional<Failure> loss_;                      // guarded by mutex_
        std::unique_ptr<Device> device_;
    };

    class Tap final : public Device {
      public:
        explicit Tap(std::shared_ptr<Running> running) : running_(std::move(running)) {}
        ~Tap() override { close(); }

        Result<void> start(Handler seen, LossHandler lost) override {
            listener_->seen = std::move(seen);
            listener_->lost = std::move(lost);
            return running_->add(listener_);
        }
        void stop() override { close(); }

      private:
        void close() {
            if (!running_) return;
            running_->remove(listener_);
            listener_->close();
            running_.reset();
        }

        std::shared_ptr<Running> running_; // until stop()
        std::shared_ptr<Listener> listener_ = std::make_shared<Listener>();
    };

    const Opener opener_;
    std::mutex mutex_;
    std::map<std::optional<std::string>, std::weak_ptr<Running>> running_; // guarded by mutex_
};

// The system's cameras, each opened once however many use it. The system must outlive this.
class SharedCameras final : public CameraSystem {
  public:
    explicit SharedCameras(CameraSystem& system)
        : system_(system), input_([&system](const auto& name) { return system.openCamera(name); }) {}

    Result<std::vector<CameraDevice>> cameras() override { return system_.cameras(); }
    Result<std::unique_ptr<Camera>> openCamera(std::optional<std::string> device) override {
        return input_.open(device);
    }

  private:
    CameraSystem& system_;
    SharedInput<Camera, CameraFrame> input_;
};

// The system's microphones, each opened once however many use it. The system must outlive this.
class SharedSound final : public SoundSystem {
  public:
    explicit SharedSound(SoundSystem& system)
        : system_(system), input_([&system](const auto& name) { return system.openMicrophone(name); }) {}

    Result<std::vector<SoundDevice>> microphones() override { return system_.microphones(); }
    Result<std::unique_ptr<Microphone>> openMicrophone(std::optional<std::string> device) override {
        return input_.open(device);
    }
    Result<std::unique_ptr<SoundOutput>> openOutput(int channels) override {
        return system_.openOutput(channels);
    }

  private:
    SoundSystem& system_;
    SharedInput<Microphone, const SoundBlock&> input_;
};

} // namespace glintro
