#pragma once

#include <QHash>
#include <QImage>
#include <QList>
#include <QObject>
#include <QSet>
#include <memory>
#include <vector>

#include "app/base/BackgroundQueue.h"
#include "app/base/MainThreadPost.h"
#include "app/pictures/MomentPump.h"

namespace glintro {

// Small pictures of one reel's recording, as it was filmed, at many moments: for the cards of shots and the
// film strip. Kept by momentKey(). Main thread; decodes on a thread of its own, which it waits for only a
// moment at the end.
class MomentPictures : public QObject {
    Q_OBJECT

  public:
    static constexpr int kLongSide = 240; // pixels
    static constexpr qsizetype kLimit = qsizetype{96} << 20;

    // Keeps at most `limit` bytes of pictures.
    explicit MomentPictures(Project project, qsizetype limit = kLimit, QObject* parent = nullptr);
    ~MomentPictures() override;

    // The moments, in source seconds, that are wanted from now on, those in sight first: they are made in
    // this order, leaving out what is there. Replaces all that was wanted before; a running decode goes on
    // only if its moment is still among them. Pictures that are no longer wanted stay as long as there is
    // room for them, and moments that would not fit even without them are not made.
    void request(const std::vector<Seconds>& sourceTimes);

    // Null while there is none.
    QImage picture(int key) const { return pictures_.value(key); }
    const QHash<int, QImage>& pictures() const { return pictures_; }

  signals:
    void pictureReady(int key, const QImage& picture);
    // The recording, or its frame at this moment, cannot be read. Tried again when it is requested again.
    void pictureFailed(int key);

  private:
    void receive(int key, const QImage& picture);
    bool makeRoom(qsizetype bytes);

    const qsizetype limit_;
    QHash<int, QImage> pictures_;
    QSet<int> wanted_;    // keys of the last request
    QList<int> unwanted_; // keys of other pictures that are there, longest unwanted first
    qsizetype bytes_ = 0; // of pictures_
    std::shared_ptr<MainThreadPost> post_;
    std::shared_ptr<MomentPump> pump_;
    BackgroundQueue queue_;
};

} // namespace glintro
