#include "app/recording/TakeStart.h"

#include <utility>

#include "platform/HostClock.h"

namespace glintro {

void TakeStart::prepare(const TakeOrder& order, const TakeHandlers& handlers) {
    isRunning_ = true;
    cancel_ = std::stop_source();
    handover_ = std::make_shared<Handover<LiveTake>>();
    background_.run([this, number = ++number_, handover = handover_, order, handlers, inputs = inputs_,
                     cancel = cancel_.get_token()] {
        auto take = LiveTake::prepare(order, {inputs.screen, *inputs.sound, *inputs.cameras}, inputs.library,
                                      handlers, cancel);
        Result<void> result;
        if (take)
            handover->put(*std::move(take));
        else
            result = std::unexpected(take.error());
        return [this, number, result] {
            if (number == number_) handlePrepared(result);
        };
    });
}

void TakeStart::handlePrepared(const Result<void>& result) {
    take_ = handover_->get();
    const bool isCancelled = cancel_.stop_requested();
    if (result && isCancelled) return discard();
    if (result) return emit prepared();
    if (!isCancelled) emit failed(result.error());
    end();
}

void TakeStart::launch() {
    isLaunching_ = true;
    background_.run([this, number = number_, take = take_] {
        const Seconds now = hostTime();
        const auto result = take->start();
        if (!result) take->discard();
        return [this, number, now, result] {
            if (number == number_) handleLaunched(result, now);
        };
    });
}

void TakeStart::handleLaunched(const Result<void>& result, Seconds hostTime) {
    isLaunching_ = false;
    const bool isCancelled = cancel_.stop_requested();
    if (result && isCancelled) return discard();
    if (result) {
        isRunning_ = false;
        emit started(std::exchange(take_, nullptr), hostTime);
        return;
    }
    if (!isCancelled) emit failed(result.error());
    end();
}

void TakeStart::cancel() {
    if (!cancel_.request_stop()) return; // is being cancelled already
    background_.watch(take_);
    if (take_ && !isLaunching_) discard(); // else what runs does so when it is done
}

void TakeStart::discard() {
    background_.watch(take_);
    background_.run([this, number = number_, take = take_] {
        take->discard();
        return [this, number] {
            if (number == number_) end();
        };
    });
}

void TakeStart::letGo() {
    if (take_) take_->letGo();
    ++number_;
    background_.abandon();
    background_.release(handover_->close());
    end();
}

void TakeStart::end() {
    background_.endWatch();
    background_.release(std::exchange(take_, nullptr));
    isLaunching_ = false;
    isRunning_ = false;
    emit ended();
}

void TakeStart::discardAtEnd() {
    blockSignals(true);
    cancel_.request_stop();
    if (take_)
        background_.run([take = take_] {
            take->discard();
            return [] {};
        });
}

void TakeStart::releaseAtEnd() {
    background_.release(std::exchange(take_, nullptr));
    if (handover_) background_.release(handover_->close());
}

} // namespace glintro
