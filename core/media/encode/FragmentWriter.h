#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <stop_token>
#include <thread>
#include <vector>

#include "core/media/FFmpegHandles.h"
#include "core/media/encode/LiveMovieWriter.h"
#include "core/media/fragments/FragmentFile.h"
#include "core/media/fragments/FragmentMuxer.h"

namespace glintro {

// Brings packets into a movie's file, in fragments of about half a second, and the file to the disk every
// second. One thread muxes and writes, another one synchronises: encoders wait for neither, unless a fragment
// is complete while the one before it is still being written.
//
// The muxing thread is always the same for the sake of memory: a fragment's buffers grow to megabytes, and
// malloc keeps such an amount for each thread that ever had one.
class FragmentWriter {
  public:
    enum class Track { pictures, sound };

    // When a packet is shown or heard, in seconds of the movie.
    struct Span {
        Seconds begin = 0;
        Seconds end = 0;
    };

    FragmentWriter(FragmentMuxer muxer, FragmentFile file);
    // Without finish(): the file stays as after a kill.
    ~FragmentWriter();
    FragmentWriter(const FragmentWriter&) = delete;
    FragmentWriter& operator=(const FragmentWriter&) = delete;

    // Writes the movie's beginning. Once, before anything else.
    [[nodiscard]] Result<void> start();
    // From any thread; the packet's content is moved from. Fails when any earlier packet could not be
    // written.
    [[nodiscard]] Result<void> write(AVPacket& packet, Track track, Span span);
    // Keeps the first failure: from then on nothing is written.
    void fail(const Failure& failure);
    // Writes what waits, seals the movie and closes the file, see LiveMovieWriter::finish(). Once, after the
    // last write().
    [[nodiscard]] Result<void> finish(Seconds end);

    LiveMovieProgress progress() const; // from any thread; never waits for the disk
    std::int64_t answeredAccesses() const { return file_.answeredAccesses(); } // likewise

  private:
    using Clock = std::chrono::steady_clock;
    struct Waiting {
        PacketPtr packet;
        Track track;
    };
    struct Fragment {
        std::vector<Waiting> packets;
        Span span;
        Clock::time_point since;
    };

    bool isComplete(Span next) const;
    void handOver();
    void writeFragments(const std::stop_token& stop);
    void writeHanded(std::unique_lock<std::mutex>& lock);
    [[nodiscard]] Result<void> append(const Fragment& fragment);
    void syncRegularly(const std::stop_token& stop);
    void sync();

    // Of the muxing thread, but for the file's sync().
    FragmentMuxer muxer_;
    FragmentFile file_;

    mutable std::mutex mutex_; // never held while the disk is waited for; guards all that follow
    std::condition_variable_any handedOver_;
    std::condition_variable written_;
    std::optional<Fragment> growing_;
    std::optional<Fragment> handed_; // until it is written
    std::optional<Failure> failed_;
    LiveMovieProgress stored_; // in the file
    LiveMovieProgress safe_;   // on the disk

    std::jthread writer_; // last: they use all of the above
    std::jthread syncer_;
};

} // namespace glintro
