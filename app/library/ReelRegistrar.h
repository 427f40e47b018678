#pragma once

#include <QObject>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "app/library/Library.h"

namespace glintro {

// The library as a take sees it, from its own thread: makes the folder of a reel, removes that of a take that
// came to nothing, and makes a finished take a reel, which the library then shows. Made on the main thread;
// the calls from any thread, and they may block. Library and preferences must outlive it.
class ReelRegistrar : public QObject {
    Q_OBJECT

  public:
    ReelRegistrar(Library& library, Preferences& preferences, std::function<LibraryFolder()> folder,
                  QObject* parent = nullptr);
    ~ReelRegistrar() override;

    [[nodiscard]] Result<std::filesystem::path> newProjectFolder(Timestamp date) const;
    // With the day's folder, when that is empty then.
    void discardFolder(const std::filesystem::path& folder) const;
    [[nodiscard]] Result<FinishedReel> registerRecording(const std::filesystem::path& folder,
                                                         const std::string& name,
                                                         const TakeRecord& take) const;

  private:
    ReelDefaults defaults() const;

    Library& library_;
    const std::function<LibraryFolder()> folder_;
    std::shared_ptr<MainThreadPost> mainThread_;
    mutable std::mutex mutex_;
    ReelDefaults defaults_; // guarded by mutex_
};

} // namespace glintro
