#pragma once

#include <QObject>
#include <QString>
#include <QTimer>
#include <QUrl>
#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "app/base/Toast.h"
#include "app/library/DayGroups.h"
#include "app/library/ImportQueue.h"
#include "app/library/LibraryFolder.h"
#include "app/library/LibraryReader.h"
#include "app/library/LibraryRecovery.h"
#include "app/library/ReelList.h"
#include "app/library/ReelShelf.h"
#include "app/library/ReelThumbnails.h"
#include "app/preferences/Preferences.h"

namespace glintro {

// The reels on the disk: finds, renames, removes, imports and repairs them, and shows what others change
// there. One for the whole program, on the main thread; all work on the disk runs elsewhere, and what it
// finds comes back as signals. Work on a disk that hangs is abandoned, and a toast says so.
class Library : public QObject {
    Q_OBJECT
    Q_PROPERTY(ReelList* reels READ reels CONSTANT FINAL)
    Q_PROPERTY(ImportQueue* imports READ imports CONSTANT FINAL)
    Q_PROPERTY(QString query READ query WRITE setQuery NOTIFY queryChanged FINAL)
    Q_PROPERTY(int count READ count NOTIFY projectsChanged FINAL)
    Q_PROPERTY(Access access READ access NOTIFY accessChanged FINAL)
    Q_PROPERTY(QString accessTitle READ accessTitle NOTIFY accessChanged FINAL)
    Q_PROPERTY(QString rootPath READ rootPath NOTIFY accessChanged FINAL)
    Q_PROPERTY(QString openFolder READ openFolder NOTIFY openProjectChanged FINAL)
    Q_PROPERTY(bool isLoading READ isLoading NOTIFY loadingChanged FINAL)
    Q_PROPERTY(bool hasScreenAccess READ hasScreenAccess WRITE setHasScreenAccess NOTIFY welcomeChanged FINAL)
    Q_PROPERTY(bool showPermissionSheet MEMBER showPermissionSheet_ NOTIFY welcomeChanged FINAL)
    Q_PROPERTY(bool showWelcome MEMBER showWelcome_ NOTIFY welcomeChanged FINAL)
    Q_PROPERTY(int welcomeStep MEMBER welcomeStep_ NOTIFY welcomeChanged FINAL)

  public:
    enum class Access {
        unknown,      // not read yet
        readable,     // also when there is nothing yet
        unreadable,   // a file, or not the user's
        notAnswering, // a disk or a network share that hangs
    };
    Q_ENUM(Access)

    // All that is handed in by reference outlives the library.
    struct Seams {
        Preferences& preferences;
        std::function<LibraryFolder()> folder; // asked at each reload: the user may choose another
        PictureMaker pictures = {};
        DayCalendar calendar = {};
        LibraryReader::Scan scan = scanLibrary;
    };
    struct Timing {
        std::chrono::milliseconds diskTimeout{8000};
        std::chrono::milliseconds recoveryRest = LibraryRecovery::kRest;
    };

    explicit Library(Seams seams, const Timing& timing, QObject* parent = nullptr);
    explicit Library(Seams seams) : Library(std::move(seams), Timing()) {}
    ~Library() override; // waits a moment for what is being written

    // Reads the disk again; `projects` change when that is done.
    Q_INVOKABLE void reload();
    // The program has become the active one: reads again what could not be watched. A disk that hangs is
    // tried once more, and then left alone until it answers.
    Q_INVOKABLE void activated();

    const ReelPtrs& projects() const { return shelf_.all(); } // newest first
    std::optional<Project> project(const QString& folder) const;
    int count() const { return static_cast<int>(projects().size()); }
    QString query() const { return query_; }
    void setQuery(const QString& query);

    ReelList* reels() { return &reels_; } // what the query finds; owned by the library, as what follows
    ImportQueue* imports() { return &imports_; }
    ReelThumbnails* thumbnails() { return &thumbnails_; }

    // A reel that is not there, or is being moved to the Trash, is ignored by all of these.
    Q_INVOKABLE void rename(const QString& folder, const QString& name);
    Q_INVOKABLE void trash(const QString& folder);
    Q_INVOKABLE void makeThumbnail(const QString& folder);
    Q_INVOKABLE void loadScrubFrames(const QString& folder);
    void update(const Project& project); // and saves it
    // Somebody else of this program has saved the reel: it is not written again.
    void projectSaved(const Project& project);

    Q_INVOKABLE void importVideo(const QUrl& file);
    void importVideo(const std::filesystem::path& file);
    void recover(const std::vector<std::filesystem::path>& folders);
    // A take has become a reel, which stands on the disk; see ReelRegistrar.
    void recordingRegistered(const Project& project);

    // The reel that the window is to open, of an import that has ended; empty when there is none.
    std::optional<Project> openProject() const { return openProject_; }
    QString openFolder() const; // its path, for views
    Q_INVOKABLE void closeProject();

    Access access() const { return access_; }
    QString accessTitle() const; // empty when all is well
    QString rootPath() const;
    bool isLoading() const { return isLoading_; }
    bool hasScreenAccess() const { return hasScreenAccess_; }
    void setHasScreenAccess(bool has);
    std::filesystem::path exportFolder() const { return seams_.folder().exportFolder(seams_.preferences); }

  signals:
    void projectsChanged();
    void queryChanged();
    void accessChanged();
    void loadingChanged();
    void welcomeChanged();
    void openProjectChanged();
    void toastShown(const glintro::Toast& toast);

  private:
    void connectParts();
    ReelPtr find(const QString& folder) const;
    void publish();
    void scanned(const LibraryReading& reading);
    void refreshCards(const ReelPtrs& before);
    void entriesRead(const std::vector<EntryReading>& readings);
    void replaceEntry(const EntryReading& reading);
    void recoverFrom(const FolderContent& content);
    void recovered(const LibraryRecovery::Outcome& outcome);
    void changedOutside(const LibraryChanges& changes);
    void put(const ListedReel& reel);
    void diskHung();
    void trashed(const ReelPtr& reel, const Result<std::filesystem::path>& inTrash);
    std::function<void()> undoOf(const ReelPtr& reel, const std::filesystem::path& inTrash);
    void restore(const std::filesystem::path& inTrash, const std::filesystem::path& folder);
    // `change` is made to what the project file holds then.
    void save(const Project& project, std::function<void(ProjectInfo&)> change);
    void saved(const Project& project, const Result<void>& result);
    void show(const QString& text, const QString& symbol);
    void showProblem(const QString& text);
    void setAccess(Access access);
    void setLoading(bool loading);
    void waitForMidnight();

    const Seams seams_;
    ReelShelf shelf_;
    ReelList reels_;
    ReelThumbnails thumbnails_;
    ImportQueue imports_;
    LibraryRecovery recovery_;
    LibraryReader reader_;
    QTimer midnight_;
    QDate today_;

    QString query_;
    std::filesystem::path root_;
    Access access_ = Access::unknown;
    bool isLoading_ = false;
    std::set<std::string, std::less<>> touched_; // entries that are newer than the scan that runs
    std::map<std::string, int> saving_;          // how often each folder waits to be saved
    std::set<std::string> trashing_;
    int restoring_ = 0;
    std::optional<Project> openProject_;
    bool hasScreenAccess_ = false;
    bool showPermissionSheet_ = false;
    bool showWelcome_ = false;
    int welcomeStep_ = 0;
};

} // namespace glintro
