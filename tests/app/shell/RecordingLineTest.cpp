#include <gtest/gtest.h>

#include "app/shell/RecordingLine.h"
#include "app/shell/TerminalText.h"

namespace glintro {
namespace {

TEST(RecordingLine, GivesUpWhatMattersLessOnANarrowTerminal) {
    const CaptureProgress progress{.secondsOnDisk = 11.9,
                                   .bytesOnDisk = 4'200'000,
                                   .frames = 738,
                                   .droppedFrames = 2,
                                   .encoder = "libx264 veryfast"};
    EXPECT_EQ(recordingLine(12.3, progress, 100),
              "● 0:12.3  738 frames  2 dropped  0:11.9 on disk, 4.2 MB  libx264 veryfast");
    EXPECT_EQ(recordingLine(12.3, progress, 40), "● 0:12.3  738 frames  2 dropped");
    for (int columns = 0; columns < 80; ++columns)
        EXPECT_LE(columnsOf(recordingLine(12.3, progress, columns)), columns);
}

} // namespace
} // namespace glintro
