// Export of a 1,000,000-row recording: the CSV text alone, the CSV export of the dialog with
// its progress bar on screen (moving, and the window repainting while the walk runs), and the
// XML export and its re-import.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QFile>
#include <QProgressBar>
#include <QTemporaryDir>
#include <fstream>
#include <string>

#include "KvClock.h"
#include "KvExportWriter.h"
#include "KvMeasurementTable.h"
#include "KvXMLStorage.h"
#include "UDmKvBasic.h"
#include "UDxExport.h"

namespace {
constexpr int Rows = 1000000;

// About 13 readings a second, as the instrument sends them.
TKvReadingValues ReadingNo(int64_t i) {
  TKvReadingValues r;
  r.dtDate = EncodeDate(2026, 1, 1) + double(i / 13 / 86400);
  r.dtTime = double((i / 13) % 86400) / 86400.0;
  r.dVal = 40 + double(i % 500) / 10 + (i % 7 == 0 ? 0.0123 : 0);
  r.dLo = 30;
  r.dHi = 130;
  r.bA = i % 2 == 0;
  r.bC = !r.bA;
  r.bFast = true;
  return r;
}

TKvMeasurementTable& Million() {
  static TKvMeasurementTable* t = [] {
    auto table = new TKvMeasurementTable;
    table->CreateDataSet();
    for (int64_t i = 0; i < Rows; ++i) table->PostReading(ReadingNo(i));
    table->SetIndexName(TKvMeasurementTable::IndexAscName);
    return table;
  }();
  return *t;
}

QString Target(const char* name) {
  static QTemporaryDir dir;
  return dir.filePath(name);
}

// Resident memory in bytes, and its peak since the last reset, from the kernel's account.
double StatusBytes(const std::string& key) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.rfind(key + ":", 0) == 0) return std::stod(line.substr(key.size() + 1)) * 1024;
  return 0;
}
void ResetPeak() {
  std::ofstream("/proc/self/clear_refs") << "5";
}

// The real clock without the pause that lets the user see the full bar.
class TNoPauseClock : public TKvRealClock {
 public:
  void ProcessMessagesFor(int) override { ProcessMessages(); }
};

void BM_CsvText1M(benchmark::State& state) {
  TKvMeasurementTable& t = Million();
  qsizetype bytes = 0;
  for (auto _ : state) {
    const QByteArray text = KvExport_CsvText(t, KvExport_Columns(t), {});
    KvExport_WriteFile(Target("text.csv"), text);
    bytes = text.size();
  }
  state.counters["bytes"] = double(bytes);
}
BENCHMARK(BM_CsvText1M)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(3);

void BM_CsvExportDialog1M(benchmark::State& state) {
  TKvMeasurementTable& t = Million();
  TNoPauseClock clock;
  KvClock_Install(&clock);
  TFrmDxExport dialog;
  dialog.SetExportFileFilter(TDmKvBasic::ExportFilter);
  dialog.SetExportDataSet(&t);
  dialog.SetExportFileName(Target("dialog.csv"));
  dialog.show();
  QCoreApplication::processEvents();
  int moves = 0, paints = 0;
  QObject::connect(dialog.cxProgressBarExport, &QProgressBar::valueChanged, [&] { ++moves; });
  struct TPaintCount : QObject {
    int* Count;
    bool eventFilter(QObject*, QEvent* e) override {
      if (e->type() == QEvent::Paint) ++*Count;
      return false;
    }
  } counter;
  counter.Count = &paints;
  dialog.cxProgressBarExport->installEventFilter(&counter);
  double peak = 0;
  for (auto _ : state) {
    QFile::remove(Target("dialog.csv"));
    ResetPeak();
    const double before = StatusBytes("VmRSS");
    dialog.DoExport_CSV();
    peak = StatusBytes("VmHWM") - before;
  }
  KvClock_Install(nullptr);
  state.counters["bar_moves"] = moves;
  state.counters["bar_paints"] = paints;
  state.counters["file_bytes"] = double(QFile(Target("dialog.csv")).size());
  state.counters["peak_growth_bytes"] = peak;
}
BENCHMARK(BM_CsvExportDialog1M)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(3);

void BM_XmlExport1M(benchmark::State& state) {
  TKvMeasurementTable& t = Million();
  for (auto _ : state) t.SaveToFile(Target("million.xml"), TKvXMLStorage::FormatNumber);
  state.counters["bytes"] = double(QFile(Target("million.xml")).size());
}
BENCHMARK(BM_XmlExport1M)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(3);

void BM_XmlImport1M(benchmark::State& state) {
  if (!QFile::exists(Target("million.xml")))
    Million().SaveToFile(Target("million.xml"), TKvXMLStorage::FormatNumber);
  int rows = 0;
  for (auto _ : state) {
    TKvMeasurementTable back;
    back.CreateDataSet();
    back.LoadFromFile(Target("million.xml"));
    rows = back.RecordCount();
  }
  state.counters["rows"] = rows;
}
BENCHMARK(BM_XmlImport1M)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(3);
}  // namespace

int main(int argc, char** argv) {
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication app(argc, argv);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
