#pragma once
// The application module: the actions, the settings store, the file dialogs and the hooks by
// which the main form and the panels plug into them. It knows the main form, whose caption
// and status bar it writes, and it is the application services the instrument link calls.
#include <QObject>
#include <QPointer>
#include <QStatusBar>
#include <QString>
#include <functional>

#include "KvAppIniFileStorage.h"
#include "KvAppServices.h"
#include "KvDialogs.h"
#include "KvFormStorage.h"

class QAction;
class QMainWindow;
class QWidget;
class TKvFileAction;
class TKvSkinBarComboAction;
class TKvTimer;

using TNotifyEvent = std::function<void(QObject* Sender)>;
using TKvStatusBarEvent = std::function<void(QObject* Sender, const QString& Msg)>;
using TKvStyleChangedEvent = std::function<void(QObject* Sender, int Style)>;
using TKvCheckConnectionEvent = std::function<bool(QObject* Sender, bool bAsk)>;
using TKvSkinChangedEvent = std::function<void(QObject* Sender, const QString& SkinName)>;
using TKvModifiedChangedEvent = std::function<void(QObject* Sender, bool bModified)>;
using TKvFileClearEvent = std::function<void(QObject* Sender, const QString& sFileName)>;
using TKvFileLoadEvent = std::function<void(QObject* Sender, QString& sFileName)>;
using TKvFileSaveEvent =
    std::function<void(QObject* Sender, const QString& sFileName, bool& bSaved)>;
using TKvFileExportEvent = std::function<void(QObject* Sender, const QString& sFileName,
                                              const QString& sFileExt, bool& bSaved)>;
// Answers a contact entry ("Email", "Web") of the product; empty for none.
using TKvProductInfoEvent = std::function<QString(const QString& Entry)>;

class TDmKvBasic : public QObject, public TKvAppServices {
  Q_OBJECT
 public:
  explicit TDmKvBasic(QObject* owner = nullptr);
  ~TDmKvBasic() override;

  static constexpr const char* AlreadyLoaded = "DmKvBasic: Module already loaded";
  static constexpr const char* DataFilter = "Data file (*.dat)|*.dat|All files (*.*)|*.*";
  static constexpr const char* ExportFilter =
      "Comma separated file (*.csv;*.txt)|*.csv;*.txt|XML data file (*.xml)|*.xml|"
      "All files (*.*)|*.*";

  // Components.
  TKvAppIniFileStorage* KvAppIniFileStorage;
  TKvFormStorage* KvFormStorage1;
  QAction* ActionFileConnected;
  QAction* ActionFileNew;
  TKvFileAction* FileOpen1;
  TKvFileAction* FileSaveAs1;
  QAction* ActionFileNext;
  QAction* ActionFilePrev;
  QAction* ActionPrintSetup;
  QAction* ActionPrintPreview;
  QAction* ActionPrintPrint;
  TKvFileAction* FileExport1;
  QAction* ActionFileExit;
  QAction* ActionOptionHelp;
  QAction* ActionOptionAbout;
  TKvSkinBarComboAction* KvSkinBarComboAction1;
  QList<QAction*> Actions() const;  // in the order of the list
  TKvFileDialogRequest SaveDialog1;
  TKvFileDialogRequest OpenDialog1;
  TKvFileDialogRequest ExportDialog1;

  QString FFirmwareVersion, FFirmwareDate;
  TKvStatusBarEvent FOnStatusBarNotify;
  TNotifyEvent FOnRequestSaveFileEvent;
  TKvStyleChangedEvent FOnStyleChangedEvent;
  TKvCheckConnectionEvent FOnCheckConnectionEvent;
  TKvSkinChangedEvent FSkinChangedEvent;
  TNotifyEvent FOnPrintSetupEvent, FOnPrintPreviewEvent, FOnPrintPrintEvent;
  TNotifyEvent FOnPrintSetupEvent_M, FOnPrintPreviewEvent_M, FOnPrintPrintEvent_M;
  QString FTemplateNewFile_Name, FTemplateNewFile_Ext;
  QString FSaveFile_Last, FExportFile_Last;
  TKvFileSaveEvent FOnFile_SaveEvent;
  TKvFileLoadEvent FOnFile_LoadEvent;
  TKvFileClearEvent FOnFile_ClearEvent;
  TNotifyEvent FOnTable_ClearEvent;
  TKvFileExportEvent FOnFile_ExportEvent;
  TNotifyEvent FOnFileNameChangedEvent;
  TKvModifiedChangedEvent FModifiedChangedEvent;
  QString FFile_NewName, FFile_ExportName, FFile_ExportExt, FFile_ExportInitialDir;
  TKvProductInfoEvent FOnProductInfoEvent;
  // Contact defaults while no information listener answers.
  QString ProductEmailDefault = "support@brevik-acoustics.example";
  QString ProductWebDefault = "https://www.brevik-acoustics.example";

  // TKvAppServices
  void DoStatusBarNotify(const QString& Msg, bool bLog) override;
  bool IsModified() const override { return FIsModified; }
  void SetIsModified(bool value) override;
  bool IsFileLoaded() const override { return FIsFileLoaded; }
  void SetIsFileLoaded(bool value) override;

  void SetMainForm(QWidget* form);
  QWidget* MainForm() const { return FMainForm; }
  QStatusBar* StatusBar() const { return FStatusBar; }
  TKvFormStorage* MainFormStorage() const { return FMainFormStorage; }
  void UpdateMainForm_Caption();
  void DoStyleChangedNotify(int Style);
  void EvFormCloseQuery(QObject* Sender, bool& CanClose);
  void GetProductEmail(QString& text) const;
  void GetProductWeb(QString& text) const;
  // The bar layout lives beside the settings file as "<settings>.pos".
  QString DockLayoutFileName() const;
  void SaveDockLayout(QMainWindow* barManager);
  void LoadDockLayout(QMainWindow* barManager);

  // The document's full path: the name in the save action's dialog.
  QString File_ActName() const;
  void SetFile_ActName(const QString& value);
  // The documents folder, with a trailing '/': the open dialog's initial folder.
  QString File_ActInitialDir() const;
  void SetFile_ActInitialDir(const QString& value);
  // The first free "NewFile<n>.dat" in the documents folder; nothing is created.
  QString File_NewName_Create() const;
  void SetLoadSave_Filter(const QString& filter, const QString& defaultExt);

  // The document lifecycle. Load and save are the commander's, through the file events;
  // their exceptions (a damaged document, an unwritable folder) pass through unchanged.
  void ActionFileNewExecute();
  void FileOpen1BeforeExecute();
  void FileOpen1Accept();
  void FileSaveAs1BeforeExecute();
  void FileSaveAs1Accept();
  void FileSaveAs1Cancel();
  bool FileSaveAs1Update() const;
  void ActionFileNextExecute();
  bool ActionFileNextUpdate() const;
  void ActionFilePrevExecute();
  bool ActionFilePrevUpdate() const;
  void Table_Clear();
  // Export hands the document to the commander's dialog; the action's own dialog never opens.
  void FileExport1BeforeExecute();
  bool FileExport1Update() const;
  // The export dialog's folder, with a trailing '/'.
  void SetFile_ExportInitialDir(const QString& value);

  void ActionFileExitExecute();
  void ActionOptionHelpExecute();
  void ActionOptionAboutExecute();
  // What the toolkit's idle update does for the lamp and the print actions.
  void UpdateActions();

 private:
  void DataModuleCreate();
  void Log(const QString& msg);
  void Print(const TNotifyEvent& first, const TNotifyEvent& handler);
  void RestorePlacement();
  void SavePlacement();
  void ConnectFileActions();
  void StopTimersAndFlushLog();
  // Clears the chart and loads the named document (none: an empty table) into the table.
  void LoadDocument();
  // Yes: saved, or answered No. False: stop, the status has said why.
  bool SaveBeforeLoading(const QString& notLoadedName);

  static bool FCreated;
  bool FIsModified = false;
  bool FIsFileLoaded = false;
  QPointer<QWidget> FMainForm;
  QPointer<QStatusBar> FStatusBar;
  QPointer<TKvFormStorage> FMainFormStorage;
  TKvTimer* FActionUpdate;
};

// The program-wide application module; nullptr until it is created.
extern TDmKvBasic* DmKvBasic;
