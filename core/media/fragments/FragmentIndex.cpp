#include "core/media/fragments/FragmentIndex.h"

#include <algorithm>
#include <cstddef>
#include <limits>

namespace glintro {
namespace {

// A hundred years of the finest time base in use; sums of a few such times cannot overflow.
constexpr std::int64_t kLatest = std::int64_t{1} << 48;
// A fragment is half a second long: more samples than this are not of our making.
constexpr std::uint32_t kMostSamplesInRun = 1U << 16U;
constexpr std::size_t kMostTracks = 8;

FragmentTrack::Kind kindOf(std::uint32_t handler) {
    if (handler == BoxType("vide").code) return FragmentTrack::Kind::video;
    if (handler == BoxType("soun").code) return FragmentTrack::Kind::audio;
    return FragmentTrack::Kind::other;
}

std::optional<FragmentTrack> readTrack(ByteView payload) {
    const auto id = readTrackId(payload);
    const auto media = findBox(payload, "mdia");
    if (!id || !media) return std::nullopt;
    const auto mediaHeader = findBox(media->payload, "mdhd");
    const auto handler = findBox(media->payload, "hdlr");
    if (!mediaHeader || !handler) return std::nullopt;

    FragmentTrack track{*id};
    BoxReader mediaFields(mediaHeader->payload);
    mediaFields.skip(mediaFields.u32() >> 24U == 1 ? 16 : 8);
    track.timescale = mediaFields.u32();
    BoxReader handlerFields(handler->payload);
    handlerFields.skip(8);
    track.kind = kindOf(handlerFields.u32());
    const bool isWhole = mediaFields.ok() && handlerFields.ok();
    return isWhole && track.timescale > 0 ? std::optional(track) : std::nullopt;
}

// What "tfhd" says of a track's samples in one fragment.
struct TrackDefaults {
    std::uint32_t trackId = 0;
    std::uint32_t duration = 0;
    std::uint32_t size = 0;
    std::uint32_t flags = 0;
};

std::optional<TrackDefaults> readDefaults(ByteView payload) {
    BoxReader fields(payload);
    const std::uint32_t flags = fields.u32();
    TrackDefaults defaults{fields.u32()};
    constexpr std::uint32_t kBasePosition = 0x1;
    constexpr std::uint32_t kBaseIsFragment = 0x20000;
    if ((flags & kBasePosition) != 0 || (flags & kBaseIsFragment) == 0) return std::nullopt;
    if ((flags & 0x2U) != 0) fields.skip(4); // which sample description
    if ((flags & 0x8U) != 0) defaults.duration = fields.u32();
    if ((flags & 0x10U) != 0) defaults.size = fields.u32();
    if ((flags & 0x20U) != 0) defaults.flags = fields.u32();
    return fields.ok() ? std::optional(defaults) : std::nullopt;
}

std::optional<std::int64_t> readStartTime(ByteView payload) {
    BoxReader fields(payload);
    const bool isLong = fields.u32() >> 24U == 1;
    const std::uint64_t time = isLong ? fields.u64() : fields.u32();
    if (!fields.ok() || time > kLatest) return std::nullopt;
    return static_cast<std::int64_t>(time);
}

bool isKeyFrame(std::uint32_t sampleFlags) {
    constexpr std::uint32_t kDependsOnOthers = 0x10000;
    return (sampleFlags & kDependsOnOthers) == 0;
}

// The part of one track in one fragment, while it is being read.
struct Part {
    FragmentTrack* track = nullptr;
    TrackDefaults defaults = {};
    std::int64_t time = 0;      // of the next sample
    std::uint64_t position = 0; // of the next sample
    std::vector<FragmentTrack::Sample> samples = {};
    std::vector<FragmentTrack::Run> runs = {};
    std::uint32_t lastDuration = 0;
};

// Where the samples of a fragment may lie.
struct DataRange {
    std::uint64_t fragment = 0; // the fragment's own position, which offsets count from
    std::uint64_t begin = 0;
    std::uint64_t end = 0;
};

// "trun": samples in a row.
bool readRun(ByteView payload, const DataRange& data, Part& part) {
    BoxReader fields(payload);
    const std::uint32_t present = fields.u32() & 0xFFFFFFU;
    const std::uint32_t count = fields.u32();
    if ((present & 0x1U) != 0) {
        part.position = data.fragment + static_cast<std::uint64_t>(static_cast<std::int32_t>(fields.u32()));
    }
    std::optional<std::uint32_t> firstFlags;
    if ((present & 0x4U) != 0) firstFlags = fields.u32();
    if (count > kMostSamplesInRun || part.position < data.begin || part.position > data.end) return false;

    if (count > 0) part.runs.push_back({part.position, count});
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint32_t duration = (present & 0x100U) != 0 ? fields.u32() : part.defaults.duration;
        const std::uint32_t size = (present & 0x200U) != 0 ? fields.u32() : part.defaults.size;
        std::uint32_t flags = (present & 0x400U) != 0 ? fields.u32() : part.defaults.flags;
        if ((present & 0x800U) != 0) fields.skip(4); // pictures are not reordered
        if (i == 0 && firstFlags) flags = *firstFlags;
        if (!fields.ok() || size == 0 || size > data.end - part.position || part.time > kLatest) return false;
        part.samples.push_back({part.time, size, isKeyFrame(flags)});
        part.time += duration;
        part.position += size;
        part.lastDuration = duration;
    }
    return true;
}

std::optional<Part> readPart(ByteView payload, const DataRange& data, std::vector<FragmentTrack>& tracks) {
    const auto header = findBox(payload, "tfhd");
    const auto timeBox = findBox(payload, "tfdt");
    if (!header || !timeBox) return std::nullopt;
    const auto defaults = readDefaults(header->payload);
    const auto time = readStartTime(timeBox->payload);
    if (!defaults || !time) return std::nullopt;
    const auto track = std::ranges::find(tracks, defaults->trackId, &FragmentTrack::id);
    if (track == tracks.end()) return std::nullopt;

    Part part{&*track, *defaults, *time, data.begin};
    BoxReader boxes(payload);
    while (const auto box = boxes.box()) {
        if (box->type == BoxType("trun") && !readRun(box->payload, data, part)) return std::nullopt;
    }
    return part;
}

// Every sample later than the one before, and none so much later that the difference has no room in an index.
bool ascends(const Part& part) {
    const FragmentTrack& track = *part.track;
    std::optional<std::int64_t> last;
    if (!track.samples.empty()) last = track.samples.back().time;
    for (const FragmentTrack::Sample& sample : part.samples) {
        if (last && (sample.time <= *last || sample.time - *last > std::numeric_limits<std::uint32_t>::max()))
            return false;
        last = sample.time;
    }
    return true;
}

void append(const Part& part) {
    FragmentTrack& track = *part.track;
    if (part.samples.empty()) return;
    track.samples.insert(track.samples.end(), part.samples.begin(), part.samples.end());
    track.runs.insert(track.runs.end(), part.runs.begin(), part.runs.end());
    track.lastDuration = part.lastDuration;
}

} // namespace

std::optional<std::uint32_t> readTrackId(ByteView payload) {
    const auto header = findBox(payload, "tkhd");
    if (!header) return std::nullopt;
    BoxReader fields(header->payload);
    fields.skip(fields.u32() >> 24U == 1 ? 16 : 8);
    const std::uint32_t id = fields.u32();
    return fields.ok() ? std::optional(id) : std::nullopt;
}

std::optional<FragmentIndex> FragmentIndex::fromMovie(ByteView movieBox) {
    const auto movie = BoxReader(movieBox).box();
    if (!movie || movie->type != BoxType("moov") || !findBox(movie->payload, "mvex")) return std::nullopt;
    FragmentIndex index;
    BoxReader boxes(movie->payload);
    while (const auto box = boxes.box()) {
        if (box->type != BoxType("trak")) continue;
        auto track = readTrack(box->payload);
        if (!track || index.tracks_.size() == kMostTracks) return std::nullopt;
        if (std::ranges::find(index.tracks_, track->id, &FragmentTrack::id) != index.tracks_.end())
            return std::nullopt;
        index.tracks_.push_back(std::move(*track));
    }
    return index.tracks_.empty() ? std::nullopt : std::optional(std::move(index));
}

bool FragmentIndex::add(ByteView fragmentBox, std::uint64_t position, std::uint64_t end) {
    const auto fragment = BoxReader(fragmentBox).box();
    if (!fragment || fragment->type != BoxType("moof")) return false;
    const DataRange data{position, position + fragmentBox.size(), end};
    std::vector<Part> parts;
    BoxReader boxes(fragment->payload);
    while (const auto box = boxes.box()) {
        if (box->type != BoxType("traf")) continue;
        auto part = readPart(box->payload, data, tracks_);
        const bool isRepeated = part && std::ranges::find(parts, part->track, &Part::track) != parts.end();
        if (!part || isRepeated || !ascends(*part)) return false;
        parts.push_back(std::move(*part));
    }
    std::ranges::for_each(parts, append);
    return !parts.empty();
}

} // namespace glintro
