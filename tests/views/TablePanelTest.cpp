// The table panel as the program docks it: the grid over the measurement table, its
// filter, navigator, footer average and clearing. The chart's own rules are in
// ChartPanelTest; the table engine's filter mechanics in the documents suite.
#include <QLabel>
#include <QScreen>
#include <QSignalSpy>
#include <QTabWidget>
#include <QtTest>

#include "KvColumnFilter.h"
#include "KvGridParts.h"
#include "KvLiveMemo.h"
#include "KvMemTableModel.h"
#include "KvStatisticsStrip.h"
#include "PanelsFixture.h"

namespace {
TKvFilterCondition AtLeast(double v) {
  return {TKvFilterOp::GreaterOrEqual, v, QString::number(v)};
}
}  // namespace

TEST_F(PanelsTest, GridShowsTheColumnsNewestFirstWithRecordInfoAndAverage) {
  Record(61.0, 1);
  Record(62.5, 2);
  Record(63.0, 3);
  TKvGridView* grid = Table->cxGridTableDBTableView2;
  QStringList captions;
  for (int c = 0; c < grid->model()->columnCount(); ++c)
    captions << grid->model()->headerData(c, Qt::Horizontal).toString();
  EXPECT_EQ(captions.join('|').toStdString(),
            "Date|Time|Level [dB]|Underflow|Overflow|Freq set|Time set|RangeMin|RangeMax");
  EXPECT_EQ(grid->columnWidth(3), 70);
  EXPECT_EQ(grid->columnWidth(4), 65);
  EXPECT_EQ(grid->columnWidth(5), 61);
  EXPECT_EQ(grid->columnWidth(6), 59);
  ASSERT_EQ(Rows(), 3);
  EXPECT_EQ(Cell(0, 1), "10:00:03");
  EXPECT_EQ(Cell(0, 2), "63");
  EXPECT_EQ(Cell(2, 2), "61");
  EXPECT_EQ(Cell(0, 0), "23.11.2026");
  EXPECT_EQ(Table->NavigatorText(), "Record 1 of 3");
  EXPECT_EQ(Table->FooterText(), "62.17");
  EXPECT_TRUE(Table->ActionTableClear->isEnabled());
}

TEST_F(PanelsTest, EachRecordedReadingIsOneRowInsertionNeverAReset) {
  Record(60, 1);
  auto* model = Table->cxGridTableDBTableView2->model();
  QSignalSpy inserted(model, &QAbstractItemModel::rowsInserted);
  QSignalSpy reset(model, &QAbstractItemModel::modelReset);
  for (int i = 2; i < 12; ++i) Record(60 + i, i);
  EXPECT_EQ(inserted.count(), 10);
  EXPECT_EQ(reset.count(), 0);
  EXPECT_EQ(inserted.first().at(1).toInt(), 0);  // the newest lands on top
}

// What a grid repaints while recording: a few times a second, only the new rows, and what
// ends up on screen is exactly what a fresh paint of the grid shows.
TEST_F(PanelsTest, RecordingRepaintsTheGridAFewTimesASecondAndLeavesItRight) {
  Main->dxLayoutControl1GroupMain->setCurrentWidget(Main->cxGroupBoxDataTable);
  TKvGridView* grid = Table->cxGridTableDBTableView2;
  QPalette shades = grid->palette();
  shades.setColor(QPalette::AlternateBase, QColor(255, 240, 160));
  grid->setPalette(shades);
  for (int i = 0; i < 40; ++i) Record(50 + i % 7, i);
  Clock.Advance(1000);
  QApplication::processEvents();
  ASSERT_TRUE(grid->viewport()->isVisible());

  struct TPaintCounter : QObject {
    int Paints = 0;
    bool eventFilter(QObject*, QEvent* e) override {
      if (e->type() == QEvent::Paint) ++Paints;
      return false;
    }
  } counter;
  grid->viewport()->installEventFilter(&counter);
  // Two seconds of readings at the meter's rate.
  for (int i = 40; i < 66; ++i) {
    Record(60 + i % 9, i);
    Clock.Advance(27);
    QApplication::processEvents();
  }
  EXPECT_GT(counter.Paints, 0);
  EXPECT_LE(counter.Paints, 10);
  Clock.Advance(300);
  QApplication::processEvents();
  EXPECT_FALSE(grid->RepaintPending());

  // What is on screen is what a fresh paint shows, for the grid and for the footer average
  // and the statistics strip that change with it.
  const QImage window = QGuiApplication::primaryScreen()->grabWindow(Main->winId()).toImage();
  for (QWidget* part : {grid->viewport(), static_cast<QWidget*>(Table->Footer),
                        static_cast<QWidget*>(Table->StatisticsStrip)}) {
    const QImage onScreen = window.copy(QRect(part->mapTo(Main.get(), QPoint(0, 0)), part->size()))
                                .convertToFormat(QImage::Format_RGB32);
    const QImage fresh = part->grab().toImage().convertToFormat(QImage::Format_RGB32);
    ASSERT_EQ(onScreen.size(), fresh.size());
    EXPECT_TRUE(onScreen == fresh) << part->metaObject()->className();
  }
  EXPECT_EQ(Cell(0, 1), "10:01:05");
  EXPECT_EQ(Table->findChild<QLabel*>("NavigatorInfoPanel")->text(), "Record 1 of 66");
}

TEST_F(PanelsTest, NullAndNaNLevelsNeverSpoilTheAverageAndAnEmptySetHasNone) {
  EXPECT_EQ(Table->FooterText(), "");
  EXPECT_FALSE(Table->ActionTableClear->isEnabled());
  Record(70, 1);
  Record(std::nan(""), 2);
  Record(80, 3);
  EXPECT_EQ(Rows(), 3);
  EXPECT_EQ(Table->FooterText(), "75.00");
  // A gap in the level: the chart breaks its line there.
  const std::vector<double> points = LevelPoints();
  ASSERT_EQ(points.size(), 3u);
  EXPECT_TRUE(std::isnan(points[1]));
}

TEST_F(PanelsTest, ColumnFilterIsTheTablesOwnSoChartAndAverageFollowIt) {
  for (int i = 1; i <= 6; ++i) Record(60 + i, i);
  Table->SetColumnFilter("Y", AtLeast(64));
  EXPECT_EQ(Rows(), 3);
  EXPECT_EQ(Data().RecordCount(), 3);
  EXPECT_EQ(Table->FooterText(), "65.00");
  EXPECT_EQ(LevelPoints(), (std::vector<double>{64, 65, 66}));
  EXPECT_EQ(Table->NavigatorText(), "Record 1 of 3");
  EXPECT_TRUE(Table->FilterBar->isVisibleTo(Table));
  EXPECT_EQ(Table->FilterBar->text(), "Y >= 64");
  // A reading the filter refuses is stored but neither shown nor drawn.
  Record(50, 7);
  Record(70, 8);
  EXPECT_EQ(Rows(), 4);
  EXPECT_EQ(Cell(0, 2), "70");
  EXPECT_EQ(LevelPoints(), (std::vector<double>{64, 65, 66, 70}));
  // Nothing passes: an empty grid, no average, an empty chart.
  Table->SetColumnFilter("Y", AtLeast(200));
  EXPECT_EQ(Rows(), 0);
  EXPECT_EQ(Table->FooterText(), "");
  EXPECT_TRUE(LevelPoints().empty());
  Table->ClearFilter();
  EXPECT_EQ(Rows(), 8);
  EXPECT_FALSE(Table->FilterBar->isVisibleTo(Table));
}

TEST_F(PanelsTest, ClearAsksAndOnlyYesEmptiesTableAndChart) {
  for (int i = 1; i <= 4; ++i) Record(60 + i, i);
  DmKvBasic->SetIsModified(true);
  Dialogs.Answers = {mrNo};
  Table->ActionTableClear->trigger();
  ASSERT_EQ(Dialogs.Messages.size(), 1u);
  EXPECT_EQ(Dialogs.Messages[0].Text, "Do you really want to clear the complete table data ?");
  EXPECT_EQ(Dialogs.Messages[0].Type, TMsgDlgType::mtWarning);
  EXPECT_EQ(Dialogs.Messages[0].Buttons, mbYes | mbNo);
  EXPECT_EQ(Rows(), 4);
  EXPECT_EQ(LevelPoints().size(), 4u);
  EXPECT_TRUE(DmKvBasic->IsFileLoaded());

  Dialogs.Answers = {mrYes};
  Table->ActionTableClear->trigger();
  EXPECT_EQ(Rows(), 0);
  EXPECT_EQ(Data().RecordCount(), 0);
  EXPECT_TRUE(LevelPoints().empty());
  EXPECT_FALSE(DmKvBasic->IsFileLoaded());
  EXPECT_TRUE(DmKvBasic->IsModified());  // deleting rows sets no modified flag
  EXPECT_FALSE(Table->ActionTableClear->isEnabled());
  EXPECT_EQ(Table->FooterText(), "");
  // Recording goes on into the emptied table.
  Record(66, 10);
  EXPECT_EQ(Rows(), 1);
}

TEST_F(PanelsTest, ClearUnderAFilterDeletesOnlyTheRowsShown) {
  for (int i = 1; i <= 5; ++i) Record(60 + i, i);
  Table->SetColumnFilter("Y", AtLeast(64));
  Dialogs.Answers = {mrYes};
  Table->ActionTableClear->trigger();
  EXPECT_EQ(Rows(), 0);
  Table->ClearFilter();
  ASSERT_EQ(Rows(), 3);
  EXPECT_EQ(Cell(0, 2), "63");
  EXPECT_EQ(Table->FooterText(), "62.00");
}

TEST_F(PanelsTest, NavigatorMovesTheTablesCursor) {
  for (int i = 1; i <= 5; ++i) Record(60 + i, i);
  Table->Navigator->Button(TKvGridNavigator::nbLast)->click();
  EXPECT_EQ(Data().RecNo(), 4);
  EXPECT_EQ(Table->NavigatorText(), "Record 5 of 5");
  EXPECT_FALSE(Table->Navigator->Button(TKvGridNavigator::nbNext)->isEnabled());
  Table->Navigator->Button(TKvGridNavigator::nbPrior)->click();
  EXPECT_EQ(Table->NavigatorText(), "Record 4 of 5");
  EXPECT_EQ(Table->cxGridTableDBTableView2->currentIndex().row(), 3);
}

TEST_F(PanelsTest, RefreshRebuildsTheChartFromTheTable) {
  for (int i = 1; i <= 3; ++i) Record(60 + i, i);
  Chart->ClearSeries();
  EXPECT_TRUE(LevelPoints().empty());
  Table->cxButton1->click();
  EXPECT_EQ(LevelPoints(), (std::vector<double>{61, 62, 63}));
}

TEST_F(PanelsTest, TheRawMemoKeepsOnlyTheNewestLines) {
  Commander->SetIsRecording(false);
  const int readings = TFrmKvMain::MemoMaxLines / 2 + 30;
  for (int i = 0; i < readings; ++i) Record(50 + i % 40, i % 3600);
  const QStringList lines = MemoLines();
  EXPECT_EQ(lines.size(), TFrmKvMain::MemoMaxLines);
  EXPECT_EQ(lines.first(), "raw");
  EXPECT_EQ(lines[1].toStdString(), QString("dec %1").arg(50 + (readings - 1) % 40).toStdString());

  // The hidden memo keeps its lines aside; shown, it holds the same lines and then follows
  // each reading itself.
  TKvLiveMemo* memo = Main->cxMemo_ComData;
  EXPECT_TRUE(memo->toPlainText().isEmpty());
  Main->dxLayoutControl1GroupMain->setTabVisible(TFrmKvMain::TabComData, true);
  Main->dxLayoutControl1GroupMain->setCurrentIndex(TFrmKvMain::TabComData);
  ASSERT_TRUE(memo->isVisible());
  EXPECT_EQ(memo->toPlainText().split('\n'), lines);
  Record(77, 1);
  EXPECT_EQ(memo->toPlainText().split('\n'), MemoLines());
  EXPECT_EQ(MemoLines().size(), TFrmKvMain::MemoMaxLines);
  EXPECT_EQ(MemoLines()[1], "dec 77");
  Main->cxButtonClear->click();
  EXPECT_TRUE(MemoLines().isEmpty());
  EXPECT_TRUE(memo->toPlainText().isEmpty());
}

// Values typed into a column filter are read in the regional settings of the user.
TEST(KvColumnFilterValues, ReadDatesTimesAndNumbersInEveryLocale) {
  TKvMemTable table("T");
  TKvField& date = table.AddField("Date", TKvFieldType::ftDate);
  TKvField& time = table.AddField("Time", TKvFieldType::ftTime);
  TKvField& level = table.AddField("Y", TKvFieldType::ftFloat);
  const TKvLocale saved = KvLocale();
  for (const char* name : {"C", "en_US", "de_DE", "fr_FR"}) {
    SCOPED_TRACE(name);
    const QLocale ql(name);
    KvLocale_Pin(TKvLocale::FromQLocale(ql));
    const TDateTime day = EncodeDate(2026, 11, 23);
    double v = 0;
    ASSERT_TRUE(
        TKvColumnFilter::ParseValue(date, FormatDateTime(KvLocale().ShortDateFormat, day), v));
    EXPECT_EQ(v, day + KvDateDelta);
    ASSERT_TRUE(TKvColumnFilter::ParseValue(
        time, FormatDateTime(KvLocale().LongTimeFormat, EncodeTime(14, 30, 5, 0)), v));
    EXPECT_EQ(v, (14 * 3600 + 30 * 60 + 5) * 1000.0);
    ASSERT_TRUE(TKvColumnFilter::ParseValue(level, KvFormatFloat("%.1f", 62.5), v));
    EXPECT_EQ(v, 62.5);
    EXPECT_FALSE(TKvColumnFilter::ParseValue(level, "loud", v));
    EXPECT_FALSE(TKvColumnFilter::ParseValue(date, "32.13.2026", v));
  }
  KvLocale_Pin(saved);
}
