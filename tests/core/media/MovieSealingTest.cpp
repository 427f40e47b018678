#include <algorithm>
#include <fstream>
#include <random>

#include <gtest/gtest.h>

#include "core/media/fragments/MovieSealing.h"
#include "tests/core/media/LiveTakes.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

using test::contentOf;
using test::probe;
using test::putFile;
using test::TopBox;

// A take whose process died right after its last fragment, and what is known of it.
class KilledTake {
  public:
    KilledTake() {
        auto writer = test::startTake(folder_ / "take.mov");
        EXPECT_TRUE(test::writeTake(*writer, times, clicks));
        writer.reset();
        content = contentOf(folder_ / "take.mov");
        boxes = test::topBoxes(content);
        for (std::size_t i = 1; i < boxes.size(); ++i) {
            if (boxes[i].type == "mdat" && boxes[i - 1].type == "moof") fragments.push_back(boxes[i]);
        }
        readPicturePositions();
    }

    // How many pictures lie in fragments that end at or before a position.
    std::size_t picturesBefore(std::size_t position) const {
        std::size_t end = 0;
        for (const TopBox& fragment : fragments) end = fragment.end <= position ? fragment.end : end;
        return static_cast<std::size_t>(
            std::ranges::count_if(picturePositions_, [end](std::size_t picture) { return picture < end; }));
    }
    std::filesystem::path file(const std::string& text) const {
        auto path = folder_ / "copy.mov";
        putFile(path, text);
        return path;
    }

    const std::vector<Seconds> times = test::takeTimes(150);
    const std::vector<std::int64_t> clicks{30'000, 120'000};
    std::string content;
    std::vector<TopBox> boxes;
    std::vector<TopBox> fragments; // their data

  private:
    void readPicturePositions() {
        auto movie = MovieFile::open(folder_ / "take.mov", MovieFile::Probe::header);
        ASSERT_TRUE(movie);
        (*movie)->select(MovieFile::Track::video);
        ASSERT_TRUE((*movie)->seek((*movie)->video(), 0));
        const PacketPtr packet = newPacket();
        for (auto more = (*movie)->read(*packet); more && *more; more = (*movie)->read(*packet))
            picturePositions_.push_back(static_cast<std::size_t>(packet->pos));
    }

    TemporaryFolder folder_;
    std::vector<std::size_t> picturePositions_;
};

// But for the placeholder of 16 bytes after the file type.
void expectSameBytes(const std::string& before, const std::string& after, std::size_t count) {
    ASSERT_GE(after.size(), count);
    EXPECT_EQ(before.substr(0, 20), after.substr(0, 20));
    EXPECT_TRUE(before.substr(36, count - 36) == after.substr(36, count - 36));
}

TEST(MovieSealing, KeepsEveryWholeFragmentOfATakeThatWasCutOff) {
    const KilledTake take;
    ASSERT_GT(take.fragments.size(), 5U);
    std::vector<std::size_t> cuts;
    for (const TopBox& box : take.boxes) {
        for (const std::size_t cut : {box.end - 1, box.end, box.end + 1}) cuts.push_back(cut);
    }
    std::mt19937 random(3);
    for (int i = 0; i < 40; ++i) cuts.push_back(random() % take.content.size());
    for (const std::size_t cut : cuts) {
        SCOPED_TRACE(cut);
        const std::string before = take.content.substr(0, cut);
        const auto file = take.file(before);
        const auto sealed = sealMovie(file);
        ASSERT_TRUE(sealed) << sealed.error().message;
        const std::size_t pictures = take.picturesBefore(cut);
        EXPECT_EQ(sealed->hasFrames, pictures > 0);
        const std::string after = contentOf(file);
        if (pictures == 0) {
            EXPECT_TRUE(before == after);
            continue;
        }
        test::expectPictures(file, take.times, pictures);
        EXPECT_GE(sealed->duration, take.times[pictures - 1] + 1 / 60.0 - 1e-4);
        EXPECT_LE(sealed->duration, take.times[pictures - 1] + 0.55);
        std::size_t end = 0;
        for (const TopBox& fragment : take.fragments) end = fragment.end <= cut ? fragment.end : end;
        expectSameBytes(before, after, end);
    }
}

// A sealing that was interrupted while it appended the index, or just before the last small write.
TEST(MovieSealing, CanBeInterruptedAtAnyByteAndCalledAgain) {
    const KilledTake take;
    const auto file = take.file(take.content);
    ASSERT_TRUE(sealMovie(file));
    const std::string sealed = contentOf(file);
    const std::size_t end = take.fragments.back().end;
    const std::string fragments = take.content.substr(0, end);
    std::vector<std::size_t> lengths;
    for (std::size_t length = 0; end + length < sealed.size(); length += 97) lengths.push_back(length);
    for (const std::size_t length : {std::size_t{1}, std::size_t{7}, std::size_t{8}, std::size_t{9}})
        lengths.push_back(length);
    lengths.push_back(sealed.size() - end);
    for (const std::size_t length : lengths) {
        SCOPED_TRACE(length);
        const auto interrupted = take.file(fragments + sealed.substr(end, length));
        if (length % 3 == 0 || length == sealed.size() - end)
            test::expectPictures(interrupted, take.times, take.picturesBefore(end));
        ASSERT_TRUE(sealMovie(interrupted));
        EXPECT_TRUE(contentOf(interrupted) == sealed);
    }
}

TEST(MovieSealing, LosesOnlyTheFragmentThatIsDamaged) {
    const KilledTake take;
    for (const std::size_t damaged : {std::size_t{0}, std::size_t{2}}) {
        std::string content = take.content;
        const TopBox& data = take.fragments[damaged];
        const auto box = std::ranges::find(take.boxes, data.begin, &TopBox::end);
        const std::size_t run = content.find("trun", box->begin);
        content[run + 8] = '\x7F'; // that many samples there are not
        const auto file = take.file(content);
        const auto sealed = sealMovie(file);
        ASSERT_TRUE(sealed && sealed->hasFrames);
        const std::size_t lost = take.picturesBefore(data.end) - take.picturesBefore(data.begin);
        EXPECT_EQ(std::stoul(probe(file, "v", "nb_frames")), take.picturesBefore(take.content.size()) - lost);
        // What is left begins with its first picture, and sound and pictures are still beside each other.
        const Seconds start = damaged == 0 ? take.times[lost] : 0;
        std::vector<std::int64_t> clicks = take.clicks;
        for (std::int64_t& click : clicks) click -= std::llround(start * 48000);
        test::expectClicks(test::soundOf(file, sealed->duration), clicks);
        auto reader = MovieReader::open(file);
        ASSERT_TRUE(reader);
        const auto later = take.picturesBefore(take.fragments[6].begin);
        const auto frame = (*reader)->frameAt(take.times[later] - start);
        ASSERT_TRUE(frame);
        EXPECT_NEAR(frame->time, take.times[later] - start, 1e-4);
    }
}

TEST(MovieSealing, LeavesOtherMoviesAlone) {
    const TemporaryFolder folder;
    const auto ordinary = folder / "ordinary.mov";
    test::ffmpeg({"-f", "lavfi", "-i", "testsrc2=s=64x48:r=25", "-f", "lavfi", "-i", "sine", "-t", "2"},
                 ordinary);
    test::ffmpeg({"-i", ordinary.string(), "-c", "copy", "-an", "-movflags", "frag_keyframe+empty_moov"},
                 folder / "fragmented.mp4");
    test::ffmpeg({"-i", ordinary.string(), "-c", "copy", "-movflags", "faststart"}, folder / "front.mp4");
    for (const std::string name : {"ordinary.mov", "fragmented.mp4", "front.mp4"}) {
        SCOPED_TRACE(name);
        const std::string before = contentOf(folder / name);
        const auto sealed = sealMovie(folder / name);
        ASSERT_TRUE(sealed) << sealed.error().message;
        EXPECT_TRUE(sealed->hasFrames);
        EXPECT_EQ(sealed->hasAudio, name != "fragmented.mp4");
        EXPECT_NEAR(sealed->duration, 2, 0.01);
        EXPECT_TRUE(before == contentOf(folder / name));
    }
}

TEST(MovieSealing, RefusesWhatIsNoMovieWithoutTouchingIt) {
    const TemporaryFolder folder;
    std::mt19937 random(1);
    std::string noise(5000, ' ');
    for (char& byte : noise) byte = static_cast<char>(random());
    putFile(folder / "noise.mov", noise);
    putFile(folder / "text.mov", "This is a text, and longer than any box’s header.");
    test::ffmpeg({"-f", "lavfi", "-i", "testsrc2=s=64x48:r=25", "-t", "2"}, folder / "whole.mov");
    const std::string whole = contentOf(folder / "whole.mov");
    putFile(folder / "cut.mov", whole.substr(0, whole.size() / 2));
    for (const std::string name : {"noise.mov", "text.mov", "cut.mov"}) {
        SCOPED_TRACE(name);
        const std::string before = contentOf(folder / name);
        const auto sealed = sealMovie(folder / name);
        ASSERT_FALSE(sealed);
        EXPECT_NE(sealed.error().message, "");
        EXPECT_TRUE(before == contentOf(folder / name));
    }
    EXPECT_FALSE(sealMovie(folder / "absent.mov"));
    EXPECT_FALSE(sealMovie(folder.path()));
    EXPECT_FALSE(std::filesystem::exists(folder / "absent.mov"));
}

// Flipped bytes in all that sealing reads: whatever comes out, a movie or a sentence, nothing breaks.
TEST(MovieSealing, SurvivesDamagedBoxes) {
    const KilledTake take;
    std::mt19937 random(9);
    for (int round = 0; round < 300; ++round) {
        std::string content = take.content;
        for (int flips = 0; flips < 3; ++flips) {
            const TopBox& box = take.boxes[random() % take.boxes.size()];
            const std::size_t header = box.type == "mdat" ? 8 : box.end - box.begin;
            content[box.begin + random() % header] = static_cast<char>(random());
        }
        const auto file = take.file(content);
        const auto sealed = sealMovie(file);
        const bool isMovie = sealed && sealed->hasFrames;
        EXPECT_TRUE(isMovie || content == contentOf(file)) << round;
        EXPECT_TRUE(sealed || !sealed.error().message.empty()) << round;
    }
}

// The data of one fragment are stretched by a hole, so that the next ones lie beyond 4 GB.
TEST(MovieSealing, HandlesMoviesBeyondFourGigabytes) {
    const KilledTake take;
    const std::size_t hole = 0xFFFFFFF0U;
    const TopBox& stretched = take.fragments[1];
    const auto file = take.file(take.content.substr(0, stretched.end));
    {
        std::fstream stream(file, std::ios::binary | std::ios::in | std::ios::out);
        stream.seekp(static_cast<std::streamoff>(stretched.begin));
        stream.write("\xFF\xFF\xFF\xF0", 4);
        stream.seekp(static_cast<std::streamoff>(stretched.begin + hole));
        stream << take.content.substr(stretched.end);
    }
    const auto sealed = sealMovie(file);
    ASSERT_TRUE(sealed && sealed->hasFrames);
    EXPECT_GT(std::filesystem::file_size(file), hole);
    test::expectPictures(file, take.times, take.picturesBefore(take.content.size()));
    test::expectClicks(test::soundOf(file, sealed->duration), take.clicks);
}

} // namespace
} // namespace glintro
