#pragma once

#include <QCache>
#include <QImage>
#include <QList>
#include <QObject>
#include <QSet>
#include <QString>
#include <functional>

#include "core/reel/Project.h"

namespace glintro {

// Who makes the pictures of reels, in the background; the answers come to the slots of ReelThumbnails. Each
// may be empty.
struct PictureMaker {
    std::function<void(const Project&)> card = {};
    std::function<void(const Project&)> scrub = {};
    std::function<void(const QString& folder)> cancel = {};
};

// The pictures of the cards that were shown last, by the reel's folder: at most 40 MB of stills and 32
// MB of the frames for running the pointer over a card; those that were not looked at the longest go first.
// Main thread.
class ReelThumbnails : public QObject {
    Q_OBJECT

  public:
    explicit ReelThumbnails(PictureMaker maker, QObject* parent = nullptr);

    // Null or empty when there is none. Asking counts as looking.
    QImage thumbnail(const QString& folder) const;
    QList<QImage> scrubFrames(const QString& folder) const;
    // Asking this does not.
    bool hasThumbnail(const QString& folder) const { return thumbnails_.contains(folder); }
    bool hasScrubFrames(const QString& folder) const { return scrubFrames_.contains(folder); }

    // Does nothing when the picture is there.
    void makeThumbnail(const Project& project);
    // Does nothing when the frames are there or being made.
    void loadScrubFrames(const Project& project);
    // A card that is out of sight.
    void cancel(const QString& folder);

    // The reel is edited: a picture that is shown is made again, and stays until the new one is there.
    void looksChanged(const Project& project);
    void forget(const QString& folder);

    // What PictureMaker was asked for.
    void cardReady(const QString& folder, const QImage& picture);
    void scrubReady(const QString& folder, const QList<QImage>& frames);
    void scrubFailed(const QString& folder);

  signals:
    // Also when it is gone, to make room or because it was forgotten.
    void thumbnailChanged(const QString& folder);
    void scrubFramesChanged(const QString& folder);

  private:
    const PictureMaker maker_;
    mutable QCache<QString, QImage> thumbnails_;
    mutable QCache<QString, QList<QImage>> scrubFrames_;
    QSet<QString> loadingScrubs_;
};

} // namespace glintro
