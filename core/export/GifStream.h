#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <thread>

#include "core/export/BoundedQueue.h"
#include "core/export/FramePipeline.h"
#include "core/export/GifQuantizer.h"
#include "core/export/GifWriter.h"

namespace glintro {

// Makes a GIF of the pictures it is given, in order, while more of them are being drawn:
//
//   add ──► quantising thread ──► writing thread ──► file
//
// Only a few pictures are held at a time, so memory use does not grow with their number. An object destroyed
// before finish() leaves a partial file. One thread at a time.
class GifStream {
  public:
    // Called on the writing thread when the file holds `written` frames, `picture` the last of them.
    using Written = std::function<void(const Picture& picture, std::int64_t written)>;

    // Refuses a frame rate that GIFs cannot keep (checkGifRate).
    [[nodiscard]] static Result<std::unique_ptr<GifStream>> create(const std::filesystem::path& file,
                                                                   PixelSize canvas, int fps,
                                                                   Written written = {});
    ~GifStream();
    GifStream(const GifStream&) = delete;
    GifStream& operator=(const GifStream&) = delete;

    // Waits for room. `picture` is rgb444, of the canvas's size, and shared by its storage until it is
    // written. Fails when an earlier picture could not be written.
    [[nodiscard]] Result<void> add(const Picture& picture, FrameChange change);

    // Waits until all is written. Where fewer than `total` frames were added, the last one stands for the
    // rest.
    [[nodiscard]] Result<void> finish(std::int64_t total);

  private:
    struct Drawn {
        Picture picture;
        FrameChange change;
    };
    struct Quantized {
        Picture picture;
        GifFrame frame;
    };

    GifStream(std::unique_ptr<GifWriter> writer, PixelSize canvas, int fps, Written written);
    void quantizeAll();
    void writeAll();
    [[nodiscard]] Result<void> write(const GifFrame& frame);
    void stop(const Failure& why);

    std::unique_ptr<GifWriter> writer_;
    GifQuantizer quantizer_;
    int fps_;
    Written written_;
    std::int64_t count_ = 0; // frames in the file; of the writing thread until it has ended
    BoundedQueue<Drawn> drawn_;
    BoundedQueue<Quantized> quantized_;
    std::jthread quantizing_;
    std::jthread writing_;
};

} // namespace glintro
