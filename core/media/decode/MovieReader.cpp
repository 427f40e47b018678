#include "core/media/decode/MovieReader.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "core/media/MovieSentences.h"
#include "core/media/decode/FrameFinder.h"
#include "core/media/decode/PictureConverter.h"
#include "core/media/decode/PictureReducer.h"

namespace glintro {
namespace {

constexpr Seconds kTimeSlack = 0.0005;

int decodingThreads(const MovieReader::Options& options) {
    constexpr int kSequentialThreads = 2;
    constexpr int kOnePerCore = 0;
    if (options.threads > 0) return options.threads;
    return options.access == MovieReader::Access::sequential ? kSequentialThreads : kOnePerCore;
}

MovieProperties propertiesOf(const MovieFile& file, Orientation orientation) {
    AVStream& stream = file.video();
    const AVRational rate = av_guess_frame_rate(nullptr, &stream, nullptr);
    const AVRational aspect = av_guess_sample_aspect_ratio(nullptr, &stream, nullptr);
    MovieProperties properties;
    properties.naturalSize =
        naturalSizeOf({stream.codecpar->width, stream.codecpar->height}, aspect, orientation);
    properties.duration = file.duration();
    properties.frameRate = rate.num > 0 && rate.den > 0 ? av_q2d(rate) : 0;
    properties.hasAudio = file.audio() != nullptr;
    properties.videoCodec = avcodec_get_name(stream.codecpar->codec_id);
    return properties;
}

} // namespace

struct MovieReader::Impl {
    FrameFinder finder;
    MovieProperties properties;
    PictureConverter converter;
    PictureReducer reducer;

    const MovieFile& file() const { return finder.file(); }
    AVRational unit() const { return file().video().time_base; }
    Seconds movieTime(std::int64_t time) const { return toSeconds(time - file().videoStart(), unit()); }
    std::int64_t streamTime(Seconds time) const;
    bool isPastMissingData(const DecodedFrame& frame, Seconds time) const;
    Result<PicturePtr> picture(const DecodedFramePtr& frame, int maxSide);
    Result<PicturePtr> natural(DecodedFrame& frame);
    Result<PicturePtr> reduced(DecodedFrame& frame, int maxSide);
};

// Clamped to what the stream's units can hold, and to the movie's own extent.
std::int64_t MovieReader::Impl::streamTime(Seconds time) const {
    const Seconds within = time > 0 ? std::min(time, properties.duration) : 0;
    const Seconds countable = toSeconds(INT64_MAX / 4, unit());
    const Seconds slackened = std::min(within + kTimeSlack, countable);
    return file().videoStart() + static_cast<std::int64_t>(std::floor(slackened / av_q2d(unit())));
}

// Whether the file's pictures end long before its header says, and before the time asked for.
bool MovieReader::Impl::isPastMissingData(const DecodedFrame& frame, Seconds time) const {
    if (frame.end != DecodedFrame::kLastFrame) return false;
    constexpr Seconds kMissing = 0.5;
    const Seconds length = toSeconds(frame.frame->pkt_duration, unit());
    const Seconds end = movieTime(frame.time()) + std::max(length, 0.0);
    return file().videoDuration() - end > kMissing && time > end;
}

Result<PicturePtr> MovieReader::Impl::natural(DecodedFrame& frame) {
    if (!frame.picture) {
        auto picture = converter.convert(*frame.frame, properties.naturalSize);
        if (!picture) return picture;
        frame.picture = *std::move(picture);
    }
    return frame.picture;
}

// What has to be converted anyway is converted straight to the reduced size.
Result<PicturePtr> MovieReader::Impl::reduced(DecodedFrame& frame, int maxSide) {
    if (frame.reduced && frame.reducedSide == maxSide) return frame.reduced;
    const PixelSize size = fittedWithin(properties.naturalSize, maxSide);
    const bool isConverted = frame.picture || converter.isCommon(*frame.frame);
    auto picture = isConverted ? natural(frame) : converter.convert(*frame.frame, size);
    if (!picture) return picture;
    frame.reduced = isConverted ? reducer.reduce(**picture, size) : *std::move(picture);
    frame.reducedSide = maxSide;
    return frame.reduced;
}

Result<PicturePtr> MovieReader::Impl::picture(const DecodedFramePtr& frame, int maxSide) {
    const PixelSize size = properties.naturalSize;
    const bool isReduced = maxSide > 0 && maxSide < std::max(size.width, size.height);
    auto picture = isReduced ? reduced(*frame, maxSide) : natural(*frame);
    finder.cache().measureAgain(frame);
    return picture;
}

MovieReader::MovieReader(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
MovieReader::~MovieReader() = default;

Result<std::unique_ptr<MovieReader>> MovieReader::open(const std::filesystem::path& file, Access access) {
    return open(file, Options{.access = access});
}

Result<std::unique_ptr<MovieReader>> MovieReader::open(const std::filesystem::path& path,
                                                       const Options& options) {
    using Probe = MovieFile::Probe;
    auto file = MovieFile::open(path, options.access == Access::single ? Probe::header : Probe::packets);
    if (!file) return std::unexpected(file.error());
    (*file)->select(MovieFile::Track::video);
    auto decoder = VideoDecoder::create((*file)->video(), decodingThreads(options));
    if (!decoder) return std::unexpected(decoder.error());

    const Orientation orientation = orientationOf((*file)->video());
    MovieProperties properties = propertiesOf(**file, orientation);
    FrameFinder finder(std::move(*file), std::move(*decoder), options.cacheBytes);
    return std::unique_ptr<MovieReader>(new MovieReader(std::make_unique<Impl>(
        std::move(finder), std::move(properties), PictureConverter(orientation), PictureReducer())));
}

const MovieProperties& MovieReader::properties() const {
    return impl_->properties;
}

Result<MovieFrame> MovieReader::frameAt(Seconds time) {
    return frame({.time = time});
}

Result<MovieFrame> MovieReader::frame(const FrameRequest& request) {
    Impl& reader = *impl_;
    auto found = reader.finder.find(reader.streamTime(request.time), request.tolerance, request.stop);
    if (!found) return std::unexpected(found.error());
    const DecodedFramePtr& frame = *found;
    if (!frame) return failure(kCannotReadMovie, "no frame could be decoded");
    if (reader.isPastMissingData(*frame, request.time))
        return failure(kCannotReadMovie, "the file ends early");
    auto picture = reader.picture(frame, request.maxSide);
    if (!picture) return std::unexpected(picture.error());
    return MovieFrame{*std::move(picture), reader.movieTime(frame->time())};
}

} // namespace glintro
