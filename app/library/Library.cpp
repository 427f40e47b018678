#include "app/library/Library.h"

#include <QFile>
#include <QPointer>
#include <QStringList>
#include <algorithm>
#include <cerrno>
#include <iterator>
#include <memory>
#include <utility>

#include "app/library/LibrarySearch.h"
#include "app/library/ReelImport.h"
#include "app/library/ReelTrash.h"
#include "core/reel/ProjectUpdate.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;

// The clock may be set, and the machine may sleep: a timer to midnight alone would miss it.
constexpr auto kLongestWait = milliseconds(60'000);
constexpr auto kLastWrites = milliseconds(2000);
constexpr std::size_t kMostEntries = 16; // that are read and put into the lists one by one

fs::path folderOf(const QString& text) {
    return QFile::encodeName(text).toStdString();
}

} // namespace

Library::Library(Seams seams, const Timing& timing, QObject* parent)
    : QObject(parent),
      seams_(std::move(seams)),
      reels_(seams_.calendar),
      thumbnails_(seams_.pictures),
      recovery_(timing.recoveryRest),
      reader_(seams_.scan, timing.diskTimeout),
      today_(seams_.calendar.today()) {
    connectParts();
    waitForMidnight();
}

Library::~Library() {
    reader_.stopScan(); // writes wait behind it
    if (!saving_.empty() || !trashing_.empty() || restoring_ > 0)
        static_cast<void>(reader_.disk().waitUntilIdle(kLastWrites));
}

void Library::connectParts() {
    connect(&reader_, &LibraryReader::scanned, this, &Library::scanned);
    connect(&reader_, &LibraryReader::entriesRead, this, &Library::entriesRead);
    connect(&reader_, &LibraryReader::changedOutside, this, &Library::changedOutside);
    connect(&reader_, &LibraryReader::hung, this, &Library::diskHung);
    connect(&recovery_, &LibraryRecovery::rested, this,
            [this](const std::vector<fs::path>& folders) { reader_.read(folders, projects()); });
    connect(&recovery_, &LibraryRecovery::recovered, this, &Library::recovered);
    connect(&imports_, &ImportQueue::imported, this, [this](const Project& project, bool wasCancelled) {
        put({project, true});
        if (wasCancelled) return;
        openProject_ = project;
        emit openProjectChanged();
    });
    connect(&imports_, &ImportQueue::failed, this, &Library::showProblem);
    connect(&thumbnails_, &ReelThumbnails::thumbnailChanged, &reels_, [this](const QString& folder) {
        reels_.pictureChanged(folder, ReelList::PictureRole, thumbnails_.hasThumbnail(folder));
    });
    connect(&thumbnails_, &ReelThumbnails::scrubFramesChanged, &reels_, [this](const QString& folder) {
        reels_.pictureChanged(folder, ReelList::ScrubRole, thumbnails_.hasScrubFrames(folder));
    });
    midnight_.setSingleShot(true);
    midnight_.setTimerType(Qt::PreciseTimer);
    connect(&midnight_, &QTimer::timeout, this, &Library::waitForMidnight);
}

void Library::reload() {
    root_ = seams_.folder().root();
    touched_.clear();
    recovery_.forgetFailures();
    setLoading(true);
    reader_.scan(root_, projects());
}

void Library::activated() {
    waitForMidnight();
    const bool isWaited = access_ == Access::notAnswering && (isLoading_ || reader_.disk().isStuck());
    if (isWaited && seams_.folder().root() == root_) return;
    if (access_ != Access::readable || !reader_.seesChanges()) reload();
}

void Library::scanned(const LibraryReading& reading) {
    if (!reading.listing.isComplete) {
        if (projects().empty()) shelf_.addMissing(reading.reels);
        return publish();
    }
    const ReelPtrs before = projects();
    shelf_.replaceAll(reading.reels, touched_);
    touched_.clear();
    setAccess(reading.listing.access == LibraryListing::Access::unreadable ? Access::unreadable
                                                                           : Access::readable);
    publish();
    refreshCards(before);
    setLoading(false);
    recoverFrom(reading.listing.content);
    if (const auto& imports = reading.listing.content.abandonedImports; !imports.empty())
        reader_.disk().post([imports]() -> DiskQueue::Publish {
            for (const fs::path& folder : imports) removeAbandonedImport(folder);
            return {};
        });
}

// Of reels that have gone, or whose settings are not what they were. Both lists are in one order.
void Library::refreshCards(const ReelPtrs& before) {
    auto reel = projects().begin();
    for (const ReelPtr& old : before) {
        reel = std::find_if(reel, projects().end(), [&](const ReelPtr& each) {
            return !isListedBefore(each->project, old->project);
        });
        if (reel == projects().end() || (*reel)->project != old->project)
            thumbnails_.forget(old->folder);
        else if (*reel != old && (*reel)->project.info.settings != old->project.info.settings)
            thumbnails_.looksChanged((*reel)->project);
    }
}

void Library::entriesRead(const std::vector<EntryReading>& readings) {
    for (const EntryReading& reading : readings) replaceEntry(reading);
    publish();
    for (const EntryReading& reading : readings) recoverFrom(reading.reading.listing.content);
}

// What was read of a reel that waits to be saved is old already: of an entry with many, the others count.
void Library::replaceEntry(const EntryReading& reading) {
    const auto& [entry, read] = reading;
    const auto isSaving = [&](const ReelPtr& reel) {
        return saving_.contains(reel->project.folder().native());
    };
    ReelPtrs reels = read.reels;
    std::erase_if(reels, isSaving);
    std::ranges::copy_if(shelf_.allBelow(entry), std::back_inserter(reels), isSaving);
    const ReelPtrs before = projects();
    shelf_.replaceEntry(entry, reels);
    touched_.insert(entry.native());
    refreshCards(before);
}

void Library::recoverFrom(const FolderContent& content) {
    auto folders = content.damaged;
    folders.insert(folders.end(), content.interrupted.begin(), content.interrupted.end());
    if (!folders.empty()) recover(folders);
}

void Library::recover(const std::vector<fs::path>& folders) {
    recovery_.recover(folders, reelDefaults(seams_.preferences));
}

void Library::recovered(const LibraryRecovery::Outcome& outcome) {
    reader_.read(outcome.changed, projects());
    QStringList sentences;
    if (outcome.recovered > 0)
        sentences << QStringLiteral("Recovered %1 reel%2")
                         .arg(outcome.recovered)
                         .arg(outcome.recovered == 1 ? QString() : QStringLiteral("s"));
    for (const std::string& notice : outcome.notices) sentences << QString::fromStdString(notice);
    if (!sentences.isEmpty()) show(sentences.join(QStringLiteral(". ")), QStringLiteral("bandage.fill"));
}

void Library::changedOutside(const LibraryChanges& changes) {
    if (changes.isEverything || changes.entries.size() > kMostEntries) return reload();
    reader_.read(changes.entries, projects());
}

void Library::diskHung() {
    const bool isKnown =
        access_ == Access::notAnswering && saving_.empty() && trashing_.empty() && restoring_ == 0;
    saving_.clear();
    trashing_.clear();
    restoring_ = 0;
    setLoading(false);
    setAccess(Access::notAnswering);
    if (!isKnown) showProblem(QStringLiteral("The disk with the reels doesn’t answer"));
}

ReelPtr Library::find(const QString& folder) const {
    return shelf_.find(folderOf(folder));
}

std::optional<Project> Library::project(const QString& folder) const {
    const ReelPtr reel = find(folder);
    return reel ? std::optional(reel->project) : std::nullopt;
}

void Library::setQuery(const QString& query) {
    if (query == query_) return;
    query_ = query;
    emit queryChanged();
    publish();
}

void Library::publish() {
    const QString query = foldedQuery(query_);
    ReelPtrs found;
    if (query.isEmpty()) {
        found = projects();
    } else {
        std::ranges::copy_if(projects(), std::back_inserter(found),
                             [&](const ReelPtr& reel) { return containsFolded(reel->folded, query); });
    }
    reels_.setReels(std::move(found));
    emit projectsChanged();
}

void Library::waitForMidnight() {
    const Timestamp now = seams_.calendar.now();
    if (const QDate today = seams_.calendar.dayOf(now); today != today_) {
        today_ = today;
        reels_.refreshDays();
    }
    const auto rest = std::chrono::duration_cast<milliseconds>(seams_.calendar.startOfNextDay(now) - now);
    midnight_.start(std::clamp(rest, milliseconds(1), kLongestWait));
}

// Only the name is written: another program may be editing the reel.
void Library::rename(const QString& folder, const QString& name) {
    const ReelPtr reel = find(folder);
    const QString trimmed = trimmedName(name);
    if (!reel || trimmed.isEmpty() || trimmed == reel->name) return;
    if (trashing_.contains(reel->project.folder().native())) return;
    Project renamed = reel->project;
    renamed.info.name = trimmed.toStdString();
    projectSaved(renamed);
    save(renamed, [renamed](ProjectInfo& info) { info.name = renamed.info.name; });
    show(QStringLiteral("Renamed to “%1”").arg(trimmed), QStringLiteral("pencil"));
}

void Library::update(const Project& project) {
    if (!shelf_.find(project.folder()) || trashing_.contains(project.folder().native())) return;
    projectSaved(project);
    save(project, [record = project.info](ProjectInfo& info) { info = record; });
}

void Library::save(const Project& project, std::function<void(ProjectInfo&)> change) {
    ++saving_[project.folder().native()];
    reader_.disk().post([this, project, change = std::move(change)] {
        const auto apply = [&](ProjectInfo& info) -> Result<void> {
            change(info);
            return {};
        };
        const auto result = updateProject(project.folder(), apply);
        return [this, project, result] { saved(project, result); };
    });
}

void Library::saved(const Project& project, const Result<void>& result) {
    const auto waiting = saving_.find(project.folder().native());
    if (waiting != saving_.end() && --waiting->second <= 0) saving_.erase(waiting);
    if (!result)
        showProblem(QStringLiteral("“%1” couldn’t be saved%2")
                        .arg(QString::fromStdString(project.info.name),
                             result.error().nativeCode == EAGAIN
                                 ? QStringLiteral(": another program is saving it")
                                 : QString()));
    reader_.read({project.folder()}, projects()); // what others have written meanwhile
}

void Library::projectSaved(const Project& project) {
    const ReelPtr before = shelf_.find(project.folder());
    if (!before) return;
    shelf_.put(makeReel({project, before->isImported}));
    touched_.insert(project.folder().native());
    if (before->project.info.settings != project.info.settings) thumbnails_.looksChanged(project);
    publish();
}

void Library::put(const ListedReel& reel) {
    shelf_.put(makeReel(reel));
    touched_.insert(reel.project.folder().native());
    publish();
    reader_.read({reel.project.folder()}, projects()); // and watch it
}

void Library::recordingRegistered(const Project& project) {
    put({project});
}

void Library::trash(const QString& folder) {
    const ReelPtr reel = find(folder);
    if (!reel || !trashing_.insert(reel->project.folder().native()).second) return;
    reader_.disk().post([this, reel] {
        auto inTrash = moveToTrash(reel->project.folder());
        return [this, reel, inTrash = std::move(inTrash)] { trashed(reel, inTrash); };
    });
}

void Library::trashed(const ReelPtr& reel, const Result<fs::path>& inTrash) {
    const fs::path& folder = reel->project.folder();
    trashing_.erase(folder.native());
    if (!inTrash) {
        reader_.read({folder}, projects()); // perhaps it is gone already
        return showProblem(QString::fromStdString(inTrash.error().message));
    }
    shelf_.remove(folder);
    touched_.insert(folder.native());
    thumbnails_.forget(reel->folder);
    publish();
    emit toastShown({.text = QStringLiteral("Moved “%1” to the Trash").arg(reel->name),
                     .symbol = QStringLiteral("trash"),
                     .action = QStringLiteral("Undo"),
                     .run = undoOf(reel, *inTrash)});
}

std::function<void()> Library::undoOf(const ReelPtr& reel, const fs::path& inTrash) {
    return [self = QPointer<Library>(this), isDone = std::make_shared<bool>(false), reel, inTrash] {
        if (!self || std::exchange(*isDone, true)) return;
        self->restore(inTrash, reel->project.folder());
    };
}

void Library::restore(const fs::path& inTrash, const fs::path& folder) {
    ++restoring_;
    reader_.disk().post([this, inTrash, folder] {
        auto restored = restoreFromTrash(inTrash, folder);
        return [this, folder, restored = std::move(restored)] {
            --restoring_;
            if (!restored) return showProblem(QString::fromStdString(restored.error().message));
            reader_.read({folder}, projects());
        };
    });
}

void Library::importVideo(const QUrl& file) {
    importVideo(folderOf(file.isLocalFile() ? file.toLocalFile() : file.path()));
}

void Library::importVideo(const fs::path& file) {
    imports_.add({.file = file,
                  .library = seams_.folder(),
                  .defaults = reelDefaults(seams_.preferences),
                  .created = seams_.calendar.now()});
}

QString Library::openFolder() const {
    return openProject_ ? folderText(openProject_->folder()) : QString();
}

void Library::closeProject() {
    if (!openProject_) return;
    openProject_.reset();
    emit openProjectChanged();
}

void Library::makeThumbnail(const QString& folder) {
    if (const ReelPtr reel = find(folder)) thumbnails_.makeThumbnail(reel->project);
}

void Library::loadScrubFrames(const QString& folder) {
    if (const ReelPtr reel = find(folder)) thumbnails_.loadScrubFrames(reel->project);
}

void Library::show(const QString& text, const QString& symbol) {
    emit toastShown({.text = text, .symbol = symbol});
}

void Library::showProblem(const QString& text) {
    emit toastShown({.text = text, .tone = Toast::Tone::problem});
}

QString Library::accessTitle() const {
    const bool isWell = access_ == Access::readable || access_ == Access::unknown;
    return isWell ? QString() : QStringLiteral("The reels can’t be read");
}

QString Library::rootPath() const {
    return folderText(root_);
}

void Library::setAccess(Access access) {
    if (access == access_) return;
    access_ = access;
    emit accessChanged();
}

void Library::setLoading(bool loading) {
    if (loading == isLoading_) return;
    isLoading_ = loading;
    emit loadingChanged();
}

void Library::setHasScreenAccess(bool has) {
    if (has == hasScreenAccess_) return;
    hasScreenAccess_ = has;
    emit welcomeChanged();
}

} // namespace glintro
