#pragma once

#include <QTimer>
#include <atomic>
#include <memory>

#include "app/recording/InputPreview.h"
#include "platform/Sound.h"

namespace glintro {

// How loud the microphone is, for a meter beside its switch: the loudest sample of the last moment, 0..1,
// falling to half in a fifth of a second. Main thread.
class MicrophoneLevel final : public InputPreview {
    Q_OBJECT
    Q_PROPERTY(double level READ level NOTIFY levelChanged FINAL)

  public:
    // Sound outlives this.
    explicit MicrophoneLevel(std::shared_ptr<SoundSystem> sound);

    double level() const { return level_; }

  signals:
    void levelChanged();

  protected:
    Opener opener(LossHandler lost) override;
    void reset() override;

  private:
    void update();
    void setLevel(double level);

    std::shared_ptr<SoundSystem> sound_;
    std::shared_ptr<std::atomic<float>> loudest_; // since the last update
    double level_ = 0;
    QTimer timer_;
};

} // namespace glintro
