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

// Encodes the pictures of a movie being recorded on a thread of its own, behind a bounded queue: offer()
// never waits. While the queue fills, the encoder is told to work faster and on more threads; when it is full
// nevertheless, pictures are dropped.
class VideoTrack {
  public:
    // Makes the picture, on the track's thread, right before it is encoded. The source and what it holds are
    // destroyed before the encoder starts; the picture must stay valid until the next one is made, or hold
    // its storage.
    using Source = std::move_only_function<Picture()>;
    using FailureHandler = std::function<void(const Failure&)>;

    // For pictures that lie in the buffers of a device, of which a stream has about six.
    static constexpr std::size_t kDeviceLimit = 4;

    // `failed` is called at most once, on the track's thread; later pictures are discarded. The writer must
    // outlive the track. At most `limit` pictures wait; `fps` is the rate that is expected.
    VideoTrack(LiveMovieWriter& writer, int fps, FailureHandler failed, std::size_t limit = kDeviceLimit);
    ~VideoTrack() { close(); }

    // False when the queue is full. `movieTime` as for LiveMovieWriter::writeFrame; a picture that does not
    // come after the one before it is shown right behind it.
    [[nodiscard]] bool offer(Source source, Seconds movieTime);
    // Whether offer() accepts the next picture, if this is the only thread that offers any.
    bool hasRoom() const;
    // Encodes what waits, and ends. From one thread at a time.
    void close();

    std::int64_t writtenFrames() const;
    std::string encoderName() const;

  private:
    struct Entry {
        Source source;
        Seconds movieTime = 0;
    };
    void work();
    void encode(Entry entry);
    void keepPace(Seconds busy, std::size_t waiting);
    bool stepDown(std::size_t waiting);

    LiveMovieWriter& writer_;
    const Seconds interval_;
    const FailureHandler failed_;
    const std::size_t limit_;

    // Of the track's thread.
    Seconds lastMovieTime_ = -1;
    Seconds meanBusy_ = 0;
    int framesAtThisPace_ = 0;
    bool hasFailed_ = false;

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Entry> waiting_; // guarded by mutex_, as all that follow
    bool isClosed_ = false;
    std::int64_t written_ = 0;
    std::string encoderName_;

    std::jthread thread_; // last: it uses all of the above
};

} // namespace glintro
