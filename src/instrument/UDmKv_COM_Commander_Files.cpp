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
#include "UDxExport.h"

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
  DmKvBasic->FOnFile_ExportEvent = [this](QObject* s, const QString& n, const QString& e, bool& b) {
    EvFile_Export(s, n, e, b);
  };
}

void TDmKv_COM_Commander::DetachDocumentHooks() {
  if (!DmKvBasic || DmKv_COM_Commander != this) return;
  DmKvBasic->FOnFile_ClearEvent = nullptr;
  DmKvBasic->FOnFile_LoadEvent = nullptr;
  DmKvBasic->FOnFile_SaveEvent = nullptr;
  DmKvBasic->FOnFile_ExportEvent = nullptr;
  // The export dialog keeps its settings through the application module: it goes first.
  delete FrmDxExport;
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

void TDmKv_COM_Commander::EvFile_Export(QObject*, const QString& sFileName, const QString&, bool&) {
  if (!FrmDxExport) new TFrmDxExport;
  KvMemTableData.SetIndexName(KvMemTableData.IndexDefs[0].Name);
  FrmDxExport->SetExportFileName(sFileName);
  FrmDxExport->SetExportFileFilter(DmKvBasic ? DmKvBasic->ExportDialog1.Filter
                                             : QString::fromLatin1(TDmKvBasic::ExportFilter));
  FrmDxExport->SetExportDataSet(&KvMemTableData);
  FrmDxExport->ExportDataSet_XML = &KvMemTableData;
  FrmDxExport->exec();
  // What the dialog chose is not used further here; the writers have done the work.
}
