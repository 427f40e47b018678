#include "core/media/decode/MovieReader.h"

#include <cmath>
#include <utility>

#include "core/media/FFmpegHandles.h"
#include "core/media/MovieSentences.h"
#include "core/media/decode/MovieFile.h"
#include "core/media/decode/PictureConverter.h"
#include "core/media/decode/VideoDecoder.h"

namespace glintro {
namespace {

constexpr Seconds kTimeSlack = 0.0005;
// Frames this long before the wanted one are decoded whole: any of them may be the one on screen.
constexpr Seconds kDecodedWhole = 0.5;

// A frame that was decoded; it becomes a picture when somebody asks for it.
struct DecodedFrame {
    FramePtr frame;
    PicturePtr picture = nullptr;

    explicit operator bool() const { return frame != nullptr; }
    std::int64_t time() const { return frame->best_effort_timestamp; }
};

} // namespace

struct MovieReader::Impl {
    std::unique_ptr<MovieFile> file;
    VideoDecoder decoder;
    PictureConverter converter;
    MovieProperties properties;

    DecodedFrame current; // the frame handed out last, or none
    DecodedFrame next;    // the frame after it, which ends it
    bool ended = false;   // nothing comes after `next`
    bool atStart = true;  // nothing was decoded yet

    AVRational unit() const { return file->video().time_base; }
    std::int64_t units(Seconds time) const {
        return static_cast<std::int64_t>(std::floor(time / av_q2d(unit())));
    }
    Seconds movieTime(const DecodedFrame& decoded) const {
        return toSeconds(decoded.time() - file->videoStart(), unit());
    }
    std::int64_t streamTime(Seconds time) const;
    bool needsSeek(std::int64_t wanted) const;
    Result<void> advanceTo(std::int64_t wanted);
    Result<void> decodeNext();
    enum class Skipping { allowed, forbidden };
    Result<void> seekTo(std::int64_t wanted, Skipping skipping);
    Result<void> find(std::int64_t wanted);
    bool isPastMissingData(Seconds time) const;
};

// Clamped to what the stream's units can hold, and to the movie's own extent.
std::int64_t MovieReader::Impl::streamTime(Seconds time) const {
    const Seconds within = time > 0 ? std::min(time, properties.duration) : 0;
    const Seconds countable = toSeconds(INT64_MAX / 4, unit());
    return file->videoStart() + units(std::min(within + kTimeSlack, countable));
}

// Going back, or ahead past a later key frame (past two seconds, where the file has no index).
bool MovieReader::Impl::needsSeek(std::int64_t wanted) const {
    if (!current) return !atStart || wanted - file->videoStart() > units(1);
    if (wanted < current.time()) return current.time() > file->videoStart();
    const DecodedFrame& last = next ? next : current;
    if (ended || wanted <= last.time()) return false;
    AVStream& stream = file->video();
    const int index = av_index_search_timestamp(&stream, wanted, AVSEEK_FLAG_BACKWARD);
    const AVIndexEntry* key = index >= 0 ? avformat_index_get_entry(&stream, index) : nullptr;
    constexpr Seconds kWorthSeeking = 0.5;
    constexpr Seconds kWorthSeekingBlindly = 2;
    if (key != nullptr) return toSeconds(key->timestamp - last.time(), unit()) > kWorthSeeking;
    return toSeconds(wanted - last.time(), unit()) > kWorthSeekingBlindly;
}

Result<void> MovieReader::Impl::decodeNext() {
    atStart = false;
    auto decoded = decoder.next(*file);
    if (!decoded) return std::unexpected(decoded.error());
    next = DecodedFrame{std::move(*decoded)};
    ended = !next;
    return {};
}

// Moves on until `next` starts after `wanted`.
Result<void> MovieReader::Impl::advanceTo(std::int64_t wanted) {
    while (!ended && (!next || next.time() <= wanted || !current)) {
        if (next) current = std::move(next);
        if (auto decoded = decodeNext(); !decoded) return decoded;
    }
    return {};
}

Result<void> MovieReader::Impl::seekTo(std::int64_t wanted, Skipping skipping) {
    current = {};
    next = {};
    ended = false;
    if (auto sought = file->seek(file->video(), wanted); !sought) return sought;
    decoder.restart(skipping == Skipping::allowed ? wanted - units(kDecodedWhole) : INT64_MIN);
    return {};
}

// After this, `current` is the frame on screen at `wanted`.
Result<void> MovieReader::Impl::find(std::int64_t wanted) {
    if (!needsSeek(wanted)) return advanceTo(wanted);
    if (auto sought = seekTo(wanted, Skipping::allowed); !sought) return sought;
    if (auto advanced = advanceTo(wanted); !advanced) return advanced;
    // A frame from longer before may have been followed by one that was skipped.
    if (current && current.time() < wanted - units(kDecodedWhole)) {
        if (auto sought = seekTo(wanted, Skipping::forbidden); !sought) return sought;
        if (auto advanced = advanceTo(wanted); !advanced) return advanced;
    }
    // An index counts decoding times, and frames before a key frame may need the one before it: try earlier
    // ones.
    for (std::int64_t back = units(1); !current || current.time() > wanted; back *= 4) {
        const std::int64_t start = std::max(wanted - back, file->videoStart());
        if (auto sought = seekTo(start, Skipping::forbidden); !sought) return sought;
        if (auto advanced = advanceTo(wanted); !advanced) return advanced;
        if (start == file->videoStart()) break;
    }
    return {};
}

// Whether the file's data ends long before its header says, and before the time asked for.
bool MovieReader::Impl::isPastMissingData(Seconds time) const {
    if (!ended || next) return false;
    constexpr Seconds kMissing = 0.5;
    const Seconds length = toSeconds(current.frame->pkt_duration, unit());
    const Seconds end = movieTime(current) + std::max(length, 0.0);
    return properties.duration - end > kMissing && time > end;
}

MovieReader::MovieReader(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
MovieReader::~MovieReader() = default;

Result<std::unique_ptr<MovieReader>> MovieReader::open(const std::filesystem::path& path, Access access) {
    using Probe = MovieFile::Probe;
    auto file = MovieFile::open(path, access == Access::single ? Probe::header : Probe::packets);
    if (!file) return std::unexpected(file.error());
    (*file)->select(MovieFile::Track::video);
    AVStream& stream = (*file)->video();
    auto decoder = VideoDecoder::create(stream, access);
    if (!decoder) return std::unexpected(decoder.error());

    const AVRational rate = av_guess_frame_rate(nullptr, &stream, nullptr);
    const AVRational aspect = av_guess_sample_aspect_ratio(nullptr, &stream, nullptr);
    const Orientation orientation = orientationOf(stream);
    MovieProperties properties;
    properties.naturalSize =
        naturalSizeOf({stream.codecpar->width, stream.codecpar->height}, aspect, orientation);
    properties.duration = (*file)->videoDuration();
    properties.frameRate = rate.num > 0 && rate.den > 0 ? av_q2d(rate) : 0;
    properties.hasAudio = (*file)->audio() != nullptr;
    properties.videoCodec = avcodec_get_name(stream.codecpar->codec_id);
    PictureConverter converter(properties.naturalSize, orientation);
    auto impl = std::make_unique<Impl>(std::move(*file), std::move(*decoder), std::move(converter),
                                       std::move(properties));
    return std::unique_ptr<MovieReader>(new MovieReader(std::move(impl)));
}

const MovieProperties& MovieReader::properties() const {
    return impl_->properties;
}

Result<MovieFrame> MovieReader::frameAt(Seconds time) {
    Impl& reader = *impl_;
    if (auto found = reader.find(reader.streamTime(time)); !found) return std::unexpected(found.error());
    if (!reader.current) return failure(kCannotReadMovie, "no frame could be decoded");
    if (reader.isPastMissingData(time)) return failure(kCannotReadMovie, "the file ends early");
    if (!reader.current.picture) {
        auto picture = reader.converter.convert(*reader.current.frame);
        if (!picture) return std::unexpected(picture.error());
        reader.current.picture = std::move(*picture);
    }
    return MovieFrame{reader.current.picture, reader.movieTime(reader.current)};
}

} // namespace glintro
