// The acoustic statistics of a set of readings: the batch over a table and the running tally
// against the plain computation of the definitions, the edge cases of those definitions, the
// sliding window and the clock hours. The strip and the tool are checked in their suites.
#include <gtest/gtest.h>

#include <random>

#include "KvLevelStatistics.h"
#include "KvLevelTally.h"
#include "LevelReference.h"

namespace {
const TDateTime Day = EncodeDate(2026, 11, 23);

TDateTime At(int second, int msec = 0) {
  return Day + (second * 1000.0 + msec) / 86400000.0;
}

void ExpectAgrees(const TKvLevelStatistics& s, const TLevelReference& r) {
  ASSERT_EQ(s.Count, r.Count);
  if (r.Count == 0) {
    EXPECT_TRUE(s.Empty());
    EXPECT_FALSE(s.HasSel());
    return;
  }
  EXPECT_NEAR(s.Leq, r.Leq, 1e-9);
  EXPECT_NEAR(s.Lmean, r.Lmean, 1e-9);
  EXPECT_EQ(s.Lmax, r.Lmax);
  EXPECT_EQ(s.Lmin, r.Lmin);
  for (const auto& [n, level] : r.L) EXPECT_EQ(s.Percentile(n), level) << "L" << n;
  EXPECT_DOUBLE_EQ(s.DurationSeconds(), r.DurationS);
  ASSERT_EQ(s.HasSel(), r.Sel.has_value());
  if (r.Sel) {
    EXPECT_NEAR(s.Sel(), *r.Sel, 1e-9);
  }
}

// The statistics of rows three ways: a table in the recorder's newest-first order, the same
// table oldest first, and the running tally.
void ExpectAllAgree(const std::vector<TLevelRow>& rows) {
  const TLevelReference reference = ReferenceOf(rows);
  TKvMeasurementTable table;
  table.CreateDataSet();
  TKvLevelTally tally;
  for (const TLevelRow& row : rows) {
    PostLevelRow(table, row);
    tally.Add(row.Level.value_or(NAN), row.At);
  }
  {
    SCOPED_TRACE("newest first");
    ExpectAgrees(KvLevelStatistics_Of(table), reference);
  }
  table.SetIndexName(TKvMeasurementTable::IndexAscName);
  {
    SCOPED_TRACE("oldest first");
    ExpectAgrees(KvLevelStatistics_Of(table), reference);
  }
  SCOPED_TRACE("running tally");
  ExpectAgrees(tally.Result(), reference);
}
}  // namespace

TEST(KvLevelStatistics, AgreeWithThePlainComputationOnRandomSets) {
  std::mt19937 random(18);
  std::uniform_int_distribution<int> tenths(300, 1300);
  std::uniform_real_distribution<double> anyLevel(20, 140);
  for (int size : {2, 3, 7, 100, 101, 1001}) {
    SCOPED_TRACE(size);
    std::vector<TLevelRow> onGrid, offGrid;
    for (int i = 0; i < size; ++i) {
      const bool null = i % 13 == 5;
      onGrid.push_back({At(i), null ? std::nullopt : std::optional<double>(tenths(random) / 10.0)});
      // Levels off the 0.1 dB grid: any double, a single-precision level, beyond the bins.
      const double odd[] = {anyLevel(random), double(float(tenths(random) / 10.0)), -150.5, 260.25};
      offGrid.push_back({At(i, 250), odd[i % 4]});
    }
    ExpectAllAgree(onGrid);
    ExpectAllAgree(offGrid);
  }
}

TEST(KvLevelStatistics, EdgesOfTheDefinitions) {
  struct Case {
    const char* Name;
    std::vector<TLevelRow> Rows;
  } cases[] = {
      {"empty", {}},
      {"only NULL levels", {{At(0), {}}, {At(5), {}}}},
      {"one reading: every figure is its level, no duration, no SEL", {{At(3), 71.4}}},
      {"NULLs neither count nor stretch the period",
       {{At(0), {}}, {At(2), 60.0}, {At(4), 62.0}, {At(9), {}}}},
      {"ties", {{At(0), 50.0}, {At(1), 50.0}, {At(2), 50.0}, {At(3), 70.0}}},
      {"equal times: duration 0, no SEL", {{At(1), 55.0}, {At(1), 65.0}}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.Name);
    ExpectAllAgree(c.Rows);
  }
  // Worked by hand: energies 10^6 and 10^7 average to 5.5e6, 67.4 dB; L50 of two is the louder.
  TKvLevelSample two;
  two.Add(60, At(0));
  two.Add(70, At(10));
  const TKvLevelStatistics s = two.Result();
  EXPECT_NEAR(s.Leq, 67.40, 0.005);
  EXPECT_EQ(s.Percentile(50), 70);
  EXPECT_EQ(s.Percentile(99), 60);
  EXPECT_NEAR(s.Sel(), 67.40 + 10, 0.005);
  EXPECT_EQ(KvLevel_PercentileRank(1, 1), 1);
  EXPECT_EQ(KvLevel_PercentileRank(90, 10), 9);
  EXPECT_EQ(KvLevel_PercentileRank(90, 11), 10);
  EXPECT_EQ(KvLevel_PercentileRank(1, 101), 2);
}

TEST(KvLevelStatistics, SlidingWindowHoldsTheLastReadingsExactly) {
  // Loud readings leave the window again: the energy sum must not keep a trace of them.
  TKvLevelWindow window(50);
  std::vector<TLevelRow> all;
  std::mt19937 random(7);
  std::uniform_int_distribution<int> tenths(300, 1300);
  for (int i = 0; i < 5000; ++i) {
    const double level = i < 4000 ? tenths(random) / 10.0 : 30.0 + (i % 7) / 10.0;
    all.push_back({At(i), level});
    window.Add(level, At(i));
    window.Add(NAN, At(i));  // no level: does not take a place
  }
  const std::vector<TLevelRow> last(all.end() - 50, all.end());
  ExpectAgrees(window.Result(), ReferenceOf(last));
  window.Clear();
  EXPECT_TRUE(window.Result().Empty());
}

TEST(KvLevelStatistics, HoursAreClockHours) {
  TKvMeasurementTable table;
  table.CreateDataSet();
  std::vector<TLevelRow> rows;
  // 09:59:58 to 11:00:01, with an empty stretch in the 10 o'clock hour's end.
  for (int s : {35998, 35999, 36000, 36001, 39599, 39600, 39601})
    rows.push_back({At(s), 40.0 + s % 10});
  for (const TLevelRow& r : rows) PostLevelRow(table, r);
  const std::vector<TKvHourStatistics> hours = KvLevelStatistics_ByHour(table);
  ASSERT_EQ(hours.size(), 3u);
  const size_t counts[] = {2, 3, 2};
  for (size_t h = 0; h < 3; ++h) {
    EXPECT_EQ(hours[h].Hour, Day + (9.0 + double(h)) / 24) << h;
    EXPECT_EQ(hours[h].Stats.Count, (long long)counts[h]) << h;
  }
  ExpectAgrees(hours[1].Stats, ReferenceOf({rows.begin() + 2, rows.begin() + 5}));
}
