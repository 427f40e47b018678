#include "app/editor/ReelMaterial.h"

#include <system_error>
#include <utility>

#include "app/editor/ReelNotices.h"
#include "core/media/decode/MovieReader.h"

namespace glintro {
namespace {

std::string_view cameraNotice(const Project& project) {
    if (!project.info.hasCamera) return notice::kNoCamera;
    if (!project.cameraAvailable()) return notice::kCameraMissing;
    if (!MovieReader::open(project.cameraURL(), MovieReader::Access::single))
        return notice::kCameraUnreadable;
    return {};
}

} // namespace

ReelMaterial readMaterial(const Project& project) {
    ReelMaterial material;
    auto events = readEvents(project.eventsURL());
    std::error_code ignored;
    if (!events && std::filesystem::exists(project.eventsURL(), ignored))
        material.pointerNotice = notice::kEventsUnreadable;
    else if (!events || events->cursor.empty())
        material.pointerNotice = notice::kNoPointerData;
    if (events) material.clicks = std::move(events->clicks);
    if (material.clicks.empty()) material.zoomsNotice = notice::kNoClicks;
    material.cameraNotice = cameraNotice(project);
    return material;
}

} // namespace glintro
