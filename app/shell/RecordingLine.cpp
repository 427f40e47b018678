#include "app/shell/RecordingLine.h"

#include <fmt/format.h>

#include "app/shell/TerminalText.h"
#include "core/model/TimeFormat.h"

namespace glintro {

std::string recordingLine(Seconds elapsed, const CaptureProgress& progress, int columns) {
    const std::string parts[] = {
        "● " + formatTime(elapsed, true),
        countText(progress.frames, "frame"),
        fmt::format("{} dropped", progress.droppedFrames),
        fmt::format("{} on disk, {}", formatTime(progress.secondsOnDisk, true),
                    bytesText(static_cast<std::uintmax_t>(progress.bytesOnDisk))),
        printable(progress.encoder),
    };
    std::string line;
    for (const std::string& part : parts) {
        const std::string longer = line.empty() ? part : line + "  " + part;
        if (columnsOf(longer) > columns) break;
        line = longer;
    }
    return line;
}

} // namespace glintro
