#pragma once

#include <QImage>
#include <QList>
#include <QObject>
#include <QString>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string>

#include "app/base/BackgroundQueue.h"
#include "app/base/MainThreadPost.h"
#include "app/pictures/PictureCache.h"
#include "app/pictures/RequestStack.h"
#include "app/pictures/WallpaperMemo.h"
#include "app/pictures/WallpaperSource.h"
#include "core/reel/Project.h"

namespace glintro {

// The pictures of a library's cards: a styled still of each reel, and the frames shown while the pointer
// moves over it. From the cache where that has them, which takes a few milliseconds; else made one after the
// other in the background. The request that came last is served first. Main thread; never blocks, and does
// not wait for its threads when it goes.
//
// Each request is answered once, unless it is cancelled or superseded, and always after the call returned. A
// request for what is being made already changes nothing but the order; one for a reel whose looks have
// changed meanwhile replaces the older one. A failure is not tried again until somebody asks again.
class ReelPictures : public QObject {
    Q_OBJECT

  public:
    static constexpr int kCardLongSide = 720; // pixels
    static constexpr int kScrubFrames = 12;
    static constexpr int kScrubWidth = 480; // pixels at most

    // `cache` may be null.
    ReelPictures(std::shared_ptr<PictureCache> cache, WallpaperSource wallpaper, QObject* parent = nullptr);
    ~ReelPictures() override;

    // How signals and cancel() name a reel: its folder's path.
    static QString folderOf(const Project& project);

    // A still with the reel's own settings, a third into it.
    void requestCard(const Project& project);
    // Twelve frames of the recording as it was filmed, evenly over its length.
    void requestScrub(const Project& project);

    // What waits for the reel is dropped, and what runs is stopped: a row that has left the view.
    void cancel(const QString& folder);

  signals:
    void cardReady(const QString& folder, const QImage& picture);
    void scrubReady(const QString& folder, const QList<QImage>& frames);
    void cardFailed(const QString& folder);
    void scrubFailed(const QString& folder);

  private:
    enum class Kind { card, scrub };
    struct Request {
        std::string shown;         // of the settings: a request that shows the same is the same
        std::uint64_t ticket = 0;  // of the job that answers it
        std::uint64_t urgency = 0; // the ticket of the last call that asked for it
    };
    struct Job;
    using JobPtr = std::shared_ptr<const Job>;

    static std::string nameOf(Kind kind, const std::filesystem::path& folder);
    void request(Kind kind, const Project& project);
    void drop(Kind kind, const QString& folder);
    const Request* requestOf(const Job& job) const;
    void lookUp(const std::string& name, const JobPtr& job);
    void make(const JobPtr& job, const PictureKey& key);
    bool finish(const Job& job, const QList<QImage>& pictures);

    const std::shared_ptr<PictureCache> cache_;
    const WallpaperSource wallpaper_;
    const std::shared_ptr<WallpaperMemo> wallpaperMemo_; // used by the makers' thread
    std::map<std::string, Request> requests_;            // by nameOf(): not yet answered
    std::uint64_t lastTicket_ = 0;
    std::shared_ptr<MainThreadPost> post_;
    RequestStack lookups_; // apart from the makers: a card that is cached waits for no decoding
    RequestStack makers_;
    BackgroundQueue keeper_; // what was made is written to the cache beside them
};

} // namespace glintro
