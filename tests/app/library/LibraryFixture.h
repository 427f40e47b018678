#pragma once

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "app/library/Library.h"
#include "tests/app/library/LibraryReels.h"
#include "tests/support/EventLoop.h"
#include "tests/support/Reels.h"
#include "tests/support/ScopedEnvironment.h"

namespace glintro {

// A library in a temporary home, with a Trash of its own, and what it has said and asked for.
class LibraryModel : public ::testing::Test {
  protected:
    LibraryModel() : data_("XDG_DATA_HOME", (home_ / "data").string()) {
        test::application();
        std::filesystem::create_directories(home_ / "data");
        std::filesystem::create_directory(root_);
    }
    Library& open(LibraryReader::Scan scan = scanLibrary,
                  std::chrono::milliseconds diskTimeout = std::chrono::seconds(8)) {
        if (!maker_.card) maker_.card = [this](const Project& project) { cards_.push_back(project); };
        const Library::Seams seams{.preferences = preferences_,
                                   .folder = [this] { return LibraryFolder(root_); },
                                   .pictures = maker_,
                                   .calendar = calendar_,
                                   .scan = std::move(scan)};
        library_ = std::make_unique<Library>(
            seams,
            Library::Timing{.diskTimeout = diskTimeout, .recoveryRest = std::chrono::milliseconds(300)});
        QObject::connect(library_.get(), &Library::toastShown,
                         [this](const Toast& toast) { toasts_.push_back(toast); });
        library_->reload();
        EXPECT_TRUE(test::handleUntil([&] { return !library_->isLoading(); }));
        return *library_;
    }
    std::vector<std::string> names() const {
        std::vector<std::string> names;
        for (const ReelPtr& reel : library_->reels()->reels()) names.push_back(reel->project.info.name);
        return names;
    }
    QString folder(const std::string& name) const { return folderText(root_ / name); }
    std::string lastToast() const { return toasts_.empty() ? "" : toasts_.back().text.toStdString(); }
    // Whether the library shows what a fresh scan finds, within a time that a user would not notice much.
    bool showsTheDisk() {
        const auto isShown = [&] {
            const auto found = scanLibrary(root_).content.reels;
            return std::ranges::equal(found, library_->projects(), [](const ListedReel& a, const ReelPtr& b) {
                return a.project == b->project && a.project.info == b->project.info
                       && a.isImported == b->isImported;
            });
        };
        return test::handleUntil(isShown);
    }

    const TemporaryFolder home_;
    const test::ScopedEnvironment data_;
    const std::filesystem::path root_ = home_ / "library";
    TransientPreferenceStore store_;
    Preferences preferences_{store_};
    DayCalendar calendar_;
    std::vector<Toast> toasts_;
    std::vector<Project> cards_;
    PictureMaker maker_;
    std::unique_ptr<Library> library_;
};

} // namespace glintro
