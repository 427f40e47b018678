#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>

#include <gtest/gtest.h>

#include "app/editor/ExportJob.h"
#include "tests/support/Reels.h"
#include "tests/support/TemporaryFolder.h"

namespace glintro {
namespace {

namespace fs = std::filesystem;
using test::makeReel;

QCoreApplication& application() {
    static int count = 1;
    static char name[] = "test";
    static char* arguments[] = {name, nullptr};
    static QCoreApplication application(count, arguments);
    return application;
}

class ExportJobTest : public testing::Test {
  protected:
    ExportJobTest() { application(); }

    void run(ExportJob& job, const fs::path& to) {
        ExportOptions options;
        options.shortSide = 120;
        options.fps = 30;
        job.run(*reel, reel->info.settings, options, to, nullptr);
    }

    // Handles events until the job has left `running`.
    void wait(ExportJob& job) {
        QEventLoop loop;
        QObject::connect(&job, &ExportJob::stateChanged, &loop, [&] {
            if (job.state() != ExportJob::State::running) loop.quit();
        });
        if (job.state() == ExportJob::State::running) loop.exec();
    }

    TemporaryFolder folder;
    std::optional<Project> reel = makeReel(folder / "reel", {});
    fs::path out = folder / "out";
};

TEST_F(ExportJobTest, PublishesProgressFramesAndTheFileOnItsOwnThread) {
    ExportJob job;
    const auto home = std::this_thread::get_id();
    bool elsewhere = false;
    double last = 0;
    bool descended = false;
    QObject::connect(&job, &ExportJob::progressChanged, [&] {
        elsewhere = elsewhere || std::this_thread::get_id() != home;
        descended = descended || job.progress() < last;
        last = job.progress();
    });
    QImage seen;
    QObject::connect(&job, &ExportJob::frameChanged,
                     [&] { seen = job.frame().isNull() ? seen : job.frame(); });
    run(job, out / "a.mp4");
    EXPECT_EQ(job.state(), ExportJob::State::running);
    run(job, out / "b.mp4"); // one at a time: this is not started
    wait(job);
    ASSERT_EQ(job.state(), ExportJob::State::done) << job.message().toStdString();
    EXPECT_EQ(job.file().toLocalFile().toStdString(), (out / "a.mp4").string());
    EXPECT_EQ(job.title().toStdString(), "Your reel is ready");
    EXPECT_EQ(job.message() + job.advice(), "");
    EXPECT_EQ(job.progress(), 1);
    EXPECT_EQ(job.frameTotal(), 60);
    EXPECT_EQ(job.counter().toStdString(), "FRAME 0058 / 0060");
    EXPECT_EQ(seen.height(), 120);
    EXPECT_FALSE(elsewhere);
    EXPECT_FALSE(descended);
    EXPECT_FALSE(fs::exists(out / "b.mp4"));

    run(job, out / "b.mp4");
    wait(job);
    EXPECT_EQ(job.state(), ExportJob::State::done);
    EXPECT_TRUE(fs::exists(out / "b.mp4"));
}

TEST_F(ExportJobTest, FailsWithTheWritersMessage) {
    ExportJob job;
    reel->info.settings.cuts = {{.start = 0, .end = 99}};
    run(job, out / "a.mp4");
    wait(job);
    EXPECT_EQ(job.state(), ExportJob::State::failed);
    EXPECT_EQ(job.message().toStdString(),
              "Nothing is left to export — the whole recording is cut or trimmed away.");
    EXPECT_EQ(job.title().toStdString(), "The render didn’t finish");
    EXPECT_TRUE(job.advice().startsWith("Check there’s free space"));
}

// The last report before the file is finished comes with the last frame; a cancel then still stops the
// render.
TEST_F(ExportJobTest, ACancelWhileTheFileIsBeingFinishedLeavesNone) {
    struct Row {
        const char* name;
        ExportFormat format;
    };
    for (const Row& row : {Row{"a.mp4", ExportFormat::mp4}, Row{"a.gif", ExportFormat::gif}}) {
        ExportRequest request{.project = *reel,
                              .settings = reel->info.settings,
                              .options = {.format = row.format, .shortSide = 120, .fps = 30, .gifWidth = 120},
                              .to = out / row.name};
        request.progress = [&](const ExportProgress& progress) {
            if (progress.written == progress.total) request.cancel->cancel();
        };
        const auto result = Exporter::run(request);
        ASSERT_FALSE(result) << row.name;
        EXPECT_TRUE(result.error().isCancelled());
        EXPECT_TRUE(fs::is_empty(out));
    }
}

TEST_F(ExportJobTest, ACancelledOrDestroyedJobLeavesNoFile) {
    ExportJob job;
    int cancelling = 0;
    QObject::connect(&job, &ExportJob::progressChanged, [&] {
        if (job.progress() > 0) job.cancel();
    });
    QObject::connect(&job, &ExportJob::stateChanged, [&] { cancelling += job.isCancelling(); });
    // Slow enough that no machine is done before the first report is heard.
    ExportOptions large;
    large.shortSide = 1080;
    job.run(*reel, reel->info.settings, large, out / "a.mp4", nullptr);
    wait(job);
    EXPECT_EQ(job.state(), ExportJob::State::setup);
    EXPECT_EQ(cancelling, 1);
    EXPECT_FALSE(job.isCancelling());
    {
        ExportJob brief;
        brief.run(*reel, reel->info.settings, large, out / "b.mp4", nullptr);
    }
    EXPECT_TRUE(fs::is_empty(out));
}

} // namespace
} // namespace glintro
