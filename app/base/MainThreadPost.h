#pragma once

#include <QObject>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace glintro {

// Brings calls from any thread to the thread of an object, until the object closes it: work that was left
// behind may outlive whom it worked for.
class MainThreadPost {
  public:
    explicit MainThreadPost(QObject& receiver) : receiver_(&receiver) {}

    void operator()(std::function<void()> call) {
        const std::scoped_lock lock(mutex_);
        if (receiver_ != nullptr) QMetaObject::invokeMethod(receiver_, std::move(call), Qt::QueuedConnection);
    }
    // Later calls are ignored; those that wait are dropped with the object.
    void close() {
        const std::scoped_lock lock(mutex_);
        receiver_ = nullptr;
    }

  private:
    std::mutex mutex_;
    QObject* receiver_; // guarded by mutex_
};

} // namespace glintro
