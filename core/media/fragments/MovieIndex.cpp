#include "core/media/fragments/MovieIndex.h"

#include <algorithm>
#include <optional>

#include "core/media/fragments/ParameterSets.h"

extern "C" {
#include <libavutil/mathematics.h>
}

namespace glintro {
namespace {

// Of the movie as a whole and of edit lists: the pictures' own units, so that nothing is rounded.
constexpr std::uint32_t kMovieTimescale = 90000;

// A length of a track, in the movie's units.
std::uint64_t inMovie(const PresentedTrack& track, std::int64_t length) {
    return static_cast<std::uint64_t>(
        av_rescale(length, kMovieTimescale, std::int64_t{track.track->timescale}));
}

std::uint64_t movieDuration(const PresentedTrack& track) {
    return inMovie(track, track.end - track.start);
}

// "mvhd", "tkhd" and "mdhd" begin alike: two dates, some fields, a duration. It is written in the version
// that has room for long durations.
void copyHeader(BoxWriter& out, const Box& box, std::uint64_t duration,
                std::optional<std::uint32_t> timescale = {}) {
    BoxReader in(box.payload);
    const std::uint32_t versionAndFlags = in.u32();
    const bool isLong = versionAndFlags >> 24U == 1;
    out.box(box.type, [&] {
        out.u32((versionAndFlags & 0xFFFFFFU) | 1U << 24U);
        for (int date = 0; date < 2; ++date) out.u64(isLong ? in.u64() : in.u32());
        const std::uint32_t timescaleOrTrack = in.u32();
        out.u32(timescale.value_or(timescaleOrTrack));
        if (box.type == BoxType("tkhd")) out.u32(in.u32());
        in.skip(isLong ? 8 : 4);
        out.u64(duration);
        out.copy(in.rest());
    });
}

// Samples count from the first one in an index. What of it lies before the movie's beginning is not
// presented; where it begins later, the edit list begins with a gap.
void writeEdits(BoxWriter& out, const PresentedTrack& track) {
    const std::int64_t gap = track.track->samples.front().time - track.start;
    const auto write = [&](std::int64_t length, std::int64_t from) {
        out.u64(inMovie(track, length));
        out.u64(static_cast<std::uint64_t>(from));
        out.u32(1U << 16U); // at normal speed
    };
    const auto list = [&] {
        constexpr std::int64_t kNothing = -1;
        out.u32(1U << 24U);
        out.u32(gap > 0 ? 2 : 1);
        if (gap > 0) write(gap, kNothing);
        write(track.end - track.start - std::max<std::int64_t>(gap, 0), std::max<std::int64_t>(-gap, 0));
    };
    out.box("edts", [&] { out.box("elst", list); });
}

// A table whose entries are counted while they are written.
template <class Fill>
void writeTable(BoxWriter& out, BoxType type, const Fill& fill) {
    out.box(type, [&] {
        out.u32(0);
        const std::size_t count = out.size();
        out.u32(0);
        out.overwriteU32(count, fill());
    });
}

void writeDurations(BoxWriter& out, const PresentedTrack& track) {
    const auto& samples = track.track->samples;
    const auto duration = [&](std::size_t i) -> std::int64_t {
        return i + 1 < samples.size() ? samples[i + 1].time - samples[i].time : track.lastDuration;
    };
    writeTable(out, "stts", [&] {
        std::uint32_t entries = 0;
        for (std::size_t i = 0; i < samples.size();) {
            const std::size_t first = i;
            const std::int64_t length = duration(first);
            while (i < samples.size() && duration(i) == length) ++i;
            out.u32(i - first);
            out.u32(static_cast<std::uint64_t>(length));
            ++entries;
        }
        return entries;
    });
}

void writeKeyFrames(BoxWriter& out, const FragmentTrack& track) {
    writeTable(out, "stss", [&] {
        std::uint32_t entries = 0;
        for (std::size_t i = 0; i < track.samples.size(); ++i) {
            if (!track.samples[i].isKey) continue;
            out.u32(i + 1);
            ++entries;
        }
        return entries;
    });
}

void writeRunLengths(BoxWriter& out, const FragmentTrack& track) {
    writeTable(out, "stsc", [&] {
        std::uint32_t entries = 0;
        for (std::size_t i = 0; i < track.runs.size(); ++i) {
            if (i > 0 && track.runs[i].samples == track.runs[i - 1].samples) continue;
            out.u32(i + 1);
            out.u32(track.runs[i].samples);
            out.u32(1); // the only sample description
            ++entries;
        }
        return entries;
    });
}

void writeSizes(BoxWriter& out, const FragmentTrack& track) {
    out.box("stsz", [&] {
        out.u32(0);
        out.u32(0); // each has its own
        out.u32(track.samples.size());
        for (const FragmentTrack::Sample& sample : track.samples) out.u32(sample.size);
    });
}

void writePositions(BoxWriter& out, const FragmentTrack& track) {
    out.box("co64", [&] {
        out.u32(0);
        out.u32(track.runs.size());
        for (const FragmentTrack::Run& run : track.runs) out.u64(run.position);
    });
}

// A sample entry of H.264 with the parameter sets that are used.
void writeVideoEntry(BoxWriter& out, const Box& entry, const std::bitset<256>& used) {
    constexpr std::size_t kFields = 78; // of every video sample entry
    if (entry.type != BoxType("avc1") || entry.payload.size() < kFields) return out.copy(entry.whole);
    out.box(entry.type, [&] {
        out.copy(entry.payload.first(kFields));
        BoxReader in(entry.payload.subspan(kFields));
        while (const auto inner = in.box()) {
            const auto sets =
                inner->type == BoxType("avcC") ? withPictureSets(inner->payload, used) : std::nullopt;
            if (!sets)
                out.copy(inner->whole);
            else
                out.box(inner->type, [&] { out.copy(*sets); });
        }
    });
}

void writeDescription(BoxWriter& out, const Box& box, const PresentedTrack& track) {
    if (!track.pictureSets) return out.copy(box.whole);
    out.box(box.type, [&] {
        BoxReader in(box.payload);
        out.u32(in.u32()); // version and flags
        out.u32(in.u32()); // the number of entries
        while (const auto entry = in.box()) writeVideoEntry(out, *entry, *track.pictureSets);
    });
}

void writeSampleTables(BoxWriter& out, const Box& box, const PresentedTrack& track) {
    out.box(box.type, [&] {
        if (const auto codecs = findBox(box.payload, "stsd")) writeDescription(out, *codecs, track);
        writeDurations(out, track);
        if (track.track->kind == FragmentTrack::Kind::video) writeKeyFrames(out, *track.track);
        writeRunLengths(out, *track.track);
        writeSizes(out, *track.track);
        writePositions(out, *track.track);
    });
}

// Copies a box, but each box in it as `write` does.
template <class Write>
void copyBox(BoxWriter& out, const Box& box, const Write& write) {
    out.box(box.type, [&] {
        BoxReader in(box.payload);
        while (const auto inner = in.box()) write(*inner);
    });
}

void writeMedia(BoxWriter& out, const Box& box, const PresentedTrack& track) {
    const auto inMediaInformation = [&](const Box& inner) {
        if (inner.type == BoxType("stbl")) return writeSampleTables(out, inner, track);
        out.copy(inner.whole);
    };
    const auto& samples = track.track->samples;
    const auto length =
        static_cast<std::uint64_t>(samples.back().time + track.lastDuration - samples.front().time);
    copyBox(out, box, [&](const Box& inner) {
        if (inner.type == BoxType("mdhd")) return copyHeader(out, inner, length);
        if (inner.type == BoxType("minf")) return copyBox(out, inner, inMediaInformation);
        out.copy(inner.whole);
    });
}

void writeTrack(BoxWriter& out, const Box& box, const PresentedTrack& track) {
    copyBox(out, box, [&](const Box& inner) {
        if (inner.type == BoxType("edts")) return;
        if (inner.type == BoxType("mdia")) return writeMedia(out, inner, track);
        if (inner.type != BoxType("tkhd")) return out.copy(inner.whole);
        copyHeader(out, inner, movieDuration(track));
        writeEdits(out, track);
    });
}

} // namespace

Bytes movieIndex(ByteView fragmentedMovieBox, std::span<const PresentedTrack> tracks) {
    std::uint64_t duration = 0;
    for (const PresentedTrack& track : tracks) duration = std::max(duration, movieDuration(track));
    BoxWriter out;
    const auto movie = BoxReader(fragmentedMovieBox).box();
    if (!movie) return {};
    copyBox(out, *movie, [&](const Box& inner) {
        if (inner.type == BoxType("mvex")) return;
        if (inner.type == BoxType("mvhd")) return copyHeader(out, inner, duration, kMovieTimescale);
        if (inner.type != BoxType("trak")) return out.copy(inner.whole);
        const auto id = readTrackId(inner.payload);
        const auto track = std::ranges::find(tracks, id, [](const auto& each) { return each.track->id; });
        if (track != tracks.end()) writeTrack(out, inner, *track);
    });
    return out.take();
}

} // namespace glintro
