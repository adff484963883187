// The statistics in the views: the strip under the table's grid (live, under a filter, empty,
// after a clear) and the chart's "Leq" channel, in the main window and in the program as
// started by its entry. The figures themselves are checked in the documents suite.
#include <QtTest>

#include "../frame/ProgramFixture.h"
#include "KvChartLeq.h"
#include "KvCheckComboBox.h"
#include "KvGridView.h"
#include "KvLevelStatistics.h"
#include "KvPortDevices.h"
#include "KvStatisticsStrip.h"
#include "LvxProgram.h"
#include "PanelsFixture.h"
#include "UDxLvx_Connect.h"

namespace {
// Leq the plain way, over a list of levels.
double PlainLeq(const std::vector<double>& levels) {
  double energy = 0;
  for (double l : levels) energy += std::pow(10.0, l / 10);
  return 10 * std::log10(energy / double(levels.size()));
}

void Shoot(QWidget& w, const char* name) {
  w.grab().save(qEnvironmentVariable("LVX_VIEWS_SHOTS") + "/" + name);
}

// Checks the "Leq" channel as the drop-down does.
void CheckLeq(TFrmDxChart& chart) {
  chart.cxCheckComboBoxSelect->SetChecked(chart.cxCheckComboBoxSelect->IndexOfTag(5), true);
  chart.Channel_UpdateFromList();
}
}  // namespace

class StatisticsStripTest : public PanelsTest {
 protected:
  TKvStatisticsStrip& Strip() { return *Table->StatisticsStrip; }
  std::vector<QString> Texts() {
    std::vector<QString> t;
    for (const QString& c : TKvStatisticsStrip::Captions()) t.push_back(Strip().Text(c));
    return t;
  }
};

TEST_F(StatisticsStripTest, FollowsRecordingAndTheFilterAndShowsNothingForAnEmptySet) {
  ASSERT_NE(Table->StatisticsStrip, nullptr);
  EXPECT_EQ(Texts(), (std::vector<QString>{"0", "", "", "", "", "", "", ""}));
  const double levels[] = {60.0, 70.0, 65.5, 80.2, 55.0};
  for (int i = 0; i < 5; ++i) Record(levels[i], 10 * i);
  // Live: 0..40 s, L10 of five is the loudest, L50 the third, L90 the fifth.
  EXPECT_EQ(Texts(), (std::vector<QString>{"5", "00:00:40",
                                           KvLevel_Text(PlainLeq({levels, levels + 5})) + " dB",
                                           "80.2 dB", "55.0 dB", "80.2 dB", "65.5 dB", "55.0 dB"}));

  Table->SetColumnFilter("Y", {TKvFilterOp::Less, 66, "66"});
  EXPECT_EQ(Strip().Statistics().Count, 3);
  EXPECT_EQ(Strip().Text("Lmax"), "65.5 dB");
  EXPECT_EQ(Strip().Text("Duration"), "00:00:40");  // 60.0 at 0 s to 55.0 at 40 s
  // A reading the filter refuses does not count; one it lets through counts at once.
  Record(90.0, 50);
  EXPECT_EQ(Strip().Statistics().Count, 3);
  Record(50.0, 60);
  EXPECT_EQ(Strip().Statistics().Count, 4);
  EXPECT_EQ(Strip().Text("Lmin"), "50.0 dB");

  Table->SetColumnFilter("Y", {TKvFilterOp::Greater, 100, "100"});
  EXPECT_EQ(Texts(), (std::vector<QString>{"0", "", "", "", "", "", "", ""}));
  Table->ClearFilter();
  EXPECT_EQ(Strip().Statistics().Count, 7);
  // A reading without a level (the meter over its range) does not count.
  Record(NAN, 70);
  EXPECT_EQ(Strip().Statistics().Count, 7);
  Dialogs.Answers = {mrYes};
  Table->ActionTableClearExecute();
  EXPECT_EQ(Strip().Text("Count"), "0");
}

TEST_F(StatisticsStripTest, AgreesWithTheBatchAfterEveryReading) {
  // The running tally against a full count over the table, reading by reading.
  for (int i = 0; i < 40; ++i) {
    Record(40 + (i * 37 % 50) / 2.0, i);
    const TKvLevelStatistics batch = KvLevelStatistics_Of(Data());
    ASSERT_EQ(Strip().Statistics().Count, batch.Count);
    EXPECT_NEAR(Strip().Statistics().Leq, batch.Leq, 1e-9);
    for (int n : KvPercentileNs) EXPECT_EQ(Strip().Statistics().Percentile(n), batch.Percentile(n));
  }
}

TEST_F(StatisticsStripTest, WritesLevelsInTheRegionalSettings) {
  Record(65.5, 0);
  Record(70.0, 61);
  const TKvLocale saved = KvLocale();
  for (const char* name : {"C", "en_US", "de_DE", "fr_FR"}) {
    SCOPED_TRACE(name);
    KvLocale_Pin(TKvLocale::FromQLocale(QLocale(name)));
    Strip().Recount();
    const QChar point = KvLocale().DecimalSeparator;
    EXPECT_EQ(Strip().Text("Lmax"), QString("70") + point + "0 dB");
    EXPECT_EQ(Strip().Text("L90"), QString("65") + point + "5 dB");
    EXPECT_EQ(Strip().Text("Duration"), "00:01:01");
  }
  KvLocale_Pin(saved);
}

class LeqChannelTest : public PanelsTest {
 protected:
  TKvLineSeries& Leq() { return Chart->Series(4); }
  int LeqItem() { return Chart->cxCheckComboBoxSelect->IndexOfTag(5); }
};

TEST_F(LeqChannelTest, IsAFifthChannelOffByDefaultDrawingTheRunningLeq) {
  ASSERT_EQ(Chart->cxCheckComboBoxSelect->ItemCount(), 7);
  EXPECT_EQ(Chart->cxCheckComboBoxSelect->Description(LeqItem()), "Leq");
  EXPECT_FALSE(Chart->cxCheckComboBoxSelect->Checked(LeqItem()));
  EXPECT_FALSE(Leq().Active());
  EXPECT_EQ(Leq().Title(), "Leq");

  const std::vector<double> levels = {60, 80, 70, 75};
  for (size_t i = 0; i < levels.size(); ++i) Record(levels[i], int(i));
  Record(NAN, 4);  // a gap in the level, none in the Leq
  Record(65, 5);
  std::vector<double> all = levels;
  all.push_back(65);
  ASSERT_EQ(Leq().Count(), 5);
  for (int i = 0; i < 5; ++i)
    EXPECT_NEAR(Leq().Points().Value(i), PlainLeq({all.begin(), all.begin() + i + 1}), 1e-9) << i;

  // The average's spin rule still switches the average, not the Leq line.
  CheckLeq(*Chart);
  EXPECT_TRUE(Leq().Active());
  Chart->cxSpinEditAverage->setValue(3);
  EXPECT_TRUE(Chart->AverageSeries()->Active());
  Chart->cxSpinEditAverage->setValue(1);
  EXPECT_FALSE(Chart->AverageSeries()->Active());
  EXPECT_TRUE(Leq().Active());

  // A filter rebuilds the chart from the rows shown, the Leq line with it.
  Table->SetColumnFilter("Y", {TKvFilterOp::Less, 72, "72"});
  ASSERT_EQ(Leq().Count(), 3);
  EXPECT_NEAR(Leq().Points().Value(2), PlainLeq({60, 70, 65}), 1e-9);
  Dialogs.Answers = {mrYes};
  Table->ClearFilter();
  Table->ActionTableClearExecute();
  EXPECT_EQ(Leq().Count(), 0);
  Record(50, 30);
  EXPECT_NEAR(Leq().Points().Value(0), 50, 1e-9);
}

class ProgramStatisticsTest : public ProgramTestBase {};

TEST_F(ProgramStatisticsTest, StripAndLeqFollowTheSimulatedInstrument) {
  TLvxProgram program(&Devices);
  program.Main().show();
  auto* table = dynamic_cast<TFrmDxTable*>(FrmDxTable);
  auto* chart = dynamic_cast<TFrmDxChart*>(FrmDxChart);
  ASSERT_TRUE(table && chart && table->StatisticsStrip);
  EXPECT_EQ(table->StatisticsStrip->parentWidget(), table);
  ConnectSimulation();
  Clock.Advance(2050);
  PressRecord();
  Clock.Advance(40000);
  TKvMeasurementTable& data = program.Commander().KvMemTableData;
  ASSERT_GE(data.RecordCount(), 4);
  const TKvLevelStatistics shown = table->StatisticsStrip->Statistics();
  std::vector<double> levels;
  TKvLevelReader(data).Walk([&](const TKvLevelReading& r) {
    if (std::isfinite(r.Level)) levels.push_back(r.Level);
  });
  EXPECT_EQ(shown.Count, (long long)levels.size());
  EXPECT_NEAR(shown.Leq, PlainLeq(levels), 1e-9);
  EXPECT_EQ(table->StatisticsStrip->Text("Count"), QString::number(levels.size()));
  TKvLineSeries& leq = chart->Series(4);
  ASSERT_EQ(leq.Count(), int(levels.size()));
  EXPECT_NEAR(leq.Points().Value(leq.Count() - 1), PlainLeq(levels), 1e-9);
  if (qEnvironmentVariableIsSet("LVX_VIEWS_SHOTS")) {
    program.Main().resize(1297, 820);
    program.Main().dxLayoutControl1GroupMain->setCurrentIndex(TFrmKvMain::TabDataTable);
    Shoot(program.Main(), "program_strip.png");
    CheckLeq(*chart);
    program.Main().dxLayoutControl1GroupMain->setCurrentIndex(TFrmKvMain::TabChart);
    Shoot(program.Main(), "program_chart_leq.png");
  }
  program.Shutdown();
}
