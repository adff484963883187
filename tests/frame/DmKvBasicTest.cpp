// The application module: the single-instance guard, its action list, the main form's
// caption and status bar, the close query and the print actions' plumbing. The document
// actions' work is left to the documents suite.
#include <QLabel>
#include <QMainWindow>
#include <QStatusBar>

#include "AppModuleFixture.h"
#include "KvStdActns.h"
#include "KvTimerList.h"

namespace {

// A main form as the frame expects it: a status bar with one panel and a timer list.
struct TMainForm {
  explicit TMainForm(const char* barName = "dxStatusBar") {
    window.setObjectName("FrmKvMain");
    auto bar = new QStatusBar(&window);
    bar->setObjectName(barName);
    panel = new QLabel(bar);
    bar->addWidget(panel);
    window.setStatusBar(bar);
    timers = new TKvTimerList(&window);
    timers->setObjectName("JvTimerList1");
    timers->AddEvent(200)->SetEnabled(true);
    timers->AddEvent(50)->SetEnabled(true);
  }
  bool TimersRunning() const {
    return timers->Events[0]->Enabled() && timers->Events[1]->Enabled();
  }
  QMainWindow window;
  QLabel* panel;
  TKvTimerList* timers;
};

const QString Product = "Phonara Reader: (Version " LVX_TEST_VERSION ")";

}  // namespace

class DmKvBasicTest : public AppModuleTest {};

TEST_F(DmKvBasicTest, SecondModuleIsRefusedWithTheModuleMessageAndTheFirstStays) {
  auto first = new TDmKvBasic;
  EXPECT_TRUE(Dialogs.Messages.empty());
  auto second = new TDmKvBasic;
  ASSERT_EQ(Dialogs.Messages.size(), 1u);
  EXPECT_EQ(Dialogs.Messages[0].Text, "DmKvBasic: Module already loaded");
  EXPECT_EQ(Dialogs.Messages[0].Type, TMsgDlgType::mtError);
  EXPECT_EQ(Dialogs.Messages[0].Buttons, mbOK);
  EXPECT_EQ(DmKvBasic, first);
  EXPECT_EQ(KvAppServices(), first);
  delete second;
  EXPECT_EQ(KvAppServices(), first);
  delete first;
  EXPECT_EQ(KvAppServices(), nullptr);
}

TEST_F(DmKvBasicTest, ActionListKeepsItsOrderCaptionsAndShortcutsWithCtrlATwice) {
  TDmKvBasic module;
  struct Row {
    const char* name;
    const char* caption;
    const char* shortcut;
  };
  const Row rows[] = {
      {"ActionFileConnected", "Is &Connected", ""}, {"ActionFileNew", "Ne&w", "Ctrl+W"},
      {"FileOpen1", "&Open...", "Ctrl+O"},          {"FileSaveAs1", "Save &As...", "Ctrl+A"},
      {"ActionFileNext", "&Next", "Ctrl+N"},        {"ActionFilePrev", "&Previous", "Ctrl+P"},
      {"ActionPrintSetup", "Printer &setup", ""},   {"ActionPrintPreview", "Print pre&view", ""},
      {"ActionPrintPrint", "&Print", ""},           {"FileExport1", "&Export to file", "Ctrl+E"},
      {"ActionFileExit", "E&xit", "Ctrl+X"},        {"ActionOptionHelp", "&Help", "Ctrl+H"},
      {"ActionOptionAbout", "&About", "Ctrl+A"},    {"KvSkinBarComboAction1", "S&kin", "Ctrl+K"},
  };
  QList<QAction*> actions = module.Actions();
  ASSERT_EQ(actions.size(), std::size(rows));
  for (size_t i = 0; i < std::size(rows); ++i) {
    SCOPED_TRACE(rows[i].name);
    EXPECT_EQ(actions[i]->objectName(), rows[i].name);
    EXPECT_EQ(actions[i]->text(), rows[i].caption);
    EXPECT_EQ(actions[i]->shortcut(), QKeySequence(rows[i].shortcut));
  }
  EXPECT_EQ(module.ActionFileExit->toolTip(), "Exists the main program");
  EXPECT_FALSE(module.KvSkinBarComboAction1->isVisible());
  EXPECT_EQ(module.FileOpen1->Dialog.Filter, "Data file (*.dat)|*.dat|All files (*.*)|*.*");
  EXPECT_EQ(module.FileSaveAs1->Dialog.DefaultExt, "dat");
  EXPECT_EQ(module.FileExport1->Dialog.Title, "Export to file");
  EXPECT_EQ(module.FileExport1->Dialog.DefaultExt, ".csv");
}

TEST_F(DmKvBasicTest, CaptionStarFollowsTheModifiedFlag) {
  TDmKvBasic module;
  TMainForm form;
  module.SetMainForm(&form.window);
  int changes = 0;
  module.FModifiedChangedEvent = [&](QObject*, bool) {
    ++changes;
    module.UpdateMainForm_Caption();
  };
  EXPECT_EQ(form.window.windowTitle(), Product);
  module.SetIsModified(true);
  EXPECT_EQ(form.window.windowTitle(), "*" + Product);
  module.SetIsModified(true);
  module.SetIsModified(false);
  EXPECT_EQ(form.window.windowTitle(), Product);
  EXPECT_EQ(changes, 2);
}

TEST_F(DmKvBasicTest, StatusBarTakesTheTextAndLogsItOnlyWhenAsked) {
  for (const char* barName : {"dxStatusBar", "dxStatusBar1"}) {
    SCOPED_TRACE(barName);
    TDmKvBasic module;
    TMainForm form(barName);
    module.SetMainForm(&form.window);
    KvSysHelper().SysLog_Clear();
    KvAppServices()->DoStatusBarNotify("Port COM3 opened", true);
    EXPECT_EQ(form.panel->text(), "Port COM3 opened");
    EXPECT_EQ(LogLines(), QStringList{"DoStatusBarNotify Port COM3 opened"});
    module.DoStatusBarNotify("quiet", false);
    EXPECT_EQ(form.panel->text(), "quiet");
    EXPECT_EQ(KvSysHelper().SysLog_Count(), 1);
  }
}

TEST_F(DmKvBasicTest, AStatusListenerReplacesTheBarButTheLogStays) {
  TDmKvBasic module;
  TMainForm form;
  module.SetMainForm(&form.window);
  QString heard;
  module.FOnStatusBarNotify = [&](QObject*, const QString& msg) { heard = msg; };
  KvSysHelper().SysLog_Clear();
  module.DoStatusBarNotify("hello", true);
  EXPECT_EQ(heard, "hello");
  EXPECT_TRUE(form.panel->text().isEmpty());
  EXPECT_EQ(KvSysHelper().SysLog_Count(), 1);
}

TEST_F(DmKvBasicTest, CloseQueryAnswers) {
  struct Row {
    const char* what;
    bool modified;
    int answer;
    bool canClose, prompted, saved, timersRunning;
  };
  const Row rows[] = {
      {"clean document", false, mrNone, true, false, false, false},
      {"Cancel keeps the program", true, mrCancel, false, true, false, true},
      {"Yes saves under the present name", true, mrYes, true, true, true, false},
      {"No closes without saving", true, mrNo, true, true, false, false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.what);
    Dialogs.Messages.clear();
    TDmKvBasic module;
    TMainForm form;
    module.SetMainForm(&form.window);
    module.FileSaveAs1->Dialog.FileName = Path("docs/Hall 3.dat");
    module.SetIsModified(row.modified);
    QStringList savedAs;
    module.FOnFile_SaveEvent = [&](QObject*, const QString& name, bool&) { savedAs << name; };
    Dialogs.Answers = {row.answer};
    QFile::remove(KvSysHelper().SysLog_FileName());

    bool canClose = true;
    module.EvFormCloseQuery(&form.window, canClose);
    EXPECT_EQ(canClose, row.canClose);
    ASSERT_EQ(Dialogs.Messages.size(), row.prompted ? 1u : 0u);
    if (row.prompted) {
      EXPECT_EQ(Dialogs.Messages[0].Text,
                "The actual \"Hall 3.dat\" document was modified.\r\n\r\nDo you want to save the "
                "content before loading ?");
      EXPECT_EQ(Dialogs.Messages[0].Buttons, mbYesNoCancel);
    }
    EXPECT_EQ(savedAs, row.saved ? QStringList{Path("docs/Hall 3.dat")} : QStringList());
    EXPECT_EQ(form.TimersRunning(), row.timersRunning);
    // The log is written exactly when the program may close.
    EXPECT_EQ(QFile::exists(KvSysHelper().SysLog_FileName()), row.canClose);
    if (!row.canClose)
      EXPECT_EQ(form.panel->text(), "File \"Hall 3.dat\" not saved, aborted by user");
    else
      EXPECT_TRUE(ReadFile(KvSysHelper().SysLog_FileName()).contains("In EvFormCloseQuery"));
  }
}

TEST_F(DmKvBasicTest, PrintActionsNeedADocumentAndRunTheirPartnerFirst) {
  TDmKvBasic module;
  QStringList calls;
  module.FOnPrintPreviewEvent_M = [&](QObject*) { calls << "M"; };
  module.FOnPrintPreviewEvent = [&](QObject*) { calls << "preview"; };
  EXPECT_FALSE(module.ActionPrintPreview->isEnabled());
  module.SetIsFileLoaded(true);
  EXPECT_TRUE(module.ActionPrintPrint->isEnabled());
  module.ActionPrintPreview->trigger();
  EXPECT_EQ(calls, (QStringList{"M", "preview"}));
  calls.clear();
  module.FOnPrintSetupEvent_M = [&](QObject*) { calls << "M"; };
  module.ActionPrintSetup->trigger();  // without its handler the partner doesn't run either
  EXPECT_TRUE(calls.isEmpty());
}

TEST_F(DmKvBasicTest, DocumentFoldersComeFromTheSettingsAndReturnThere) {
  {
    TDmKvBasic module;
    EXPECT_EQ(module.OpenDialog1.InitialDir, Path("commondocs/Brevik/LvxReader/"));
    module.FileOpen1->Dialog.InitialDir = Path("measure/");
  }
  TDmKvBasic again;
  EXPECT_EQ(again.FileSaveAs1->Dialog.InitialDir, Path("measure/"));
  EXPECT_EQ(again.FFile_ExportInitialDir, Path("commondocs/Brevik/LvxReader/"));
}

TEST_F(DmKvBasicTest, DockLayoutGoesBesideTheSettingsFile) {
  TDmKvBasic module;
  EXPECT_EQ(module.DockLayoutFileName(),
            Path("userappdata/Brevik/LvxReader/LvxReader_1920x1080.pos"));
  QMainWindow bars;
  bars.setObjectName("dxBarManager1");
  module.SaveDockLayout(&bars);
  EXPECT_TRUE(ReadFile(module.DockLayoutFileName()).startsWith("[dxBarManager1]\nState="));
}
