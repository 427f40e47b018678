#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "app/recording/TakeLibrary.h"
#include "core/base/Failure.h"
#include "core/reel/Finishing.h"

namespace glintro {

// Where `glintro record` puts its reel: into the folder that was named, or into a new one in the library.
class CommandLibrary final : public TakeLibrary {
  public:
    CommandLibrary(std::optional<std::filesystem::path> folder, ReelDefaults defaults)
        : named_(std::move(folder)), defaults_(defaults) {}

    // Whether the named folder is new or empty, before anything is recorded.
    [[nodiscard]] Result<void> checkFolder() const;

    [[nodiscard]] Result<std::filesystem::path> newProjectFolder(Timestamp date) override;
    // Removes the folders that were made for it, too, while they are empty.
    void discardFolder(const std::filesystem::path& folder) override;
    [[nodiscard]] Result<FinishedReel> registerRecording(const FinishedTake& take) override;
    void setScreenAccess(bool) override {}

  private:
    std::optional<std::filesystem::path> named_;
    ReelDefaults defaults_;
    std::vector<std::filesystem::path> made_; // innermost first
};

} // namespace glintro
