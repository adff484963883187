// The table report to PDF: 1,000, 100,000 and 1,000,000 rows through the printing module, with
// pages per second as a counter. Page and preview files go to a temporary folder.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QTemporaryDir>

#include "KvDateTime.h"
#include "KvDialogs.h"
#include "KvDockedViews.h"
#include "KvStreamPort.h"
#include "KvSys_Helper.h"
#include "UDmDxPrinting.h"
#include "UDmKv_COM_Commander.h"
#include "UDxTable.h"

namespace {
class TNoPorts : public TKvPortList {
 public:
  QStringList Ports() const override { return {}; }
  bool PortExists(int) const override { return false; }
  void CheckPorts(int) override {}
};

// No printer on the machine; the PDF file dialog answers with one file.
class TPdfDialogs : public TKvDialogs {
 public:
  QString Pdf;
  int MessageDlg(const QString&, TMsgDlgType, int) override { return mrOk; }
  bool OpenFileDialog(TKvFileDialogRequest&) override { return false; }
  bool SaveFileDialog(TKvFileDialogRequest& r) override {
    r.FileName = Pdf;
    return true;
  }
};

void BM_TableToPdf(benchmark::State& state) {
  QTemporaryDir dir;
  KvSysFolders().RedirectTo(dir.path());
  TPdfDialogs dialogs;
  dialogs.Pdf = dir.filePath("table.pdf");
  KvDialogs_Install(&dialogs);
  TKvStreamPort port;
  TNoPorts ports;
  TDmKv_COM_Commander commander(&port, &ports);
  TDmDxPrinting printing;
  printing.OnProgress = [](int, int) { return true; };
  auto* table = new TFrmDxTable;
  FrmDxTable = table;
  commander.KvMemTableData.DisableControls();
  for (long long i = 0; i < state.range(0); ++i) {
    TKvUniqueData d;
    d.bValid = d.bConnected = true;
    d.dVal = 50 + double(i % 400) / 10;
    d.dLo = 50;
    d.dHi = 100;
    d.dtDate = EncodeDate(2026, 11, 1) + double(i / 86400);
    d.dtTime = double(i % 86400) / 86400.0;
    commander.AddData(d);
  }
  commander.KvMemTableData.EnableControls();
  table->resize(1000, 700);
  printing.SetCurrentLink(1);
  int pages = 0;
  for (auto _ : state) {
    printing.PrintPrint(0);
    pages = printing.dxComponentPrinter1Link_DB_Table.LastPageCount;
  }
  state.counters["pages"] = pages;
  state.counters["pages/s"] =
      benchmark::Counter(double(pages) * double(state.iterations()), benchmark::Counter::kIsRate);
  FrmDxTable = nullptr;
  delete table;
  KvDialogs_Install(nullptr);
  KvSysFolders().RedirectTo("");
}
BENCHMARK(BM_TableToPdf)
    ->Arg(1000)
    ->Arg(100000)
    ->Arg(1000000)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1)
    ->UseRealTime();
}  // namespace

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication app(argc, argv);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
