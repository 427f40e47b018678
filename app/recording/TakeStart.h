#pragma once

#include <QObject>
#include <memory>
#include <stop_token>

#include "app/recording/Handover.h"
#include "app/recording/LiveTake.h"
#include "app/recording/SharedInput.h"
#include "app/recording/TakeBackground.h"

namespace glintro {

// How a take comes to run: prepared in the background, launched when it is told to, or discarded.
//
//   prepare() ──► prepared ──► launch() ──► started
//       │             │            │
//       └─────────────┴── failed ──┴── cancel() ──► ended
//
// Exactly one of started and ended comes of each prepare(), and failed before ended. One start at a time.
// Lives on the main thread.
class TakeStart : public QObject {
    Q_OBJECT

  public:
    using TakePtr = std::shared_ptr<LiveTake>;

    // What takes record from; all of it outlives them.
    struct Inputs {
        ScreenCapture& screen;
        std::shared_ptr<SharedSound> sound;
        std::shared_ptr<SharedCameras> cameras;
        TakeLibrary& library;
    };

    TakeStart(const Inputs& inputs, TakeBackground& background) : inputs_(inputs), background_(background) {}

    // False again in started and ended.
    bool isRunning() const { return isRunning_; }

    void prepare(const TakeOrder& order, const TakeHandlers& handlers);
    void launch(); // after prepared
    // In the background, which is watched meanwhile; leaves nothing of the take.
    void cancel();
    // A cancelled start hangs: its thread and its take are left behind.
    void letGo();

    // For the program's end, in two steps: before and after the background has done what it can.
    void discardAtEnd();
    void releaseAtEnd();
    const TakePtr& take() const { return take_; } // null while it is prepared

  signals:
    void prepared();
    void failed(const Failure& failure);
    // `hostTime`: when the take was told to start.
    void started(const std::shared_ptr<LiveTake>& take, Seconds hostTime);
    void ended();

  private:
    void handlePrepared(const Result<void>& result);
    void handleLaunched(const Result<void>& result, Seconds hostTime);
    void discard();
    void end();

    const Inputs inputs_;
    TakeBackground& background_;
    int number_ = 0; // of the newest start; what comes of earlier ones is ignored
    bool isRunning_ = false;
    bool isLaunching_ = false;
    std::stop_source cancel_;
    std::shared_ptr<Handover<LiveTake>> handover_;
    TakePtr take_;
};

} // namespace glintro
