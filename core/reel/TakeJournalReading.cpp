#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <string>
#include <string_view>

#include "core/base/FileDescriptor.h"
#include "core/reel/TakeJournal.h"
#include "core/reel/TakeJournalLines.h"

namespace glintro {
namespace {

constexpr std::size_t kBlockSize = 64U << 10;
constexpr std::size_t kLongestLine = 256; // bytes; ours have less than half of it
constexpr Seconds kSampleMargin = 0.2;

// One line taken apart.
struct Line {
    std::string_view word;
    std::array<double, 3> numbers{};
    std::size_t count = 0;
};

// Nothing when it is not a word and up to three finite numbers.
std::optional<Line> parse(std::string_view text) {
    Line line;
    line.word = text.substr(0, text.find(' '));
    text.remove_prefix(line.word.size());
    while (!text.empty()) {
        if (line.count == line.numbers.size() || text.front() != ' ') return std::nullopt;
        double& number = line.numbers[line.count++];
        const auto [end, error] = std::from_chars(text.data() + 1, text.data() + text.size(), number);
        if (error != std::errc() || !std::isfinite(number)) return std::nullopt;
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    }
    return line;
}

// Takes the lines of a journal in their order.
class RecordBuilder {
  public:
    // False when the line is none of a journal's; it then has changed nothing.
    bool take(std::string_view text) {
        const auto line = parse(text);
        if (!line) return false;
        if (!begun_) return begun_ = isFormat(*line);
        switch (line->count) {
            case 0:
                return takeFact(*line);
            case 1:
                return takeMoment(*line);
            case 3:
                return takePosition(*line);
            default:
                return false;
        }
    }
    TakeRecord record() && { return std::move(record_); }

  private:
    static bool isFormat(const Line& line) {
        return line.word == journal::kFormat && line.count == 1 && line.numbers[0] == journal::kVersion;
    }
    bool takeFact(const Line& line) {
        if (line.word != journal::kEmbedded) return false;
        record_.pointerIsEmbedded = true;
        return true;
    }
    bool takeMoment(const Line& line) {
        const Seconds hostTime = line.numbers[0];
        if (line.word == journal::kFirstFrame)
            record_.firstFrameHost = hostTime;
        else if (line.word == journal::kCamera)
            record_.cameraStartHost = hostTime;
        else if (line.word == journal::kPause)
            record_.pauses.pause(hostTime);
        else if (line.word == journal::kResume)
            record_.pauses.resume(hostTime);
        else
            return false;
        return true;
    }
    bool takePosition(const Line& line) {
        const bool isClick = line.word == journal::kClick;
        if (!isClick && line.word != journal::kSample) return false;
        (isClick ? record_.clicks : record_.samples).push_back({line.numbers});
        return true;
    }

    TakeRecord record_;
    bool begun_ = false;
};

// Hands all whole lines of `text` over and leaves the begun one. False when no more shall be read.
bool takeLines(std::string& text, RecordBuilder& to) {
    std::size_t start = 0;
    for (auto end = text.find('\n'); end != std::string::npos; end = text.find('\n', start)) {
        if (!to.take(std::string_view(text).substr(start, end - start))) return false;
        start = end + 1;
    }
    text.erase(0, start);
    return text.size() <= kLongestLine;
}

// Where a moment lies in the recording, unless that was paused.
std::vector<EventSample> placed(const std::vector<EventSample>& events, const PauseClock& pauses,
                                Seconds origin, Seconds first, Seconds last) {
    std::vector<EventSample> result;
    for (const EventSample& event : events) {
        const auto shifted = pauses.shifted(event.numbers[0]);
        if (!shifted) continue;
        EventSample moved = event;
        moved.numbers[0] = *shifted - origin;
        if (first <= moved.numbers[0] && moved.numbers[0] <= last) result.push_back(moved);
    }
    return result;
}

} // namespace

std::optional<TakeRecord> TakeJournal::read(const std::filesystem::path& folder) {
    const auto file = openRegularFile(fileIn(folder));
    if (!file) return std::nullopt;
    RecordBuilder builder;
    std::string text;
    std::array<char, kBlockSize> block;
    while (const std::size_t count = readSome(file->descriptor, block.data(), block.size()).value_or(0)) {
        text.append(block.data(), count);
        if (!takeLines(text, builder)) break;
    }
    return std::move(builder).record();
}

RecordingEvents placeEvents(const std::vector<EventSample>& samples, const std::vector<EventSample>& clicks,
                            const PauseClock& pauses, Seconds origin, Seconds duration) {
    RecordingEvents events{.duration = duration};
    events.cursor = placed(samples, pauses, origin, -kSampleMargin, duration + kSampleMargin);
    std::ranges::stable_sort(events.cursor, {}, &EventSample::sourceTime);
    events.clicks = placed(clicks, pauses, origin, 0, duration);
    return events;
}

} // namespace glintro
