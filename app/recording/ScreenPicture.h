#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "core/raster/Picture.h"
#include "core/raster/Resample.h"
#include "platform/RowSet.h"
#include "platform/ScreenStream.h"

namespace glintro {

// The recorded picture as the encoder wants it, kept from frame to frame: only the rows that changed are
// converted. A frame that is larger by one odd row or column is cropped; one of any other size (a window that
// was resized) is fitted into the picture and centred, black around it.
//
// Snapshots use a few buffers in turn. A buffer lags behind by what has changed since its last turn, and
// those rows are converted with the next ones. There are as many buffers as snapshots are in use, and one
// more; those that stay unused are freed after some seconds.
class ScreenPicture {
  public:
    explicit ScreenPicture(PixelSize size); // even
    ~ScreenPicture();
    ScreenPicture(const ScreenPicture&) = delete;
    ScreenPicture& operator=(const ScreenPicture&) = delete;

    // Brings the picture up to date and returns it: a snapshot that does not change while its storage lives,
    // which may be released on any thread. `frame.changed` counts from the frame updated with before. One
    // thread at a time. Throws std::bad_alloc when no buffer is free and there is no memory for another one.
    Picture update(const ScreenFrame& frame);

  private:
    struct Buffer;
    const std::shared_ptr<Buffer>& freeBuffer();
    void draw(const ScreenFrame& frame, Buffer& buffer);
    void fit(const ScreenFrame& frame, Buffer& buffer);
    void freeUnused();
    Picture snapshotOf(const std::shared_ptr<Buffer>& buffer);

    PixelSize size_;
    std::vector<std::shared_ptr<Buffer>> buffers_;
    std::shared_ptr<Buffer> latest_; // the one that is up to date
    std::int64_t updates_ = 0;
    PixelSize shown_; // of the latest frame
    // A fitted frame in its own size; absent while frames come in the picture's size.
    std::optional<PictureBuffer> resized_;
    Resampler resampler_;
};

} // namespace glintro
