#pragma once

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
    "next "
    "time.";
inline constexpr std::string_view kNoPointerData =
    "This video has no pointer data, so there’s no cursor to redraw. Recordings made in Glintro include it.";
inline constexpr std::string_view kEventsUnreadable =
    "The recorded pointer and clicks (events.json) can’t be read, so they are left out.";

inline constexpr std::string_view kRenderDone = "Your reel is ready";
inline constexpr std::string_view kRenderFailed = "The render didn’t finish";
inline constexpr std::string_view kRenderAdvice =
    "Check there’s free space in the export folder, or try a lower quality.";
inline constexpr std::string_view kRenderCancel = "Stops rendering and removes the unfinished file (Esc)";

} // namespace glintro::notice
