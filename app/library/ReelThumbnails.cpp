#include "app/library/ReelThumbnails.h"

#include <QStringList>
#include <numeric>
#include <utility>

#include "app/library/Reel.h"

namespace glintro {
namespace {

constexpr int kThumbnailRoom = 40 * 1024; // kB
constexpr int kScrubRoom = 32 * 1024;

int costOf(const QImage& image) {
    return static_cast<int>(image.sizeInBytes() / 1024) + 1;
}

// Those that had to go when `added` came.
QStringList droppedOf(const QStringList& before, const QString& added, const auto& cache) {
    QStringList dropped;
    for (const QString& folder : before)
        if (folder != added && !cache.contains(folder)) dropped << folder;
    return dropped;
}

} // namespace

ReelThumbnails::ReelThumbnails(PictureMaker maker, QObject* parent)
    : QObject(parent), maker_(std::move(maker)), thumbnails_(kThumbnailRoom), scrubFrames_(kScrubRoom) {}

QImage ReelThumbnails::thumbnail(const QString& folder) const {
    const QImage* picture = thumbnails_.object(folder);
    return picture != nullptr ? *picture : QImage();
}

QList<QImage> ReelThumbnails::scrubFrames(const QString& folder) const {
    const QList<QImage>* frames = scrubFrames_.object(folder);
    return frames != nullptr ? *frames : QList<QImage>();
}

void ReelThumbnails::makeThumbnail(const Project& project) {
    if (maker_.card && !thumbnails_.contains(folderText(project.folder()))) maker_.card(project);
}

void ReelThumbnails::loadScrubFrames(const Project& project) {
    const QString folder = folderText(project.folder());
    if (!maker_.scrub || scrubFrames_.contains(folder) || loadingScrubs_.contains(folder)) return;
    loadingScrubs_.insert(folder);
    maker_.scrub(project);
}

void ReelThumbnails::cancel(const QString& folder) {
    loadingScrubs_.remove(folder);
    if (maker_.cancel) maker_.cancel(folder);
}

void ReelThumbnails::looksChanged(const Project& project) {
    if (maker_.card && thumbnails_.contains(folderText(project.folder()))) maker_.card(project);
}

void ReelThumbnails::forget(const QString& folder) {
    cancel(folder);
    if (thumbnails_.remove(folder)) emit thumbnailChanged(folder);
    if (scrubFrames_.remove(folder)) emit scrubFramesChanged(folder);
}

void ReelThumbnails::cardReady(const QString& folder, const QImage& picture) {
    const QStringList before = thumbnails_.keys();
    thumbnails_.insert(folder, new QImage(picture), costOf(picture));
    emit thumbnailChanged(folder);
    for (const QString& other : droppedOf(before, folder, thumbnails_)) emit thumbnailChanged(other);
}

void ReelThumbnails::scrubReady(const QString& folder, const QList<QImage>& frames) {
    loadingScrubs_.remove(folder);
    const int cost = std::accumulate(frames.begin(), frames.end(), 0,
                                     [](int sum, const QImage& frame) { return sum + costOf(frame); });
    const QStringList before = scrubFrames_.keys();
    scrubFrames_.insert(folder, new QList<QImage>(frames), cost);
    emit scrubFramesChanged(folder);
    for (const QString& other : droppedOf(before, folder, scrubFrames_)) emit scrubFramesChanged(other);
}

void ReelThumbnails::scrubFailed(const QString& folder) {
    loadingScrubs_.remove(folder);
}

} // namespace glintro
