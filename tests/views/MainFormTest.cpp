// The main window: what it builds, the hand-over of readings to the memo and the views on
// the 50 ms event, the date override, the tab rule, placement and the close query. The
// connection panel's own states are the instrument suite's; the views' own work lands with
// them.
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStatusBar>
#include <QTabWidget>
#include <QTest>

#include "KvDateEdit.h"
#include "KvFormStorage.h"
#include "KvNavBar.h"
#include "KvStdActns.h"
#include "MainFormFixture.h"
#include "UDxLvx_Connect.h"

TEST_F(MainFormTest, BuildsTheNamedComponentsTabsNavigationAndStartupStatus) {
  CreateMain();
  for (const char* name :
       {"dxNavBarLeft", "cxGroupBoxConnect", "cxCheckBoxDate_Use", "cxDateEditMeter",
        "cxLabelFilename", "dxLayoutControl1GroupMain", "cxGroupBoxDisplay", "cxGroupBoxDataTable",
        "cxGroupBox_Chart", "cxButtonClear", "cxMemo_ComData", "ShapeBrevik", "dxStatusBar",
        "JvTimerList1", "KvFormStorage1", "dxBarComboSkins"})
    EXPECT_TRUE(Main->findChild<QObject*>(name)) << name;

  QTabWidget* tabs = Main->dxLayoutControl1GroupMain;
  ASSERT_EQ(tabs->count(), 4);
  const char* captions[] = {"Device display", "Data table", "Line chart", "COM Data"};
  for (int i = 0; i < 4; ++i) EXPECT_EQ(tabs->tabText(i), captions[i]);
  EXPECT_FALSE(tabs->isTabVisible(TFrmKvMain::TabComData));

  const QList<TKvNavBarGroup*> groups = Main->dxNavBarLeft->Groups();
  ASSERT_EQ(groups.size(), 3);
  EXPECT_EQ(groups[0]->ItemActions(),
            (QList<QAction*>{DmKvBasic->ActionFileConnected, DmKvBasic->ActionFileNew,
                             DmKvBasic->FileOpen1, DmKvBasic->FileSaveAs1,
                             DmKvBasic->ActionFileNext, DmKvBasic->ActionFilePrev,
                             DmKvBasic->FileExport1, DmKvBasic->ActionFileExit}));
  EXPECT_EQ(groups[1]->ItemActions(),
            (QList<QAction*>{DmKvBasic->ActionPrintSetup, DmKvBasic->ActionPrintPreview,
                             DmKvBasic->ActionPrintPrint}));
  EXPECT_TRUE(groups[0]->Expanded() && groups[1]->Expanded());
  EXPECT_FALSE(groups[2]->Expanded());

  auto status = Main->dxStatusBar->findChildren<QLabel*>(Qt::FindDirectChildrenOnly);
  ASSERT_FALSE(status.isEmpty());
  EXPECT_EQ(status[0]->text(), "Startup");
  DmKvBasic->DoStatusBarNotify("Ready", false);
  EXPECT_EQ(status[0]->text(), "Ready");
}

TEST_F(MainFormTest, CreateRegistersListenersAndFontsAndDestroyTakesThemBack) {
  CreateMain();
  EXPECT_EQ(DmKvBasic->MainForm(), Main.get());
  EXPECT_EQ(KvFont_LoadedCount(), 4);
  EXPECT_TRUE(Commander->OnDataReceived && DmKvBasic->FModifiedChangedEvent &&
              DmKvBasic->FOnCheckConnectionEvent && DmKvBasic->FOnFileNameChangedEvent &&
              DmKvBasic->FOnStyleChangedEvent && DmKvBasic->FSkinChangedEvent);
  DmKvBasic->SetIsModified(true);
  EXPECT_TRUE(Main->windowTitle().startsWith('*'));
  DmKvBasic->FileSaveAs1->Dialog.FileName = "/data/run 7.dat";
  DmKvBasic->FOnFileNameChangedEvent(DmKvBasic);
  EXPECT_EQ(Main->cxLabelFilename->text(), "/data/run 7.dat");
  DmKvBasic->DoStyleChangedNotify(3);
  EXPECT_EQ(Main->cxGroupBoxDataTable->frameShape(), QFrame::NoFrame);

  ShowMain();
  ASSERT_NE(FrmLvx_Connect, nullptr);
  Main.reset();
  EXPECT_EQ(KvFont_LoadedCount(), 0);
  EXPECT_FALSE(Commander->OnDataReceived || DmKvBasic->FModifiedChangedEvent ||
               DmKvBasic->FOnCheckConnectionEvent || DmKvBasic->FOnFileNameChangedEvent ||
               DmKvBasic->FOnStyleChangedEvent);
  EXPECT_EQ(FrmLvx_Connect, nullptr);
  EXPECT_EQ(FrmKvMain, nullptr);
  DmKvBasic->FSkinChangedEvent(DmKvBasic, "Night");  // kept, and harmless without the form
}

TEST_F(MainFormTest, ReadingsWithin50msGiveOneMemoInsertNewestOnTop) {
  RegisterNotingViews();
  ShowMain();
  Deliver(61.5);
  EXPECT_TRUE(DisplayEventOn());
  Clock.Advance(30);
  Deliver(62.5);  // overwrites the copy, the count goes on
  Clock.Advance(19);
  EXPECT_TRUE(MemoLines().isEmpty());
  Clock.Advance(1);
  EXPECT_EQ(MemoLines(), (QStringList{"raw 62.5", "dec 62.5"}));
  EXPECT_FALSE(DisplayEventOn());
  Clock.Advance(500);
  EXPECT_EQ(MemoLines().size(), 2);

  Deliver(63.5);
  Clock.Advance(50);
  EXPECT_EQ(MemoLines(), (QStringList{"raw 63.5", "dec 63.5", "raw 62.5", "dec 62.5"}));
  QTest::mouseClick(Main->cxButtonClear, Qt::LeftButton);
  EXPECT_TRUE(MemoLines().isEmpty());
}

TEST_F(MainFormTest, ReadingBeforeThePanelsAreDockedStaysInTheCopyOnly) {
  RegisterNotingViews();
  CreateMain();
  Deliver(70);
  Clock.Advance(50);
  EXPECT_FALSE(DisplayEventOn());
  EXPECT_TRUE(MemoLines().isEmpty());
  EXPECT_TRUE(Calls.isEmpty());
  EXPECT_EQ(Main->DataCopy().dVal, 70);

  ShowMain();
  Calls.clear();
  Deliver(71);
  Clock.Advance(50);
  EXPECT_EQ(MemoLines().first(), "raw 71");
  EXPECT_EQ(Calls, QStringList{"Data2Display 71"});
}

TEST_F(MainFormTest, TableAndChartGetReadingsOnlyWhileRecordingThenTheDisplay) {
  RegisterNotingViews();
  ShowMain();
  EXPECT_EQ(Calls, (QStringList{"FieldName Chan", "BottomAxis Date - Time | dd.mm - hh:mm:ss",
                                "LeftAxis Level [dB]", "Add 1 Level [dB] [] 1 Level",
                                "Add 2 Range Min [] 1 Min", "Add 3 Range Max [] 1 Max",
                                "Add 4 Average [AverageFunction] 0 Avg", "Add 5 Leq [] 0 Leq",
                                "CreateFromList"}));
  struct Row {
    bool recording;
    QStringList calls;
  } rows[] = {
      {false, {"Data2Display 55"}},
      {true, {"AddData 55", "ShowAxisFull FrmKvMain", "Data2Display 55"}},
  };
  for (const Row& row : rows) {
    Calls.clear();
    Commander->SetIsRecording(row.recording);
    Deliver(55);
    Clock.Advance(50);
    EXPECT_EQ(Calls, row.calls) << row.recording;
  }
}

TEST_F(MainFormTest, DateOverrideFollowsTheBoxAndTheEditorIntoDecodedRecords) {
  ShowMain();
  const TDateTime march = EncodeDate(2024, 3, 5);
  Main->cxDateEditMeter->SetDate(march);
  EXPECT_EQ(Commander->DateMeter(), NoDate);
  Main->cxCheckBoxDate_Use->setChecked(true);
  EXPECT_EQ(Commander->DateMeter(), march);

  Port.SetActive(true);
  Port.Push(WorkedRecord());
  Commander->SerialRxChar();
  EXPECT_EQ(Main->DataCopy().dtDate, march);

  Main->cxDateEditMeter->SetDate(march + 1);
  EXPECT_EQ(Commander->DateMeter(), march + 1);
  Main->cxDateEditMeter->SetDate(NoDate);  // an empty editor overrides with "no date"
  EXPECT_EQ(Commander->DateMeter(), NoDate);
  Main->cxDateEditMeter->SetDate(march);
  Main->cxCheckBoxDate_Use->setChecked(false);
  EXPECT_EQ(Commander->DateMeter(), NoDate);
  Port.Push(WorkedRecord());
  Commander->SerialRxChar();
  EXPECT_EQ(Main->DataCopy().dtDate, EncodeDate(2011, 6, 15));
}

TEST_F(MainFormTest, TabChangePicksTheTableOrderAndTheReportLink) {
  ShowMain();
  int link = -1;
  Main->OnReportLinkSelect = [&link](int l) { link = l; };
  struct Row {
    int tab;
    QString index;
    int link;
  } rows[] = {{TFrmKvMain::TabChart, TKvMeasurementTable::IndexAscName, 0},
              {TFrmKvMain::TabDataTable, TKvMeasurementTable::IndexDescName, 1},
              {TFrmKvMain::TabChart, TKvMeasurementTable::IndexAscName, 0},
              {TFrmKvMain::TabDisplay, TKvMeasurementTable::IndexDescName, 1}};
  for (const Row& row : rows) {
    Main->dxLayoutControl1GroupMain->setCurrentIndex(row.tab);
    EXPECT_EQ(Commander->KvMemTableData.IndexName(), row.index) << row.tab;
    EXPECT_EQ(link, row.link) << row.tab;
  }
}

TEST_F(MainFormTest, PlacementKeysRoundTripThroughTheSettingsFile) {
  ShowMain();
  EXPECT_TRUE(Main->cxDateEditMeter->IsEmpty());  // no "UseDT" yet: cleared at restore
  EXPECT_EQ(Main->dxBarComboSkins->currentText(), "Brevik");
  EXPECT_EQ(DmKvBasic->KvSkinBarComboAction1->Combo(), Main->dxBarComboSkins);
  const TDateTime when = EncodeDate(2025, 2, 28) + EncodeTime(7, 8, 9, 0);
  Main->cxDateEditMeter->SetDate(when);
  Main->cxCheckBoxDate_Use->setChecked(true);
  {
    const QSignalBlocker quiet(Main->dxBarComboSkins);
    Main->dxBarComboSkins->setCurrentIndex(1);
  }
  Main->close();
  Main.reset();
  const QByteArray ini = ReadFile(IniFile());
  for (const char* line :
       {"Skin=Night", "SkinIdx=1", "UseDT=28.02.2025 07:08:09", "cxCheckBoxDate_Use.Checked=TRUE"})
    EXPECT_TRUE(ini.contains(line)) << line << "\n" << ini.toStdString();

  Commander->SetDateMeter(NoDate);
  ShowMain();
  EXPECT_EQ(Main->cxDateEditMeter->Date(), when);
  EXPECT_TRUE(Main->cxCheckBoxDate_Use->isChecked());
  EXPECT_EQ(Main->dxBarComboSkins->currentIndex(), 1);
  EXPECT_EQ(Commander->DateMeter(), when);  // the override is applied once after docking
}

TEST_F(MainFormTest, UnknownSkinIndexIsLoggedAndLeavesTheCombo) {
  WriteMainFormSettings("SkinIdx=7\n");
  ShowMain();
  EXPECT_TRUE(LogLines().contains("FrmKvMain Unknown SkinName"));
  EXPECT_EQ(Main->dxBarComboSkins->currentIndex(), 0);
}

TEST_F(MainFormTest, CloseQueryCancelKeepsTheTimersAndTheWindow) {
  ShowMain();
  DmKvBasic->SetIsModified(true);
  Deliver(50);
  Dialogs.Answers = {mrCancel};
  EXPECT_FALSE(Main->close());
  EXPECT_TRUE(Main->isVisible());
  EXPECT_TRUE(DisplayEventOn());
  ASSERT_EQ(Dialogs.Messages.size(), 1u);

  Dialogs.Answers = {mrNo};
  EXPECT_TRUE(Main->close());
  EXPECT_FALSE(DisplayEventOn());
}

TEST_F(MainFormTest, ConnectionAnswerNeedsAnOpenPortAndARecord) {
  CreateMain();
  auto answer = [] { return DmKvBasic->FOnCheckConnectionEvent(DmKvBasic, false); };
  Port.SetActive(true);
  Port.Push(WorkedRecord());
  Commander->SerialRxChar();
  EXPECT_FALSE(answer());  // no connection panel yet
  ShowMain();
  EXPECT_TRUE(answer());
  Port.SetActive(false);
  EXPECT_FALSE(answer());
}

TEST(KvDateTimeText, ReadsWhatItWritesAndRefusesOtherFormats) {
  KvLocale_Pin(PinnedTestLocale());
  const TDateTime when = EncodeDate(2026, 11, 23) + EncodeTime(10, 0, 5, 0);
  EXPECT_EQ(KvDateTimeToStr(when), "23.11.2026 10:00:05");
  EXPECT_EQ(KvStrToDateTime("23.11.2026 10:00:05"), when);
  EXPECT_EQ(KvStrToDateTime("23.11.2026"), EncodeDate(2026, 11, 23));
  for (const char* bad : {"2026-11-23 10:00:05", "31.02.2026", "23.11.2026 25:00", ""})
    EXPECT_THROW(KvStrToDateTime(bad), std::invalid_argument) << bad;
}

TEST_F(MainFormTest, SimulationFillsTheMemoOnceASecondWithTheJanuaryDate) {
  RegisterNotingViews();
  ShowMain();
  QComboBox* ports = FrmLvx_Connect->cxComboBoxCOM;
  ports->setCurrentIndex(ports->findText("Simulation"));
  QTest::mouseClick(FrmLvx_Connect->cxButtonConnect, Qt::LeftButton);
  Clock.Advance(5000 + 50);
  const QStringList lines = MemoLines();
  ASSERT_EQ(lines.size(), 10) << lines.join('\n').toStdString();
  for (int i = 0; i < 5; ++i) {
    // Raw digits day, month, year: the decoder reads them year first.
    EXPECT_TRUE(lines[2 * i].contains("01 01 12")) << lines[2 * i].toStdString();
    EXPECT_TRUE(lines[2 * i + 1].endsWith(QString("01.01.12 10:00:0%1 ").arg(5 - i)))
        << lines[2 * i + 1].toStdString();
  }
  // Kept for a look at the memo's face: LVX_VIEWS_SHOTS=<folder>.
  if (qEnvironmentVariableIsSet("LVX_VIEWS_SHOTS")) {
    Main->dxLayoutControl1Group_ComData1->resize(760, 260);
    Main->dxLayoutControl1Group_ComData1->grab().save(qEnvironmentVariable("LVX_VIEWS_SHOTS") +
                                                      "/memo.png");
  }
}
