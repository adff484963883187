#include "UDmKvBasic.h"

#include <QAction>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLabel>
#include <QMainWindow>
#include <QStatusBar>

#include "KvAppIniFileStorage.h"
#include "KvClock.h"
#include "KvFormStorage.h"
#include "KvGlobalInfo.h"
#include "KvHelpViewer.h"
#include "KvIniFile.h"
#include "KvLib.h"
#include "KvStdActns.h"
#include "KvSys_Helper.h"
#include "KvTimerList.h"
#include "UKvAbout.h"

TDmKvBasic* DmKvBasic = nullptr;
bool TDmKvBasic::FCreated = false;

namespace {

// A shortcut as the action list stores it: the key code in the low byte, 0x2000 Shift,
// 0x4000 Ctrl, 0x8000 Alt.
QKeySequence StoredShortCut(int stored) {
  if (stored == 0) return {};
  int key = stored & 0xFF;
  if (stored & 0x2000) key |= Qt::SHIFT;
  if (stored & 0x4000) key |= Qt::CTRL;
  if (stored & 0x8000) key |= Qt::ALT;
  return QKeySequence(key);
}

struct TActionText {
  const char* Name;
  const char* Caption;
  const char* Hint;
  int ShortCut;
};

// Captions, hints and shortcuts of the action list, in its order. Save As and About share
// Ctrl+A; the duplicate is kept and shown on both.
const TActionText ActionTexts[] = {
    {"ActionFileConnected", "Is &Connected",
     "Indicates is a connection to the USB-Device is established", 0},
    {"ActionFileNew", "Ne&w", "Creates a new document file", 16471},
    {"FileOpen1", "&Open...", "Opens and loads an existing document file", 16463},
    {"FileSaveAs1", "Save &As...", "Saves the active document file with a new name", 16449},
    {"ActionFileNext", "&Next", "Opens the next document file in the same folder", 16462},
    {"ActionFilePrev", "&Previous", "Opens the previous document file in the same folder", 16464},
    {"ActionPrintSetup", "Printer &setup", "", 0},
    {"ActionPrintPreview", "Print pre&view", "", 0},
    {"ActionPrintPrint", "&Print", "", 0},
    {"FileExport1", "&Export to file", "Export the actual document to an external data file",
     16453},
    {"ActionFileExit", "E&xit", "Exists the main program", 16472},
    {"ActionOptionHelp", "&Help", "Opens the applications help file", 16456},
    {"ActionOptionAbout", "&About", "Shows the applications about and configuration dialog", 16449},
    {"KvSkinBarComboAction1", "S&kin", "", 16459},
};

QString WithExt(const QString& fileName, const QString& ext) {
  QFileInfo info(fileName);
  return info.path() + '/' + info.completeBaseName() + ext;
}

template <class T>
T* FindFirst(QObject* in, const char* name1, const char* name2) {
  if (!in) return nullptr;
  T* found = in->findChild<T*>(name1);
  return found ? found : in->findChild<T*>(name2);
}

}  // namespace

TDmKvBasic::TDmKvBasic(QObject* owner) : QObject(owner) {
  setObjectName("DmKvBasic");
  bool first = !DmKvBasic;
  if (first) DmKvBasic = this;

  KvAppIniFileStorage = new TKvAppIniFileStorage(this);
  KvAppIniFileStorage->setObjectName("KvAppIniFileStorage");
  KvFormStorage1 = new TKvFormStorage(this);
  KvFormStorage1->Options = 0;
  KvLib_FormStorage_FormCreate(this, KvFormStorage1);
  KvFormStorage1->OnRestorePlacement = [this] { RestorePlacement(); };
  KvFormStorage1->OnSavePlacement = [this] { SavePlacement(); };

  auto action = [this](const char* name) {
    auto a = new QAction(this);
    a->setObjectName(name);
    return a;
  };
  ActionFileConnected = action("ActionFileConnected");
  ActionFileNew = action("ActionFileNew");
  FileOpen1 = new TKvFileAction(this, "FileOpen1", TKvFileAction::akOpen);
  FileSaveAs1 = new TKvFileAction(this, "FileSaveAs1", TKvFileAction::akSave);
  ActionFileNext = action("ActionFileNext");
  ActionFilePrev = action("ActionFilePrev");
  ActionPrintSetup = action("ActionPrintSetup");
  ActionPrintPreview = action("ActionPrintPreview");
  ActionPrintPrint = action("ActionPrintPrint");
  FileExport1 = new TKvFileAction(this, "FileExport1", TKvFileAction::akSave);
  ActionFileExit = action("ActionFileExit");
  ActionOptionHelp = action("ActionOptionHelp");
  ActionOptionAbout = action("ActionOptionAbout");
  KvSkinBarComboAction1 = new TKvSkinBarComboAction(this);
  KvSkinBarComboAction1->setObjectName("KvSkinBarComboAction1");
  for (const TActionText& t : ActionTexts) {
    QAction* a = findChild<QAction*>(t.Name, Qt::FindDirectChildrenOnly);
    a->setText(t.Caption);
    a->setToolTip(t.Hint);
    a->setStatusTip(t.Hint);
    a->setShortcut(StoredShortCut(t.ShortCut));
  }
  // Save As and About share Ctrl+A; the key runs Save As, the first of the list.
  (new TKvShortcutResolver(this))->Watch(Actions());

  for (TKvFileDialogRequest* dialog : {&OpenDialog1, &SaveDialog1}) {
    dialog->Filter = DataFilter;
    dialog->DefaultExt = "dat";
  }
  ExportDialog1.Title = "Export to file";
  ExportDialog1.Filter = ExportFilter;
  ExportDialog1.DefaultExt = ".csv";

  ConnectFileActions();
  connect(ActionFileExit, &QAction::triggered, this, &TDmKvBasic::ActionFileExitExecute);
  connect(ActionOptionHelp, &QAction::triggered, this, &TDmKvBasic::ActionOptionHelpExecute);
  connect(ActionOptionAbout, &QAction::triggered, this, &TDmKvBasic::ActionOptionAboutExecute);
  connect(ActionPrintSetup, &QAction::triggered, this,
          [this] { Print(FOnPrintSetupEvent_M, FOnPrintSetupEvent); });
  connect(ActionPrintPreview, &QAction::triggered, this,
          [this] { Print(FOnPrintPreviewEvent_M, FOnPrintPreviewEvent); });
  connect(ActionPrintPrint, &QAction::triggered, this,
          [this] { Print(FOnPrintPrintEvent_M, FOnPrintPrintEvent); });
  KvSkinBarComboAction1->OnExecute = [this](QObject*) {
    KvSkins_ComboBox_ToSkin(nullptr, KvSkinBarComboAction1->Combo());
  };
  KvSkinBarComboAction1->OnChange = [this](QObject*) {
    KvSkins_ComboBox_ToSkin(nullptr, KvSkinBarComboAction1->Combo());
    if (FSkinChangedEvent) FSkinChangedEvent(this, KvGlobalInfo().strSkinName);
  };

  // The toolkit updates actions when idle; here a short timer stands in for that.
  FActionUpdate = new TKvTimer(this, 250);
  FActionUpdate->OnTimer = [this] { UpdateActions(); };
  FActionUpdate->SetEnabled(true);
  UpdateActions();

  DataModuleCreate();

  if (FCreated) {
    if (TFrmKvAbout* splash = KvBase_SplashForm()) splash->hide();
    MessageDlg(AlreadyLoaded, TMsgDlgType::mtError, mbOK);
  } else {
    FCreated = true;
  }
  FTemplateNewFile_Name = "NewFile";
  FTemplateNewFile_Ext = ".dat";
  const TKvGlobalInfo& info = KvGlobalInfo();
  KvApplication().HelpFile = !info.strAppHelpFile.isEmpty()
                                 ? info.strAppHelpFile
                                 : KvSysFolders().ProgramFile() + info.strAppHelpFileExt;
  if (first) KvAppServices_Install(this);
}

TDmKvBasic::~TDmKvBasic() {
  Log("In Destroy");
  KvFormStorage1->Save();
  if (DmKvBasic == this) {
    DmKvBasic = nullptr;
    FCreated = false;
    KvAppServices_Install(nullptr);
  }
}

void TDmKvBasic::DataModuleCreate() {
  FileOpen1->Dialog.Filter = OpenDialog1.Filter;
  FileOpen1->Dialog.DefaultExt = OpenDialog1.DefaultExt;
  FileSaveAs1->Dialog.Filter = SaveDialog1.Filter;
  FileSaveAs1->Dialog.DefaultExt = SaveDialog1.DefaultExt;
  FileExport1->Dialog.Filter = ExportDialog1.Filter;
  FileExport1->Dialog.DefaultExt = ExportDialog1.DefaultExt;
  FileExport1->Dialog.Title = ExportDialog1.Title;
  KvSkinBarComboAction1->setVisible(KvGlobalInfo().bAllowSkinChange);
  Log("In Create");
  Log("Before Initial SkinName setup UserSkin");
  KvSkinController().SkinName = KvSkin_UserSkin;
  Log("After  Initial SkinName setup UserSkin");
  KvFormStorage1->RestoreFormPlacement();
}

QList<QAction*> TDmKvBasic::Actions() const {
  QList<QAction*> list;
  for (const TActionText& t : ActionTexts)
    list.append(findChild<QAction*>(t.Name, Qt::FindDirectChildrenOnly));
  return list;
}

void TDmKvBasic::Log(const QString& msg) {
  KvSysHelper().SysLog_Add(this, "", msg);
}

void TDmKvBasic::RestorePlacement() {
  const QString docs = KvSys_GetPath("COMMONDOCS", false);
  auto forced = [](const QString& dir) {
    if (!dir.isEmpty() && !QDir(dir).exists()) KvSys_ForceFolder(dir);
    return dir;
  };
  SetFile_ActInitialDir(KvFormStorage1->ReadString("FOInDir", docs));
  OpenDialog1.InitialDir = SaveDialog1.InitialDir = forced(File_ActInitialDir());
  QString exportDir = KvFormStorage1->ReadString("FOExDir", docs);
  if (!exportDir.isEmpty() && !exportDir.endsWith('/')) exportDir += '/';
  FFile_ExportInitialDir = ExportDialog1.InitialDir = forced(exportDir);
  FileExport1->Dialog.InitialDir = ExportDialog1.InitialDir;
}

void TDmKvBasic::SavePlacement() {
  KvFormStorage1->WriteString("FOInDir", FileOpen1->Dialog.InitialDir);
  KvFormStorage1->WriteString("FOExDir", FileExport1->Dialog.InitialDir);
}

void TDmKvBasic::SetIsModified(bool value) {
  if (value == FIsModified) return;
  FIsModified = value;
  if (FModifiedChangedEvent) FModifiedChangedEvent(this, value);
}

void TDmKvBasic::SetIsFileLoaded(bool value) {
  FIsFileLoaded = value;
  UpdateActions();
}

void TDmKvBasic::SetMainForm(QWidget* form) {
  Log("Before SetMainForm");
  if (form) {
    FMainForm = form;
    UpdateMainForm_Caption();
    FStatusBar = FindFirst<QStatusBar>(form, "dxStatusBar", "dxStatusBar1");
    FMainFormStorage = FindFirst<TKvFormStorage>(form, "KvFormStorage", "KvFormStorage1");
  }
  Log("After  SetMainForm");
}

void TDmKvBasic::UpdateMainForm_Caption() {
  if (!FMainForm) return;
  FMainForm->setWindowTitle(QString(FIsModified ? "*" : "") + KvVersionInfo().strProductName +
                            ": (Version " + KvVersionInfo().strFileVersion + ")");
}

void TDmKvBasic::DoStatusBarNotify(const QString& Msg, bool bLog) {
  if (FOnStatusBarNotify) {
    FOnStatusBarNotify(this, Msg);
  } else if (FStatusBar) {
    // The bar's panels are its labels; a bar without any stays silent.
    QList<QLabel*> panels = FStatusBar->findChildren<QLabel*>(Qt::FindDirectChildrenOnly);
    if (!panels.isEmpty()) {
      panels.first()->setText(Msg);
      FStatusBar->repaint();
    }
  }
  if (bLog) KvSysHelper().SysLog_Add(nullptr, "DoStatusBarNotify", Msg);
}

void TDmKvBasic::DoStyleChangedNotify(int Style) {
  if (FOnStyleChangedEvent) FOnStyleChangedEvent(nullptr, Style);
}

void TDmKvBasic::StopTimersAndFlushLog() {
  if (auto timers = FindFirst<TKvTimerList>(FMainForm, "JvTimerList", "JvTimerList1"))
    for (TKvTimer* event : timers->Events) event->SetEnabled(false);
  KvSysHelper().SysLog_Flush();
}

void TDmKvBasic::GetProductEmail(QString& text) const {
  text = FOnProductInfoEvent ? FOnProductInfoEvent("Email") : ProductEmailDefault;
}

void TDmKvBasic::GetProductWeb(QString& text) const {
  text = FOnProductInfoEvent ? FOnProductInfoEvent("Web") : ProductWebDefault;
}

QString TDmKvBasic::DockLayoutFileName() const {
  return WithExt(KvAppIniFileStorage->FullFileName(), ".pos");
}

void TDmKvBasic::SaveDockLayout(QMainWindow* barManager) {
  if (!barManager) return;
  TKvIniFile ini;
  ini.SetValue(barManager->objectName(), "State",
               QString::fromLatin1(barManager->saveState().toBase64()));
  QFile file(DockLayoutFileName());
  KvSys_ForceFolder(QFileInfo(file).path());
  if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(ini.Serialize()) < 0)
    Log("Error: bar layout \"" + file.fileName() + "\" not saved. " + file.errorString());
}

void TDmKvBasic::LoadDockLayout(QMainWindow* barManager) {
  QFile file(DockLayoutFileName());
  if (!barManager || !file.open(QIODevice::ReadOnly)) return;
  TKvIniFile ini;
  ini.Parse(file.readAll());
  if (auto state = ini.Value(barManager->objectName(), "State"))
    barManager->restoreState(QByteArray::fromBase64(state->toLatin1()));
}

void TDmKvBasic::ActionFileExitExecute() {
  Log("Before UserExit");
  if (FMainForm) FMainForm->close();
  Log("After  UserExit");
}

void TDmKvBasic::ActionOptionHelpExecute() {
  const QString& help = KvApplication().HelpFile;
  if (!KvHelp_Show(help, FMainForm))
    DoStatusBarNotify("Error: Help file \"" + help + "\" is missing", true);
}

void TDmKvBasic::ActionOptionAboutExecute() {
  Log("Before Show About");
  if (FrmKvAbout) {
    Qt::KeyboardModifiers keys = QGuiApplication::queryKeyboardModifiers();
    if ((keys & Qt::ShiftModifier) && (keys & Qt::ControlModifier)) {
      FrmKvAbout->AsLog();
      FrmKvAbout->show();
    } else {
      FrmKvAbout->AsAbout();
      FrmKvAbout->UpdateAboutScreen();
      FrmKvAbout->exec();
    }
  }
  Log("After  Show About");
}

void TDmKvBasic::Print(const TNotifyEvent& first, const TNotifyEvent& handler) {
  if (!handler) return;
  if (first) first(this);
  handler(this);
  if (FMainForm) FMainForm->repaint();
}

void TDmKvBasic::UpdateActions() {
  ActionFileConnected->setEnabled(FOnCheckConnectionEvent && FOnCheckConnectionEvent(this, false));
  for (QAction* a : {ActionPrintSetup, ActionPrintPreview, ActionPrintPrint})
    a->setEnabled(FIsFileLoaded);
  FileSaveAs1->setEnabled(FileSaveAs1Update());
  FileExport1->setEnabled(FileExport1Update());
  ActionFileNext->setEnabled(ActionFileNextUpdate());
  ActionFilePrev->setEnabled(ActionFilePrevUpdate());
}
