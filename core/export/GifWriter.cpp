#include "core/export/GifWriter.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <cgif.h>
#include <fmt/format.h>

namespace glintro {
namespace {

constexpr auto kNotCreated = "Couldn’t create the GIF file.";
constexpr auto kNotFinished = "Couldn’t finish the GIF.";

constexpr int kLargestSide = 65535; // the format's own limit

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
struct CloseGif {
    void operator()(CGIF* gif) const { cgif_close(gif); }
};

class CgifWriter final : public GifWriter {
  public:
    static Result<std::unique_ptr<GifWriter>> create(const std::filesystem::path& path, PixelSize canvas) {
        std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.c_str(), "wb"));
        if (!file) return failure(kNotCreated, std::strerror(errno), errno);
        std::unique_ptr<CgifWriter> writer(new CgifWriter(std::move(file), canvas));
        CGIF_Config config{};
        config.attrFlags = CGIF_ATTR_IS_ANIMATED | CGIF_ATTR_NO_GLOBAL_TABLE;
        config.width = static_cast<std::uint16_t>(canvas.width);
        config.height = static_cast<std::uint16_t>(canvas.height);
        config.numLoops = CGIF_INFINITE_LOOP;
        config.pWriteFn = write;
        config.pContext = writer.get();
        writer->gif_.reset(cgif_newgif(&config));
        if (!writer->gif_) return writer->failed(kNotCreated, CGIF_ERROR);
        return writer;
    }

    Result<void> add(const GifFrame& frame, int delay) override {
        std::vector<std::uint8_t> table = colourTable(frame);
        fillCanvas(frame);
        CGIF_FrameConfig config{};
        config.pLocalPalette = table.data();
        config.numLocalPaletteEntries = static_cast<std::uint16_t>(table.size() / 3);
        config.pImageData = indices_.data();
        config.attrFlags = CGIF_FRAME_ATTR_USE_LOCAL_TABLE;
        config.delay = static_cast<std::uint16_t>(delay);
        if (frame.kept) {
            config.attrFlags |= CGIF_FRAME_ATTR_HAS_SET_TRANS;
            config.genFlags = CGIF_FRAME_GEN_USE_DIFF_WINDOW;
            config.transIndex = *frame.kept;
        }
        if (const int result = cgif_addframe(gif_.get(), &config); result != CGIF_OK)
            return failed(kNotFinished, result);
        return {};
    }

    Result<void> finish() override {
        if (const int result = cgif_close(gif_.release()); result != CGIF_OK)
            return failed(kNotFinished, result);
        if (std::fclose(file_.release()) != 0) {
            error_ = errno;
            return failed(kNotFinished, CGIF_EWRITE);
        }
        return {};
    }

  private:
    CgifWriter(std::unique_ptr<std::FILE, CloseFile> file, PixelSize canvas)
        : canvas_(canvas),
          indices_(static_cast<std::size_t>(canvas.width) * static_cast<std::size_t>(canvas.height)),
          file_(std::move(file)) {}

    // cgif wants whole canvases, and cuts out the part that is not kept.
    void fillCanvas(const GifFrame& frame) {
        std::ranges::fill(indices_, frame.kept.value_or(0));
        for (int y = 0; y < frame.area.height; ++y)
            std::copy_n(frame.indices.begin() + std::ptrdiff_t{y} * frame.area.width, frame.area.width,
                        indices_.begin() + std::ptrdiff_t{frame.area.y + y} * canvas_.width + frame.area.x);
    }

    // cgif wants every index that occurs to have a colour.
    static std::vector<std::uint8_t> colourTable(const GifFrame& frame) {
        const std::size_t colours = std::max<std::size_t>(frame.palette.size(), frame.kept.value_or(0) + 1U);
        std::vector<std::uint8_t> table(colours * 3);
        for (std::size_t i = 0; i < frame.palette.size(); ++i) {
            table[3 * i] = frame.palette[i].red;
            table[3 * i + 1] = frame.palette[i].green;
            table[3 * i + 2] = frame.palette[i].blue;
        }
        return table;
    }

    static int write(void* context, const std::uint8_t* data, std::size_t size) {
        auto& self = *static_cast<CgifWriter*>(context);
        if (std::fwrite(data, 1, size, self.file_.get()) == size) return 0;
        self.error_ = errno;
        return -1;
    }

    std::unexpected<Failure> failed(const char* message, int result) const {
        if (error_ != 0) return failure(message, std::strerror(error_), error_);
        return failure(message, "the GIF encoder failed", result);
    }

    PixelSize canvas_;
    std::vector<std::uint8_t> indices_; // of the whole canvas
    std::unique_ptr<std::FILE, CloseFile> file_;
    std::unique_ptr<CGIF, CloseGif> gif_; // writes to file_ when closed, so destroyed first
    int error_ = 0;                       // what the last failed write said
};

} // namespace

Result<std::unique_ptr<GifWriter>> GifWriter::create(const std::filesystem::path& file, PixelSize canvas) {
    const auto isPossible = [](int side) { return side >= 1 && side <= kLargestSide; };
    if (!isPossible(canvas.width) || !isPossible(canvas.height))
        return failure(kNotCreated, fmt::format("no GIF has {} x {} pixels", canvas.width, canvas.height));
    return CgifWriter::create(file, canvas);
}

Result<void> checkGifRate(int fps) {
    if (fps >= 1 && fps <= kMostGifFrames) return {};
    return failure(fmt::format("A GIF shows from 1 to {} frames a second, not {}. Choose another frame rate.",
                               kMostGifFrames, fps));
}

int gifDelay(std::int64_t index, int fps) {
    assert(fps >= 1 && fps <= kMostGifFrames);
    const auto end = [fps](std::int64_t frames) { return frames * 100 / fps; };
    return static_cast<int>(end(index + 1) - end(index));
}

} // namespace glintro
