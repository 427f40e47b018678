#pragma once

#include <QHash>
#include <QImage>
#include <QObject>
#include <QString>
#include <QTimer>
#include <memory>
#include <stop_token>

#include "app/base/BackgroundQueue.h"
#include "app/base/MainThreadPost.h"
#include "app/pictures/WallpaperSource.h"
#include "core/reel/Project.h"

namespace glintro {

// The tiles of the Look panel: the frame under the playhead as each Look would show it. The frame is decoded
// once and drawn under every Look. Main thread; works on a thread of its own, which the destructor waits for
// 0.2 s at most.
class LookPreviews : public QObject {
    Q_OBJECT

  public:
    // Pictures fit into a tile; they have the reel's aspect.
    static constexpr PixelSize kTile{122, 69};      // device-independent pixels
    static constexpr double kLargestPixelRatio = 2; // device pixels to one of those

    LookPreviews(Project project, WallpaperSource wallpaper, QObject* parent = nullptr);
    ~LookPreviews() override;

    // For the next refresh; kept within 1 to kLargestPixelRatio.
    void setPixelRatio(double ratio) { pixelRatio_ = ratio; }

    // After the delay, in seconds, draws a tile for every Look: the settings with the Look applied, at a
    // source time. Replaces an earlier call that waits, and stops one that runs before its next tile.
    void refresh(const ProjectSettings& settings, Seconds playhead, Seconds delay);
    // Drops what waits and stops what runs: no signal of it comes any more.
    void cancel();

    // By the Look's name, as drawn last; null while there is none.
    QImage preview(const QString& look) const { return previews_.value(look); }
    const QHash<QString, QImage>& previews() const { return previews_; }

  signals:
    void previewReady(const QString& look, const QImage& picture);
    void finished(); // a refresh was carried out whole
    void failed();   // the recording cannot be read; the previews stay as they were

  private:
    struct Task;
    struct Worker;
    void start();
    void show(const QString& look, const QImage& picture);

    std::shared_ptr<Worker> worker_; // shared with the thread
    QHash<QString, QImage> previews_;
    ProjectSettings settings_; // of the refresh that waits or runs, as the playhead
    Seconds playhead_ = 0;
    double pixelRatio_ = 1;
    std::stop_source running_{std::nostopstate};
    QTimer delay_;
    std::shared_ptr<MainThreadPost> post_;
    BackgroundQueue queue_;
};

} // namespace glintro
