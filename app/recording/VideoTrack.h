#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "core/media/encode/LiveMovieWriter.h"

namespace glintro {

// Encodes the pictures of a movie being recorded on a thread of its own, behind a small mailbox: who offers a
// picture never waits. While the encoder falls behind, it is asked to work faster; when the mailbox is full
// nevertheless, pictures are left out.
class VideoTrack {
  public:
    // Makes the picture, on the track's thread, right before it is encoded. It and what it holds is given up
    // before the encoder starts; the picture must stay valid until the next one is made, or hold its storage.
    using Source = std::move_only_function<Picture()>;
    using FailureHandler = std::function<void(const Failure&)>;

    // As many as a stream can spare: one of its six buffers is being converted, one being filled.
    static constexpr std::size_t kMailbox = 4;

    // `failed` is called at most once, on the track's thread; pictures are thrown away from then on. The
    // writer must outlive the track.
    VideoTrack(LiveMovieWriter& writer, int fps, FailureHandler failed, std::size_t mailbox = kMailbox);
    ~VideoTrack() { close(); }

    // False when the mailbox is full. `time` as for LiveMovieWriter::writeFrame; a picture that does not come
    // after the one before it is shown right behind it.
    [[nodiscard]] bool offer(Source source, Seconds time);
    // Encodes what waits, and ends.
    void close();

    std::int64_t writtenFrames() const;
    std::string encoderName() const;

  private:
    struct Entry {
        Source source;
        Seconds time = 0;
    };
    void work();
    void encode(Entry entry);
    void keepPace(Seconds busy, std::size_t waiting);

    LiveMovieWriter& writer_;
    const Seconds interval_;
    const FailureHandler failed_;
    const std::size_t limit_;

    // Of the track's thread.
    Seconds lastTime_ = -1;
    Seconds meanBusy_ = 0;
    int framesAtThisPace_ = 0;
    bool hasFailed_ = false;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Entry> waiting_; // guarded by mutex_, as all that follow
    bool closed_ = false;
    std::int64_t written_ = 0;
    std::string encoderName_;

    std::jthread thread_; // last: it uses all of the above
};

} // namespace glintro
