#include "core/media/decode/PictureConverter.h"

#include <cmath>
#include <utility>

#include <fmt/format.h>

#include "core/media/FFmpegColours.h"

extern "C" {
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/pixdesc.h>
}

namespace glintro {
namespace {

constexpr const char* kCannotConvert = "Couldn’t convert the recording’s pictures.";
constexpr int kLongestSide = 16384;
constexpr const char* kColours = "matrix=709:range=limited:chromal=left:filter=bicubic";

// Without a tag, players treat small pictures as BT.601 and large ones as BT.709.
AVColorSpace matrixOf(const AVFrame& frame, const AVPixFmtDescriptor& format) {
    constexpr int kFirstHdHeight = 720;
    if ((format.flags & AV_PIX_FMT_FLAG_RGB) != 0) return AVCOL_SPC_RGB;
    switch (frame.colorspace) {
        case AVCOL_SPC_BT709:
        case AVCOL_SPC_FCC:
        case AVCOL_SPC_BT470BG:
        case AVCOL_SPC_SMPTE170M:
        case AVCOL_SPC_SMPTE240M:
        case AVCOL_SPC_YCGCO:
        case AVCOL_SPC_BT2020_NCL:
            return frame.colorspace;
        default:
            return frame.height < kFirstHdHeight ? AVCOL_SPC_SMPTE170M : AVCOL_SPC_BT709;
    }
}

bool isHdr(const AVFrame& frame) {
    return frame.color_trc == AVCOL_TRC_SMPTE2084 || frame.color_trc == AVCOL_TRC_ARIB_STD_B67;
}

// A second reference to the frame with everything about its colours said outright. Primaries and transfer of
// SDR are left as they are, so they are called the same on both sides.
FramePtr describe(const AVFrame& frame) {
    FramePtr described(av_frame_clone(&frame));
    if (!described) return nullptr;
    described->format = plainFormat(frame.format);
    const AVPixFmtDescriptor* format = av_pix_fmt_desc_get(plainFormat(frame.format));
    if (format == nullptr) return nullptr;
    described->colorspace = matrixOf(frame, *format);
    const bool isFull = isFullRange(frame) || described->colorspace == AVCOL_SPC_RGB;
    described->color_range = isFull ? AVCOL_RANGE_JPEG : AVCOL_RANGE_MPEG;
    if (isHdr(frame)) {
        const bool saysPrimaries = frame.color_primaries != AVCOL_PRI_UNSPECIFIED;
        described->color_primaries = saysPrimaries ? frame.color_primaries : AVCOL_PRI_BT2020;
    } else {
        described->color_primaries = AVCOL_PRI_BT709;
        described->color_trc = AVCOL_TRC_BT709;
    }
    if (frame.chroma_location == AVCHROMA_LOC_UNSPECIFIED) described->chroma_location = AVCHROMA_LOC_LEFT;
    described->sample_aspect_ratio = {1, 1};
    return described;
}

PicturePtr wrap(FramePtr frame, PixelSize size) {
    auto picture = std::make_shared<Picture>();
    picture->layout = PixelLayout::yuv420;
    picture->size = size;
    for (int i = 0; i < 3; ++i) {
        const PixelSize extent = planeSize(picture->layout, i, size);
        picture->planes[static_cast<std::size_t>(i)] = {frame->data[i], frame->linesize[i], extent.width,
                                                        extent.height};
    }
    picture->storage = std::shared_ptr<const AVFrame>(std::move(frame));
    return picture;
}

// 4:2:0 is filtered in whole chroma samples: an odd edge is repeated once, and the repetition left out of the
// finished picture again.
std::string evenOut(PixelSize size) {
    const int right = size.width % 2;
    const int bottom = size.height % 2;
    if (right == 0 && bottom == 0) return {};
    return fmt::format("pad={}:{},fillborders=right={}:bottom={}:mode=smear,", size.width + right,
                       size.height + bottom, right, bottom);
}

} // namespace

Orientation orientationOf(const AVStream& stream) {
    std::size_t bytes = 0;
    const std::uint8_t* data = av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &bytes);
    if (data == nullptr || bytes < 9 * sizeof(std::int32_t)) return {};
    // x' = a x + c y, y' = b x + d y, stored a b u c d v x y w.
    const auto* matrix = reinterpret_cast<const std::int32_t*>(data);
    const double a = matrix[0];
    const double b = matrix[1];
    const double c = matrix[3];
    const double d = matrix[4];
    const bool transposed = std::abs(b) + std::abs(c) > std::abs(a) + std::abs(d);
    return {transposed, (transposed ? c : a) < 0, (transposed ? b : d) < 0};
}

PixelSize naturalSizeOf(PixelSize stored, AVRational pixelAspect, Orientation orientation) {
    PixelSize size = stored;
    if (pixelAspect.num > 0 && pixelAspect.den > 0) {
        const double width = std::round(stored.width * av_q2d(pixelAspect));
        if (width >= 1 && width <= kLongestSide) size.width = static_cast<int>(width);
    }
    if (orientation.transposed) std::swap(size.width, size.height);
    return size;
}

bool PictureConverter::isFinished(const AVFrame& described, PixelSize size) const {
    return described.format == AV_PIX_FMT_YUV420P && described.color_range == AVCOL_RANGE_MPEG
           && described.colorspace == AVCOL_SPC_BT709 && described.chroma_location == AVCHROMA_LOC_LEFT
           && !isHdr(described) && orientation_ == Orientation{}
           && size == PixelSize{described.width, described.height};
}

bool PictureConverter::isCommon(const AVFrame& frame) const {
    const FramePtr described = describe(frame);
    return described && isFinished(*described, {frame.width, frame.height});
}

Result<PicturePtr> PictureConverter::convert(const AVFrame& frame, PixelSize size) {
    FramePtr described = describe(frame);
    if (!described) return failure(kCannotConvert);
    if (isFinished(*described, size)) return wrap(std::move(described), size);
    if (auto prepared = prepareGraph(*described, size); !prepared) return std::unexpected(prepared.error());

    FramePtr converted = newFrame();
    int code = av_buffersrc_add_frame(source_, described.get());
    if (code >= 0) code = av_buffersink_get_frame(sink_, converted.get());
    if (code < 0) {
        description_.clear(); // a graph that failed once is not used again
        return ffmpegFailure(kCannotConvert, code);
    }
    return wrap(std::move(converted), size);
}

// One conversion of colours, range, depth, siting and size.
std::string PictureConverter::sameShapeGraph(const AVFrame& frame, PixelSize size) const {
    if (!isHdr(frame))
        return fmt::format("zscale={}:{}:{},format=yuv420p", size.width, size.height, kColours);
    // Light in units of diffuse white (ITU-R BT.2408), of which the brightest is 1000 cd/m².
    constexpr double kDiffuseWhite = 203;
    constexpr double kBrightest = 1000;
    return fmt::format(
        "zscale={}:{}:transfer=linear:primaries=709:npl={}:filter=bicubic,format=gbrpf32le,"
        "tonemap=mobius:param=0.5:desat=0:peak={},"
        "zscale=primaries=709:transfer=709:{},format=yuv420p",
        size.width, size.height, kDiffuseWhite, kBrightest / kDiffuseWhite, kColours);
}

// Pictures that are turned or have odd edges are converted at 4:4:4 first, where every sample has a place of
// its own that survives being turned.
std::string PictureConverter::graphFor(const AVFrame& frame, PixelSize size) const {
    const PixelSize stored{frame.width, frame.height};
    const auto* format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    const bool isPackedRgb =
        (format->flags & AV_PIX_FMT_FLAG_RGB) != 0 && (format->flags & AV_PIX_FMT_FLAG_PLANAR) == 0;

    std::string graph = fmt::format("buffer=video_size={}x{}:pix_fmt={}:time_base=1/1:pixel_aspect=1/1,",
                                    stored.width, stored.height, frame.format);
    if (isPackedRgb) graph += "format=gbrp,";
    graph += evenOut(stored);
    const bool isEven = evenOut(stored).empty() && evenOut(size).empty();
    if (orientation_ == Orientation{} && (size == stored || isEven)) {
        const PixelSize evened{size.width + (isEven ? 0 : size.width % 2),
                               size.height + (isEven ? 0 : size.height % 2)};
        return graph + sameShapeGraph(frame, evened) + ",buffersink";
    }
    if (isHdr(frame)) {
        const PixelSize evened{stored.width + stored.width % 2, stored.height + stored.height % 2};
        graph += sameShapeGraph(frame, evened) + ",";
    }
    graph +=
        fmt::format("zscale={},format=yuv444p,crop={}:{}:0:0:exact=1", kColours, stored.width, stored.height);
    if (orientation_.transposed) graph += ",transpose=cclock_flip";
    if (orientation_.flippedHorizontally) graph += ",hflip";
    if (orientation_.flippedVertically) graph += ",vflip";
    graph += fmt::format(",zscale={}:{}:filter=bicubic,format=yuv444p,", size.width, size.height);
    return graph + evenOut(size) + fmt::format("zscale={},format=yuv420p,buffersink", kColours);
}

Result<void> PictureConverter::prepareGraph(const AVFrame& frame, PixelSize size) {
    const std::string description = graphFor(frame, size);
    if (graph_ && description == description_) return {};
    graph_.reset(avfilter_graph_alloc());
    if (!graph_) return failure(kCannotConvert);
    AVFilterInOut* inputs = nullptr;
    AVFilterInOut* outputs = nullptr;
    int code = avfilter_graph_parse2(graph_.get(), description.c_str(), &inputs, &outputs);
    avfilter_inout_free(&inputs);
    avfilter_inout_free(&outputs);
    if (code >= 0) code = avfilter_graph_config(graph_.get(), nullptr);
    if (code < 0) {
        graph_.reset();
        return ffmpegFailure(kCannotConvert, code);
    }
    source_ = graph_->filters[0];
    for (unsigned i = 0; i < graph_->nb_filters; ++i) {
        if (std::string_view(graph_->filters[i]->filter->name) == "buffersink") sink_ = graph_->filters[i];
    }
    description_ = description;
    return {};
}

} // namespace glintro
