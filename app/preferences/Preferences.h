#pragma once

#include <QObject>
#include <QString>
#include <filesystem>
#include <optional>
#include <string_view>

#include "app/preferences/PreferenceStore.h"
#include "core/model/Enumerations.h"

namespace glintro {

// The user's preferences, each under the key of its name. A value that is missing, of another type or out of
// its range reads as its default, and stays in the store as it is. One object for the whole program, handed
// to whoever needs it. Main thread; work elsewhere is given the values.
class Preferences : public QObject {
    Q_OBJECT
    Q_PROPERTY(int captureFPS READ captureFPS WRITE setCaptureFPS NOTIFY changed FINAL)
    Q_PROPERTY(bool useHEVC READ useHEVC WRITE setUseHEVC NOTIFY changed FINAL)
    Q_PROPERTY(bool countdown READ countdown WRITE setCountdown NOTIFY changed FINAL)
    Q_PROPERTY(bool recordMic READ recordMic WRITE setRecordMic NOTIFY changed FINAL)
    Q_PROPERTY(bool recordCamera READ recordCamera WRITE setRecordCamera NOTIFY changed FINAL)
    Q_PROPERTY(double defaultZoom READ defaultZoom WRITE setDefaultZoom NOTIFY changed FINAL)
    Q_PROPERTY(QString defaultAspect READ defaultAspectText WRITE setDefaultAspectText NOTIFY changed FINAL)
    Q_PROPERTY(QString exportFolder READ exportFolderText WRITE setExportFolderText NOTIFY changed FINAL)
    Q_PROPERTY(QString settingsTab READ settingsTab WRITE setSettingsTab NOTIFY changed FINAL)

  public:
    static constexpr double kLeastZoom = 1.4;
    static constexpr double kMostZoom = 3.0;

    // The store must outlive the preferences.
    explicit Preferences(PreferenceStore& store, QObject* parent = nullptr)
        : QObject(parent), store_(store) {}

    int captureFPS() const;            // frames a second: 60 by default, or 30
    bool useHEVC() const;              // false by default
    bool countdown() const;            // true by default
    bool recordMic() const;            // false by default
    bool recordCamera() const;         // false by default
    double defaultZoom() const;        // of new reels' automatic zooms: 2 by default, kLeastZoom...kMostZoom
    AspectRatio defaultAspect() const; // of new reels: wide by default
    QString settingsTab() const;       // "general" by default
    // Where rendered files go; `nullopt` by default, and for a path that is not absolute.
    std::optional<std::filesystem::path> exportFolder() const;

    void setCaptureFPS(int fps);
    void setUseHEVC(bool on);
    void setCountdown(bool on);
    void setRecordMic(bool on);
    void setRecordCamera(bool on);
    void setDefaultZoom(double level);
    void setDefaultAspect(AspectRatio aspect);
    void setExportFolder(const std::optional<std::filesystem::path>& folder);
    void setSettingsTab(const QString& tab);

  signals:
    void changed(); // any of them, through this object

  private:
    bool flag(std::string_view key, bool otherwise) const;
    void setFlag(std::string_view key, bool on);
    void set(std::string_view key, const std::string& text);

    // For views.
    QString defaultAspectText() const;
    void setDefaultAspectText(const QString& text);
    QString exportFolderText() const;
    void setExportFolderText(const QString& folder);

    PreferenceStore& store_;
};

} // namespace glintro
