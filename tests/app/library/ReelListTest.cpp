#include <map>
#include <random>

#include <gtest/gtest.h>

#include "app/library/ReelList.h"
#include "app/library/ReelShelf.h"
#include "app/library/ReelThumbnails.h"
#include "core/timeline/Storyboard.h"

namespace glintro {
namespace {

ReelPtr reel(int folder, const std::string& name, std::int64_t created) {
    ProjectInfo info{.name = name, .created = Timestamp(std::chrono::seconds(created)), .duration = 75};
    return makeReel({Project("/library/" + std::to_string(folder), std::move(info))});
}

const DayCalendar kCalendar{.now = [] { return Timestamp(std::chrono::seconds(86'400 * 10)); },
                            .zone = QTimeZone::utc(),
                            .locale = QLocale::c()};

// What a view knows of a list when it believes its signals only.
class Mirror : public QObject {
  public:
    explicit Mirror(ReelList& list) : list_(list) {
        for (int row = 0; row < list.count(); ++row) rows_.push_back(read(row));
        connect(&list, &ReelList::rowsInserted, this, [this](const QModelIndex&, int first, int last) {
            for (int row = first; row <= last; ++row) rows_.insert(rows_.begin() + row, read(row));
        });
        connect(&list, &ReelList::rowsRemoved, this, [this](const QModelIndex&, int first, int last) {
            rows_.erase(rows_.begin() + first, rows_.begin() + last + 1);
        });
        connect(&list, &ReelList::rowsMoved, this,
                [this](const QModelIndex&, int first, int, const QModelIndex&, int to) {
                    const auto row = rows_[static_cast<std::size_t>(first)];
                    rows_.erase(rows_.begin() + first);
                    rows_.insert(rows_.begin() + (to > first ? to - 1 : to), row);
                    ++moves;
                });
        connect(&list, &ReelList::dataChanged, this,
                [this](const QModelIndex& first, const QModelIndex& last) {
                    for (int row = first.row(); row <= last.row(); ++row)
                        rows_[static_cast<std::size_t>(row)] = read(row);
                });
        connect(&list, &ReelList::modelReset, this, [this] {
            rows_.clear();
            for (int row = 0; row < list_.count(); ++row) rows_.push_back(read(row));
            ++resets;
        });
    }
    void check() const {
        ASSERT_EQ(static_cast<int>(rows_.size()), list_.count());
        for (int row = 0; row < list_.count(); ++row)
            EXPECT_EQ(rows_[static_cast<std::size_t>(row)], read(row));
    }

    int resets = 0;
    int moves = 0;

  private:
    QString read(int row) const {
        const auto index = list_.index(row);
        return list_.data(index, ReelList::FolderRole).toString()
               + list_.data(index, ReelList::NameRole).toString();
    }
    ReelList& list_;
    std::vector<QString> rows_;
};

TEST(ReelList, TellsEveryChangeByRows) {
    std::mt19937 random(11);
    const auto pick = [&](int count) { return std::uniform_int_distribution(0, count - 1)(random); };
    ReelList list(kCalendar);
    Mirror mirror(list);
    ReelShelf shelf;
    std::map<int, ReelPtr> expected;
    for (int step = 0; step < 600; ++step) {
        for (int change = pick(4); change >= 0; --change) {
            const int folder = pick(40);
            if (pick(3) == 0) {
                shelf.remove("/library/" + std::to_string(folder));
                expected.erase(folder);
            } else {
                expected[folder] = reel(folder, std::to_string(pick(3)), pick(30) * 40'000);
                shelf.put(expected[folder]);
            }
        }
        list.setReels(shelf.all());
        mirror.check();
        ASSERT_EQ(shelf.all().size(), expected.size());
        EXPECT_TRUE(std::ranges::is_sorted(shelf.all(), [](const ReelPtr& a, const ReelPtr& b) {
            return isListedBefore(a->project, b->project);
        }));
        qsizetype rows = 0;
        for (const DayGroup& day : list.days()) rows += day.count;
        EXPECT_EQ(rows, list.count());
    }
    EXPECT_EQ(mirror.resets, 0);
}

TEST(ReelList, MovesAReelWhoseDateHasChanged) {
    for (const int to : {0, 3, 5, 9}) {
        ReelList list(kCalendar);
        ReelPtrs reels;
        for (int i = 0; i < 10; ++i) reels.push_back(reel(i, "", 1000 - i * 10));
        list.setReels(reels);
        Mirror mirror(list);
        ReelShelf shelf;
        shelf.replaceAll(reels, {});
        shelf.put(reel(4, "", 1000 - to * 10 + (to > 4 ? -5 : 5)));
        list.setReels(shelf.all());
        EXPECT_EQ(list.rowOf("/library/4"), to == 5 ? 5 : to);
        EXPECT_EQ(mirror.moves, 1) << to;
        mirror.check();
    }
}

TEST(ReelList, ReplacesTheListWhenVeryMuchChanges) {
    ReelList list(kCalendar);
    Mirror mirror(list);
    ReelPtrs all;
    ReelPtrs some;
    for (int i = 0; i < 1000; ++i) {
        all.push_back(reel(i, "", 10'000 - i));
        if (i % 2 == 0) some.push_back(all.back());
    }
    for (const ReelPtrs& reels : {all, some, all}) list.setReels(reels);
    mirror.check();
    EXPECT_EQ(list.count(), 1000);
    EXPECT_EQ(mirror.resets, 2) << "not for the first, which is one run of rows";
}

TEST(ReelList, SaysWhatACardShows) {
    ProjectInfo info{.name = "Riverside",
                     .created = Timestamp(std::chrono::seconds(86'400 * 9 + 11 * 3600)),
                     .duration = 75.9,
                     .width = 2560,
                     .height = 1600,
                     .hasAudio = true};
    info.settings.padding = 0.1;
    ReelList list(kCalendar);
    list.setReels({makeReel({Project("/library/a", info), true})});
    const auto role = [&](int which) { return list.data(list.index(0), which); };
    EXPECT_EQ(role(ReelList::NameRole), "Riverside");
    EXPECT_EQ(role(ReelList::DurationTextRole), "1:15");
    EXPECT_EQ(role(ReelList::DayTitleRole), "Yesterday");
    EXPECT_EQ(role(ReelList::DayRole).toDate(), QDate(1970, 1, 10));
    EXPECT_EQ(role(ReelList::BackdropRole).toMap()["padding"], 0.1);
    EXPECT_TRUE(role(ReelList::IsImportedRole).toBool());
    EXPECT_TRUE(role(ReelList::HasAudioRole).toBool());
    EXPECT_FALSE(role(ReelList::HasCameraRole).toBool());
    EXPECT_EQ(list.dayList().at(0).toMap()["durationText"], "1:15");
    EXPECT_EQ(role(ReelList::PictureRole), 0);
    list.pictureChanged("/library/a", ReelList::PictureRole, true);
    EXPECT_NE(role(ReelList::PictureRole), 0);
    list.pictureChanged("/library/a", ReelList::PictureRole, false);
    EXPECT_EQ(role(ReelList::PictureRole), 0);
    EXPECT_FALSE(list.data(list.index(7), ReelList::NameRole).isValid());
}

TEST(SignaturePieces, ShareTheKeptTime) {
    using Kind = SignaturePiece::Kind;
    ProjectInfo info{.duration = 110};
    info.settings.trimEnd = 100;
    info.settings.zooms = {{Uuid::random(), 10, 20, 2.0}};
    info.settings.cuts = {{Uuid::random(), 40, 60}};
    info.settings.speeds = {{Uuid::random(), 80, 90, 4.0}};
    info.settings.splits = {5};
    const QList<SignaturePiece> expected = {{Kind::wide, 0.1}, {Kind::zoom, 0.1}, {Kind::wide, 0.2},
                                            {Kind::cut, 0.2},  {Kind::wide, 0.2}, {Kind::speed, 0.1},
                                            {Kind::wide, 0.1}};
    const auto pieces = signatureOf(info);
    ASSERT_EQ(pieces.size(), expected.size());
    for (qsizetype i = 0; i < pieces.size(); ++i) {
        EXPECT_EQ(pieces[i].kind, expected[i].kind) << i;
        EXPECT_NEAR(pieces[i].share, expected[i].share, 1e-9) << i;
    }
    EXPECT_TRUE(signatureOf({}).isEmpty());
}

TEST(ReelThumbnails, KeepThoseThatWereLookedAtLast) {
    constexpr int kReels = 200;
    ReelThumbnails thumbnails({});
    const auto folder = [](int number) { return QString::number(number); };
    qsizetype bytes = 0;
    for (int i = 0; i < kReels; ++i) {
        thumbnails.cardReady(folder(i), QImage(720, 405, QImage::Format_RGB32));
        EXPECT_FALSE(thumbnails.thumbnail("0").isNull()) << "looked at again and again";
    }
    for (int i = 0; i < kReels; ++i) bytes += thumbnails.thumbnail(folder(i)).sizeInBytes();
    EXPECT_LT(bytes, 42'000'000);
    EXPECT_GT(bytes, 30'000'000);
    EXPECT_FALSE(thumbnails.thumbnail(folder(kReels - 1)).isNull());
    EXPECT_TRUE(thumbnails.thumbnail("1").isNull());
}

} // namespace
} // namespace glintro
