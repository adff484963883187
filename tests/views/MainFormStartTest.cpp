// The main window across starts: the date override kept in the settings file in every locale,
// a stored value that can't be read, and what the window offers around its panels (skin combo,
// the shared Ctrl+A, the help window, the splash's wait, colours and log names). The reading
// hand-over itself is MainFormTest's.
#include <QAction>
#include <QComboBox>
#include <QLocale>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <QToolBar>

#include "KvDateEdit.h"
#include "KvHelpViewer.h"
#include "KvNavBar.h"
#include "KvStdActns.h"
#include "MainFormFixture.h"
#include "UDxExport.h"
#include "UDxLvx_Connect.h"
#include "UKvAbout.h"

namespace {

struct LocaleDate {
  const char* Locale;
  int Year, Month, Day, Hour, Minute, Second;
};

std::string Name(const ::testing::TestParamInfo<LocaleDate>& info) {
  return QString("%1_%2").arg(info.param.Locale).arg(info.param.Year).toStdString();
}

class MainFormSecondStart : public MainFormTest, public ::testing::WithParamInterface<LocaleDate> {
 protected:
  void SetUp() override {
    MainFormTest::SetUp();
    KvLocale_Pin(TKvLocale::FromQLocale(QLocale(GetParam().Locale)));
  }
  TDateTime When() const {
    const LocaleDate& p = GetParam();
    return EncodeDate(p.Year, p.Month, p.Day) + EncodeTime(p.Hour, p.Minute, p.Second, 0);
  }
};

TEST_P(MainFormSecondStart, TheStoredDateComesBackAndTheWindowIsWhole) {
  EXPECT_EQ(KvStrToDateTime(KvDateTimeToStr(When())), When())
      << KvDateTimeToStr(When()).toStdString();

  RegisterNotingViews();
  ShowMain();
  Main->cxDateEditMeter->SetDate(When());
  Main->close();
  Main.reset();

  ShowMain();
  EXPECT_TRUE(Dialogs.Messages.empty()) << Dialogs.Messages.front().Text.toStdString();
  EXPECT_NE(FrmLvx_Connect, nullptr);
  EXPECT_NE(FrmDxLvxDisplay, nullptr);
  EXPECT_EQ(Main->cxDateEditMeter->Date(), When());
}

// The usual server and container locale first; 1900 is where a two-digit year loses the century.
INSTANTIATE_TEST_SUITE_P(Locales, MainFormSecondStart,
                         ::testing::Values(LocaleDate{"C", 1900, 1, 15, 0, 0, 0},
                                           LocaleDate{"C", 2026, 5, 23, 10, 0, 5},
                                           LocaleDate{"en_US", 1900, 1, 15, 0, 0, 0},
                                           LocaleDate{"en_US", 2026, 12, 31, 23, 59, 58},
                                           LocaleDate{"de_DE", 1900, 1, 15, 0, 0, 0},
                                           LocaleDate{"de_DE", 2026, 3, 1, 13, 5, 0},
                                           LocaleDate{"fr_FR", 1900, 1, 15, 0, 0, 0},
                                           LocaleDate{"fr_FR", 2026, 2, 28, 7, 8, 9}),
                         Name);

TEST(KvDateTimeTextInLocales, MonthNamesAreWrittenAndReadInTheLocalesOwnWords) {
  const TDateTime march = EncodeDate(2026, 3, 4) + EncodeTime(5, 6, 7, 0);
  KvLocale_Pin(TKvLocale::FromQLocale(QLocale("C")));
  EXPECT_EQ(KvDateTimeToStr(march), "4 Mar 2026 05:06:07");
  EXPECT_EQ(KvStrToDateTime("4 mar 2026 05:06:07"), march);
  EXPECT_EQ(KvStrToDateTime("4 March 2026"), EncodeDate(2026, 3, 4));
  KvLocale_Pin(TKvLocale::FromQLocale(QLocale("de_DE")));
  EXPECT_EQ(KvDateTimeToStr(march), "04.03.2026 05:06:07");
  EXPECT_EQ(KvStrToDateTime("04.03.26 05:06:07"), march);  // two digits: this century
  for (const char* bad : {"4 Mar 2026 05:06:07", "04.13.2026", "04.03.2026 5 Uhr"})
    EXPECT_THROW(KvStrToDateTime(bad), std::invalid_argument) << bad;
  KvLocale_Pin(PinnedTestLocale());
}

TEST_F(MainFormTest, AStoredDateThatCannotBeReadIsReportedAndTheWindowStillAssembles) {
  KvLocale_Pin(TKvLocale::FromQLocale(QLocale("C")));
  WriteMainFormSettings("UseDT=15.01.1900 00:00:00\ncxCheckBoxDate_Use.Checked=TRUE\n");
  RegisterNotingViews();
  ShowMain();
  ASSERT_EQ(Dialogs.Messages.size(), 1u);
  EXPECT_EQ(Dialogs.Messages[0].Text, "'15.01.1900 00:00:00' is not a valid date and time");
  EXPECT_EQ(Dialogs.Messages[0].Type, TMsgDlgType::mtError);
  EXPECT_TRUE(LogLines().contains("Exception '15.01.1900 00:00:00' is not a valid date and time"));
  EXPECT_TRUE(Main->cxDateEditMeter->IsEmpty());
  EXPECT_NE(FrmLvx_Connect, nullptr);
  EXPECT_NE(FrmDxChart, nullptr);
  EXPECT_TRUE(Calls.contains("CreateFromList"));  // the channels were set up after the failure
  EXPECT_EQ(Commander->DateMeter(), NoDate);
  KvLocale_Pin(PinnedTestLocale());
}

TEST_F(MainFormTest, NothingGoesOnToTheViewsBeforeTheDisplayIsDocked) {
  RegisterNotingViews();
  KvViewMakers().Display = nullptr;
  ShowMain();
  Commander->SetIsRecording(true);
  Deliver(70);
  Clock.Advance(50);
  EXPECT_TRUE(MemoLines().isEmpty());
  EXPECT_TRUE(Calls.filter("AddData").isEmpty());
  EXPECT_EQ(Main->DataCopy().dVal, 70);
}

TEST_F(MainFormTest, TheSkinComboIsOfferedOnlyWhereTheProductAllowsSkinChanges) {
  for (bool allowed : {false, true}) {
    SCOPED_TRACE(allowed);
    KvGlobalInfo().bAllowSkinChange = allowed;
    delete DmKvBasic;
    ShowMain();
    EXPECT_EQ(Main->dxBarComboSkins->isVisible(), allowed);
    EXPECT_TRUE(Main->dxBarManager1BarOptions->isVisible());
    Main.reset();
  }
}

TEST_F(MainFormTest, CtrlARunsSaveAsAndBothActionsStillShowIt) {
  ShowMain();
  // Save As is offered for a modified document.
  DmKvBasic->SetIsModified(true);
  DmKvBasic->UpdateActions();
  Main->activateWindow();
  ASSERT_TRUE(QTest::qWaitForWindowActive(Main.get()));
  QSignalSpy saveAs(DmKvBasic->FileSaveAs1, &QAction::triggered);
  QSignalSpy about(DmKvBasic->ActionOptionAbout, &QAction::triggered);
  QTest::keyClick(Main.get(), Qt::Key_A, Qt::ControlModifier);
  EXPECT_EQ(saveAs.count(), 1);
  EXPECT_EQ(about.count(), 0);
  ASSERT_EQ(Dialogs.FileRequests.size(), 1u);  // the save dialog was asked for
  EXPECT_EQ(DmKvBasic->FileSaveAs1->shortcut(), QKeySequence("Ctrl+A"));
  EXPECT_EQ(DmKvBasic->ActionOptionAbout->shortcut(), QKeySequence("Ctrl+A"));
  // The other shortcuts of the list are untouched by the tie-break.
  // Export needs a document name; its dialog is closed at once.
  DmKvBasic->SetFile_ActName(Path("docs/x.dat"));
  DmKvBasic->UpdateActions();
  QSignalSpy exportSpy(DmKvBasic->FileExport1, &QAction::triggered);
  QTimer::singleShot(0, [] {
    if (FrmDxExport) FrmDxExport->reject();
  });
  QTest::keyClick(Main.get(), Qt::Key_E, Qt::ControlModifier);
  EXPECT_EQ(exportSpy.count(), 1);
}

TEST_F(MainFormTest, TheHelpWindowBelongsToTheMainFormAndGoesWithIt) {
  const QString manual = Path("program/LvxReader.html");
  WriteFile(manual, "<html><body><h1>Manual</h1></body></html>");
  ShowMain();
  KvApplication().HelpFile = manual;
  DmKvBasic->ActionOptionHelp->trigger();
  QPointer<QWidget> help = KvHelp_Window();
  ASSERT_TRUE(help);
  EXPECT_TRUE(help->isVisible());
  EXPECT_TRUE(help->isWindow());
  EXPECT_EQ(help->parentWidget(), Main.get());
  Main->close();
  Main.reset();
  EXPECT_FALSE(help);
  KvApplication().HelpFile.clear();
}

TEST_F(MainFormTest, TheSplashWaitsWithTheMainFormAlreadyShown) {
  KvBase_CreateSplash(true);
  KvBase_Flash(true);
  ASSERT_TRUE(KvBase_SplashForm()->isVisible());
  ShowMain();
  // Both are up together once the main form has been shown; the wait comes after.
  EXPECT_TRUE(Main->isVisible());
  EXPECT_TRUE(KvBase_SplashForm()->isVisible());
  EXPECT_FALSE(LogLines().contains("KvBase_Splash Hide Splash"));
  const int64_t start = Clock.ElapsedMs();
  QCoreApplication::processEvents();
  EXPECT_EQ(Clock.ElapsedMs() - start, 2100);
  EXPECT_FALSE(KvBase_SplashForm()->isVisible());
  EXPECT_TRUE(LogLines().contains("FrmKvMain After  KvBase_Flash"));
}

TEST_F(MainFormTest, NavigationBarColourAndDockedPanelsLogUnderTheirForms) {
  ShowMain();
  Main->resize(1297, 820);
  const QImage bar = Main->dxNavBarLeft->grab().toImage();
  EXPECT_EQ(QColor(bar.pixel(bar.width() / 2, bar.height() - 3)), QColor(0xf2, 0xf3, 0xf4));

  const QStringList log = LogLines();
  EXPECT_TRUE(log.contains("FrmKvMain.FrmLvx_Connect In RestorePlacement"))
      << log.join('\n').toStdString();
  EXPECT_TRUE(log.filter("dxLayoutControl1").isEmpty()) << log.join('\n').toStdString();
  QPushButton* connect = FrmLvx_Connect->cxButtonConnect;
  EXPECT_EQ(KvSys_ComponentPath(connect), "FrmKvMain.FrmLvx_Connect.cxButtonConnect");
  EXPECT_EQ(KvSys_ComponentPath(Main->cxButtonClear), "FrmKvMain.cxButtonClear");
}

}  // namespace
