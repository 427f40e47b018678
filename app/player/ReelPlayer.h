#pragma once

#include <QTimer>
#include <atomic>
#include <filesystem>
#include <memory>
#include <optional>

#include "app/base/MainThreadPost.h"
#include "app/player/PicturePipeline.h"
#include "app/player/PlayerTransport.h"
#include "app/player/ReelPictureSource.h"
#include "app/player/Transport.h"
#include "platform/HostClock.h"

namespace glintro {

// Plays a reel as it is edited: what exports would show, drawn by their renderer in the size of the view, in
// sync with its sound. Main thread; no call waits for disk, decoding, drawing or the sound server.
//
//   Transport (sound or host clock) ── orders, clock ──► PicturePipeline: decode ahead ─► draw ─►
//   FrameMailbox
class ReelPlayer final : public PlayerTransport {
    Q_OBJECT
    Q_PROPERTY(bool isPlaying READ isPlaying NOTIFY isPlayingChanged FINAL)
    Q_PROPERTY(bool isLooping READ isLooping WRITE setLooping NOTIFY isLoopingChanged FINAL)
    Q_PROPERTY(double rate READ rate WRITE setRate NOTIFY rateChanged FINAL)

  public:
    // What it needs. Functions without a word about it may be called on any thread, also after the player is
    // gone.
    struct Parts {
        HostTime hostTime = glintro::hostTime;
        OpenSoundOutput openSound = {};   // stereo; empty: plays silently
        LoadWallpaper loadWallpaper = {}; // empty: none
        OpenPictures openPictures = ReelPictureSource::open;
    };

    explicit ReelPlayer(Parts parts, QObject* parent = nullptr);
    // Waits for the threads of the open reel, half a second at most.
    ~ReelPlayer() override;

    void open(const Project& project, const ProjectSettings& settings, Seconds compositionTime) override;
    void setSettings(const ProjectSettings& settings, Seconds compositionTime) override;
    void seek(Seconds compositionTime, SeekKind kind) override;
    // At the end it begins again.
    void play() override;
    void pause() override;
    // The files are closed as soon as the disk lets go of them.
    void close() override;

    // How many times as fast as the reel itself; held to 0.25..8.
    void setRate(double rate) override;
    // Over the whole reel, or the range.
    void setLooping(bool isLooping) override;
    // Playing keeps to the range, such as a shot; `nullopt`: the whole reel. Forgotten by close() and by
    // changes of structure, which move what it means.
    void setRange(std::optional<PlayRange> range) override;
    // In device pixels: the picture is the largest of the reel's shape that fits in. Empty: none is drawn.
    void setViewSize(PixelSize view);

    bool isPlaying() const { return transport_.isPlaying(); }
    bool isLooping() const { return transport_.isLooping(); }
    double rate() const { return transport_.rate(); }
    Seconds position() const; // composition time
    Seconds duration() const { return transport_.duration(); }
    // Whether it is paused and the picture of its position, as it is to look, is the newest one.
    bool isAtRest() const;

    // The newest picture; from any thread, also after the player is gone.
    std::shared_ptr<const FrameMailbox> mailbox() const { return mailbox_; }
    PlayerStatistics statistics() const;

  signals:
    // A new picture is in the mailbox, possibly several since the last signal.
    void pictureReady();
    void isPlayingChanged();
    void isLoopingChanged();
    void rateChanged();

  private:
    void finishOpening(const PictureSource::Properties& properties);
    void setStructure(const PictureSource::Properties& movie, Seconds compositionTime);
    void orderPictures(SeekKind seek = SeekKind::exact);
    void handleShown();
    void handleFailure(const QString& message);
    void tick();
    void watch();
    void updateTimers();
    Seconds now() const { return parts_.hostTime(); }

    Parts parts_;
    std::shared_ptr<MainThreadPost> post_;
    std::shared_ptr<FrameMailbox> mailbox_ = std::make_shared<FrameMailbox>();
    std::shared_ptr<std::atomic<bool>> isShownPosted_ = std::make_shared<std::atomic<bool>>(false);
    Transport transport_;
    QTimer ticking_;  // while it plays
    QTimer watching_; // whether the disk answers, while a reel is open
    PixelSize view_;

    // The open reel.
    int reel_ = 0;                              // counts openings: reports of an earlier one are ignored
    std::unique_ptr<PicturePipeline> pipeline_; // null while none is open
    std::filesystem::path movieFile_;
    ProjectSettings settings_;
    std::optional<PictureSource::Properties> movie_; // once it is opened
    std::shared_ptr<const TimeMap> map_;             // of the settings, once it is opened
    Seconds startTime_ = 0;                          // where the first picture is wanted
    bool hasFailed_ = false;                         // was said
};

} // namespace glintro
