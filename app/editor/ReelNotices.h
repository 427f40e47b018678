#pragma once

#include <cerrno>
#include <string_view>

// What the user is told of a reel's material and of a render, in the window and on the command line alike.
namespace glintro::notice {

inline constexpr std::string_view kCameraMissing =
    "This reel’s camera file (camera.mov) is missing, so the bubble can’t be shown. Everything else still "
    "renders.";
inline constexpr std::string_view kCameraUnreadable =
    "This reel’s camera file (camera.mov) can’t be read, so the bubble can’t be shown. Everything else still "
    "renders.";
inline constexpr std::string_view kNoCamera =
    "No camera in this recording. Turn the camera on in the recording capsule to add a bubble of yourself "
    "next time.";
inline constexpr std::string_view kNoPointerData =
    "This video has no pointer data, so there’s no cursor to redraw. Recordings made in Glintro include it.";
inline constexpr std::string_view kEventsUnreadable =
    "The recorded pointer and clicks (events.json) can’t be read, so they are left out.";

inline constexpr std::string_view kNoClicks = "No clicks were recorded. Press Z on a shot to zoom it.";

inline constexpr std::string_view kCannotOpen = "This recording couldn’t be opened";
inline constexpr std::string_view kCannotOpenAdvice =
    "Check that the file still exists, then go back to the library and open it again.";

inline constexpr std::string_view kTooCloseToSplit = "Too close to a shot edge to split";
inline constexpr std::string_view kReelGone = "This reel’s folder was moved or deleted";
inline constexpr std::string_view kReelIsBack = "This reel’s folder is back";
inline constexpr std::string_view kChangedOutside = "This reel was changed outside this window";
inline constexpr std::string_view kOutsideOverruled =
    "This reel was also changed elsewhere. Your version is kept; Undo brings the other one";

inline constexpr std::string_view kRenderDone = "Your reel is ready";
inline constexpr std::string_view kRenderFailed = "The render didn’t finish";
inline constexpr std::string_view kRenderAdvice =
    "Check there’s free space in the export folder, or try a lower quality.";
inline constexpr std::string_view kRenderCancel = "Stops rendering and removes the unfinished file (Esc)";

// Why the changes of a reel are not on the disk; `error` is an errno.
constexpr std::string_view notSaved(int error) {
    switch (error) {
        case ENOSPC:
        case EDQUOT:
            return "Not saved: the disk is full";
        case EACCES:
        case EPERM:
        case EROFS:
            return "Not saved: the reel’s folder can’t be written to";
        case ENOENT:
        case ENOTDIR:
            return "Not saved: the reel’s folder is gone";
        case EAGAIN:
            return "Not saved: another program is saving the reel";
        case ETIMEDOUT:
            return "Not saved: the disk doesn’t answer";
        default:
            return "Not saved: the disk reports an error";
    }
}

} // namespace glintro::notice
