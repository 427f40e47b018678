#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>

#include "app/player/FrameMailbox.h"
#include "app/player/PictureOrder.h"
#include "app/player/PictureSource.h"

namespace glintro {

// What a picture pipeline's threads do next: one place where orders, the clock and changes of look meet what
// is decoded, drawn and due.
//
//   order, clock, look ──► nextWanted ─► (decoding) ─► decoded ─► queue ─► nextToDraw ─► (drawing) ─► present
//   main thread            decoding thread                                drawing thread       │
//                                                                              mailbox ◄───────┘ when due
//
// At most kAhead pictures wait to be drawn, and one drawn picture waits until it is due. All threads; the
// lock is never held while something is decoded or drawn.
class PictureSchedule {
  public:
    // 0.2 s of playing: as long as a cut into the middle of a group of pictures takes to decode.
    static constexpr std::size_t kAhead = 12;

    // `shown` is called after a picture was put into the mailbox, with no lock held.
    PictureSchedule(HostTime hostTime, std::shared_ptr<FrameMailbox> mailbox, std::function<void()> shown);

    // The controlling thread.

    void order(const PictureOrder& order);
    // As it goes on since the order.
    void setClock(const PlayClock& clock);
    void setSettings(std::shared_ptr<const ProjectSettings> settings);
    void setView(PixelSize view);
    // Ends all waits: nextWanted() and nextToDraw() answer `nullopt` from now on, and nothing more is shown.
    void stop();
    // Whether an exact picture of the newest order was shown.
    bool hasShown() const;
    // Whether all pictures of the newest order were shown, the last one in the newest look.
    bool isAtRest() const;
    // For how long the decoding thread has been waiting for the movies; 0 when it is not.
    Seconds decodingFor() const;
    PlayerStatistics statistics() const;

    // The decoding thread.

    struct Wanted {
        std::uint64_t generation = 0;
        Seconds compositionTime = 0;
        bool isPlayed = false; // to be shown when it is due
        SourceRequest request;
    };
    // The next picture to decode; waits until there is one. `nullopt`: stopped.
    std::optional<Wanted> nextWanted();
    // Whether the pictures are still wanted.
    bool decoded(const Wanted& wanted, SourcePictures pictures);
    // They cannot be had: the order they belong to is over. False when it was over already.
    bool failed(const Wanted& wanted);
    // Brackets a wait for the movies that is not one of nextWanted() to decoded(), such as their opening.
    void startsWaiting();
    void endsWaiting();

    // The drawing thread.

    struct ToDraw {
        std::uint64_t generation = 0;
        Seconds compositionTime = 0;
        Seconds sourceTime = 0;
        bool isPlayed = false;
        bool isExact = true;
        bool isRedraw = false; // the picture that is shown already, with another look
        SourcePictures pictures = {};
        PictureLook look = {};
    };
    // The next picture to draw; waits until there is one. `nullopt`: stopped.
    std::optional<ToDraw> nextToDraw();
    // Shows a drawn picture when it is due, unless it is superseded before that. Where the look changes
    // meanwhile it will be drawn again. `image` may be null: nothing is shown, but the rest happens.
    void present(ToDraw picture, std::shared_ptr<const BgraImage> image);
    // Will be drawn again, as something changed in the meantime.
    void putBack(ToDraw picture);
    void setWallpaper(std::shared_ptr<const BgraImage> wallpaper);
    // Waits until the wallpaper is known, at most so long: whether it is.
    bool awaitWallpaper(std::chrono::milliseconds limit);

  private:
    using Lock = std::unique_lock<std::mutex>;

    std::optional<Wanted> plan();
    std::optional<Wanted> planPlayed();
    void advance(const Wanted& wanted, Seconds decodingTime);
    Wanted want(Seconds compositionTime, FrameTolerance tolerance, bool isPlayed) const;
    Seconds due(const ToDraw& picture) const;
    bool isTooLate(const ToDraw& picture) const;
    void changeLook();
    void show(const ToDraw& picture, std::shared_ptr<const BgraImage> image);

    const HostTime hostTime_;
    const std::shared_ptr<FrameMailbox> mailbox_;
    const std::function<void()> shown_;

    mutable std::mutex mutex_; // guards all that follows
    std::condition_variable changed_;
    bool isStopped_ = false;

    std::uint64_t generation_ = 0; // of the newest order; 0: none yet
    PictureOrder order_;
    std::stop_source superseded_; // of the newest order
    PlayClock clock_;
    PictureLook look_;

    // What the decoding thread has come to in the newest order.
    enum class Stage { nearby, exact, played, done };
    Stage stage_ = Stage::done;
    std::int64_t nextPicture_ = 0;         // play: its number on the composition clock
    std::optional<Seconds> decodingSince_; // host time
    Seconds decodingTime_ = 0;             // of a picture, on average

    std::deque<ToDraw> queue_;      // looks are filled in when they are drawn
    std::optional<ToDraw> current_; // the picture that is shown
    PlayerStatistics statistics_;
};

} // namespace glintro
