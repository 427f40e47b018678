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

// One line, parsed.
struct Line {
    std::string_view word;
    std::array<double, 3> numbers{};
    std::size_t count = 0;
};

// `nullopt` when it is not a word and up to three finite numbers.
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

// Builds the record from a journal's lines in their order.
class RecordBuilder {
  public:
    // False when the line is none of a journal's; it then has changed nothing.
    bool add(std::string_view text) {
        const auto line = parse(text);
        if (!line) return false;
        if (!hasFormat_) return hasFormat_ = isFormat(*line);
        switch (line->count) {
            case 0:
                return addFact(*line);
            case 1:
                return addTime(*line);
            case 3:
                return addPosition(*line);
            default:
                return false;
        }
    }
    TakeRecord record() && { return std::move(record_); }

  private:
    static bool isFormat(const Line& line) {
        return line.word == journal::kFormat && line.count == 1 && line.numbers[0] == journal::kVersion;
    }
    bool addFact(const Line& line) {
        if (line.word != journal::kEmbedded) return false;
        record_.pointerIsEmbedded = true;
        return true;
    }
    bool addTime(const Line& line) {
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
    bool addPosition(const Line& line) {
        const bool isClick = line.word == journal::kClick;
        if (!isClick && line.word != journal::kSample) return false;
        const auto& [hostTime, x, y] = line.numbers;
        (isClick ? record_.clicks : record_.samples).push_back({hostTime, {x, y}});
        return true;
    }

    TakeRecord record_;
    bool hasFormat_ = false;
};

// Hands all whole lines of `text` over and leaves the begun one. False when no more shall be read.
bool readLines(std::string& text, RecordBuilder& to) {
    std::size_t start = 0;
    for (auto end = text.find('\n'); end != std::string::npos; end = text.find('\n', start)) {
        if (!to.add(std::string_view(text).substr(start, end - start))) return false;
        start = end + 1;
    }
    text.erase(0, start);
    return text.size() <= kLongestLine;
}

// Where a host time lies with the pauses before it cut out; also inside a pause.
Seconds withoutPauses(Seconds hostTime, const PauseClock& pauses) {
    return hostTime - pauses.paused(hostTime);
}

// The moments outside of pauses that lie in first...last of a recording that began at `origin`.
std::vector<EventSample> placed(const std::vector<PointerMoment>& moments, const PauseClock& pauses,
                                Seconds origin, Seconds first, Seconds last) {
    std::vector<EventSample> events;
    for (const auto& [hostTime, position] : moments) {
        const auto shifted = pauses.shifted(hostTime);
        if (!shifted) continue;
        const Seconds sourceTime = *shifted - origin;
        if (first <= sourceTime && sourceTime <= last)
            events.push_back({{sourceTime, position.x, position.y}});
    }
    return events;
}

} // namespace

TakeRecord journal::readRecord(const FileDescriptor& file, std::string_view tail) {
    RecordBuilder builder;
    std::string text;
    std::array<char, kBlockSize> block;
    while (const std::size_t count = readSome(file, block.data(), block.size()).value_or(0)) {
        text.append(block.data(), count);
        if (!readLines(text, builder)) return std::move(builder).record();
    }
    text += tail;
    readLines(text, builder);
    return std::move(builder).record();
}

std::optional<TakeRecord> TakeJournal::read(const std::filesystem::path& folder) {
    const auto file = openRegularFile(fileIn(folder));
    return file ? std::optional(journal::readRecord(file->descriptor)) : std::nullopt;
}

Seconds TakeRecord::cameraOffset() const {
    if (firstFrameHost <= 0 || cameraStartHost <= 0) return 0;
    return withoutPauses(cameraStartHost, pauses) - withoutPauses(firstFrameHost, pauses);
}

RecordingEvents TakeRecord::events(Seconds duration) const {
    const Seconds origin = withoutPauses(firstFrameHost, pauses);
    RecordingEvents events{.duration = duration};
    events.cursor = placed(samples, pauses, origin, -kSampleMargin, duration + kSampleMargin);
    std::ranges::stable_sort(events.cursor, {}, &EventSample::sourceTime);
    events.clicks = placed(clicks, pauses, origin, 0, duration);
    return events;
}

} // namespace glintro
