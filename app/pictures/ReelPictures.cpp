#include "app/pictures/ReelPictures.h"

#include <QFile>
#include <chrono>
#include <utility>

#include "app/pictures/PictureKeys.h"
#include "app/pictures/ReelStills.h"

namespace glintro {
namespace {

// For what waits to be written when the program ends; what is late is made again some day.
constexpr std::chrono::milliseconds kKeepTimeout{200};

} // namespace

// A request on its way through the background threads.
struct ReelPictures::Job {
    Kind kind;
    Project project;
    QString folder;
    std::uint64_t ticket = 0;

    std::string shown() const {
        return kind == Kind::card ? shownOnCard(project.info) : shownInScrub(project.info);
    }
    PictureKey key(const WallpaperSource& wallpaper) const {
        return kind == Kind::card ? cardKey(project, wallpaper) : scrubKey(project);
    }
    Result<QList<QImage>> pictures(WallpaperMemo& wallpaper, const std::stop_token& stop) const {
        return kind == Kind::card ? drawCard(project, kCardLongSide, wallpaper, stop)
                                  : grabScrubFrames(project, {kScrubFrames, kScrubWidth}, stop);
    }
};

ReelPictures::ReelPictures(std::shared_ptr<PictureCache> cache, WallpaperSource wallpaper, QObject* parent)
    : QObject(parent),
      cache_(cache ? std::move(cache) : std::make_shared<PictureCache>(std::filesystem::path())),
      wallpaper_(std::move(wallpaper)),
      wallpaperMemo_(std::make_shared<WallpaperMemo>(wallpaper_)),
      post_(std::make_shared<MainThreadPost>(*this)) {}

ReelPictures::~ReelPictures() {
    post_->close();
    (void)keeper_.waitUntilIdle(kKeepTimeout);
}

QString ReelPictures::folderOf(const Project& project) {
    return QFile::decodeName(project.folder().c_str());
}

// By the folder's bytes, which need not be UTF-8.
std::string ReelPictures::nameOf(Kind kind, const std::filesystem::path& folder) {
    return (kind == Kind::card ? "card " : "scrub ") + folder.string();
}

void ReelPictures::requestCard(const Project& project) {
    request(Kind::card, project);
}

void ReelPictures::requestScrub(const Project& project) {
    request(Kind::scrub, project);
}

void ReelPictures::request(Kind kind, const Project& project) {
    const auto job = std::make_shared<const Job>(Job{kind, project, folderOf(project), ++lastTicket_});
    const std::string name = nameOf(kind, project.folder());
    std::string shown = job->shown();
    const auto known = requests_.find(name);
    if (known != requests_.end() && known->second.shown == shown) {
        known->second.urgency = lastTicket_;
        lookups_.raise(name, lastTicket_);
        makers_.raise(name, lastTicket_);
        return;
    }
    makers_.drop(name);
    requests_[name] = {std::move(shown), lastTicket_, lastTicket_};
    lookUp(name, job);
}

void ReelPictures::cancel(const QString& folder) {
    drop(Kind::card, folder);
    drop(Kind::scrub, folder);
}

void ReelPictures::drop(Kind kind, const QString& folder) {
    const std::string name = nameOf(kind, QFile::encodeName(folder).toStdString());
    requests_.erase(name);
    lookups_.drop(name);
    makers_.drop(name);
}

// Null when the job was cancelled or superseded.
const ReelPictures::Request* ReelPictures::requestOf(const Job& job) const {
    const auto found = requests_.find(nameOf(job.kind, job.project.folder()));
    return found != requests_.end() && found->second.ticket == job.ticket ? &found->second : nullptr;
}

void ReelPictures::lookUp(const std::string& name, const JobPtr& job) {
    auto task = [this, job, cache = cache_, wallpaper = wallpaper_, post = post_](const std::stop_token&) {
        const PictureKey key = job->key(wallpaper);
        auto pictures = cache->load(key);
        (*post)([this, job, key, pictures = std::move(pictures)] {
            if (pictures) {
                finish(*job, *pictures);
            } else {
                make(job, key);
            }
        });
    };
    lookups_.push(name, job->ticket, std::move(task));
}

void ReelPictures::make(const JobPtr& job, const PictureKey& key) {
    const Request* wanted = requestOf(*job);
    if (wanted == nullptr) return;
    auto task = [this, job, key, wallpaper = wallpaperMemo_, post = post_](const std::stop_token& stop) {
        const auto pictures = job->pictures(*wallpaper, stop);
        if (stop.stop_requested()) return;
        (*post)([this, job, key, made = pictures.value_or(QList<QImage>())] {
            if (finish(*job, made)) keeper_.post([cache = cache_, key, made] { cache->store(key, made); });
        });
    };
    makers_.push(nameOf(job->kind, job->project.folder()), wanted->urgency, std::move(task));
}

// Hands pictures out, none where they could not be made. False when nobody wants them any more.
bool ReelPictures::finish(const Job& job, const QList<QImage>& pictures) {
    if (requestOf(job) == nullptr) return false;
    requests_.erase(nameOf(job.kind, job.project.folder()));
    const QString& folder = job.folder;
    if (job.kind == Kind::card) {
        pictures.isEmpty() ? emit cardFailed(folder) : emit cardReady(folder, pictures.first());
    } else {
        pictures.isEmpty() ? emit scrubFailed(folder) : emit scrubReady(folder, pictures);
    }
    return true;
}

} // namespace glintro
