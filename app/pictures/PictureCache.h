#pragma once

#include <QImage>
#include <QList>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>

namespace glintro {

// What a cached picture is of, and everything that it shows.
struct PictureKey {
    std::string subject; // the kind of picture and the reel; there is one file for each
    std::string content; // a hash of all that the picture depends on; empty: not to be kept
};

// Pictures of reels on disk, after the rules for thumbnails that desktops share: in the user's cache folder,
// readable by the user only, one small file for each reel and kind, valid while it was made from what the
// reel shows now. Bounded: the files used longest ago go first. Safe to use from any number of threads and
// processes. Nothing here fails: a file that is missing, damaged or foreign is a miss, and a folder that
// cannot be written is no cache.
class PictureCache {
  public:
    static constexpr std::uint64_t kLimit = std::uint64_t{256} << 20; // bytes

    // $XDG_CACHE_HOME/glintro/pictures, or ~/.cache where the variable is not set or relative; empty without
    // a home folder.
    static std::filesystem::path standardFolder();

    // An empty folder is no cache. Nothing is touched before the first use.
    explicit PictureCache(std::filesystem::path folder = standardFolder(), std::uint64_t limit = kLimit);

    // The pictures that were stored with an equal key, at least one; `nullopt` for none.
    std::optional<QList<QImage>> load(const PictureKey& key);
    // Replaces what was stored for the subject. Pictures are kept as JPEG: opaque, nearly as they were.
    void store(const PictureKey& key, const QList<QImage>& pictures);

  private:
    std::filesystem::path fileOf(const PictureKey& key) const;
    void bound(std::uint64_t added);

    const std::filesystem::path folder_;
    const std::uint64_t limit_;
    std::mutex mutex_;            // guards what follows
    std::uint64_t total_ = 0;     // bytes in the folder, as far as known
    std::uint64_t sinceLook_ = 0; // bytes written since the folder was looked at
    bool hasLooked_ = false;
};

} // namespace glintro
