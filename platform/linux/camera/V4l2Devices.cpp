#include "platform/linux/camera/V4l2Devices.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/ioctl.h>

#include "core/base/FileDescriptor.h"

namespace glintro {
namespace {

class OpenDevice {
  public:
    explicit OpenDevice(const std::string& file)
        : file_(::open(file.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC)) {}

    bool isOpen() const { return file_.isOpen(); }

    // False when the device says no; errno tells why.
    bool ask(unsigned long request, void* argument) const {
        int answer = -1;
        do {
            answer = ::ioctl(file_.value(), request, argument);
        } while (answer < 0 && errno == EINTR);
        return answer == 0;
    }

  private:
    FileDescriptor file_;
};

struct Format {
    std::uint32_t code;
    const char* name; // as FFmpeg knows it
    CameraMode::Packing packing;
};

constexpr std::array kFormats{Format{V4L2_PIX_FMT_MJPEG, "mjpeg", CameraMode::Packing::jpeg},
                              Format{V4L2_PIX_FMT_JPEG, "mjpeg", CameraMode::Packing::jpeg},
                              Format{V4L2_PIX_FMT_YUYV, "yuyv422", CameraMode::Packing::raw},
                              Format{V4L2_PIX_FMT_UYVY, "uyvy422", CameraMode::Packing::raw},
                              Format{V4L2_PIX_FMT_YUV420, "yuv420p", CameraMode::Packing::raw},
                              Format{V4L2_PIX_FMT_YUV422P, "yuv422p", CameraMode::Packing::raw},
                              Format{V4L2_PIX_FMT_NV12, "nv12", CameraMode::Packing::raw},
                              Format{V4L2_PIX_FMT_RGB24, "rgb24", CameraMode::Packing::raw},
                              Format{V4L2_PIX_FMT_BGR24, "bgr24", CameraMode::Packing::raw},
                              Format{V4L2_PIX_FMT_GREY, "gray", CameraMode::Packing::raw}};

double rateOf(const v4l2_fract& interval) {
    return interval.numerator == 0 ? 0 : static_cast<double>(interval.denominator) / interval.numerator;
}

// A camera with any rate in a range gives 30 where that lies inside.
void addRates(const OpenDevice& camera, std::uint32_t code, CameraMode mode, std::vector<CameraMode>& modes) {
    v4l2_frmivalenum interval{};
    interval.pixel_format = code;
    interval.width = static_cast<std::uint32_t>(mode.size.width);
    interval.height = static_cast<std::uint32_t>(mode.size.height);
    for (; camera.ask(VIDIOC_ENUM_FRAMEINTERVALS, &interval); ++interval.index) {
        const bool isDiscrete = interval.type == V4L2_FRMIVAL_TYPE_DISCRETE;
        mode.fps = isDiscrete
                       ? rateOf(interval.discrete)
                       : std::clamp(30.0, rateOf(interval.stepwise.max), rateOf(interval.stepwise.min));
        modes.push_back(mode);
        if (!isDiscrete) return;
    }
    if (interval.index == 0) modes.push_back(mode);
}

// The largest size up to `wanted` on the grid of a camera that can do any.
int onGrid(int wanted, std::uint32_t least, std::uint32_t most, std::uint32_t step) {
    const auto clamped = std::clamp<std::int64_t>(wanted, least, std::max(least, most));
    return static_cast<int>(least + (clamped - least) / std::max(step, 1U) * std::max(step, 1U));
}

void addSizes(const OpenDevice& camera, const Format& format, std::vector<CameraMode>& modes) {
    CameraMode mode{.format = format.name, .packing = format.packing, .size = {}};
    v4l2_frmsizeenum size{};
    size.pixel_format = format.code;
    for (; camera.ask(VIDIOC_ENUM_FRAMESIZES, &size); ++size.index) {
        if (size.type == V4L2_FRMSIZE_TYPE_DISCRETE) {
            mode.size = {static_cast<int>(size.discrete.width), static_cast<int>(size.discrete.height)};
            addRates(camera, format.code, mode, modes);
            continue;
        }
        const v4l2_frmsize_stepwise& range = size.stepwise;
        mode.size = {onGrid(1920, range.min_width, range.max_width, range.step_width),
                     onGrid(1080, range.min_height, range.max_height, range.step_height)};
        addRates(camera, format.code, mode, modes);
        return;
    }
}

std::vector<CameraMode> readModes(const OpenDevice& camera) {
    std::vector<CameraMode> modes;
    v4l2_fmtdesc format{};
    format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    for (; camera.ask(VIDIOC_ENUM_FMT, &format); ++format.index) {
        const auto known = std::ranges::find(kFormats, format.pixelformat, &Format::code);
        if (known != kFormats.end()) addSizes(camera, *known, modes);
    }
    return modes;
}

// Webcams have a second device file that only carries data about the pictures.
bool isCamera(const v4l2_capability& capability) {
    const std::uint32_t can = (capability.capabilities & V4L2_CAP_DEVICE_CAPS) != 0 ? capability.device_caps
                                                                                    : capability.capabilities;
    return (can & V4L2_CAP_VIDEO_CAPTURE) != 0 && (can & V4L2_CAP_STREAMING) != 0;
}

std::string cardName(const v4l2_capability& capability) {
    const char* text = reinterpret_cast<const char*>(capability.card);
    return {text, ::strnlen(text, sizeof capability.card)};
}

} // namespace

Failure cameraFailure(const std::string& name, int systemError) {
    const std::string camera = "The camera “" + name + "” ";
    const auto because = [&](const std::string& message) {
        return Failure{message, std::generic_category().message(systemError), systemError};
    };
    switch (systemError) {
        case ENOENT:
        case ENXIO:
        case ENODEV:
            return because("There is no camera “" + name + "”; connect it or choose another one.");
        case EBUSY:
            return because(camera + "is in use by another program; close that program first.");
        case EACCES:
        case EPERM:
            return because(camera + "may not be used by this user; add the user to the group “video”.");
        case ENOTTY:
        case EISDIR:
        case EINVAL:
            return because("“" + name + "” is not a camera; choose another one.");
        default:
            return because(camera + "can’t be used; unplug it, plug it in again and try once more.");
    }
}

Result<V4l2Camera> readV4l2Camera(const std::string& file) {
    const OpenDevice camera(file);
    v4l2_capability capability{};
    if (!camera.isOpen() || !camera.ask(VIDIOC_QUERYCAP, &capability)) {
        return std::unexpected(cameraFailure(file, errno));
    }
    if (!isCamera(capability)) return std::unexpected(cameraFailure(file, ENOTTY));
    const std::string name = cardName(capability);
    return V4l2Camera{{file, name.empty() ? file : name, false}, bestCameraMode(readModes(camera))};
}

std::vector<CameraDevice> v4l2Cameras(const std::filesystem::path& folder) {
    constexpr std::string_view prefix = "video";
    std::vector<std::pair<long, std::string>> files;
    std::error_code ignored;
    for (std::filesystem::directory_iterator entry(folder, ignored), end; !ignored && entry != end;
         entry.increment(ignored)) {
        const std::string name = entry->path().filename();
        if (!name.starts_with(prefix) || name.size() == prefix.size()) continue;
        char* rest = nullptr;
        const long number = std::strtol(name.c_str() + prefix.size(), &rest, 10);
        if (*rest == '\0') files.emplace_back(number, entry->path().string());
    }
    std::ranges::sort(files);
    std::vector<CameraDevice> cameras;
    for (const auto& [number, file] : files) {
        auto camera = readV4l2Camera(file);
        if (!camera) continue;
        camera->device.isDefault = cameras.empty();
        cameras.push_back(std::move(camera->device));
    }
    return cameras;
}

} // namespace glintro
