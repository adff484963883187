// The line chart as the main window sets it up: channels, marks at run starts, gaps, the
// range channels of the live path, the block average, autoscale and zoom history, and its
// stored interval. Points arrive through recorded readings, as in the program.
#include <QtTest>
#include <tuple>

#include "KvCheckComboBox.h"
#include "PanelsFixture.h"

namespace {
std::vector<QString> MarkTexts(TKvLineSeries& s) {
  std::vector<QString> texts;
  for (const TKvLineSeries::TMark& m : s.Marks()) {
    QString t = m.Text;
    if (s.OnGetMarkText) s.OnGetMarkText(s, t);
    texts.push_back(t);
  }
  return texts;
}
double Seconds(double fromKey, double toKey) {
  return toKey - fromKey;
}
}  // namespace

TEST_F(PanelsTest, MainWindowSetsUpFiveChannelsOverTheSeriesList) {
  TKvCheckComboBox* combo = Chart->cxCheckComboBoxSelect;
  ASSERT_EQ(combo->ItemCount(), 7);
  const char* names[] = {"All", "None", "Level [dB]", "Range Min", "Range Max", "Average", "Leq"};
  const int tags[] = {-1, -2, 1, 2, 3, 4, 5};
  const bool checked[] = {false, false, true, true, true, false, false};
  for (int i = 0; i < 7; ++i) {
    EXPECT_EQ(combo->Description(i), names[i]);
    EXPECT_EQ(combo->Tag(i), tags[i]);
    EXPECT_EQ(combo->Checked(i), checked[i]) << i;
  }
  EXPECT_EQ(combo->DisplayText(), "Level;Min;Max");
  ASSERT_EQ(Chart->SeriesCount(), 5);
  EXPECT_EQ(Chart->FChannelIds, (std::vector<int>{0, 1, 2, 3, 4}));
  EXPECT_EQ(Chart->Series(0).Title(), "Level [dB]");
  EXPECT_EQ(Chart->Series(3).Tag, -1);
  EXPECT_FALSE(Chart->Series(3).Active());
  EXPECT_EQ(Chart->cxComboBoxAvgOf->count(), 3);
  EXPECT_EQ(Chart->cxComboBoxAvgOf->itemText(0), "Level [dB]");
  EXPECT_EQ(Chart->DBChart->xAxis->label(), "Date - Time");
  EXPECT_EQ(Chart->DBChart->yAxis->label(), "Level [dB]");
}

TEST_F(PanelsTest, AllAndNoneCheckEveryChannelButNeverThemselves) {
  TKvCheckComboBox* combo = Chart->cxCheckComboBoxSelect;
  combo->ClickItem(0);
  EXPECT_FALSE(combo->Checked(0));
  for (int i = 2; i < 6; ++i) EXPECT_TRUE(combo->Checked(i));
  combo->ClickItem(1);
  EXPECT_FALSE(combo->Checked(1));
  for (int i = 2; i < 6; ++i) EXPECT_FALSE(combo->Checked(i));
  combo->hidePopup();  // the drop-down closes: the series follow
  EXPECT_FALSE(Chart->Series(0).Active());
  EXPECT_EQ(Chart->cxComboBoxAvgOf->count(), 0);
  // Average with nothing to choose from: no source, no points, no crash.
  Record(60, 1);
  Chart->cxSpinEditAverage->setValue(2);
  EXPECT_EQ(Chart->AverageSeries()->Function()->Source(), nullptr);
}

TEST_F(PanelsTest, MarksStandAtTheFirstPointOfEachRunOnly) {
  Record(60, 1);
  Record(61, 2);
  Record(std::nan(""), 3);
  Record(62, 4);
  EXPECT_EQ(MarkTexts(Chart->Series(0)), (std::vector<QString>{"Level [dB]", "Level [dB]"}));
  EXPECT_EQ(Chart->iPos, 3);
  // The range channels get points but never marks.
  EXPECT_EQ(Chart->Series(1).Count(), 3);
  EXPECT_TRUE(Chart->Series(1).Marks().empty());
  EXPECT_EQ(Chart->Series(2).MaxY(), 100);
}

TEST_F(PanelsTest, RebuildFromTheTableFillsOnlyTheLevel) {
  for (int i = 1; i <= 4; ++i) Record(60 + i, i);
  Chart->DoChart_UpdateFromDataset(Data());
  EXPECT_EQ(LevelPoints(), (std::vector<double>{61, 62, 63, 64}));
  EXPECT_EQ(Chart->Series(1).Count(), 0);
  EXPECT_EQ(Chart->Series(2).Count(), 0);
  EXPECT_EQ(MarkTexts(Chart->Series(0)), (std::vector<QString>{"Level [dB]"}));
}

TEST_F(PanelsTest, AverageIsABlockAverageOfTheChosenChannel) {
  for (int i = 0; i < 7; ++i) Record(60 + i, 10 + 2 * i);
  Chart->cxSpinEditAverage->setValue(3);
  TKvLineSeries* avg = Chart->AverageSeries();
  ASSERT_NE(avg, nullptr);
  EXPECT_TRUE(avg->Active());
  EXPECT_EQ(avg->Title(), "Average 3 of Level [dB]");
  std::vector<std::pair<double, double>> points;
  for (int i = 0; i < avg->Count(); ++i)
    points.push_back({avg->Points().Key(i), avg->Points().Value(i)});
  ASSERT_EQ(points.size(), 2u);  // the seventh point waits for its block
  const double t0 = KvChart_Key(EncodeDate(2026, 11, 23) + EncodeTime(10, 0, 10, 0));
  EXPECT_DOUBLE_EQ(points[0].first, t0 + 2);  // halfway between 10 s and 14 s
  EXPECT_DOUBLE_EQ(points[0].second, 61);
  EXPECT_DOUBLE_EQ(points[1].first, t0 + 8);
  EXPECT_DOUBLE_EQ(points[1].second, 64);
  // Two more readings complete the next block live.
  Record(67, 24);
  Record(68, 26);
  EXPECT_EQ(avg->Count(), 3);
  // Of the maximum range instead.
  Chart->cxComboBoxAvgOf->setCurrentIndex(2);
  Chart->cxSpinEditAveragePropertiesChange();
  EXPECT_EQ(avg->Title(), "Average 3 of Range Max");
  Chart->cxSpinEditAverage->setValue(1);
  EXPECT_FALSE(avg->Active());
  Chart->cxSpinEditAverage->setValue(2);
  EXPECT_TRUE(avg->Active());
}

TEST_F(PanelsTest, ScrollWindowIsAtLeastFiveSecondsWide) {
  for (int i = 0; i < 40; ++i) Record(60, i);
  Chart->cxRadioButtonInterval->setChecked(true);
  Chart->cxTimeEditInterval->setTime(QTime(0, 0, 3));
  const double last = KvChart_Key(EncodeDate(2026, 11, 23) + EncodeTime(10, 0, 39, 0));
  QCPRange x = Chart->DBChart->xAxis->range();
  EXPECT_DOUBLE_EQ(x.upper, last);
  EXPECT_NEAR(Seconds(x.lower, x.upper), 5, 1e-6);
  Chart->cxTimeEditInterval->setTime(QTime(0, 0, 20));
  x = Chart->DBChart->xAxis->range();
  EXPECT_NEAR(Seconds(x.lower, x.upper), 20, 1e-6);
  Chart->cxRadioButtonRange->setChecked(true);
  x = Chart->DBChart->xAxis->range();
  EXPECT_NEAR(Seconds(x.lower, x.upper), 39, 1e-6);
}

TEST_F(PanelsTest, EmptyChartScrollsToTheIntervalBeforeZero) {
  Chart->cxTimeEditInterval->setTime(QTime(0, 0, 30));
  Chart->cxRadioButtonInterval->setChecked(true);
  const QCPRange x = Chart->DBChart->xAxis->range();
  EXPECT_DOUBLE_EQ(x.upper, KvChart_Key(0));
  EXPECT_NEAR(Seconds(x.lower, x.upper), 30, 1e-6);
}

TEST_F(PanelsTest, ZoomKeepsAHistoryThatEveryRecordedReadingResets) {
  for (int i = 0; i < 10; ++i) Record(60 + i, i);
  const double day = EncodeDate(2026, 11, 23) + EncodeTime(10, 0, 0, 0);
  const QCPRange yBefore = Chart->DBChart->yAxis->range();
  Chart->ZoomTo(day + 2 / 86400.0, day + 4 / 86400.0, 61, 63, true);
  EXPECT_EQ(Chart->ZoomDepth(), 1);
  EXPECT_EQ(Chart->DBChart->yAxis->range(), yBefore);  // Control: time only
  Chart->ZoomTo(day + 2 / 86400.0, day + 3 / 86400.0, 61, 62, false);
  EXPECT_EQ(Chart->DBChart->yAxis->range(), QCPRange(61, 62));
  Chart->ZoomBack();
  EXPECT_EQ(Chart->ZoomDepth(), 1);
  EXPECT_EQ(Chart->DBChart->yAxis->range(), yBefore);
  Record(70, 11);
  EXPECT_EQ(Chart->ZoomDepth(), 0);
}

TEST_F(PanelsTest, IntervalAndAverageSpanAreKeptInEveryLocale) {
  const TKvLocale saved = KvLocale();
  int seconds = 41;
  for (const char* name : {"C", "en_US", "de_DE", "fr_FR"}) {
    SCOPED_TRACE(name);
    KvLocale_Pin(TKvLocale::FromQLocale(QLocale(name)));
    Chart->cxTimeEditInterval->setTime(QTime(0, 1, seconds));
    Chart->cxSpinEditAverage->setValue(seconds % 10 + 2);
    Chart->KvFormStorage1->SaveFormPlacement();
    Chart->cxTimeEditInterval->setTime(QTime(0, 0, 30));
    Chart->cxSpinEditAverage->setValue(1);
    Chart->KvFormStorage1->RestoreFormPlacement();
    EXPECT_EQ(Chart->cxTimeEditInterval->time(), QTime(0, 1, seconds));
    EXPECT_EQ(Chart->cxSpinEditAverage->value(), seconds % 10 + 2);
    ++seconds;
  }
  KvLocale_Pin(saved);
}

// Drawing a million points samples them per screen column: the extremes and the gaps of
// every column survive, and few points are drawn as they are.
TEST(KvSeriesPoints, SamplingKeepsEachColumnsExtremesAndGaps) {
  TKvSeriesPoints points;
  for (int i = 0; i < 100000; ++i) points.Add(i, i == 54321 ? 99 : (i == 70001 ? qQNaN() : 50));
  bool sampled = false;
  const QVector<QCPGraphData> shown = points.Sampled(0, 99999, 500, sampled);
  EXPECT_TRUE(sampled);
  EXPECT_LE(shown.size(), 5 * 500 + 2);
  double highest = 0;
  int gaps = 0;
  for (const QCPGraphData& p : shown) {
    if (std::isnan(p.value))
      ++gaps;
    else
      highest = std::max(highest, p.value);
  }
  EXPECT_EQ(highest, 99);
  EXPECT_EQ(gaps, 1);
  const QVector<QCPGraphData> near = points.Sampled(54300, 54330, 500, sampled);
  EXPECT_FALSE(sampled);
  EXPECT_EQ(near.size(), 31 + 2);
  // A point out of order finds its place.
  points.Add(10.5, 60);
  EXPECT_EQ(points.Value(points.LowerBound(10.5)), 60);

  // A dense column is drawn from its first value over its extremes to its last in the order
  // that travels least: high first when it starts high and ends low, low first otherwise.
  for (const auto& [start, end, topFirst] : {std::tuple{90.0, 55.0, true}, {55.0, 90.0, false}}) {
    TKvSeriesPoints column;
    for (int i = 0; i < 1000; ++i)
      column.Add(i, i == 0 ? start : i == 999 ? end : (i % 2 ? 100 : 50));
    const QVector<QCPGraphData> drawn = column.Sampled(0, 1000, 1, sampled);
    ASSERT_EQ(drawn.size(), 4);
    EXPECT_EQ(drawn[0].value, start);
    EXPECT_EQ(drawn[1].value, topFirst ? 100 : 50);
    EXPECT_EQ(drawn[2].value, topFirst ? 50 : 100);
    EXPECT_EQ(drawn[3].value, end);
  }
}

TEST_F(PanelsTest, ANewDocumentEmptiesTheChartThroughTheCommandersClearEvent) {
  for (int i = 1; i <= 3; ++i) Record(60 + i, i);
  ASSERT_EQ(LevelPoints().size(), 3u);
  Commander->EvFile_Clear(DmKvBasic, "NewFile1.dat");
  EXPECT_TRUE(LevelPoints().empty());
  EXPECT_EQ(Chart->Series(1).Count(), 0);
}
