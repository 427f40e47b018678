#include "app/library/ReelRegistrar.h"

#include <utility>

namespace glintro {

namespace fs = std::filesystem;

ReelRegistrar::ReelRegistrar(Library& library, Preferences& preferences,
                             std::function<LibraryFolder()> folder, QObject* parent)
    : QObject(parent),
      library_(library),
      folder_(std::move(folder)),
      mainThread_(std::make_shared<MainThreadPost>(*this)),
      defaults_(reelDefaults(preferences)) {
    connect(&preferences, &Preferences::changed, this, [this, &preferences] {
        const ReelDefaults changed = reelDefaults(preferences);
        const std::scoped_lock lock(mutex_);
        defaults_ = changed;
    });
}

ReelRegistrar::~ReelRegistrar() {
    mainThread_->close();
}

ReelDefaults ReelRegistrar::defaults() const {
    const std::scoped_lock lock(mutex_);
    return defaults_;
}

Result<fs::path> ReelRegistrar::newProjectFolder(Timestamp date) const {
    return folder_().newProjectFolder(date);
}

void ReelRegistrar::discardFolder(const fs::path& folder) const {
    std::error_code ignored;
    fs::remove_all(folder, ignored);
    fs::remove(folder.parent_path(), ignored);
}

Result<FinishedReel> ReelRegistrar::registerRecording(const fs::path& folder, const std::string& name,
                                                      const TakeRecord& take) const {
    auto reel = LibraryFolder::registerRecording(folder, name, take, defaults());
    if (reel)
        (*mainThread_)(
            [&library = library_, project = reel->project] { library.recordingRegistered(project); });
    return reel;
}

} // namespace glintro
