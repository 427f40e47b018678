#include "app/pictures/PictureCache.h"

#include <QBuffer>
#include <QByteArray>
#include <QCryptographicHash>
#include <QDataStream>
#include <QIODevice>
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>

#include "core/base/FileIO.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;

// A file: mark, SHA-256 of what follows, subject, content, number of pictures, each picture. Texts and
// pictures have their length before them, as QDataStream writes them.
constexpr std::string_view kMark = "glintro pictures 1\n";
constexpr qsizetype kHashBytes = 32;
constexpr auto kStreamVersion = QDataStream::Qt_6_0;

constexpr std::size_t kLongestFile = 16U << 20; // bytes; some 300 kB are usual
constexpr quint32 kMostPictures = 64;
constexpr int kQuality = 90;

constexpr std::string_view kEnding = ".pictures";
// A partial file this old was left by a process that was killed.
constexpr std::chrono::hours kPartialAge{1};
// Being used is noted once a day at most: a view that shows its cards must not write to the disk.
constexpr std::chrono::hours kUseAge{24};

QByteArray bytesOf(std::string_view text) {
    return QByteArray::fromRawData(text.data(), static_cast<qsizetype>(text.size()));
}

std::string_view viewOf(const QByteArray& bytes) {
    return {bytes.constData(), static_cast<std::size_t>(bytes.size())};
}

QByteArray sha256(QByteArrayView bytes) {
    QCryptographicHash hash(QCryptographicHash::Sha256);
    hash.addData(bytes);
    return hash.result();
}

QByteArray encode(const QImage& picture) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    return picture.save(&buffer, "JPEG", kQuality) ? bytes : QByteArray();
}

// Empty where a picture cannot be encoded.
QByteArray pack(const PictureKey& key, const QList<QImage>& pictures) {
    QByteArray body;
    QDataStream stream(&body, QIODevice::WriteOnly);
    stream.setVersion(kStreamVersion);
    stream << bytesOf(key.subject) << bytesOf(key.content) << static_cast<quint32>(pictures.size());
    for (const QImage& picture : pictures) {
        const QByteArray bytes = encode(picture);
        if (bytes.isEmpty()) return {};
        stream << bytes;
    }
    return bytesOf(kMark) + sha256(body) + body;
}

// The part behind mark and hash; null where those are not right.
QByteArray bodyOf(const QByteArray& file) {
    const auto start = static_cast<qsizetype>(kMark.size()) + kHashBytes;
    if (file.size() < start || !file.startsWith(bytesOf(kMark))) return {};
    const QByteArray body = QByteArray::fromRawData(file.constData() + start, file.size() - start);
    const QByteArrayView hash = QByteArrayView(file).sliced(static_cast<qsizetype>(kMark.size()), kHashBytes);
    return sha256(body) == hash ? body : QByteArray();
}

std::optional<QList<QImage>> unpack(const PictureKey& key, const QByteArray& file) {
    QDataStream stream(bodyOf(file));
    stream.setVersion(kStreamVersion);
    QByteArray subject;
    QByteArray content;
    quint32 count = 0;
    stream >> subject >> content >> count;
    const bool isOfKey = stream.status() == QDataStream::Ok && viewOf(subject) == key.subject
                         && viewOf(content) == key.content;
    if (!isOfKey || count == 0 || count > kMostPictures) return std::nullopt;
    QList<QImage> pictures;
    for (quint32 i = 0; i < count; ++i) {
        QByteArray bytes;
        stream >> bytes;
        pictures.append(QImage::fromData(bytes, "JPEG"));
        if (pictures.last().isNull()) return std::nullopt;
    }
    return pictures;
}

struct Entry {
    fs::path file;
    std::uint64_t bytes = 0;
    fs::file_time_type used;
};

// Every file of the cache; removes what killed processes left. What others put into the folder is ignored.
std::vector<Entry> entriesOf(const fs::path& folder) {
    std::vector<Entry> entries;
    const auto now = fs::file_time_type::clock::now();
    std::error_code error;
    for (fs::directory_iterator it(folder, error), end; !error && it != end; it.increment(error)) {
        std::error_code gone; // another process cleans up as well
        const fs::path& file = it->path();
        if (file.extension() != kEnding || !fs::is_regular_file(it->symlink_status(gone))) continue;
        Entry entry{file, it->file_size(gone), it->last_write_time(gone)};
        if (gone) continue;
        const bool isPartial = file.filename().string().starts_with('.');
        if (isPartial && entry.used < now - kPartialAge) fs::remove(file, gone);
        if (!isPartial) entries.push_back(std::move(entry));
    }
    return entries;
}

// Removes the files used longest ago until the others take no more than `wanted`. What is left, in bytes.
std::uint64_t shrink(std::vector<Entry> entries, std::uint64_t limit, std::uint64_t wanted) {
    std::uint64_t total = 0;
    for (const Entry& entry : entries) total += entry.bytes;
    if (total <= limit) return total;
    std::ranges::sort(entries, {}, &Entry::used);
    for (const Entry& entry : entries) {
        if (total <= wanted) break;
        std::error_code ignored;
        fs::remove(entry.file, ignored);
        total -= entry.bytes;
    }
    return total;
}

// With all its parents, which are the user's alone, as the rules for cache folders want it.
bool makeOwnFolder(const fs::path& folder) {
    std::error_code error;
    if (fs::is_directory(folder, error)) return true;
    if (folder.has_parent_path() && folder.parent_path() != folder && !makeOwnFolder(folder.parent_path()))
        return false;
    return ::mkdir(folder.c_str(), S_IRWXU) == 0 || fs::is_directory(folder, error);
}

void noteUse(const fs::path& file) {
    std::error_code error;
    const auto now = fs::file_time_type::clock::now();
    const auto used = fs::last_write_time(file, error);
    if (!error && used < now - kUseAge) fs::last_write_time(file, now, error);
}

} // namespace

fs::path PictureCache::standardFolder() {
    const char* cache = std::getenv("XDG_CACHE_HOME");
    if (cache != nullptr && fs::path(cache).is_absolute()) return fs::path(cache) / "glintro" / "pictures";
    const char* home = std::getenv("HOME");
    if (home == nullptr || !fs::path(home).is_absolute()) return {};
    return fs::path(home) / ".cache" / "glintro" / "pictures";
}

PictureCache::PictureCache(fs::path folder, std::uint64_t limit)
    : folder_(std::move(folder)), limit_(limit) {}

fs::path PictureCache::fileOf(const PictureKey& key) const {
    const std::string name = sha256(bytesOf(key.subject)).toHex().toStdString();
    return folder_ / (name + std::string(kEnding));
}

std::optional<QList<QImage>> PictureCache::load(const PictureKey& key) {
    if (folder_.empty() || key.content.empty()) return std::nullopt;
    const fs::path path = fileOf(key);
    const auto file = readFile(path, kLongestFile);
    if (!file) return std::nullopt;
    auto pictures = unpack(key, bytesOf(*file));
    if (pictures) noteUse(path);
    return pictures;
}

void PictureCache::store(const PictureKey& key, const QList<QImage>& pictures) {
    if (folder_.empty() || key.content.empty() || pictures.isEmpty()) return;
    const QByteArray bytes = pack(key, pictures);
    if (bytes.isEmpty() || static_cast<std::size_t>(bytes.size()) > kLongestFile) return;
    if (!makeOwnFolder(folder_)) return;
    if (writeFileAtomically(fileOf(key), viewOf(bytes), Readers::owner))
        bound(static_cast<std::uint64_t>(bytes.size()));
}

// Looks at the folder once at the start, whenever the limit may have been reached, and now and then because
// other processes write too.
void PictureCache::bound(std::uint64_t added) {
    const std::scoped_lock lock(mutex_);
    total_ += added;
    sinceLook_ += added;
    if (hasLooked_ && total_ <= limit_ && sinceLook_ <= limit_ / 16) return;
    total_ = shrink(entriesOf(folder_), limit_, limit_ / 8 * 7);
    sinceLook_ = 0;
    hasLooked_ = true;
}

} // namespace glintro
