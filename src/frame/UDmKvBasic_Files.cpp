// The document lifecycle of the application module: New, Open, Save As, Next, Previous and
// the questions before a document is replaced. The module knows nothing of tables: the
// commander loads and saves through the file events.
#include <QFile>

#include "KvFileWalk.h"
#include "KvStdActns.h"
#include "KvSys_Helper.h"
#include "UDmKvBasic.h"

namespace {
QString FileText(const QString& fileName, const char* what) {
  return QStringLiteral("File \"") + KvFile_ExtractName(fileName) + QStringLiteral("\" ") +
         QLatin1String(what);
}

int AskSaveBeforeLoading(const QString& actName) {
  return MessageDlg(QStringLiteral("The actual \"") + KvFile_ExtractName(actName) +
                        QStringLiteral("\" document was modified.\r\n\r\nDo you want to save "
                                       "the content before loading ?"),
                    TMsgDlgType::mtConfirmation, mbYesNoCancel);
}
}  // namespace

void TDmKvBasic::ConnectFileActions() {
  connect(ActionFileNew, &QAction::triggered, this, &TDmKvBasic::ActionFileNewExecute);
  connect(ActionFileNext, &QAction::triggered, this, &TDmKvBasic::ActionFileNextExecute);
  connect(ActionFilePrev, &QAction::triggered, this, &TDmKvBasic::ActionFilePrevExecute);
  FileOpen1->BeforeExecute = [this](QObject*) { FileOpen1BeforeExecute(); };
  FileOpen1->OnAccept = [this](QObject*) { FileOpen1Accept(); };
  FileSaveAs1->BeforeExecute = [this](QObject*) { FileSaveAs1BeforeExecute(); };
  FileSaveAs1->OnAccept = [this](QObject*) { FileSaveAs1Accept(); };
  FileSaveAs1->OnCancel = [this](QObject*) { FileSaveAs1Cancel(); };
  FileExport1->BeforeExecute = [this](QObject*) { FileExport1BeforeExecute(); };
}

QString TDmKvBasic::File_ActName() const {
  return FileSaveAs1->Dialog.FileName;
}

void TDmKvBasic::SetFile_ActName(const QString& value) {
  if (FileOpen1->Dialog.FileName == value && FileSaveAs1->Dialog.FileName == value) return;
  FileOpen1->Dialog.FileName = value;
  FileSaveAs1->Dialog.FileName = value;
  SetFile_ActInitialDir(KvFile_ExtractPath(value));
  if (FOnFileNameChangedEvent) FOnFileNameChangedEvent(this);
}

QString TDmKvBasic::File_ActInitialDir() const {
  return FileOpen1->Dialog.InitialDir;
}

void TDmKvBasic::SetFile_ActInitialDir(const QString& value) {
  QString dir = value.isEmpty() ? KvSys_GetPath(QStringLiteral("COMMONDOCS"), false) : value;
  if (!dir.isEmpty() && !dir.endsWith(QLatin1Char('/'))) dir += QLatin1Char('/');
  FileOpen1->Dialog.InitialDir = KvFile_ExtractPath(dir);
  FileSaveAs1->Dialog.InitialDir = FileOpen1->Dialog.InitialDir;
}

QString TDmKvBasic::File_NewName_Create() const {
  const QString name = KvFile_ExtractName(FTemplateNewFile_Name);
  QString ext = FTemplateNewFile_Ext;
  if (!ext.isEmpty() && !ext.startsWith(QLatin1Char('.'))) ext.prepend(QLatin1Char('.'));
  ext = KvFile_ExtractExt(ext);
  QString folder = File_ActInitialDir();
  if (!folder.isEmpty() && !folder.endsWith(QLatin1Char('/'))) folder += QLatin1Char('/');
  QString candidate;
  for (int number = 1;; ++number) {
    candidate = folder + name + QString::number(number) + ext;
    if (!QFile::exists(candidate)) return candidate;
  }
}

void TDmKvBasic::SetLoadSave_Filter(const QString& filter, const QString& defaultExt) {
  for (TKvFileDialogRequest* dialog :
       {&OpenDialog1, &SaveDialog1, &FileOpen1->Dialog, &FileSaveAs1->Dialog}) {
    dialog->Filter = filter;
    dialog->DefaultExt = defaultExt;
  }
}

void TDmKvBasic::LoadDocument() {
  if (FOnFile_ClearEvent) FOnFile_ClearEvent(this, File_ActName());
  if (FOnFile_LoadEvent) {
    QString name = File_ActName();
    FOnFile_LoadEvent(this, name);
    SetFile_ActName(name);
  }
}

void TDmKvBasic::ActionFileNewExecute() {
  FFile_NewName = File_NewName_Create();
  if (FIsModified) {
    const QString notCreated = FileText(FFile_NewName, "not created, aborted by user");
    const int answer = MessageDlg(
        QStringLiteral("The actual document \"") + KvFile_ExtractName(File_ActName()) +
            QStringLiteral("\" was modified.\r\n\r\nDo you want to save the content before "
                           "creating new file ?"),
        TMsgDlgType::mtConfirmation, mbYesNoCancel);
    if (answer == mrCancel) {
      DoStatusBarNotify(notCreated, true);
      FFile_NewName.clear();
      return;
    }
    if (answer == mrYes) {
      FSaveFile_Last.clear();
      bool saved = true, dialogUsed = false;
      if (!File_ActName().isEmpty()) {
        FileSaveAs1Accept();
      } else {
        FileSaveAs1->Dialog.FileName = FFile_NewName;
        saved = FileSaveAs1->Execute();
        dialogUsed = true;
      }
      if (!saved || FileSaveAs1->Tag != 0 || FIsModified) {
        DoStatusBarNotify(notCreated, true);
        FFile_NewName.clear();
        return;
      }
      if (dialogUsed) FFile_NewName = FileSaveAs1->Dialog.FileName;
    }
  }
  if (File_ActName() != FFile_NewName) SetFile_ActName(FFile_NewName);
  LoadDocument();
  SetIsFileLoaded(true);
  DoStatusBarNotify(FileText(File_ActName(), "created"), true);
  SetIsModified(false);
  FFile_NewName.clear();
}

void TDmKvBasic::FileOpen1BeforeExecute() {
  FileOpen1->Dialog.InitialDir = File_ActInitialDir();
  FFile_NewName.clear();
}

bool TDmKvBasic::SaveBeforeLoading(const QString& notLoadedName) {
  if (!FIsModified) return true;
  const int answer = AskSaveBeforeLoading(File_ActName());
  if (answer == mrYes) FileSaveAs1Accept();
  if (answer == mrCancel || (answer == mrYes && (FileSaveAs1->Tag != 0 || FIsModified))) {
    DoStatusBarNotify(FileText(notLoadedName, "not loaded, aborted by user"), true);
    FFile_NewName.clear();
    return false;
  }
  return true;
}

void TDmKvBasic::FileOpen1Accept() {
  if (FFile_NewName.isEmpty()) FFile_NewName = FileOpen1->Dialog.FileName;
  if (!SaveBeforeLoading(FFile_NewName)) return;
  if (!FFile_NewName.isEmpty()) FileOpen1->Dialog.FileName = FFile_NewName;
  SetFile_ActName(FileOpen1->Dialog.FileName);
  LoadDocument();
  DoStatusBarNotify(FileText(File_ActName(), "loaded"), true);
  SetIsModified(false);
  SetIsFileLoaded(true);
  FSaveFile_Last = FileOpen1->Dialog.FileName;
  FFile_NewName.clear();
}

void TDmKvBasic::FileSaveAs1BeforeExecute() {
  FileSaveAs1->Tag = 0;
  FSaveFile_Last = FileSaveAs1->Dialog.FileName;
  if (FSaveFile_Last.isEmpty()) FileSaveAs1->Dialog.FileName = File_NewName_Create();
}

void TDmKvBasic::FileSaveAs1Cancel() {
  FileSaveAs1->Tag = 1;
}

bool TDmKvBasic::FileSaveAs1Update() const {
  return !File_ActName().isEmpty() || FIsModified;
}

void TDmKvBasic::FileSaveAs1Accept() {
  // The save dialog holds the name; the setter brings the open dialog and the folder along.
  const QString name = FileSaveAs1->Dialog.FileName;
  SetFile_ActName(name);
  if (name != FSaveFile_Last && QFile::exists(name)) {
    const int answer =
        MessageDlg(QStringLiteral("The file \r\n\r\n") + name +
                       QStringLiteral("\r\n\r\nalready exists:\r\n\r\nDo you want to overwrite "
                                      "this file with the new document ?"),
                   TMsgDlgType::mtConfirmation, mbYesNo);
    if (answer != mrYes) {
      DoStatusBarNotify(FileText(name, "not saved, aborted by user"), true);
      if (!FSaveFile_Last.isEmpty()) SetFile_ActName(FSaveFile_Last);
      return;
    }
  }
  bool bSaved = true;
  if (FOnFile_SaveEvent) FOnFile_SaveEvent(this, name, bSaved);
  FSaveFile_Last = name;
  if (bSaved) {
    SetIsModified(false);
    FileSaveAs1->Tag = 0;
    DoStatusBarNotify(FileText(name, "saved"), true);
  } else {
    DoStatusBarNotify(FileText(name, "NOT saved, please check drive"), true);
  }
}

void TDmKvBasic::ActionFileNextExecute() {
  const QString ext = KvFile_ExtractExt(File_ActName());
  QString next = KvFile_FindNext(File_ActName(), ext);
  if (next.isEmpty() &&
      MessageDlg(QStringLiteral("All files were processed.\r\n\r\nDo you want to load the first "
                                "file ?"),
                 TMsgDlgType::mtConfirmation, mbYesNo) == mrYes)
    next = KvFile_FindNext(KvFile_ExtractPath(File_ActName()), ext);
  if (next.isEmpty()) return;
  FFile_NewName = next;
  FileOpen1Accept();
}

bool TDmKvBasic::ActionFileNextUpdate() const {
  return !File_ActName().isEmpty();
}

void TDmKvBasic::ActionFilePrevExecute() {
  const QString prev = KvFile_FindPrev(File_ActName(), KvFile_ExtractExt(File_ActName()));
  if (prev.isEmpty()) return;
  FFile_NewName = prev;
  FileOpen1Accept();
}

bool TDmKvBasic::ActionFilePrevUpdate() const {
  return !File_ActName().isEmpty();
}

void TDmKvBasic::SetFile_ExportInitialDir(const QString& value) {
  QString dir = value.isEmpty() ? KvSys_GetPath(QStringLiteral("COMMONDOCS"), false) : value;
  if (!dir.isEmpty() && !dir.endsWith(QLatin1Char('/'))) dir += QLatin1Char('/');
  FFile_ExportInitialDir = ExportDialog1.InitialDir = FileExport1->Dialog.InitialDir = dir;
}

void TDmKvBasic::FileExport1BeforeExecute() {
  FileExport1->Tag = 0;
  FExportFile_Last = FileExport1->Dialog.FileName;
  const QString actName = File_ActName();
  FFile_ExportName =
      actName.left(actName.size() - KvFile_ExtractExt(actName).size()) + QStringLiteral(".csv");
  FFile_ExportExt = KvFile_ExtractExt(FFile_ExportName);
  SetFile_ExportInitialDir(KvFile_ExtractPath(FFile_ExportName));
  bool bSaved = true;
  if (FOnFile_ExportEvent) FOnFile_ExportEvent(this, FFile_ExportName, FFile_ExportExt, bSaved);
  FExportFile_Last = FFile_ExportName;
  // Whatever the dialog did, Cancel included, the document counts as exported.
  if (bSaved) {
    SetIsModified(false);
    DoStatusBarNotify(FileText(FFile_ExportName, "exported"), true);
  } else {
    DoStatusBarNotify(FileText(FFile_ExportName, "NOT exported, please check drive"), true);
  }
  FileExport1->Abort();
}

bool TDmKvBasic::FileExport1Update() const {
  return !File_ActName().isEmpty();
}

void TDmKvBasic::Table_Clear() {
  if (FOnTable_ClearEvent) FOnTable_ClearEvent(this);
}

void TDmKvBasic::EvFormCloseQuery(QObject*, bool& CanClose) {
  Log(QStringLiteral("In EvFormCloseQuery"));
  if (FIsModified) {
    const int answer = AskSaveBeforeLoading(File_ActName());
    if (answer == mrCancel) {
      DoStatusBarNotify(FileText(File_ActName(), "not saved, aborted by user"), false);
      CanClose = false;
      return;
    }
    if (answer == mrYes) FileSaveAs1Accept();
  }
  StopTimersAndFlushLog();
}
