// The system log (line format, display cap, save and flush), the busy-cursor nesting, the
// folder macros and the string routines. The settings file that names the log is covered in
// KvAppIniFileStorageTest.
#include <gtest/gtest.h>

#include <QCursor>
#include <QDir>
#include <QGuiApplication>
#include <QWidget>

#include "FrameTestFolders.h"
#include "KvStr_Helper.h"

namespace {

using KvSysLog = FrameFolderTest;

TEST_F(KvSysLog, LineIsStampPreAndComponentPathThenMessage) {
  QObject main, host, panel, button;
  main.setObjectName("FrmKvMain");
  host.setParent(&main);  // an unnamed container between form and panel
  panel.setObjectName("FrmLvx_Connect");
  panel.setParent(&host);
  button.setObjectName("cxButtonConnect");
  button.setParent(&panel);
  struct Row {
    const QObject* cmp;
    const char* pre;
    const char* expected;
  } rows[] = {
      {nullptr, "X", "26.11.23 10.00 X msg"},
      {nullptr, "", "26.11.23 10.00  msg"},
      {&main, "", "26.11.23 10.00 FrmKvMain msg"},
      {&panel, "", "26.11.23 10.00 FrmKvMain.FrmLvx_Connect msg"},
      {&button, "Before ", "26.11.23 10.00 Before FrmKvMain.FrmLvx_Connect.cxButtonConnect msg"},
      {&host, "Pre", "26.11.23 10.00 PreFrmKvMain msg"},
  };
  for (const Row& row : rows) {
    KvSysHelper().SysLog_Add(row.cmp, row.pre, "msg");
    EXPECT_EQ(KvSysHelper().SysLog_Get().last(), row.expected);
  }
  Clock.Advance(((23 * 60 + 59) * 60 + 30) * 1000LL);  // past midnight into the next day
  KvSysHelper().SysLog_Add(nullptr, "X", "later");
  EXPECT_EQ(KvSysHelper().SysLog_Get().last(), "26.11.24 09.59 X later");
}

TEST_F(KvSysLog, DisplayListKeepsTheNewest1000AndTheLogKeepsAll) {
  for (int i = 0; i < 1005; ++i) KvSysHelper().SysLog_Add(nullptr, "L", QString::number(i));
  const QStringList& display = KvSysHelper().SysLog_Display();
  ASSERT_EQ(display.size(), 1000);
  EXPECT_TRUE(display.first().endsWith(" L 1004"));
  EXPECT_TRUE(display.last().endsWith(" L 5"));
  EXPECT_EQ(KvSysHelper().SysLog_Count(), 1005);
  KvSysHelper().SysLog_Clear();
  EXPECT_EQ(KvSysHelper().SysLog_Count(), 0);
  EXPECT_EQ(KvSysHelper().SysLog_Display().size(), 1000);
}

TEST_F(KvSysLog, FlushWritesBesideTheSettingsFileAndOnlyTheLastFlushSurvives) {
  KvSysHelper().SysFile_AppStorage_Set(Path("u/Brevik/LvxReader/LvxReader_1920x1080.ini"));
  const QString logFile = Path("u/Brevik/LvxReader/LvxReader_1920x1080.log");
  KvSysHelper().SysLog_Add(nullptr, "A", "one");
  KvSysHelper().SysLog_Add(nullptr, "A", "two");
  KvSysHelper().SysLog_Flush();
  EXPECT_EQ(ReadFile(logFile), "26.11.23 10.00 A one\n26.11.23 10.00 A two\n");
  EXPECT_EQ(KvSysHelper().SysLog_Count(), 0);

  KvSysHelper().SysLog_Flush();  // nothing held: the file stays
  EXPECT_EQ(ReadFile(logFile), "26.11.23 10.00 A one\n26.11.23 10.00 A two\n");

  KvSysHelper().SysLog_Add(nullptr, "B", "three");
  KvSysHelper().SysLog_Flush();
  EXPECT_EQ(ReadFile(logFile), "26.11.23 10.00 B three\n");
}

TEST_F(KvSysLog, RepeatsAndOverflowAreCountedNotKeptAndTheFileSaysHowMany) {
  // What a stream of garbage from a device does to the log: the same failure over and over,
  // and more distinct lines than a log should hold.
  KvSysHelper().SysFile_AppStorage_Set(Path("u/LvxReader_1x1.ini"));
  for (int i = 0; i < 500; ++i) KvSysHelper().SysLog_Add(nullptr, "E", "same failure");
  KvSysHelper().SysLog_Add(nullptr, "A", "other");
  EXPECT_EQ(KvSysHelper().SysLog_Get().filter("same failure").size(),
            TKvSys_Helper::SysLogRepeatMax);
  EXPECT_EQ(KvSysHelper().SysLog_Get().last(), "26.11.23 10.00 A other");
  for (int i = 0; i < TKvSys_Helper::SysLogMax + 50; ++i)
    KvSysHelper().SysLog_Add(nullptr, "N", QString::number(i));
  EXPECT_EQ(KvSysHelper().SysLog_Count(), TKvSys_Helper::SysLogMax);
  EXPECT_EQ(KvSysHelper().SysLog_Dropped(), 490 + 11 + 50);

  KvSysHelper().SysLog_Save();
  const QStringList lines =
      QString::fromUtf8(ReadFile(Path("u/LvxReader_1x1.log"))).split(QChar(10), Qt::SkipEmptyParts);
  EXPECT_EQ(lines.size(), TKvSys_Helper::SysLogMax + 2);
  EXPECT_TRUE(lines.contains("26.11.23 10.00 E same failure (490 more times, not kept)"));
  EXPECT_EQ(lines.last(), "26.11.23 10.00 61 further lines not kept, the log was full");

  KvSysHelper().SysLog_Clear();  // a new log starts counting anew
  KvSysHelper().SysLog_Add(nullptr, "E", "same failure");
  EXPECT_EQ(KvSysHelper().SysLog_Count(), 1);
  EXPECT_EQ(KvSysHelper().SysLog_Dropped(), 0);
}

TEST_F(KvSysLog, WithoutASettingsFileTheLogIsNamedAfterTheProgram) {
  KvSysHelper().SysLog_Add(nullptr, "A", "one");
  KvSysHelper().SysLog_Save();
  EXPECT_EQ(ReadFile(Path("program/LvxReader.log")), "26.11.23 10.00 A one\n");
  EXPECT_EQ(KvSysHelper().SysLog_Count(), 1);  // saving alone keeps the lines
}

TEST_F(KvSysLog, AnUnwritableLogFileIsTheCallersToReport) {
  WriteFile(Path("blocker"), "a file where a folder should be");
  KvSysHelper().SysFile_AppStorage_Set(Path("blocker/LvxReader_1920x1080.ini"));
  KvSysHelper().SysLog_Add(nullptr, "A", "one");
  EXPECT_THROW(KvSysHelper().SysLog_Flush(), std::runtime_error);
  EXPECT_GE(KvSysHelper().SysLog_Count(), 1);  // nothing lost
}

TEST(KvSysCursor, OnlyTheOutermostRequestPicksTheCursorAndTheLastReleaseRestoresIt) {
  TKvSys_Helper helper;
  auto shape = [] {
    QCursor* c = QGuiApplication::overrideCursor();
    return c ? int(c->shape()) : -1;
  };
  helper.Cursor_AddWait();
  helper.Cursor_AddHand();
  EXPECT_EQ(shape(), Qt::WaitCursor);
  helper.Cursor_ReleaseOne();
  EXPECT_EQ(shape(), Qt::WaitCursor);
  helper.Cursor_ReleaseOne();
  EXPECT_EQ(shape(), -1);
  helper.Cursor_ReleaseOne();  // one too many: nothing happens
  EXPECT_EQ(helper.Cursor_Level(), 0);
  EXPECT_EQ(shape(), -1);

  helper.Cursor_AddHand();
  helper.Cursor_AddWaitSQL();
  EXPECT_EQ(shape(), Qt::PointingHandCursor);
  helper.Cursor_SetDefault();
  EXPECT_EQ(helper.Cursor_Level(), 0);
  EXPECT_EQ(shape(), -1);

  QGuiApplication::setOverrideCursor(Qt::CrossCursor);  // someone else's, underneath ours
  helper.Cursor_AddWaitSQL();
  EXPECT_EQ(shape(), Qt::BusyCursor);
  helper.Cursor_ReleaseOne();
  EXPECT_EQ(shape(), Qt::CrossCursor);
  QGuiApplication::restoreOverrideCursor();
}

using KvSysFolderMacros = FrameFolderTest;

TEST_F(KvSysFolderMacros, EveryNameResolvesBelowItsRootAndIsCreatedOnRequest) {
  KvSys_AppFolders_Set("Brevik", "LvxReader");
  struct Row {
    const char* macro;
    const char* folder;
  } rows[] = {
      {"PGM", "program"},
      {"pgmdir", "program"},
      {"EXE", "program"},
      {"ExeDir", "program"},
      {"", "program"},
      {"COMMONDOCS", "commondocs/Brevik/LvxReader"},
      {"commonappdata", "commonappdata/Brevik/LvxReader"},
      {"USERAPPDATA", "userappdata/Brevik/LvxReader"},
      {"TEMP", "commonappdata/Brevik/LvxReader"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(KvSys_GetPath(row.macro, false), Path(row.folder)) << row.macro;
  }
  EXPECT_FALSE(QDir(Path("commondocs/Brevik/LvxReader")).exists());
  EXPECT_EQ(KvSys_GetPath("COMMONDOCS", true), Path("commondocs/Brevik/LvxReader"));
  EXPECT_TRUE(QDir(Path("commondocs/Brevik/LvxReader")).exists());
}

TEST_F(KvSysFolderMacros, SettingNamesFallsBackToDefaultsAndCreatesBothAppDataFolders) {
  KvSys_AppFolders_Set("", "");
  EXPECT_EQ(KvSys_CompanyName(), "Velmor");
  EXPECT_EQ(KvSys_AppFolderName(), "Default");
  KvSys_AppFolders_Set("Brevik", "LvxReader");
  for (const char* folder : {"commonappdata/Velmor/Default", "userappdata/Velmor/Default",
                             "commonappdata/Brevik/LvxReader", "userappdata/Brevik/LvxReader"})
    EXPECT_TRUE(QDir(Path(folder)).exists()) << folder;
  EXPECT_FALSE(QDir(Path("commondocs")).exists());
}

TEST_F(KvSysFolderMacros, AFolderThatCannotBeCreatedIsLoggedAndGivenAnyway) {
  WriteFile(Path("commondocs"), "a file where a folder should be");
  EXPECT_EQ(KvSys_GetPath("COMMONDOCS", true), Path("commondocs/Velmor/Default"));
  ASSERT_EQ(KvSysHelper().SysLog_Count(), 1);
  EXPECT_TRUE(KvSysHelper().SysLog_Get().first().contains(Path("commondocs/Velmor/Default")));
}

TEST_F(KvSysFolderMacros, CommonDataTheUserCannotWriteFallsBackToTheUsersDataSilently) {
  QDir(Path("commonappdata")).removeRecursively();
  WriteFile(Path("commonappdata"), "no folder can be made below a file");
  KvSys_AppFolders_Set("Brevik", "LvxReader");
  EXPECT_EQ(KvSysHelper().SysLog_Count(), 0) << KvSysHelper().SysLog_Get().join('\n').toStdString();
  for (const char* macro : {"COMMONAPPDATA", "TEMP"})
    EXPECT_EQ(KvSys_GetPath(macro, false), Path("userdata/Brevik/LvxReader")) << macro;
  EXPECT_TRUE(QDir(Path("userdata/Brevik/LvxReader")).exists());
  EXPECT_EQ(KvSys_GetPath("USERAPPDATA", false), Path("userappdata/Brevik/LvxReader"));
}

TEST_F(KvSysLog, AWidgetIsNamedAfterItsFormsNotTheWidgetsItSitsIn) {
  QWidget main;
  main.setObjectName("FrmKvMain");
  auto layout = new QWidget(&main);
  layout->setObjectName("dxLayoutControl1");
  auto host = new QWidget(layout);
  host->setObjectName("cxGroupBoxConnect");
  auto panel = new QWidget;
  panel->setObjectName("FrmLvx_Connect");
  auto inner = new QWidget(panel);
  inner->setObjectName("cxGroupBoxInner");
  auto button = new QWidget(inner);
  button->setObjectName("cxButtonConnect");
  auto timers = new QObject(panel);
  timers->setObjectName("JvTimerList1");
  EXPECT_EQ(KvSys_ComponentPath(host), "FrmKvMain.cxGroupBoxConnect");
  panel->setParent(host);  // a panel laid into a host without being docked as a form
  EXPECT_EQ(KvSys_ComponentPath(button), "FrmKvMain.cxButtonConnect");
  panel->setProperty(KvSys_FormProperty, true);
  EXPECT_EQ(KvSys_ComponentPath(panel), "FrmKvMain.FrmLvx_Connect");
  EXPECT_EQ(KvSys_ComponentPath(button), "FrmKvMain.FrmLvx_Connect.cxButtonConnect");
  EXPECT_EQ(KvSys_ComponentPath(timers), "FrmKvMain.FrmLvx_Connect.JvTimerList1");
}

TEST(KvStrHelper, CharacterRoutines) {
  EXPECT_EQ(KvStr_LastChar("abc"), QChar('c'));
  EXPECT_EQ(KvStr_LastChar(""), QChar(0));
  EXPECT_EQ(KvStr_IncludeTrailing("/a/b", '/'), "/a/b/");
  EXPECT_EQ(KvStr_IncludeTrailing("/a/b/", '/'), "/a/b/");
  EXPECT_EQ(KvStr_IncludeTrailing("", '/'), "/");
  QString s = "ab";
  EXPECT_EQ(KvStr_CutLastChar(s), QChar('b'));
  EXPECT_EQ(KvStr_CutLastChar(s), QChar('a'));
  EXPECT_EQ(KvStr_CutLastChar(s), QChar(0));
  EXPECT_EQ(s, "");
  EXPECT_EQ(KvStr_TrimLineEnds("\r\n\nline one\r\nline two\n\r"), "line one\r\nline two");
  EXPECT_EQ(KvStr_TrimLineEnds(" keeps blanks \n"), " keeps blanks ");
  EXPECT_EQ(KvStr_TrimLineEnds("\r\n"), "");
  EXPECT_EQ(KvStr_RegExCount("a1b22c333", "\\d+"), 3);
  EXPECT_EQ(KvStr_RegExCount("abc", "("), 0);
}

TEST(KvStrHelper, MailAddressCheck) {
  struct Row {
    const char* text;
    bool holds;
  } rows[] = {
      {"support@brevik.example", true}, {"first.last-x@mail-host.co.uk", true},
      {"write to a@b.cd today", true},  {"no-at-sign.example", false},
      {"user@localhost", false},        {"@brevik.example", false},
      {"user@.example", false},         {"", false},
  };
  for (const Row& row : rows) EXPECT_EQ(KvStr_HasEmailAddress(row.text), row.holds) << row.text;
}

}  // namespace
