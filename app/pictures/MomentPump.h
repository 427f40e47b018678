#pragma once

#include <QImage>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <stop_token>
#include <vector>

#include "core/reel/Project.h"

namespace glintro {

class StillSource;

// Decodes pictures of one recording's moments on a background thread, while another thread changes what is
// wanted.
//
//   replace() ──► waiting ──► underway ──► deliver ──► received()
//                    └───────────┴─ no longer wanted: dropped, stopped
class MomentPump {
  public:
    struct Moment {
        int key = 0;
        Seconds time = 0; // source time
    };
    // A null picture where there is none to be had. Called on the background thread.
    using Deliver = std::function<void(int key, const QImage& picture)>;

    MomentPump(Project project, int longSide, Deliver deliver);
    ~MomentPump();

    // What is wanted from now on, in this order; what is underway goes on if it is among that. True when
    // nobody works on it: run() is to be called on the background thread.
    [[nodiscard]] bool replace(const std::vector<Moment>& moments);
    // A delivered picture has reached whoever calls replace(); until then its moment is not made again.
    void received(int key);

    // Works until nothing waits.
    void run();

  private:
    struct Running {
        Moment moment;
        std::stop_token stop;
    };
    std::optional<Running> next();
    bool openSource();
    QImage grab(const Running& running);
    void deliver(const Running& running, const QImage& picture);
    void failAll();

    const Project project_;
    const int longSide_;
    const Deliver deliver_;
    std::unique_ptr<StillSource> source_; // the background thread's own

    std::mutex mutex_;
    std::deque<Moment> waiting_; // guarded by mutex_, as all that follow
    std::set<int> underway_;     // running, or delivered and not yet received
    std::optional<int> running_;
    std::stop_source stop_{std::nostopstate}; // of what runs
    bool isActive_ = false;                   // run() works or is about to
};

} // namespace glintro
