#include "core/media/decode/MovieFile.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <limits>
#include <string_view>
#include <utility>

#include "core/media/MovieSentences.h"

namespace glintro {
namespace {

constexpr const char* kCutOff =
    "The movie is incomplete: its file was cut off. Copy it again from where it came.";
constexpr const char* kNoVideo = "The recording has no video track.";
constexpr int kLargestSide = 16384;
constexpr std::int64_t kMostPixels = std::int64_t{1} << 28;
constexpr int kMostDamagedReads = 100;
// Decoders reorder over at most 16 frames; a few more packets find the first frame of any file.
constexpr int kReorderWindow = 32;

std::unexpected<Failure> openFailure(int code) {
    switch (AVUNERROR(code)) {
        case ENOENT:
            return ffmpegFailure("There is no such movie file.", code);
        case EACCES:
        case EPERM:
            return ffmpegFailure("The movie can’t be opened: permission denied.", code);
        case EISDIR:
            return ffmpegFailure("The movie can’t be opened: it is a folder.", code);
        default:
            return ffmpegFailure(kCannotOpenMovie, code);
    }
}

Result<InputPtr> openInput(const std::filesystem::path& file) {
    std::error_code ignored;
    const auto type = std::filesystem::status(file, ignored).type();
    if (type == std::filesystem::file_type::directory) return openFailure(AVERROR(EISDIR));
    // Reading a pipe or a device might never end.
    if (std::filesystem::exists(file, ignored) && type != std::filesystem::file_type::regular) {
        return openFailure(AVERROR_INVALIDDATA);
    }
    AVFormatContext* context = avformat_alloc_context();
    if (context == nullptr) return openFailure(AVERROR(ENOMEM));
    context->flags |= AVFMT_FLAG_DISCARD_CORRUPT;
    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    av_dict_set(&options, "format_whitelist", "mov,mp4,m4a,3gp,3g2,mj2,matroska,webm,avi", 0);
    const int code = avformat_open_input(&context, fileUrl(file).c_str(), nullptr, &options);
    av_dict_free(&options);
    if (code < 0) return openFailure(code);
    return InputPtr(context);
}

bool hasParameters(const AVStream& stream) {
    const AVCodecParameters& parameters = *stream.codecpar;
    return parameters.codec_id != AV_CODEC_ID_NONE && parameters.width > 0 && parameters.height > 0
           && stream.avg_frame_rate.num > 0;
}

bool isAcceptableSize(const AVCodecParameters& parameters) {
    return parameters.width > 0 && parameters.height > 0 && parameters.width <= kLargestSide
           && parameters.height <= kLargestSide
           && std::int64_t{parameters.width} * parameters.height <= kMostPixels;
}

Seconds frameLength(const AVStream& stream) {
    const AVRational rate = stream.avg_frame_rate.num > 0 ? stream.avg_frame_rate : stream.r_frame_rate;
    return rate.num > 0 && rate.den > 0 ? av_q2d(av_inv_q(rate)) : 0;
}

// Whether the index tells of samples beyond the end of the file.
bool isCutOff(const AVFormatContext& input) {
    const std::int64_t size = avio_size(input.pb);
    if (size <= 0) return false;
    for (unsigned i = 0; i < input.nb_streams; ++i) {
        AVStream* stream = input.streams[i];
        const int count = avformat_index_get_entries_count(stream);
        for (int k = 0; k < count; ++k) {
            const AVIndexEntry* entry = avformat_index_get_entry(stream, k);
            if (entry->pos > size - entry->size) return true;
        }
    }
    return false;
}

std::int64_t shownTime(const AVPacket& packet) {
    return packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts;
}

} // namespace

Result<std::unique_ptr<MovieFile>> MovieFile::open(const std::filesystem::path& file, Probe probe) {
    prepareFFmpeg();
    auto input = openInput(file);
    if (!input) return std::unexpected(input.error());
    std::unique_ptr<MovieFile> movie(new MovieFile(std::move(*input)));
    auto found = movie->findTracks();
    if (probe == Probe::packets || !found || !hasParameters(*movie->video_)) {
        const int code = avformat_find_stream_info(movie->input_.get(), nullptr);
        if (code < 0) return openFailure(code);
        found = movie->findTracks();
    }
    if (!found) return std::unexpected(found.error());
    if (isCutOff(*movie->input_)) return failure(kCutOff);
    if (!isAcceptableSize(*movie->video_->codecpar)) {
        return failure("The recording’s picture size is not supported.");
    }
    if (auto measured = movie->measure(); !measured) return std::unexpected(measured.error());
    return movie;
}

Result<void> MovieFile::findTracks() {
    for (unsigned i = 0; i < input_->nb_streams; ++i) {
        AVStream* stream = input_->streams[i];
        const AVMediaType type = stream->codecpar->codec_type;
        const bool isCover = (stream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
        if (type == AVMEDIA_TYPE_VIDEO && !isCover && video_ == nullptr) video_ = stream;
        if (type == AVMEDIA_TYPE_AUDIO && audio_ == nullptr) audio_ = stream;
        if (stream != video_ && stream != audio_) stream->discard = AVDISCARD_ALL;
    }
    if (video_ == nullptr) return failure(kNoVideo);
    return {};
}

bool MovieFile::countsDecodingTimes() const {
    return std::string_view(input_->iformat->name).starts_with("mov");
}

void MovieFile::select(Track track) {
    video_->discard = track == Track::video ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    if (audio_ != nullptr) audio_->discard = track == Track::audio ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
}

Result<bool> MovieFile::read(AVPacket& packet) {
    for (;;) {
        av_packet_unref(&packet);
        const int code = av_read_frame(input_.get(), &packet);
        if (code >= 0) {
            damagedReads_ = 0;
            // A file may bring up further streams as it goes on.
            const AVStream* stream = input_->streams[packet.stream_index];
            const bool wanted = (stream == video_ || stream == audio_) && stream->discard != AVDISCARD_ALL;
            if (wanted) return true;
            continue;
        }
        if (code == AVERROR_EOF || avio_feof(input_->pb) != 0) return false;
        if (code != AVERROR_INVALIDDATA || ++damagedReads_ > kMostDamagedReads) {
            return ffmpegFailure(kCannotReadMovie, code);
        }
    }
}

Result<void> MovieFile::seek(const AVStream& stream, std::int64_t time) {
    int code = avformat_seek_file(input_.get(), stream.index, INT64_MIN, time, time, 0);
    if (code < 0) code = avformat_seek_file(input_.get(), stream.index, INT64_MIN, time, INT64_MAX, 0);
    if (code < 0) code = av_seek_frame(input_.get(), -1, 0, AVSEEK_FLAG_BYTE);
    if (code < 0) return ffmpegFailure(kCannotReadMovie, code);
    damagedReads_ = 0;
    return {};
}

Result<void> MovieFile::measure() {
    const auto first = firstShownTime();
    if (!first) return failure("The recording is empty.");
    videoStart_ = *first;
    const Seconds declared = declaredDuration();
    const Ends ends = measuredEnds();
    // What the file holds is more exact than its header, except where the file was cut off: then both tracks
    // end long before the header says.
    constexpr Seconds kHeaderSlack = 0.5;
    const bool isWhole = std::max(ends.video, ends.audio) > declared - kHeaderSlack;
    videoDuration_ = isWhole && ends.video > 0 ? ends.video : declared;
    if (!(videoDuration_ > 0)) videoDuration_ = frameLength(*video_);
    if (!(videoDuration_ > 0)) return failure("The recording is empty.");
    // Sound is coded in blocks, the last of which is filled up with silence.
    constexpr Seconds kLongestBlock = 0.05;
    const Seconds audioEnd = std::min(ends.audio, declaredAudioEnd());
    duration_ = audioEnd > videoDuration_ + kLongestBlock ? audioEnd : videoDuration_;
    return seek(*video_, videoStart_);
}

// The smallest time among the first frames: packets come in decoding order, so later ones may be shown
// earlier.
std::optional<std::int64_t> MovieFile::firstShownTime() {
    std::optional<std::int64_t> first;
    const PacketPtr packet = newPacket();
    for (int seen = 0; seen < kReorderWindow;) {
        const auto more = read(*packet);
        if (!more || !*more) break;
        if (packet->stream_index != video_->index) continue;
        const std::int64_t time = shownTime(*packet);
        if ((packet->flags & AV_PKT_FLAG_DISCARD) != 0 || time == AV_NOPTS_VALUE) continue;
        first = std::min(first.value_or(time), time);
        if (packet->dts != AV_NOPTS_VALUE && packet->dts >= *first && seen > 0) break;
        ++seen;
    }
    return first;
}

// Where the last packets of both tracks end, on the movie's own clock; 0 for a track that cannot be read
// there.
MovieFile::Ends MovieFile::measuredEnds() {
    Ends ends;
    if (!seek(*video_, INT64_MAX / 2)) return ends;
    const Seconds start = toSeconds(videoStart_, video_->time_base);
    const PacketPtr packet = newPacket();
    for (;;) {
        const auto more = read(*packet);
        if (!more || !*more) return ends;
        const std::int64_t time = shownTime(*packet);
        if (time == AV_NOPTS_VALUE) continue;
        const bool isVideo = packet->stream_index == video_->index;
        const AVStream& stream = *input_->streams[packet->stream_index];
        const Seconds length = packet->duration > 0 ? toSeconds(packet->duration, stream.time_base)
                               : isVideo            ? frameLength(stream)
                                                    : 0;
        Seconds& end = isVideo ? ends.video : ends.audio;
        end = std::max(end, toSeconds(time, stream.time_base) + length - start);
    }
}

Seconds MovieFile::declaredDuration() const {
    if (video_->duration != AV_NOPTS_VALUE && video_->duration > 0) {
        return toSeconds(video_->duration, video_->time_base);
    }
    if (input_->duration == AV_NOPTS_VALUE) return 0;
    // A container's own duration may count from time 0, before the first frame.
    const Seconds start = std::max(0.0, toSeconds(videoStart_, video_->time_base));
    return std::max(0.0, toSeconds(input_->duration, AV_TIME_BASE_Q) - start);
}

// Infinite where the header does not tell.
Seconds MovieFile::declaredAudioEnd() const {
    constexpr Seconds kUnknown = std::numeric_limits<Seconds>::infinity();
    if (audio_ == nullptr || audio_->duration == AV_NOPTS_VALUE || audio_->duration <= 0) return kUnknown;
    const std::int64_t start = audio_->start_time != AV_NOPTS_VALUE ? audio_->start_time : 0;
    return toSeconds(start + audio_->duration, audio_->time_base) - toSeconds(videoStart_, video_->time_base);
}

} // namespace glintro
