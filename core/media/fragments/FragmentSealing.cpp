#include "core/media/fragments/FragmentSealing.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "core/media/fragments/FragmentIndex.h"
#include "core/media/fragments/MovieIndex.h"
#include "core/media/fragments/ParameterSets.h"

namespace glintro {
namespace {

constexpr std::size_t kBoxHeader = 8;
constexpr BoxType kSignature = "Glnt";
// The index of half a second, or of no second, is far smaller.
constexpr std::uint64_t kLargestFragmentIndex = std::uint64_t{16} << 20;
// Three days of them; an index of that many needs half a gigabyte, in memory and in the file.
constexpr std::size_t kMostSamples = std::size_t{1} << 25;

struct BoxPlace {
    BoxType type;
    std::uint64_t position = 0;
    std::uint64_t size = 0;
    std::uint64_t end() const { return position + size; }
};

// A box that is in the file as a whole.
Result<std::optional<BoxPlace>> boxAt(const FragmentFile& file, std::uint64_t position) {
    auto header = file.read(position, kBoxHeader);
    if (!header) return std::unexpected(header.error());
    BoxReader fields(*header);
    const std::uint64_t size = fields.u32();
    const BoxPlace box{BoxType(fields.u32()), position, size};
    if (!fields.ok() || size < kBoxHeader || size > file.size() - position) return std::nullopt;
    return box;
}

// What a movie being recorded begins with.
struct Beginning {
    std::uint64_t placeholder = 0; // its position
    std::uint32_t priming = 0;
};

Result<std::optional<Beginning>> readBeginning(const FragmentFile& file) {
    const auto type = boxAt(file, 0);
    if (!type) return std::unexpected(type.error());
    if (!*type || (*type)->type != BoxType("ftyp")) return std::nullopt;
    const auto bytes = file.read((*type)->end(), kPlaceholderSize);
    if (!bytes) return std::unexpected(bytes.error());
    BoxReader fields(*bytes);
    const bool isFree = fields.u32() == kPlaceholderSize && BoxType(fields.u32()) == BoxType("free");
    const bool isSigned = BoxType(fields.u32()) == kSignature;
    const Beginning beginning{(*type)->end(), fields.u32()};
    return isFree && isSigned && fields.ok() ? std::optional(beginning) : std::nullopt;
}

struct Fragments {
    Bytes movie; // the "moov" box before them
    FragmentIndex index;
    std::uint64_t end = 0; // in the file, of the last one that is whole
};

Result<bool> addFragment(const FragmentFile& file, const BoxPlace& box, std::uint64_t end,
                         FragmentIndex& index) {
    if (box.size > kLargestFragmentIndex) return false;
    const auto bytes = file.read(box.position, static_cast<std::size_t>(box.size));
    if (!bytes) return std::unexpected(bytes.error());
    return bytes->size() == box.size && index.add(*bytes, box.position, end);
}

bool hasRoomInIndex(const FragmentIndex& index) {
    std::size_t samples = 0;
    for (const FragmentTrack& track : index.tracks()) samples += track.samples.size();
    return samples <= kMostSamples;
}

// One after the other, up to where the file was cut off or an earlier sealing had begun to append an index. A
// damaged fragment is ignored.
Result<void> readFragments(const FragmentFile& file, std::uint64_t position, Fragments& fragments) {
    BoxPlace head; // of the fragment whose data come next
    for (;;) {
        const auto box = boxAt(file, position);
        if (!box) return std::unexpected(box.error());
        if (!*box) return {};
        if ((*box)->type == BoxType("moof")) {
            head = **box;
        } else if ((*box)->type == BoxType("mdat") && head.size > 0) {
            const auto added = addFragment(file, head, (*box)->end(), fragments.index);
            if (!added) return std::unexpected(added.error());
            if (*added) fragments.end = (*box)->end();
            if (!hasRoomInIndex(fragments.index)) return failure("The recording is too long to be finished.");
            head = {};
        } else {
            return {};
        }
        position = (*box)->end();
    }
}

Result<std::optional<Fragments>> readMovie(const FragmentFile& file, std::uint64_t position) {
    const auto box = boxAt(file, position);
    if (!box) return std::unexpected(box.error());
    if (!*box || (*box)->size > kLargestFragmentIndex) return std::nullopt;
    auto movie = file.read(position, static_cast<std::size_t>((*box)->size));
    if (!movie) return std::unexpected(movie.error());
    auto index = FragmentIndex::fromMovie(*movie);
    if (!index) return std::nullopt;
    Fragments fragments{std::move(*movie), std::move(*index)};
    if (auto read = readFragments(file, (*box)->end(), fragments); !read)
        return std::unexpected(read.error());
    return fragments;
}

const FragmentTrack* findTrack(const FragmentIndex& index, FragmentTrack::Kind kind) {
    const auto track = std::ranges::find_if(index.tracks(), [kind](const FragmentTrack& each) {
        return each.kind == kind && !each.samples.empty();
    });
    return track != index.tracks().end() ? &*track : nullptr;
}

Seconds soundEnd(const PresentedTrack& sound) {
    return static_cast<double>(sound.end - sound.start) / sound.track->timescale;
}

// A time of the movie in a track's own units, within limits.
std::int64_t trackTime(const FragmentTrack& track, Seconds time, std::int64_t least, std::int64_t most) {
    const double ticks = std::round(time * track.timescale);
    if (!(ticks > static_cast<double>(least))) return least;
    return ticks < static_cast<double>(most) ? static_cast<std::int64_t>(ticks) : most;
}

std::optional<PresentedTrack> presentSound(const FragmentTrack& track, std::uint32_t priming,
                                           std::optional<Seconds> end) {
    const std::int64_t first = std::max<std::int64_t>(priming, track.samples.front().time);
    const std::int64_t last = track.samples.back().time + track.lastDuration;
    if (last <= first) return std::nullopt;
    PresentedTrack sound{&track, priming, last, track.lastDuration};
    if (end) sound.end = priming + trackTime(track, *end, 0, last - priming);
    return sound.end > first ? std::optional(sound) : std::nullopt;
}

PresentedTrack presentPictures(const FragmentTrack& track, Seconds end) {
    const std::int64_t last = track.samples.back().time;
    constexpr std::int64_t kLongest = std::numeric_limits<std::uint32_t>::max();
    const std::int64_t shownUntil = trackTime(track, end, last + 1, last + kLongest);
    return {&track, 0, shownUntil, static_cast<std::uint32_t>(shownUntil - last)};
}

// A growing movie does not tell how long its last picture is shown. As long as its pictures are on average,
// is assumed, but at most a thirtieth of a second, for a still screen has one a second.
Seconds guessedEnd(const FragmentTrack& pictures, const std::optional<PresentedTrack>& sound) {
    constexpr Seconds kLongestGuess = 1 / 30.0;
    const double first = static_cast<double>(pictures.samples.front().time) / pictures.timescale;
    const double last = static_cast<double>(pictures.samples.back().time) / pictures.timescale;
    const auto steps = static_cast<double>(pictures.samples.size() - 1);
    const Seconds average = steps > 0 ? (last - first) / steps : kLongestGuess;
    return std::max(last + std::min(average, kLongestGuess), sound ? soundEnd(*sound) : 0);
}

// The picture parameter set that a sample names; nullopt when none can be read. A sample is a number of
// units, each behind its size in four bytes.
std::optional<std::uint8_t> pictureSetAt(const FragmentFile& file, std::uint64_t position,
                                         std::uint32_t size) {
    constexpr std::uint64_t kLength = 4;
    const std::uint64_t end = position + size;
    while (position + kLength < end) {
        const auto bytes = file.read(position, kLength + kUnitHeadSize);
        if (!bytes) return std::nullopt;
        BoxReader length(*bytes);
        const std::uint64_t unitSize = length.u32();
        if (!length.ok() || unitSize > end - position - kLength) return std::nullopt;
        const ByteView unit = length.rest().first(std::min<std::uint64_t>(length.rest().size(), unitSize));
        if (const UnitHead head = readUnitHead(unit); head.isSlice) return head.pictureSet;
        position += kLength + unitSize;
    }
    return std::nullopt;
}

// Encoders change at key frames only.
std::optional<std::bitset<256>> usedPictureSets(const FragmentFile& file, const FragmentTrack& pictures) {
    std::bitset<256> used;
    auto sample = pictures.samples.begin();
    for (const FragmentTrack::Run& run : pictures.runs) {
        std::uint64_t position = run.position;
        for (std::uint32_t i = 0; i < run.samples; ++i, ++sample) {
            if (sample->isKey) {
                const auto set = pictureSetAt(file, position, sample->size);
                if (!set) return std::nullopt;
                used.set(*set);
            }
            position += sample->size;
        }
    }
    return used.any() ? std::optional(used) : std::nullopt;
}

Bytes dataHeader(std::uint64_t size) {
    BoxWriter out;
    out.u32(1); // the size follows the type
    out.u32(BoxType("mdat").code);
    out.u64(size);
    return out.take();
}

// Each step leaves a movie that can be played and sealed again: the index is safe on the disk before the
// fragments become plain data.
Result<void> makeOrdinary(FragmentFile& file, const Fragments& fragments, std::uint64_t placeholder,
                          std::span<const PresentedTrack> tracks) {
    const Bytes index = movieIndex(fragments.movie, tracks);
    if (auto cut = file.truncate(fragments.end); !cut) return cut;
    if (auto appended = file.append(index); !appended) return appended;
    if (auto synced = file.sync(); !synced) return synced;
    const Bytes header = dataHeader(fragments.end - placeholder);
    if (auto patched = file.overwrite(placeholder, header); !patched) return patched;
    return file.sync();
}

} // namespace

Bytes placeholder(std::uint32_t priming) {
    BoxWriter out;
    out.box("free", [&] {
        out.u32(kSignature.code);
        out.u32(priming);
    });
    return out.take();
}

Result<bool> isUnsealed(const FragmentFile& file) {
    const auto beginning = readBeginning(file);
    if (!beginning) return std::unexpected(beginning.error());
    return beginning->has_value();
}

Result<SealedMovie> sealFragments(FragmentFile& file, std::optional<Seconds> end) {
    const auto beginning = readBeginning(file);
    if (!beginning) return std::unexpected(beginning.error());
    if (!*beginning) return SealedMovie{};
    const std::uint64_t placeholder = (*beginning)->placeholder;
    const auto fragments = readMovie(file, placeholder + kPlaceholderSize);
    if (!fragments) return std::unexpected(fragments.error());
    if (!*fragments) return SealedMovie{};

    const FragmentIndex& index = (*fragments)->index;
    const FragmentTrack* pictures = findTrack(index, FragmentTrack::Kind::video);
    if (pictures == nullptr) return SealedMovie{};
    std::optional<PresentedTrack> sound;
    if (const FragmentTrack* track = findTrack(index, FragmentTrack::Kind::audio)) {
        sound = presentSound(*track, (*beginning)->priming, end);
    }
    std::vector tracks{presentPictures(*pictures, end ? *end : guessedEnd(*pictures, sound))};
    tracks[0].pictureSets = usedPictureSets(file, *pictures);
    if (sound) tracks.push_back(*sound);
    if (auto made = makeOrdinary(file, **fragments, placeholder, tracks); !made)
        return std::unexpected(made.error());
    const Seconds duration = static_cast<double>(tracks[0].end) / pictures->timescale;
    return SealedMovie{true, sound.has_value(), duration};
}

} // namespace glintro
