#include <algorithm>
#include <iterator>
#include <set>

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include "platform/RowSet.h"

namespace glintro {
namespace {

std::set<int> rowsOf(const RowSet& rows) {
    std::set<int> all;
    int end = -1;
    for (const RowRange& range : rows.ranges()) {
        RC_ASSERT(range.begin > end && range.begin < range.end);
        end = range.end;
        for (int row = range.begin; row < range.end; ++row) all.insert(row);
    }
    return all;
}

RowRange anyRange() {
    const int begin = *rc::gen::inRange(0, 60);
    return {begin, begin + *rc::gen::inRange(-2, 12)};
}

RowSet anyRows(std::set<int>& rows) {
    RowSet set;
    for (int i = *rc::gen::inRange(0, 12); i > 0; --i) {
        const RowRange range = anyRange();
        set.add(range);
        for (int row = range.begin; row < range.end; ++row) rows.insert(row);
    }
    return set;
}

TEST(RowSet, HoldsTheRowsOfASet) {
    EXPECT_TRUE(rc::check([] {
        std::set<int> a, b, both, all;
        const RowSet rowsA = anyRows(a), rowsB = anyRows(b);
        RC_ASSERT(rowsOf(rowsA) == a);
        std::ranges::set_intersection(a, b, std::inserter(both, both.end()));
        RC_ASSERT(rowsOf(rowsA.intersected(rowsB)) == both);
        std::ranges::set_union(a, b, std::inserter(all, all.end()));
        RowSet sum = rowsA;
        sum.add(rowsB);
        RC_ASSERT(rowsOf(sum) == all);
    }));
}

TEST(RowSet, BridgesOnlyGapsThatAreSmall) {
    RowSet rows;
    for (const RowRange& range : {RowRange{2, 4}, RowRange{7, 8}, RowRange{12, 13}}) rows.add(range);
    EXPECT_EQ(rows.bridged(4).ranges(), (std::vector<RowRange>{{2, 8}, {12, 13}}));
    EXPECT_EQ(rows.bridged(1), rows);
}

} // namespace
} // namespace glintro
