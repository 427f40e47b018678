#include <atomic>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "app/recording/InputPreview.h"
#include "tests/support/EventLoop.h"

namespace glintro {
namespace {

using test::handleUntil;

// Its devices open when the test lets them, and note the threads that close them.
class NotedPreview final : public InputPreview {
  public:
    struct Notes {
        std::atomic<bool> isOpening = false;
        std::atomic<bool> mayOpen = true;
        std::atomic<int> closed = 0;
        std::thread::id closedOn; // to be read once something was closed
    };

    Opener opener(LossHandler lost) override {
        losses.push_back(std::move(lost));
        return [notes = notes](const std::optional<std::string>&) -> Result<Device> {
            notes->isOpening = true;
            notes->mayOpen.wait(false);
            return Device(notes.get(), [notes](Notes*) {
                notes->closedOn = std::this_thread::get_id();
                ++notes->closed;
            });
        };
    }
    void reset() override {}

    std::vector<LossHandler> losses;
    std::shared_ptr<Notes> notes = std::make_shared<Notes>(); // with the devices
};

class InputPreviewTest : public testing::Test {
  protected:
    InputPreviewTest() {
        test::application();
        preview.setInput(true, std::nullopt);
    }
    NotedPreview preview;
};

TEST_F(InputPreviewTest, ClosesADeviceInTheBackgroundThatOpensTooLate) {
    NotedPreview::Notes& notes = *preview.notes;
    notes.mayOpen = false;
    preview.setActive(true);
    ASSERT_TRUE(handleUntil([&] { return notes.isOpening.load(); }));
    preview.setActive(false);
    notes.mayOpen = true;
    notes.mayOpen.notify_all();
    ASSERT_TRUE(handleUntil([&] { return notes.closed == 1; }));
    EXPECT_NE(notes.closedOn, std::this_thread::get_id());
    EXPECT_FALSE(preview.isRunning());
}

TEST_F(InputPreviewTest, IsNotClosedByTheLateLossOfAnEarlierDevice) {
    for (int i = 0; i < 2; ++i) {
        preview.setActive(false);
        preview.setActive(true);
        ASSERT_TRUE(handleUntil([&] { return preview.isRunning(); }));
    }
    preview.losses[0](Failure{"It was unplugged."});
    QCoreApplication::processEvents();
    EXPECT_TRUE(preview.isRunning());
    EXPECT_TRUE(preview.problem().isEmpty());
    preview.losses[1](Failure{"It was unplugged."});
    QCoreApplication::processEvents();
    EXPECT_FALSE(preview.isRunning());
    EXPECT_EQ(preview.problem(), "It was unplugged.");
}

} // namespace
} // namespace glintro
