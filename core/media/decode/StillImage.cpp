#include "core/media/decode/StillImage.h"

#include <algorithm>
#include <memory>
#include <string_view>
#include <utility>

#include "core/base/ReplacementFile.h"
#include "core/media/FFmpegHandles.h"
#include "core/media/OutputFailure.h"

namespace glintro {
namespace {

constexpr const char* kCannotLoad = "The picture can’t be read.";
constexpr const char* kCannotSave = "The picture can’t be written.";
constexpr const char* kFormats =
    "image2,png_pipe,jpeg_pipe,webp_pipe,bmp_pipe,tiff_pipe,gif,gif_pipe,jpegxl_pipe,qoi_pipe,svg_pipe,mov";
constexpr std::int64_t kMostStillPixels = std::int64_t{1} << 27;

// How often the decoder may halve the picture while it decodes (JPEG) and still cover a size, whichever way
// the picture is turned.
int halvings(const AVCodec& codec, const AVCodecParameters& picture, PixelSize covered) {
    const int needed = std::max(covered.width, covered.height);
    const int shorter = std::min(picture.width, picture.height);
    int count = 0;
    while (count < codec.max_lowres && shorter >> (count + 1) >= needed) ++count;
    return count;
}

Result<CodecPtr> openDecoder(const AVStream& stream, std::optional<PixelSize> covered) {
    const AVCodec* codec = avcodec_find_decoder(stream.codecpar->codec_id);
    if (codec == nullptr) return failure(kCannotLoad, avcodec_get_name(stream.codecpar->codec_id));
    CodecPtr context(avcodec_alloc_context3(codec));
    int code = avcodec_parameters_to_context(context.get(), stream.codecpar);
    if (covered) context->lowres = halvings(*codec, *stream.codecpar, *covered);
    if (code >= 0) code = avcodec_open2(context.get(), codec, nullptr);
    if (code < 0) return ffmpegFailure(kCannotLoad, code);
    return context;
}

Result<FramePtr> decodeFirst(AVFormatContext& input, const AVStream& stream,
                             std::optional<PixelSize> covered) {
    auto decoder = openDecoder(stream, covered);
    if (!decoder) return std::unexpected(decoder.error());
    FramePtr frame = newFrame();
    const PacketPtr packet = newPacket();
    int code = avcodec_receive_frame(decoder->get(), frame.get());
    while (code == AVERROR(EAGAIN)) {
        av_packet_unref(packet.get());
        const int read = av_read_frame(&input, packet.get());
        avcodec_send_packet(decoder->get(), read >= 0 ? packet.get() : nullptr);
        code = avcodec_receive_frame(decoder->get(), frame.get());
    }
    if (code < 0) return ffmpegFailure(kCannotLoad, code);
    return frame;
}

Result<FramePtr> decodeImage(const std::filesystem::path& file, std::optional<PixelSize> covered) {
    std::error_code ignored;
    // Reading a pipe or a device might never end.
    if (!std::filesystem::is_regular_file(file, ignored)) return failure(kCannotLoad, "not a file");
    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    av_dict_set(&options, "format_whitelist", kFormats, 0);
    // The name is a file's, not a pattern of several.
    av_dict_set(&options, "pattern_type", "none", 0);
    AVFormatContext* context = nullptr;
    const int code = avformat_open_input(&context, fileUrl(file).c_str(), nullptr, &options);
    av_dict_free(&options);
    if (code < 0) return ffmpegFailure(kCannotLoad, code);
    const InputPtr input(context);
    if (avformat_find_stream_info(context, nullptr) < 0) return failure(kCannotLoad);
    const int index = av_find_best_stream(context, AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (index < 0) return ffmpegFailure(kCannotLoad, index);
    return decodeFirst(*context, *context->streams[index], covered);
}

// Pictures that don't say are BT.601 in full range, as JPEG and WebP have them.
void applyColours(SwsContext& scaler, const AVFrame& frame) {
    const int matrix = frame.colorspace == AVCOL_SPC_BT709 ? SWS_CS_ITU709 : SWS_CS_ITU601;
    const bool isFull = frame.color_range != AVCOL_RANGE_MPEG;
    sws_setColorspaceDetails(&scaler, sws_getCoefficients(matrix), isFull ? 1 : 0,
                             sws_getCoefficients(SWS_CS_DEFAULT), 1, 0, 1 << 16, 1 << 16);
}

// How a picture must be turned to stand upright: first mirrored in its own columns and rows, then, where
// `swapsAxes`, its rows become columns.
struct Turn {
    bool mirrorsColumns = false;
    bool mirrorsRows = false;
    bool swapsAxes = false;
};

// EXIF numbers the eight ways to hold a camera from 1; other numbers are none.
Turn turnOf(const AVFrame& frame) {
    const AVDictionaryEntry* entry = av_dict_get(frame.metadata, "Orientation", nullptr, 0);
    switch (entry != nullptr ? std::strtol(entry->value, nullptr, 10) : 1) {
        case 2:
            return {true, false, false};
        case 3:
            return {true, true, false};
        case 4:
            return {false, true, false};
        case 5:
            return {false, false, true};
        case 6:
            return {false, true, true};
        case 7:
            return {true, true, true};
        case 8:
            return {true, false, true};
        default:
            return {};
    }
}

PixelSize swapped(PixelSize size, bool isSwapped) {
    return isSwapped ? PixelSize{size.height, size.width} : size;
}

BgraImage turned(BgraImage image, Turn turn) {
    if (!turn.mirrorsColumns && !turn.mirrorsRows && !turn.swapsAxes) return image;
    BgraImage upright(swapped(image.size, turn.swapsAxes));
    for (int y = 0; y < upright.size.height; ++y) {
        for (int x = 0; x < upright.size.width; ++x) {
            const int column = turn.swapsAxes ? y : x;
            const int row = turn.swapsAxes ? x : y;
            const std::uint8_t* const pixel =
                image.row(turn.mirrorsRows ? image.size.height - 1 - row : row)
                + static_cast<std::ptrdiff_t>(4)
                      * (turn.mirrorsColumns ? image.size.width - 1 - column : column);
            std::copy_n(pixel, 4, upright.row(y) + static_cast<std::ptrdiff_t>(4) * x);
        }
    }
    return upright;
}

Result<BgraImage> toBgra(const AVFrame& frame, PixelSize size) {
    const bool fits =
        frame.width > 0 && frame.height > 0 && std::int64_t{frame.width} * frame.height <= kMostStillPixels;
    if (!fits) return failure("The picture’s size is not supported.");
    const ScalerPtr scaler(sws_getContext(
        frame.width, frame.height, static_cast<AVPixelFormat>(frame.format), size.width, size.height,
        AV_PIX_FMT_BGRA, SWS_BICUBIC | SWS_FULL_CHR_H_INP | SWS_FULL_CHR_H_INT | SWS_ACCURATE_RND, nullptr,
        nullptr, nullptr));
    if (!scaler) return failure(kCannotLoad, "no conversion from its pixel format");
    applyColours(*scaler, frame);
    BgraImage image(size);
    std::uint8_t* const rows[] = {image.pixels.data()};
    const int strides[] = {static_cast<int>(image.rowBytes())};
    const int code = sws_scale(scaler.get(), frame.data, frame.linesize, 0, frame.height, rows, strides);
    if (code < 0) return ffmpegFailure(kCannotLoad, code);
    return image;
}

// PNG stores R, G, B and, where any pixel is not opaque, A.
FramePtr pngFrame(const BgraImage& image) {
    bool isOpaque = true;
    for (std::size_t i = 3; i < image.pixels.size(); i += 4) isOpaque = isOpaque && image.pixels[i] == 255;
    const std::size_t channels = isOpaque ? 3 : 4;
    FramePtr frame = newFrame();
    frame->format = isOpaque ? AV_PIX_FMT_RGB24 : AV_PIX_FMT_RGBA;
    frame->width = image.size.width;
    frame->height = image.size.height;
    frame->color_range = AVCOL_RANGE_JPEG;
    frame->color_primaries = AVCOL_PRI_BT709;
    frame->color_trc = AVCOL_TRC_IEC61966_2_1;
    if (av_frame_get_buffer(frame.get(), 0) < 0) return nullptr;
    for (int y = 0; y < image.size.height; ++y) {
        const std::uint8_t* source = image.row(y);
        std::uint8_t* target = frame->data[0] + static_cast<std::ptrdiff_t>(y) * frame->linesize[0];
        for (int x = 0; x < image.size.width; ++x, source += 4, target += channels) {
            target[0] = source[2];
            target[1] = source[1];
            target[2] = source[0];
            if (!isOpaque) target[3] = source[3];
        }
    }
    return frame;
}

Result<PacketPtr> encodePng(const BgraImage& image) {
    const FramePtr frame = pngFrame(image);
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_PNG);
    if (!frame || codec == nullptr) return failure(kCannotSave, "no PNG encoder");
    const CodecPtr encoder(avcodec_alloc_context3(codec));
    encoder->width = frame->width;
    encoder->height = frame->height;
    encoder->pix_fmt = static_cast<AVPixelFormat>(frame->format);
    encoder->time_base = {1, 1};
    // A third of the time of zlib's usual level, for files a little larger.
    encoder->compression_level = 3;
    PacketPtr packet = newPacket();
    int code = avcodec_open2(encoder.get(), codec, nullptr);
    if (code >= 0) code = avcodec_send_frame(encoder.get(), frame.get());
    if (code >= 0) code = avcodec_receive_packet(encoder.get(), packet.get());
    if (code < 0) return ffmpegFailure(kCannotSave, code);
    return packet;
}

std::unexpected<Failure> saveFailure(const Failure& why) {
    return outputFailure("picture", why.nativeCode, kCannotSave);
}

} // namespace

Result<BgraImage> loadImage(const std::filesystem::path& file, std::optional<PixelSize> covered) {
    prepareFFmpeg();
    auto frame = decodeImage(file, covered);
    if (!frame) return std::unexpected(frame.error());
    const Turn turn = turnOf(**frame);
    const PixelSize whole{(*frame)->width, (*frame)->height};
    auto image = toBgra(**frame, covered ? shrunkToCover(whole, swapped(*covered, turn.swapsAxes)) : whole);
    if (!image) return image;
    return turned(*std::move(image), turn);
}

Result<void> savePng(const BgraImage& image, const std::filesystem::path& file) {
    prepareFFmpeg();
    auto packet = encodePng(image);
    if (!packet) return std::unexpected(packet.error());
    auto replacement = ReplacementFile::create(file);
    if (!replacement) return saveFailure(replacement.error());
    const std::string_view bytes(reinterpret_cast<const char*>((*packet)->data),
                                 static_cast<std::size_t>((*packet)->size));
    if (auto written = replacement->write(bytes); !written) return saveFailure(written.error());
    if (auto placed = replacement->commit(); !placed) return saveFailure(placed.error());
    return {};
}

} // namespace glintro
