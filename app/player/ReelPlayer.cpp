#include "app/player/ReelPlayer.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace glintro {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kTick{16};
constexpr milliseconds kTickBeforeSound{4}; // its first sample starts the clock
constexpr milliseconds kWatch{500};
constexpr milliseconds kLongestEnd{500};
// A disk that spins up, or a network that stalls for a moment, answers sooner.
constexpr Seconds kLongestDecoding = 8;
constexpr auto kDiskHangs =
    "The recording’s disk doesn’t answer. Check that it is still connected, then open the reel again.";

} // namespace

ReelPlayer::ReelPlayer(Parts parts, QObject* parent)
    : PlayerTransport(parent), parts_(std::move(parts)), post_(std::make_shared<MainThreadPost>(*this)) {
    ticking_.setTimerType(Qt::PreciseTimer);
    watching_.setInterval(kWatch);
    connect(&ticking_, &QTimer::timeout, this, &ReelPlayer::tick);
    connect(&watching_, &QTimer::timeout, this, &ReelPlayer::watch);
}

ReelPlayer::~ReelPlayer() {
    post_->close();
    if (pipeline_) pipeline_->stop(kLongestEnd);
}

void ReelPlayer::open(const Project& project, const ProjectSettings& settings, Seconds compositionTime) {
    close();
    movieFile_ = project.rawURL();
    settings_ = settings;
    startTime_ = compositionTime;
    const auto report = [post = post_, this, reel = reel_](const auto& handle) {
        (*post)([this, reel, handle] {
            if (reel == reel_) handle();
        });
    };
    PicturePipeline::Handlers handlers;
    handlers.opened = [this, report](const PictureSource::Properties& properties) {
        report([this, properties] { finishOpening(properties); });
    };
    handlers.failed = [this, report](const Failure& failure) {
        report([this, message = QString::fromStdString(failure.message)] { handleFailure(message); });
    };
    isShownPosted_ = std::make_shared<std::atomic<bool>>(false);
    handlers.shown = [this, report, isPosted = isShownPosted_] {
        if (!isPosted->exchange(true)) report([this] { handleShown(); });
    };
    pipeline_ = std::make_unique<PicturePipeline>(
        project, PicturePipeline::Parts{parts_.hostTime, parts_.openPictures, parts_.loadWallpaper, mailbox_},
        handlers);
    pipeline_->schedule().setView(view_);
    pipeline_->schedule().setSettings(std::make_shared<const ProjectSettings>(settings));
    watching_.start();
}

void ReelPlayer::finishOpening(const PictureSource::Properties& properties) {
    movie_ = properties;
    map_ = std::make_shared<const TimeMap>(settings_, properties.duration);
    std::unique_ptr<SoundPlayback> sound;
    if (properties.hasAudio && parts_.openSound)
        sound = std::make_unique<SoundPlayback>(parts_.openSound, movieFile_, *map_, startTime_);
    transport_.open(map_->compDuration(), startTime_, std::move(sound));
    orderPictures();
    emit opened();
}

void ReelPlayer::close() {
    const bool wasPlaying = isPlaying();
    ++reel_;
    pipeline_ = nullptr;
    transport_.close();
    mailbox_->clear();
    movie_ = std::nullopt;
    hasFailed_ = false;
    watching_.stop();
    updateTimers();
    if (wasPlaying) emit isPlayingChanged();
}

// What differs decides what is done: other pieces of the recording need another map, all else is drawn again.
void ReelPlayer::setSettings(const ProjectSettings& settings, Seconds compositionTime) {
    if (!pipeline_ || settings == settings_) return;
    const ProjectSettings old = std::exchange(settings_, settings);
    pipeline_->schedule().setSettings(std::make_shared<const ProjectSettings>(settings));
    if (!movie_) {
        startTime_ = compositionTime;
    } else if (!settings.sameStructure(old)) {
        setStructure(*movie_, compositionTime);
    } else if (settings.showCamera && !old.showCamera && !isPlaying()) {
        orderPictures(); // its camera frame was not decoded
    }
}

void ReelPlayer::setStructure(const PictureSource::Properties& movie, Seconds compositionTime) {
    map_ = std::make_shared<const TimeMap>(settings_, movie.duration);
    transport_.setRange(std::nullopt);
    transport_.setMap(*map_, compositionTime, now());
    orderPictures();
}

void ReelPlayer::seek(Seconds compositionTime, SeekKind kind) {
    if (!movie_) {
        startTime_ = compositionTime;
        return;
    }
    transport_.seek(compositionTime, now());
    orderPictures(kind);
}

void ReelPlayer::play() {
    if (!movie_ || isPlaying()) return;
    transport_.play(now());
    orderPictures();
    emit isPlayingChanged();
}

void ReelPlayer::pause() {
    if (!isPlaying()) return;
    transport_.pause(now());
    orderPictures();
    emit advanced(position());
    emit isPlayingChanged();
}

void ReelPlayer::setRate(double rate) {
    const double old = transport_.rate();
    transport_.setRate(rate, now());
    if (transport_.rate() == old) return;
    if (isPlaying()) orderPictures();
    emit rateChanged();
}

void ReelPlayer::setLooping(bool isLooping) {
    if (isLooping == transport_.isLooping()) return;
    transport_.setLooping(isLooping);
    emit isLoopingChanged();
}

void ReelPlayer::setRange(std::optional<PlayRange> range) {
    transport_.setRange(range);
    if (isPlaying()) {
        transport_.seek(position(), now());
        orderPictures();
    }
}

void ReelPlayer::setViewSize(PixelSize view) {
    view_ = view;
    if (pipeline_) pipeline_->schedule().setView(view);
}

Seconds ReelPlayer::position() const {
    return movie_ ? transport_.position(now()) : startTime_;
}

bool ReelPlayer::isAtRest() const {
    return pipeline_ && movie_ && !isPlaying() && pipeline_->schedule().isAtRest();
}

PlayerStatistics ReelPlayer::statistics() const {
    return pipeline_ ? pipeline_->schedule().statistics() : PlayerStatistics();
}

// The pictures of where the transport is and of what it does.
void ReelPlayer::orderPictures(SeekKind seek) {
    using Kind = PictureOrder::Kind;
    pipeline_->schedule().order({.kind = isPlaying() ? Kind::play : Kind::still,
                                 .clock = transport_.clock(),
                                 .map = map_,
                                 .compositionTime = transport_.clock().at(now()),
                                 .seek = seek,
                                 .end = transport_.range().end,
                                 .rate = transport_.rate()});
    updateTimers();
}

void ReelPlayer::handleShown() {
    isShownPosted_->store(false);
    if (transport_.isPriming() && pipeline_->schedule().hasShown()) tick();
    emit pictureReady();
}

void ReelPlayer::handleFailure(const QString& message) {
    pause();
    if (std::exchange(hasFailed_, true)) return;
    if (!movie_) close();
    emit failed(message);
}

void ReelPlayer::tick() {
    const Seconds hostTime = now();
    if (transport_.isPriming() && pipeline_->schedule().hasShown()) transport_.showsFirstPicture(hostTime);
    const Transport::Event event = transport_.advance(hostTime);
    if (event == Transport::Event::none) {
        pipeline_->schedule().setClock(transport_.clock());
        updateTimers();
    } else {
        orderPictures();
    }
    emit advanced(position());
    if (event != Transport::Event::ended) return;
    emit isPlayingChanged();
    emit ended();
}

// A file system that hangs never says so.
void ReelPlayer::watch() {
    if (pipeline_ && pipeline_->schedule().decodingFor() > kLongestDecoding)
        handleFailure(QString::fromUtf8(kDiskHangs));
}

void ReelPlayer::updateTimers() {
    if (!isPlaying()) return ticking_.stop();
    const milliseconds interval = transport_.isRunning() ? kTick : kTickBeforeSound;
    if (!ticking_.isActive() || ticking_.intervalAsDuration() != interval) ticking_.start(interval);
}

} // namespace glintro
