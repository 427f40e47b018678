#pragma once

#include <cstdint>
#include <memory>

#include "core/media/FFmpegHandles.h"
#include "core/media/fragments/Boxes.h"

namespace glintro {

// Muxes packets into the fragments of a QuickTime movie, in memory. One thread at a time; best always the
// same one, for malloc keeps a fragment's megabytes for each thread that ever allocated them.
class FragmentMuxer {
  public:
    // `sound` is null for a silent movie.
    [[nodiscard]] static Result<FragmentMuxer> create(const AVCodecContext& pictures,
                                                      const AVCodecContext* sound);

    // The file's beginning: its type, a placeholder (see FragmentSealing.h) and an empty index.
    const Bytes& beginning() const { return beginning_; }

    // Packets with their encoder's times, ascending in each track.
    [[nodiscard]] Result<void> writePicture(AVPacket& packet);
    [[nodiscard]] Result<void> writeSound(AVPacket& packet);
    // The packets written since the last call as one fragment; empty when there were none.
    [[nodiscard]] Result<Bytes> cut();

  private:
    struct Close {
        void operator()(AVFormatContext* context) const;
    };
    using OutputInMemory = std::unique_ptr<AVFormatContext, Close>;

    explicit FragmentMuxer(OutputInMemory output) : output_(std::move(output)) {}
    [[nodiscard]] Result<void> writeBeginning();
    [[nodiscard]] Result<void> write(AVPacket& packet, int stream, AVRational timeBase);
    [[nodiscard]] Result<Bytes> collectOutput();

    OutputInMemory output_;
    Bytes beginning_;
    AVRational pictureTimeBase_{1, 1};
    AVRational soundTimeBase_{1, 1};
    int priming_ = 0;
};

} // namespace glintro
