#include "app/pictures/MomentPictures.h"

#include <QSet>
#include <chrono>
#include <utility>

#include "app/pictures/Moments.h"

namespace glintro {
namespace {

// The decoder looks at its stop token between two frames, so this is rarely used up.
constexpr std::chrono::milliseconds kStopTimeout{200};

} // namespace

MomentPictures::MomentPictures(Project project, qsizetype limit, QObject* parent)
    : QObject(parent), limit_(limit), post_(std::make_shared<MainThreadPost>(*this)) {
    const auto deliver = [this, post = post_](int key, const QImage& picture) {
        (*post)([this, key, picture] { receive(key, picture); });
    };
    pump_ = std::make_shared<MomentPump>(std::move(project), kLongSide, deliver);
}

MomentPictures::~MomentPictures() {
    post_->close();
    (void)pump_->replace({});
    (void)queue_.waitUntilIdle(kStopTimeout);
}

void MomentPictures::request(const std::vector<Seconds>& sourceTimes) {
    QSet<int> keys;
    std::vector<MomentPump::Moment> missing;
    for (const Seconds time : sourceTimes) {
        const int key = momentKey(time);
        const bool isNew = !keys.contains(key);
        keys.insert(key);
        if (isNew && !pictures_.contains(key)) missing.push_back({key, time});
    }
    for (const int key : std::as_const(wanted_))
        if (pictures_.contains(key)) unwanted_.append(key);
    erase_if(unwanted_, [&](int key) { return keys.contains(key); });
    wanted_ = keys;
    if (pump_->replace(missing)) queue_.post([pump = pump_] { pump->run(); });
}

void MomentPictures::receive(int key, const QImage& picture) {
    pump_->received(key);
    if (picture.isNull()) {
        emit pictureFailed(key);
        return;
    }
    if (!makeRoom(picture.sizeInBytes())) {
        (void)pump_->replace({});
        return;
    }
    if (!wanted_.contains(key)) unwanted_.append(key); // superseded when it was on its way
    pictures_[key] = picture;
    bytes_ += picture.sizeInBytes();
    emit pictureReady(key, picture);
}

// False when what is wanted takes all the room.
bool MomentPictures::makeRoom(qsizetype bytes) {
    while (bytes_ + bytes > limit_ && !unwanted_.isEmpty())
        bytes_ -= pictures_.take(unwanted_.takeFirst()).sizeInBytes();
    return bytes_ + bytes <= limit_;
}

} // namespace glintro
