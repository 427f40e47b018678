#include "core/reel/TakeJournal.h"

#include <cerrno>
#include <charconv>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

#include "core/base/FileDescriptor.h"
#include "core/base/FileIO.h"
#include "core/reel/TakeJournalLines.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

using std::chrono::milliseconds;
constexpr milliseconds kAppendEvery{250};
constexpr milliseconds kSyncEvery{1000};

std::unexpected<Failure> createFailure(const fs::path& file, int code) {
    return failure(fmt::format("Couldn’t write the log of the recording in “{}”: {}.",
                               file.parent_path().string(), std::strerror(code)),
                   file.string(), code);
}

bool lock(const FileDescriptor& descriptor, int operation) {
    while (::flock(descriptor.value(), operation) != 0)
        if (errno != EINTR) return false;
    return true;
}

void append(std::string& text, double number) {
    char digits[32];
    const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    text.append(digits, end);
}

} // namespace

struct TakeJournal::Impl {
    explicit Impl(FileDescriptor opened)
        : descriptor(std::move(opened)),
          syncing([this](const std::stop_token& stop) { repeat(stop, kSyncEvery, [this] { sync(); }); }),
          appending([this](const std::stop_token& stop) {
              repeat(stop, kAppendEvery, [this] { appendPending(); });
          }) {}

    void add(std::string_view word, std::initializer_list<double> numbers);
    void repeat(const std::stop_token& stop, milliseconds interval, const std::function<void()>& work);
    void appendPending();
    TakeRecord record();
    void sync() const { ::fdatasync(descriptor.value()); }

    const FileDescriptor descriptor;

    std::mutex fileMutex; // guards the file's position and the next two; locked before `mutex`
    std::string unwritten;
    off_t offset = 0;

    std::mutex mutex; // guards `pending`
    std::condition_variable_any wake;
    std::string pending;

    // Last, for they use all of the above. Two, because a slow disk can keep a sync for seconds. Ended from
    // the last one up: what was appended at the end is synchronised.
    std::jthread syncing;
    std::jthread appending;
};

void TakeJournal::Impl::add(std::string_view word, std::initializer_list<double> numbers) {
    const std::scoped_lock lock(mutex);
    pending += word;
    for (const double number : numbers) {
        pending += ' ';
        append(pending, number);
    }
    pending += '\n';
}

// Until the stop, and once more after it.
void TakeJournal::Impl::repeat(const std::stop_token& stop, milliseconds interval,
                               const std::function<void()>& work) {
    while (!stop.stop_requested()) {
        work();
        std::unique_lock lock(mutex);
        wake.wait_for(lock, stop, interval, [&stop] { return stop.stop_requested(); });
    }
    work();
}

// What the disk does not accept stays for the next time: the file is always a beginning of what was logged,
// however often a write is cut short.
void TakeJournal::Impl::appendPending() {
    const std::scoped_lock fileLock(fileMutex);
    {
        const std::scoped_lock lock(mutex);
        unwritten += pending;
        pending.clear();
    }
    std::size_t done = 0;
    while (done < unwritten.size()) {
        const ssize_t count =
            ::pwrite(descriptor.value(), unwritten.data() + done, unwritten.size() - done, offset);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        done += static_cast<std::size_t>(count);
        offset += count;
    }
    unwritten.erase(0, done);
}

TakeRecord TakeJournal::Impl::record() {
    appendPending();
    const std::scoped_lock fileLock(fileMutex);
    ::lseek(descriptor.value(), 0, SEEK_SET);
    return journal::readRecord(descriptor, unwritten);
}

TakeJournal::TakeJournal(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
TakeJournal::~TakeJournal() = default;

// The file gets its name once it is locked: nobody ever sees the journal of a running take unlocked.
Result<std::unique_ptr<TakeJournal>> TakeJournal::create(const fs::path& folder) {
    const fs::path file = fileIn(folder);
    const fs::path unnamed = folder / ".take.journal.new";
    FileDescriptor descriptor(::open(unnamed.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    if (!descriptor.isOpen()) return createFailure(file, errno);
    if (!lock(descriptor, LOCK_EX | LOCK_NB) || ::rename(unnamed.c_str(), file.c_str()) != 0) {
        const int code = errno;
        ::unlink(unnamed.c_str());
        return createFailure(file, code);
    }
    syncFolder(folder);
    auto impl = std::make_unique<Impl>(std::move(descriptor));
    impl->add(journal::kFormat, {journal::kVersion});
    return std::unique_ptr<TakeJournal>(new TakeJournal(std::move(impl)));
}

void TakeJournal::firstFrame(Seconds hostTime) {
    impl_->add(journal::kFirstFrame, {hostTime});
}

void TakeJournal::cameraStarted(Seconds hostTime) {
    impl_->add(journal::kCamera, {hostTime});
}

void TakeJournal::pointerIsEmbedded() {
    impl_->add(journal::kEmbedded, {});
}

void TakeJournal::pause(Seconds hostTime) {
    impl_->add(journal::kPause, {hostTime});
}

void TakeJournal::resume(Seconds hostTime) {
    impl_->add(journal::kResume, {hostTime});
}

void TakeJournal::sample(const PointerMoment& sample) {
    impl_->add(journal::kSample, {sample.hostTime, sample.position.x, sample.position.y});
}

void TakeJournal::click(const PointerMoment& click) {
    impl_->add(journal::kClick, {click.hostTime, click.position.x, click.position.y});
}

TakeRecord TakeJournal::record() const {
    return impl_->record();
}

void TakeJournal::remove(const fs::path& folder) {
    ::unlink(fileIn(folder).c_str());
    syncFolder(folder);
}

bool TakeJournal::isRunning(const fs::path& folder) {
    const auto journal = openRegularFile(fileIn(folder));
    return journal && !lock(journal->descriptor, LOCK_SH | LOCK_NB) && errno == EWOULDBLOCK;
}

} // namespace glintro
