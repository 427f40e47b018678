#pragma once

#include <QObject>
#include <QString>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "app/base/BackgroundQueue.h"
#include "app/base/MainThreadPost.h"
#include "app/recording/Handover.h"
#include "core/base/Failure.h"

namespace glintro {

// A microphone or camera while somebody looks at it, before a take and during it. The device runs while
// isActive and the take's switch are both on; it is opened and closed in the background. Main thread.
class InputPreview : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isActive READ isActive WRITE setActive NOTIFY stateChanged FINAL)
    Q_PROPERTY(bool isRunning READ isRunning NOTIFY stateChanged FINAL)
    Q_PROPERTY(QString problem READ problem NOTIFY stateChanged FINAL)

  public:
    ~InputPreview() override;

    bool isActive() const { return isActive_; } // set by whoever shows it
    void setActive(bool active);
    bool isRunning() const { return device_ != nullptr; }
    const QString& problem() const { return problem_; } // why there is nothing to see; one sentence

    // The take's switch, and the device by id or name; the default one when absent.
    void setInput(bool isOn, const std::optional<std::string>& device);

  signals:
    void stateChanged();

  protected:
    using Device = std::shared_ptr<void>; // closed with the last reference

    InputPreview();
    // Opens and starts a device; on a thread of the preview's. What it uses must not be this object.
    using Opener = std::function<Result<Device>(const std::optional<std::string>&)>;
    // To be called from any thread when the device that is opened goes.
    using LossHandler = std::function<void(Failure)>;
    virtual Opener opener(LossHandler lost) = 0;
    // The device has been closed, or is another one.
    virtual void reset() = 0;
    const std::shared_ptr<MainThreadPost>& mainThread() const { return mainThread_; }

  private:
    void update();
    void open();
    void opened(int number, const Result<void>& result);
    void lost(int number, const Failure& failure);
    void close();
    void release();

    bool isActive_ = false;
    bool isOn_ = false;
    std::optional<std::string> name_;
    int number_ = 0; // of the newest opening; 0 while there is none
    int lastNumber_ = 0;
    Device device_;
    std::shared_ptr<Handover<void>> handover_; // of the newest device
    QString problem_;
    std::shared_ptr<MainThreadPost> mainThread_;
    BackgroundQueue opening_;
};

} // namespace glintro
