#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <memory>

#include "app/base/BackgroundQueue.h"
#include "app/base/MainThreadPost.h"
#include "app/editor/DelayTimer.h"
#include "app/editor/LookChoice.h"
#include "app/editor/PanelSettings.h"
#include "app/editor/ProjectSaver.h"
#include "app/editor/ReelMaterial.h"
#include "app/editor/ShotActions.h"
#include "app/pictures/LookPreviews.h"
#include "app/pictures/MomentPictures.h"

namespace glintro {

// What an editor is handed: all of it must outlive the model.
struct EditorSurroundings {
    PlayerTransport& player;
    const Preferences& preferences;
    WallpaperSource wallpaper = {};
    DelayTimers timers = eventLoopTimers();
};

// The editor of one reel: puts together its settings, storyboard, playback, saving and small pictures, and
// decides what a change of the settings sets in motion. It can be used from its first moment on; events,
// other programs' changes and pictures come in later. Main thread, which it never holds up.
class EditorModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString name READ name NOTIFY nameChanged FINAL)
    Q_PROPERTY(double duration READ duration CONSTANT FINAL)
    Q_PROPERTY(ReelEdits* edits READ edits CONSTANT FINAL)
    Q_PROPERTY(Playback* playback READ playback CONSTANT FINAL)
    Q_PROPERTY(ShotList* shots READ shots CONSTANT FINAL)
    Q_PROPERTY(ShotSelection* selection READ selection CONSTANT FINAL)
    Q_PROPERTY(ShotActions* actions READ actions CONSTANT FINAL)
    Q_PROPERTY(PanelSettings* panels READ panels CONSTANT FINAL)
    Q_PROPERTY(LookChoice* looks READ looks CONSTANT FINAL)
    Q_PROPERTY(ProjectSaver* saver READ saver CONSTANT FINAL)
    Q_PROPERTY(QString failure READ failure NOTIFY failureChanged FINAL)
    Q_PROPERTY(QString failureAdvice READ failureAdvice NOTIFY failureChanged FINAL)
    Q_PROPERTY(QString pointerNotice READ pointerNotice NOTIFY materialChanged FINAL)
    Q_PROPERTY(QString cameraNotice READ cameraNotice NOTIFY materialChanged FINAL)
    Q_PROPERTY(QString zoomsNotice READ zoomsNotice NOTIFY materialChanged FINAL)
    Q_PROPERTY(QList<double> clickTimes READ clickTimes NOTIFY materialChanged FINAL)

  public:
    // `project` is the reel as the library has loaded it.
    EditorModel(const Project& project, const EditorSurroundings& surroundings, QObject* parent = nullptr);
    ~EditorModel() override;

    // Lets the player open the reel, and reads what else it holds in the background. Call it once.
    void open();
    // Ends playing and writes what is not saved. Returns at once: closed() tells when the disk has answered.
    // The settings stay; call it again to try again. A write that was begun goes on without the model, as
    // long as the program does.
    Q_INVOKABLE void close();
    // For the program's end: the same, and waits a bounded time: whether all is saved. A model that is open
    // does this when it is destroyed.
    bool closeAndWait();

    // The shots whose cards a view shows, by their numbers: their pictures are made first.
    Q_INVOKABLE void setCardsInSight(int first, int last);

    // Trimmed; a name with nothing left, or the one it has, is ignored.
    Q_INVOKABLE void rename(const QString& name);

    QString name() const;
    Seconds duration() const { return edits_.duration(); } // of the recording, seconds
    Project project() const { return {folder_, saver_.newest()}; }
    ReelEdits* edits() { return &edits_; }
    Playback* playback() { return &playback_; }
    ShotList* shots() { return &shots_; }
    ShotSelection* selection() { return &selection_; }
    ShotActions* actions() { return &actions_; }
    PanelSettings* panels() { return &panels_; }
    LookChoice* looks() { return &looks_; }
    ProjectSaver* saver() { return &saver_; }
    const MomentPictures& pictures() const { return pictures_; }
    MomentPictures& pictures() { return pictures_; }
    LookPreviews& lookPreviews() { return lookPreviews_; }

    // When the recording cannot be opened, else empty.
    QString failure() const;
    QString failureAdvice() const;
    // What replaces controls that would be of no use; empty for none, and before it is known.
    QString pointerNotice() const;
    QString cameraNotice() const;
    QString zoomsNotice() const;
    QList<double> clickTimes() const { return clickTimes_; } // source seconds, once the events are read

  signals:
    void nameChanged();
    void failureChanged();
    void materialChanged();
    void toastShown(const glintro::Toast& toast);
    void beeped();
    // The project file was written.
    void saved(const glintro::Project& project);
    // No write goes on any more since close(); again after each further try.
    void closed(bool isSaved);

  private:
    void connectParts();
    void connectSaver();
    void stop();
    void handleChange(const SettingsChange& change);
    void showSettings(bool isOtherStructure);
    void requestPictures();
    void refreshLooks(Seconds delay);
    void handleTheirs(const ProjectSettings& theirs);
    void handleOverruled(const ProjectSettings& theirs);
    void handleGone();
    void handlePlayerFailure(const QString& message);
    void setHasFailed(bool hasFailed);
    void handleMaterial(ReelMaterial material);

    const std::filesystem::path folder_;
    PlayerTransport& player_;
    ReelEdits edits_;
    Playback playback_;
    ShotList shots_;
    ShotSelection selection_;
    ShotActions actions_;
    PanelSettings panels_;
    LookChoice looks_;
    ProjectSaver saver_;
    MomentPictures pictures_;
    LookPreviews lookPreviews_;

    QList<double> clickTimes_;
    ReelMaterial material_; // without the clicks, which the actions hold
    int firstInSight_ = 1;  // numbers of shots
    int lastInSight_ = 0;
    bool showsEdge_ = false; // of a drag, instead of the playhead
    bool isOpen_ = false;
    bool hasLooked_ = false;  // at the project file, since it was opened
    bool isPlayable_ = false; // the player has opened the recording
    bool hasFailed_ = false;  // to open it
    std::shared_ptr<MainThreadPost> post_;
    BackgroundQueue reading_;
};

} // namespace glintro
