#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

#include "core/base/Failure.h"
#include "core/base/Geometry.h"
#include "core/model/RecordingEvents.h"
#include "core/timeline/PauseClock.h"

namespace glintro {

// Where the pointer was at a host time, in fractions of the recorded rectangle from its top left: outside of
// 0..1 when the pointer was outside.
struct PointerMoment {
    Seconds hostTime = 0;
    Point position = {};
    bool operator==(const PointerMoment&) const = default;
};

// What a take's journal tells. All times are host times, pauses included.
struct TakeRecord {
    Seconds firstFrameHost = 0;     // of the first picture; 0 when there was none
    Seconds cameraStartHost = 0;    // of the webcam's first picture; 0 when there was none
    bool pointerIsEmbedded = false; // the pictures show the pointer already
    PauseClock pauses = {};
    std::vector<PointerMoment> samples = {}; // in the order they came
    std::vector<PointerMoment> clicks = {};
    bool operator==(const TakeRecord&) const = default;

    // How much later than the screen's first picture the webcam's came, without pauses; 0 without either.
    Seconds cameraOffset() const;
    // The events in recording time, which begins with the first picture. What fell into a pause or outside of
    // 0..duration is left out; a sample may lie 0.2 s outside, so that the pointer is known at both ends.
    // Samples are sorted by time.
    RecordingEvents events(Seconds duration) const;
};

// The log of a running take, "take.journal" in the reel's folder, readable by its owner only: whatever is not
// in the movies is appended to it as it happens, and is on its way to the disk within half a second, so that
// a take whose process died can be completed. The file is locked while the object lives: a scan can tell a
// running take from one that was interrupted. All calls from any thread. Write errors are ignored; the movie
// writer reports a full disk.
class TakeJournal {
  public:
    [[nodiscard]] static Result<std::unique_ptr<TakeJournal>> create(const std::filesystem::path& folder);
    ~TakeJournal();

    void firstFrame(Seconds hostTime);
    void cameraStarted(Seconds hostTime);
    void pointerIsEmbedded();
    void pause(Seconds hostTime);
    void resume(Seconds hostTime);
    void sample(const PointerMoment& sample);
    void click(const PointerMoment& click);

    // All that was logged so far, also what the disk has not accepted or somebody has deleted. Reads the
    // file.
    TakeRecord record() const;

    static std::filesystem::path fileIn(const std::filesystem::path& folder) {
        return folder / "take.journal";
    }
    // `nullopt` when there is no journal. A torn or damaged line ends the reading; what came before counts.
    // Reads block by block: beyond the record itself the memory does not grow with the file.
    static std::optional<TakeRecord> read(const std::filesystem::path& folder);
    // Whether a living process is writing the journal.
    static bool isRunning(const std::filesystem::path& folder);
    // Once "events.json" is written, the movies are finished and the reel is registered. Errors are ignored.
    static void remove(const std::filesystem::path& folder);

  private:
    struct Impl;
    explicit TakeJournal(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

} // namespace glintro
