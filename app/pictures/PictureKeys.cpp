#include "app/pictures/PictureKeys.h"

#include <QByteArray>
#include <QCryptographicHash>
#include <algorithm>
#include <cstdint>
#include <string_view>

#include <fmt/format.h>
#include <sys/stat.h>

namespace glintro {
namespace {

namespace fs = std::filesystem;

// To be raised when the same reel is drawn differently than before.
constexpr int kVersion = 1;
// What a zoom does at a moment depends on zooms that are nearer to it than this: its ramps take 0.7 s.
constexpr Seconds kZoomReach = 1;

class Text {
  public:
    template <class... Values>
    void add(const Values&... values) {
        (fmt::format_to(std::back_inserter(text_), "{};", values), ...);
    }
    // By size and time; "-" for one that is missing.
    void addFile(const fs::path& file) {
        struct stat entry {};
        if (::stat(file.c_str(), &entry) != 0) return add("-");
        add(entry.st_size, entry.st_mtim.tv_sec, entry.st_mtim.tv_nsec);
    }
    const std::string& text() const { return text_; }
    std::string hash() const {
        const QByteArray sum = QCryptographicHash::hash(
            QByteArray::fromRawData(text_.data(), static_cast<qsizetype>(text_.size())),
            QCryptographicHash::Sha256);
        return sum.toHex().toStdString();
    }

  private:
    std::string text_;
};

bool showsCamera(const ProjectInfo& info) {
    return info.hasCamera && info.settings.showCamera;
}

void addBackdrop(Text& text, const ProjectSettings& settings) {
    text.add(static_cast<int>(settings.background));
    switch (settings.background) {
        case BackgroundKind::solid:
            text.add(settings.solidHex);
            break;
        case BackgroundKind::wallpaper: // the gradient stands in where there is none
            text.add(settings.wallpaperBlur, settings.gradientIndex);
            break;
        case BackgroundKind::gradient:
            text.add(settings.gradientIndex);
            break;
    }
}

void addZooms(Text& text, const ProjectSettings& settings, Seconds at) {
    const auto isNear = [at](const ZoomSegment& zoom) {
        return zoom.start - kZoomReach <= at && at <= zoom.end + kZoomReach;
    };
    const bool isZoomed = std::ranges::any_of(settings.zooms, isNear);
    for (const ZoomSegment& zoom : settings.zooms)
        if (isNear(zoom)) text.add("zoom", zoom.start, zoom.end, zoom.scale);
    if (isZoomed) text.add(settings.followCursor);
    if (isZoomed || settings.showCursor) text.add(settings.cursorSmoothing);
}

void addCamera(Text& text, const ProjectInfo& info) {
    const ProjectSettings& settings = info.settings;
    text.add("camera", info.cameraOffset, static_cast<int>(settings.camCorner),
             static_cast<int>(settings.camShape), settings.camSize);
}

PictureKey keyOf(std::string_view kind, const Project& project, Text text) {
    std::error_code error;
    fs::path folder = fs::absolute(project.folder(), error);
    if (error) folder = project.folder();
    std::string subject = fmt::format("{} {}", kind, folder.string());
    text.add(subject, kVersion);
    return {std::move(subject), text.hash()};
}

} // namespace

Seconds cardTime(Seconds duration) {
    return std::min(duration, std::max(duration * 0.35, 0.5));
}

std::string shownOnCard(const ProjectInfo& info) {
    const ProjectSettings& settings = info.settings;
    Text text;
    text.add(info.duration, static_cast<int>(settings.aspect), settings.padding, settings.cornerRadius,
             settings.shadow);
    addBackdrop(text, settings);
    addZooms(text, settings, cardTime(info.duration));
    if (settings.showCursor) text.add("pointer", settings.cursorSize, settings.clickRipple);
    if (showsCamera(info)) addCamera(text, info);
    return text.text();
}

std::string shownInScrub(const ProjectInfo& info) {
    return fmt::format("{}", info.duration);
}

PictureKey cardKey(const Project& project, const WallpaperSource& wallpaper) {
    Text text;
    text.add(shownOnCard(project.info));
    text.addFile(project.rawURL());
    text.addFile(project.eventsURL());
    if (showsCamera(project.info)) text.addFile(project.cameraURL());
    const bool showsWallpaper =
        project.info.settings.background == BackgroundKind::wallpaper && wallpaper.picture;
    const std::string identity = showsWallpaper && wallpaper.identity ? wallpaper.identity() : std::string();
    text.add(identity);
    PictureKey key = keyOf("card", project, std::move(text));
    if (showsWallpaper && identity.empty()) key.content.clear();
    return key;
}

PictureKey scrubKey(const Project& project) {
    Text text;
    text.add(shownInScrub(project.info));
    text.addFile(project.rawURL());
    return keyOf("scrub", project, std::move(text));
}

} // namespace glintro
