#include "app/editor/ProjectFile.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include "core/base/FileIO.h"
#include "core/reel/ProjectUpdate.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

std::unexpected<Failure> gone(const Project& project) {
    return failure("The reel is no longer in its folder.", project.folder().string(), ENOENT);
}

// The movie of a reel never changes.
bool isSameReel(const ProjectInfo& a, const ProjectInfo& b) {
    return a.duration == b.duration && a.width == b.width && a.height == b.height;
}

// What changed here, over what another program has written.
ProjectInfo merged(const ProjectInfo& ours, const ProjectInfo& known, const ProjectInfo& theirs) {
    ProjectInfo both = theirs;
    if (ours.name != known.name) both.name = ours.name;
    if (ours.settings != known.settings) both.settings = ours.settings;
    return both;
}

} // namespace

ProjectFile::ProjectFile(const Project& project) : project_(project), known_(project.info) {}

Result<ProjectFile::Found> ProjectFile::find() const {
    std::error_code error;
    if (!fs::exists(project_.rawURL(), error) && (!error || error == std::errc::not_a_directory))
        return gone(project_);
    const auto text = readFile(project_.infoURL(), kLongestProjectText);
    if (!text && text.error().nativeCode == ENOENT) return Found{};
    if (!text) return std::unexpected(text.error());
    auto info = decodeProjectInfo(*text);
    if (!info) return Found{.isThere = true};
    if (!isSameReel(*info, known_)) return gone(project_);
    return Found{.isThere = true, .info = std::move(*info)};
}

ProjectFile::News ProjectFile::settle(const ProjectInfo& found, const ProjectInfo& now) {
    News news{.before = std::exchange(known_, now), .now = now};
    if (found != news.before) news.theirs = found;
    return news;
}

Result<ProjectFile::News> ProjectFile::look() {
    const auto found = find();
    if (!found) return std::unexpected(found.error());
    const ProjectInfo now = found->info.value_or(known_);
    News news = settle(now, now);
    news.isDamaged = found->isThere && !found->info;
    return news;
}

Result<void> ProjectFile::replaceDamaged(const Found& found, const ProjectInfo& ours) const {
    std::error_code ignored;
    if (found.isThere)
        fs::copy_file(project_.infoURL(), project_.damagedURL(), fs::copy_options::overwrite_existing,
                      ignored);
    const auto text = encodeProjectInfo(ours);
    if (!text) return std::unexpected(text.error());
    return writeFileAtomically(project_.infoURL(), *text, Readers::owner);
}

Result<ProjectFile::News> ProjectFile::save(const ProjectInfo& ours) {
    const auto found = find();
    if (!found) return std::unexpected(found.error());
    if (!found->info) {
        if (const auto replaced = replaceDamaged(*found, ours); !replaced)
            return std::unexpected(replaced.error());
        return settle(known_, ours);
    }
    ProjectInfo theirs; // which may be newer than what was found
    ProjectInfo now;
    const auto updated = updateProject(project_.folder(), [&](ProjectInfo& info) -> Result<void> {
        if (!isSameReel(info, known_)) return gone(project_);
        theirs = info;
        now = info = merged(ours, known_, info);
        return {};
    });
    if (!updated) return std::unexpected(updated.error());
    return settle(theirs, now);
}

} // namespace glintro
