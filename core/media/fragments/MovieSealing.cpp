#include "core/media/fragments/MovieSealing.h"

#include "core/media/decode/MovieFile.h"
#include "core/media/fragments/FragmentSealing.h"

namespace glintro {
namespace {

// Whether the process died before it had written as much as a movie's beginning.
Result<bool> hasHardlyBegun(const FragmentFile& file) {
    constexpr std::size_t kBoxHeader = 8;
    const auto bytes = file.read(0, kBoxHeader);
    if (!bytes) return std::unexpected(bytes.error());
    BoxReader fields(*bytes);
    const std::uint64_t typeSize = fields.u32();
    const bool isMovie = BoxType(fields.u32()) == BoxType("ftyp");
    return file.size() < kBoxHeader || (isMovie && file.size() < typeSize + kPlaceholderSize);
}

Result<SealedMovie> describe(const std::filesystem::path& file) {
    const auto movie = MovieFile::open(file, MovieFile::Probe::header);
    if (!movie) return std::unexpected(movie.error());
    return SealedMovie{true, (*movie)->audio() != nullptr, (*movie)->videoDuration()};
}

} // namespace

Result<SealedMovie> sealMovie(const std::filesystem::path& path) {
    const auto looked = FragmentFile::open(path, FragmentFile::Access::read);
    if (!looked) return std::unexpected(looked.error());
    const auto begun = hasHardlyBegun(*looked);
    if (!begun) return std::unexpected(begun.error());
    if (*begun) return SealedMovie{};
    const auto unsealed = isUnsealed(*looked);
    if (!unsealed) return std::unexpected(unsealed.error());
    if (!*unsealed) return describe(path);
    auto file = FragmentFile::open(path, FragmentFile::Access::readWrite);
    if (!file) return std::unexpected(file.error());
    return sealFragments(*file, std::nullopt);
}

} // namespace glintro
