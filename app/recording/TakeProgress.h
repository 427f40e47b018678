#pragma once

#include <QObject>

#include "app/recording/CaptureEngine.h"

namespace glintro {

// What has become of the running take, or of the last one. Main thread.
class TakeProgress : public QObject {
    Q_OBJECT
    Q_PROPERTY(double secondsOnDisk READ secondsOnDisk NOTIFY changed FINAL)
    Q_PROPERTY(qint64 bytesOnDisk READ bytesOnDisk NOTIFY changed FINAL)
    Q_PROPERTY(qint64 droppedFrames READ droppedFrames NOTIFY changed FINAL)

  public:
    using QObject::QObject;

    void set(const CaptureProgress& value) {
        value_ = value;
        emit changed();
    }
    const CaptureProgress& value() const { return value_; }
    Seconds secondsOnDisk() const { return value_.secondsOnDisk; }
    qint64 bytesOnDisk() const { return value_.bytesOnDisk; }
    qint64 droppedFrames() const { return value_.droppedFrames; }

  signals:
    void changed();

  private:
    CaptureProgress value_;
};

} // namespace glintro
