#include "core/export/GifStream.h"

#include <utility>

namespace glintro {
namespace {

constexpr std::size_t kUnderWay = 2;

} // namespace

Result<std::unique_ptr<GifStream>> GifStream::create(const std::filesystem::path& file, PixelSize canvas,
                                                     int fps, Written written) {
    if (auto possible = checkGifRate(fps); !possible) return std::unexpected(possible.error());
    auto writer = GifWriter::create(file, canvas);
    if (!writer) return std::unexpected(writer.error());
    return std::unique_ptr<GifStream>(new GifStream(*std::move(writer), canvas, fps, std::move(written)));
}

GifStream::GifStream(std::unique_ptr<GifWriter> writer, PixelSize canvas, int fps, Written written)
    : writer_(std::move(writer)),
      quantizer_(canvas),
      fps_(fps),
      written_(std::move(written)),
      drawn_(kUnderWay),
      quantized_(kUnderWay),
      quantizing_([this] { quantizeAll(); }),
      writing_([this] { writeAll(); }) {}

GifStream::~GifStream() {
    stop(Failure::cancelled());
}

Result<void> GifStream::add(const Picture& picture, FrameChange change) {
    if (drawn_.push({picture, change})) return {};
    return std::unexpected(drawn_.failure().value_or(Failure::cancelled()));
}

Result<void> GifStream::finish(std::int64_t total) {
    drawn_.close();
    quantizing_.join();
    writing_.join();
    if (auto failed = drawn_.failure()) return std::unexpected(*std::move(failed));
    while (count_ < total)
        if (auto written = write(GifFrame{}); !written) return written;
    return writer_->finish();
}

void GifStream::quantizeAll() {
    while (auto drawn = drawn_.pop()) {
        auto frame =
            drawn->change == FrameChange::repeated ? Result<GifFrame>() : quantizer_.quantize(drawn->picture);
        if (!frame) return stop(frame.error());
        if (!quantized_.push({std::move(drawn->picture), *std::move(frame)})) return;
    }
    quantized_.close();
}

void GifStream::writeAll() {
    while (const auto quantized = quantized_.pop()) {
        if (auto written = write(quantized->frame); !written) return stop(written.error());
        if (written_) written_(quantized->picture, count_);
    }
}

Result<void> GifStream::write(const GifFrame& frame) {
    auto added = writer_->add(frame, gifDelay(count_, fps_));
    if (added) ++count_;
    return added;
}

void GifStream::stop(const Failure& why) {
    drawn_.abort(why);
    quantized_.abort(why);
}

} // namespace glintro
