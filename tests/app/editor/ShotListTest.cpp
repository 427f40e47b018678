#include <QAbstractItemModelTester>
#include <algorithm>
#include <set>

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "app/editor/ShotList.h"
#include "core/timeline/Storyboard.h"

namespace glintro {
namespace {

constexpr Seconds kDuration = 40;

ProjectSettings splitAt(std::vector<Seconds> times) {
    ProjectSettings settings;
    settings.splits = std::move(times);
    return settings;
}

// What a view knows of the list: only what its signals made it read.
class Follower {
  public:
    explicit Follower(ShotList& list) : list_(list) {
        for (int i = 0; i < list.count(); ++i) rows_.push_back(read(i));
        QObject::connect(&list, &ShotList::rowsInserted, [this](const QModelIndex&, int first, int last) {
            for (int i = first; i <= last; ++i) rows_.insert(rows_.begin() + i, read(i));
        });
        QObject::connect(&list, &ShotList::rowsRemoved, [this](const QModelIndex&, int first, int last) {
            rows_.erase(rows_.begin() + first, rows_.begin() + last + 1);
        });
        QObject::connect(&list, &ShotList::dataChanged,
                         [this](const QModelIndex& first, const QModelIndex& last, const QList<int>& roles) {
                             for (int i = first.row(); i <= last.row(); ++i) {
                                 touched.insert(i);
                                 for (const int role : roles)
                                     rows_[static_cast<std::size_t>(i)][role] =
                                         list_.data(list_.index(i), role);
                             }
                         });
    }

    bool agrees() const {
        std::vector<QMap<int, QVariant>> rows;
        for (int i = 0; i < list_.count(); ++i) rows.push_back(read(i));
        return rows == rows_;
    }

    std::set<int> touched;

  private:
    QMap<int, QVariant> read(int row) const { return list_.itemData(list_.index(row)); }

    ShotList& list_;
    std::vector<QMap<int, QVariant>> rows_;
};

// itemData() reads the standard roles only.
class WholeShotList : public ShotList {
  public:
    QMap<int, QVariant> itemData(const QModelIndex& index) const override {
        QMap<int, QVariant> values;
        for (const int role : roleNames().keys()) values[role] = data(index, role);
        return values;
    }
};

RC_GTEST_PROP(ShotListTest, AViewThatFollowsTheSignalsSeesTheShots, ()) {
    WholeShotList list;
    const QAbstractItemModelTester tester(&list, QAbstractItemModelTester::FailureReportingMode::Fatal);
    Follower follower(list);
    for (int i = *rc::gen::inRange(1, 8); i > 0; --i) {
        ProjectSettings settings = splitAt(*rc::gen::container<std::vector<Seconds>>(
            rc::gen::map(rc::gen::inRange(0, 40), [](int second) { return 1.0 * second; })));
        settings.trimStart = *rc::gen::inRange(0, 12);
        settings.trimEnd = *rc::gen::inRange(8, 41);
        for (int n = *rc::gen::inRange(0, 3); n > 0; --n) {
            const Seconds start = *rc::gen::inRange(0, 36);
            settings.speeds.push_back({.start = start, .end = start + 3});
        }
        const auto shots = Storyboard::shots(settings, kDuration);
        list.setShots(shots);
        list.setSelected(list.identityOf(*rc::gen::inRange(0, 5)));
        RC_ASSERT(follower.agrees());
        std::set<std::uint64_t> identities;
        Seconds output = 0;
        for (std::size_t row = 0; row < shots.size(); ++row) {
            RC_ASSERT(list.rows()[row].shot == shots[row]);
            RC_ASSERT(list.rows()[row].outputStart == output);
            output += shots[row].outputDuration();
            identities.insert(list.rows()[row].identity);
        }
        RC_ASSERT(identities.size() == shots.size());
    }
}

TEST(ShotListTest, AnEditLeavesOtherRowsTheirIdentity) {
    // By letters: rows that live on keep theirs, "-" is a new one.
    struct Row {
        const char* edit;
        ProjectSettings now;
        std::string identities;
        std::set<int> touched;
    };
    ProjectSettings trimmed = splitAt({10, 20, 30});
    trimmed.trimStart = 12;
    trimmed.trimEnd = 31;
    ProjectSettings sped = splitAt({10, 20, 30});
    sped.speeds = {{.start = 20, .end = 30, .rate = 2}};
    const Row rows[] = {
        {"none", splitAt({10, 20, 30}), "ABCD", {}},
        {"split", splitAt({10, 15, 20, 30}), "AB-CD", {1, 2, 3, 4}}, // the later ones have other numbers
        {"join", splitAt({10, 30}), "ABD", {1, 2}},
        {"drag", splitAt({10, 23, 30}), "ABCD", {1, 2}},
        {"drag far", splitAt({10, 11, 30}), "ABCD", {1, 2}},
        {"speed", sped, "ABCD", {2, 3}}, // the last one begins sooner in the reel
        {"trims that drop a shot", trimmed, "BCD", {0, 1, 2}},
        {"all others", splitAt({3, 7}), "A-D", {0, 1, 2}},
    };
    for (const Row& row : rows) {
        WholeShotList list;
        list.setShots(Storyboard::shots(splitAt({10, 20, 30}), kDuration));
        Follower follower(list);
        list.setShots(Storyboard::shots(row.now, kDuration));
        std::string identities;
        for (const ShotRow& each : list.rows())
            identities += each.identity > 4 ? '-' : static_cast<char>('A' + each.identity - 1);
        EXPECT_EQ(identities, row.identities) << row.edit;
        EXPECT_EQ(follower.touched, row.touched) << row.edit;
        EXPECT_TRUE(follower.agrees()) << row.edit;
    }
}

} // namespace
} // namespace glintro
