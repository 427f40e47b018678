#pragma once

#include <QHash>
#include <QImage>
#include <QObject>
#include <memory>
#include <span>

#include "core/reel/Project.h"

namespace glintro {

// Small pictures of one reel's recording, as it was filmed, at many moments: for the cards of shots and the
// film strip. Kept by momentKey(). Main thread; decodes on a thread of its own and never waits for it.
class MomentPictures : public QObject {
    Q_OBJECT

  public:
    static constexpr int kLongSide = 240;           // pixels
    static constexpr int kLimit = 96 * 1024 * 1024; // bytes of pictures that are kept

    explicit MomentPictures(Project project, QObject* parent = nullptr);
    ~MomentPictures() override;

    // The moments, in source seconds, that are wanted from now on, those in sight first: they are made in
    // this order, leaving out what is there. Replaces all that was wanted before; a running decode goes on
    // only if its moment is still among them. Pictures that are no longer wanted stay as long as there is
    // room for them; what would not fit even then is not made.
    void request(std::span<const Seconds> sourceTimes);

    // Null while there is none.
    QImage picture(int key) const { return pictures_.value(key); }
    const QHash<int, QImage>& pictures() const { return pictures_; }

  signals:
    void pictureReady(int key, const QImage& picture);
    // The recording, or its frame at this moment, cannot be read. Not tried again for this request.
    void pictureFailed(int key);
    // Everything that was requested is there or has failed.
    void settled();

  private:
    class Pump;
    void add(int key, const QImage& picture);
    void makeRoom(qsizetype bytes);

    std::shared_ptr<Pump> pump_;
    QHash<int, QImage> pictures_;
    QList<int> wanted_;   // keys of the last request
    QList<int> unwanted_; // keys of pictures that are there but not wanted, longest ago first
    qsizetype bytes_ = 0; // of pictures_
};

} // namespace glintro
