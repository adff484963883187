// The commander's side of the document lifecycle: the application module hands it clear, load
// and save through its file events, and the table keeps a file of its own beside the
// settings for a document that has no name yet.
#include <QFile>
#include <QFileInfo>
#include <QWidget>

#include "KvRecordingJournal.h"
#include "KvSys_Helper.h"
#include "UDmKvBasic.h"
#include "UDmKv_COM_Commander.h"

namespace {
// The busy cursor for as long as a document is read or written, also when that throws; the
// program's nesting decides which request restores the arrow.
class TKvBusyCursor {
 public:
  TKvBusyCursor() { KvSysHelper().Cursor_AddWait(); }
  ~TKvBusyCursor() {
    KvSysHelper().Cursor_ReleaseOne();
    if (DmKvBasic && DmKvBasic->MainForm()) DmKvBasic->MainForm()->update();
  }
  TKvBusyCursor(const TKvBusyCursor&) = delete;
  TKvBusyCursor& operator=(const TKvBusyCursor&) = delete;
};
}  // namespace

void TDmKv_COM_Commander::AttachDocumentHooks() {
  if (DmKvBasic) {
    const QFileInfo settings(DmKvBasic->KvAppIniFileStorage->FullFileName());
    KvMemTableData.ResourceOptions.PersistentFileName =
        settings.path() + QLatin1Char('/') + settings.completeBaseName() + QStringLiteral(".dat");
  }
  KvMemTableData.Close();
  KvMemTableData.CreateDataSet();
  if (!DmKvBasic) return;
  DmKvBasic->FOnFile_ClearEvent = [this](QObject* s, const QString& n) { EvFile_Clear(s, n); };
  DmKvBasic->FOnFile_LoadEvent = [this](QObject* s, QString& n) { EvFile_Load(s, n); };
  DmKvBasic->FOnFile_SaveEvent = [this](QObject* s, const QString& n, bool& b) {
    EvFile_Save(s, n, b);
  };
}

void TDmKv_COM_Commander::DetachDocumentHooks() {
  if (!DmKvBasic || DmKv_COM_Commander != this) return;
  DmKvBasic->FOnFile_ClearEvent = nullptr;
  DmKvBasic->FOnFile_LoadEvent = nullptr;
  DmKvBasic->FOnFile_SaveEvent = nullptr;
}

void TDmKv_COM_Commander::EvFile_Clear(QObject*, const QString&) {
  if (KvMemTableData.OnChartClear) KvMemTableData.OnChartClear();
}

void TDmKv_COM_Commander::EvFile_Load(QObject*, QString& sFileName) {
  TKvBusyCursor busy;
  // Whatever was recorded was saved or given up when the user was asked before the load.
  if (Journal) Journal->Retire();
  // Stays False when the load throws: the chart keeps still until a good load.
  FAllowUpdateDS = false;
  auto mergePending = [this] {
    if (KvMemTableData.ChangeCount() > 0) KvMemTableData.MergeChangeLog();
  };
  mergePending();
  KvMemTableData.Close();
  KvMemTableData.CreateDataSet();
  mergePending();
  if (QFile::exists(sFileName)) KvMemTableData.LoadFromFile(sFileName, 0);
  KvMemTableData.Open();
  mergePending();
  FAllowUpdateDS = true;
  if (OnUpdateDataSet) OnUpdateDataSet(this);
}

void TDmKv_COM_Commander::EvFile_Save(QObject*, const QString& sFileName, bool& bSaved) {
  TKvBusyCursor busy;
  KvMemTableData.SaveToFile(sFileName, 2);
  if (!QFile::exists(sFileName)) bSaved = false;
  if (bSaved && Journal) Journal->Retire();
}
