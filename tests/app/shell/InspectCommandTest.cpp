#include <sstream>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "app/shell/InspectCommand.h"
#include "tests/app/shell/ReelFixtures.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

using nlohmann::json;

class InspectCommand : public testing::Test {
  protected:
    Result<void> inspect(const std::vector<Seconds>& at, Report report) {
        return runInspect({.reel = reel_, .at = at, .report = report}, {out_, error_});
    }
    json printed() const { return json::parse(out_.str()); }

    TemporaryFolder folder_;
    std::filesystem::path reel_ = folder_ / "reel";
    std::ostringstream out_;
    std::ostringstream error_;
};

ProjectInfo editedTake() {
    ProjectInfo info{.name = "Édité", .duration = 10, .width = 1000, .height = 800};
    info.settings.aspect = AspectRatio::original;
    info.settings.zooms = {{.start = 2, .end = 6, .scale = 2}};
    info.settings.speeds = {{.start = 3, .end = 5, .rate = 2}};
    info.settings.cuts = {{.start = 7, .end = 8}};
    return info;
}

TEST_F(InspectCommand, PrintsShotsAndPieces) {
    const ProjectInfo info = editedTake();
    handMadeReel(reel_, info);
    ASSERT_TRUE(inspect({}, Report::json));
    const json all = printed();
    EXPECT_EQ(all["status"], "ok");
    EXPECT_EQ(all["info"], json::parse(encodeProjectInfo(info).value()));
    EXPECT_EQ(all["look"], "Aurora");
    EXPECT_EQ(all["canvas"], json({{"width", 1350}, {"height", 1080}}));
    EXPECT_EQ(all["compDuration"], 8);
    EXPECT_EQ(all["frames"], json::array());
    ASSERT_EQ(all["shots"].size(), 7U);
    EXPECT_EQ(all["shots"][2], json({{"number", 3},
                                     {"start", 3},
                                     {"end", 5},
                                     {"kind", "zoom"},
                                     {"zoomID", info.settings.zooms[0].id.text()},
                                     {"scale", 2},
                                     {"cutID", nullptr},
                                     {"speedID", info.settings.speeds[0].id.text()},
                                     {"rate", 2},
                                     {"outputDuration", 1},
                                     {"caption", "2.0× · 1.0s"}}));
    EXPECT_EQ(all["shots"][5]["kind"], "cut");
    EXPECT_EQ(all["shots"][5]["cutID"], info.settings.cuts[0].id.text());
    ASSERT_EQ(all["pieces"].size(), 4U);
    EXPECT_EQ(all["pieces"][1], json({{"src0", 3}, {"src1", 5}, {"comp0", 3}, {"rate", 2}}));
}

TEST_F(InspectCommand, SaysWhereThePointerIs) {
    handMadeReel(reel_, editedTake(), {.duration = 10, .cursor = {{{1, 0.25, 0.75}}, {{9, 0.25, 0.75}}}});
    ASSERT_TRUE(inspect({5}, Report::json));
    EXPECT_EQ(printed()["frames"][0]["pointer"], json({0.25, 0.75}));
    EXPECT_EQ(printed()["frames"][0]["x"], 0.25);
}

TEST_F(InspectCommand, RefusesNumbersThatJsonCannotHold) {
    ProjectInfo info = editedTake();
    info.duration = 1e308;
    info.settings.speeds = {{.start = 0, .end = 1e308, .rate = 0.25}};
    handMadeReel(reel_, info);
    const auto done = inspect({}, Report::json);
    ASSERT_FALSE(done);
    EXPECT_EQ(done.error().message, "This reel’s times are too large to be written as JSON.");
    EXPECT_EQ(out_.str(), "");
}

} // namespace
} // namespace glintro
