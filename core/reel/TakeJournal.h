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

// What a take's journal tells. All times are host times.
struct TakeRecord {
    Seconds firstFrameHost = 0;     // of the first picture; 0 when there was none
    Seconds cameraStartHost = 0;    // of the camera's first picture; 0 when there was none
    bool pointerIsEmbedded = false; // the pictures show the pointer already
    PauseClock pauses = {};
    std::vector<EventSample> samples = {}; // in the order they came
    std::vector<EventSample> clicks = {};
    bool operator==(const TakeRecord&) const = default;
};

// The log of a running take, "take.journal" in the reel's folder: whatever is not in the movies is appended
// to it as it happens, and is on its way to the disk within half a second, so that a take whose process died
// can be completed. The file is locked while the object lives: a scan can tell a running take from one that
// was interrupted. All calls from any thread; a write that fails is kept quiet, for the movies tell of a full
// disk.
class TakeJournal {
  public:
    static Result<std::unique_ptr<TakeJournal>> create(const std::filesystem::path& folder);
    ~TakeJournal();

    void firstFrame(Seconds hostTime);
    void cameraStarted(Seconds hostTime);
    void pointerIsEmbedded();
    void pause(Seconds hostTime);
    void resume(Seconds hostTime);
    void sample(const EventSample& sample); // [host time, x, y]
    void click(const EventSample& click);

    // Once "events.json" is written, the movies are finished and the reel is registered.
    void remove();

    static std::filesystem::path fileIn(const std::filesystem::path& folder) {
        return folder / "take.journal";
    }
    // Nothing when there is no journal. A torn or damaged line ends the reading: what came before counts.
    // Reads piece by piece: beyond what is told the memory taken does not grow with the file.
    static std::optional<TakeRecord> read(const std::filesystem::path& folder);
    // Whether a living process is writing the journal.
    static bool isRunning(const std::filesystem::path& folder);

  private:
    struct Impl;
    explicit TakeJournal(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

// The events of a take in recording time, zero at `origin`: what fell into a pause or outside the recording
// is left out (a pointer sample may lie 0.2 s outside, so that the pointer is known at both ends; a click may
// not), and samples are put in order of time.
RecordingEvents placeEvents(const std::vector<EventSample>& samples, const std::vector<EventSample>& clicks,
                            const PauseClock& pauses, Seconds origin, Seconds duration);

} // namespace glintro
