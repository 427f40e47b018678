#include "app/library/ReelImport.h"

#include <cerrno>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>

#include "app/library/FileCopy.h"
#include "app/library/ImportFolder.h"
#include "core/base/FileIO.h"
#include "core/media/decode/MovieReader.h"
#include "core/model/RecordingEvents.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

// How long a file that was just written is looked at, where the system does not tell who writes to it.
constexpr auto kSecondLook = std::chrono::milliseconds(300);
constexpr std::int64_t kJustWritten = 5;      // seconds
constexpr std::uintmax_t kRecordSize = 65536; // bytes that the files beside the movie need

std::string nameOf(const fs::path& file) {
    return file.filename().string();
}

std::unexpected<Failure> noMovie(const fs::path& file, std::string detail = {}) {
    return failure(noMovieMessage(file), std::move(detail));
}

// What changes when somebody writes to a file.
struct FileState {
    std::int64_t size = 0;
    std::int64_t seconds = 0; // since 1970, of the last change
    std::int64_t nanoseconds = 0;
    bool operator==(const FileState&) const = default;
};

FileState stateOf(const FileDescriptor& file) {
    struct stat status {};
    if (::fstat(file.value(), &status) != 0) return {};
    return {status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

bool isRecent(const FileState& state) {
    const auto now = std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now());
    return std::abs(now.time_since_epoch().count() - state.seconds) < kJustWritten;
}

void pause(std::chrono::milliseconds time, const std::stop_token& stop) {
    std::mutex mutex;
    std::condition_variable_any wake;
    std::unique_lock lock(mutex);
    wake.wait_for(lock, stop, time, [] { return false; });
}

class ReelImport {
  public:
    explicit ReelImport(const ImportRequest& request) : request_(request), name_(nameOf(request.file)) {}
    Result<Project> run();

  private:
    Result<RegularFile> open() const;
    bool isBeingWritten(const FileDescriptor& file, const FileState& before) const;
    Result<bool> probe() const;
    Result<void> copy(const RegularFile& source, const fs::path& to) const;
    Result<Project> registerIn(const fs::path& folder, bool hasAudio) const;
    std::unexpected<Failure> beingWritten() const;
    std::unexpected<Failure> cannotRead(int code) const;
    std::unexpected<Failure> cannotCopy(int code) const;
    bool isStopped() const { return request_.stop.stop_requested(); }

    const ImportRequest& request_;
    const std::string name_;
};

Result<Project> ReelImport::run() {
    const auto source = open();
    if (!source) return std::unexpected(source.error());
    const FileState before = stateOf(source->descriptor);
    if (isBeingWritten(source->descriptor, before)) return beingWritten();
    if (isStopped()) return std::unexpected(Failure::cancelled());
    const auto hasAudio = probe();
    if (!hasAudio) return std::unexpected(hasAudio.error());
    auto folder = ImportFolder::create(request_.library, request_.created);
    if (!folder) return std::unexpected(folder.error());
    if (auto copied = copy(*source, folder->path() / "raw.mov"); !copied)
        return std::unexpected(copied.error());
    if (stateOf(source->descriptor) != before) return beingWritten();
    auto project = registerIn(folder->path(), *hasAudio);
    if (!project) return project;
    if (isStopped()) return std::unexpected(Failure::cancelled());
    auto place = folder->publish(request_.library, request_.created);
    if (!place) return std::unexpected(place.error());
    return Project(*std::move(place), std::move(project->info));
}

Result<RegularFile> ReelImport::open() const {
    std::error_code error;
    const fs::file_status status = fs::status(request_.file, error);
    if (status.type() == fs::file_type::not_found)
        return failure(fmt::format("There is no file “{}”.", request_.file.string()));
    if (error) return cannotRead(error.value());
    if (!fs::is_regular_file(status)) return noMovie(request_.file, "not a file");
    auto file = openRegularFile(request_.file);
    if (!file) return cannotRead(file.error().nativeCode);
    if (file->size == 0) return noMovie(request_.file, "empty");
    return file;
}

bool ReelImport::isBeingWritten(const FileDescriptor& file, const FileState& before) const {
    const Writers writers = writersOf(file);
    if (writers != Writers::unknown) return writers == Writers::some;
    if (!isRecent(before)) return false;
    pause(kSecondLook, request_.stop);
    return stateOf(file) != before;
}

// Whether it has sound, of a movie with a picture and a length.
Result<bool> ReelImport::probe() const {
    const auto reader = MovieReader::open(request_.file, MovieReader::Access::single);
    if (!reader) return noMovie(request_.file, reader.error().message);
    const MovieProperties& movie = (*reader)->properties();
    if (!std::isfinite(movie.duration) || movie.duration <= 0) return noMovie(request_.file, "no length");
    return movie.hasAudio;
}

Result<void> ReelImport::copy(const RegularFile& source, const fs::path& to) const {
    FileDescriptor file(::open(to.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!file.isOpen()) return cannotCopy(errno);
    const FileCopyOptions options{.progress =
                                      [this](std::uint64_t done, std::uint64_t total) {
                                          if (request_.progress) request_.progress({done, total});
                                      },
                                  .stop = request_.stop};
    if (const int code = copyToDisk(source, file, options)) return cannotCopy(code);
    if (const int code = file.close()) return cannotCopy(code);
    return {};
}

Result<Project> ReelImport::registerIn(const fs::path& folder, bool hasAudio) const {
    if (auto written = writeEvents({}, folder / "events.json"); !written)
        return cannotCopy(written.error().nativeCode);
    auto project = Project::registerReel(folder, {.name = request_.file.stem().string(),
                                                  .hasAudio = hasAudio,
                                                  .zoomLevel = request_.defaults.zoomLevel,
                                                  .aspect = request_.defaults.aspect,
                                                  .created = request_.created});
    if (project) return *std::move(project);
    std::error_code error;
    const bool isFull = fs::space(folder, error).available < kRecordSize && !error;
    return cannotCopy(isFull ? ENOSPC : EIO);
}

std::unexpected<Failure> ReelImport::beingWritten() const {
    return failure(fmt::format("“{}” is still being written. Import it when it is finished.", name_));
}

std::unexpected<Failure> ReelImport::cannotRead(int code) const {
    return failure(fmt::format("“{}” can’t be read: {}.", name_, std::generic_category().message(code)), {},
                   code);
}

std::unexpected<Failure> ReelImport::cannotCopy(int code) const {
    if (code == ECANCELED) return std::unexpected(Failure::cancelled());
    if (code == ENOSPC || code == EDQUOT)
        return failure(fmt::format("“{}” can’t be imported: the disk of the library is full.", name_), {},
                       code);
    return failure(fmt::format("“{}” can’t be imported: {}.", name_, std::generic_category().message(code)),
                   {}, code);
}

} // namespace

std::string noMovieMessage(const fs::path& file) {
    return fmt::format("“{}” isn’t a video Glintro can open", nameOf(file));
}

Result<Project> importMovie(const ImportRequest& request) {
    return ReelImport(request).run();
}

} // namespace glintro
