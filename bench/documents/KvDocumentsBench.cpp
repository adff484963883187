// Cost of recording a reading at 1,000 and at 1,000,000 rows, save and load of a
// 1,000,000-row document, and memory per row.
#include <benchmark/benchmark.h>

#include <QBuffer>
#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

#include "KvMeasurementTable.h"

namespace {
// About 13 readings a second, as the instrument sends them.
TKvReadingValues ReadingNo(int64_t i) {
  TKvReadingValues r;
  r.dtDate = EncodeDate(2026, 1, 1) + double(i / 13 / 86400);
  r.dtTime = double((i / 13) % 86400) / 86400.0;
  r.dVal = 40 + double(i % 500) / 10;
  r.dLo = 30;
  r.dHi = 130;
  r.bA = true;
  r.bFast = true;
  return r;
}

std::unique_ptr<TKvMeasurementTable> FilledTable(int64_t rows) {
  auto t = std::make_unique<TKvMeasurementTable>();
  t->CreateDataSet();
  for (int64_t i = 0; i < rows; ++i) t->PostReading(ReadingNo(i));
  return t;
}

void BM_PostReading(benchmark::State& state) {
  const int64_t rows = state.range(0);
  auto t = FilledTable(rows);
  int64_t i = rows;
  for (auto _ : state) t->PostReading(ReadingNo(i++));
  state.counters["rows"] = double(t->RecordCount());
}
// A fixed count of posts keeps the table near its starting size.
BENCHMARK(BM_PostReading)
    ->Arg(1000)
    ->Arg(1000000)
    ->Iterations(1000)
    ->Repetitions(9)
    ->ReportAggregatesOnly(true);

QString DocumentPath() {
  static QTemporaryDir dir;
  return dir.filePath("million.dat");
}

void BM_Save1M(benchmark::State& state) {
  auto t = FilledTable(1000000);
  for (auto _ : state) t->SaveToFile(DocumentPath(), 2);
  state.counters["bytes"] = double(QFile(DocumentPath()).size());
  state.counters["bytes_per_row"] = double(QFile(DocumentPath()).size()) / 1e6;
}
BENCHMARK(BM_Save1M)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(3);

void BM_Load1M(benchmark::State& state) {
  if (!QFile::exists(DocumentPath())) FilledTable(1000000)->SaveToFile(DocumentPath(), 2);
  TKvMeasurementTable t;
  for (auto _ : state) {
    t.CreateDataSet();
    t.LoadFromFile(DocumentPath());
  }
  state.counters["rows"] = double(t.RecordCount());
}
BENCHMARK(BM_Load1M)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(3);

// Resident memory: the engine's pools come straight from the system, outside the heap.
size_t ResidentBytes() {
  QFile status(QStringLiteral("/proc/self/statm"));
  if (!status.open(QIODevice::ReadOnly)) return 0;
  const QList<QByteArray> fields = status.readAll().split(' ');
  return fields.size() > 1 ? size_t(fields[1].toULongLong()) * 4096 : 0;
}

void BM_MemoryPerRow(benchmark::State& state) {
  for (auto _ : state) {
    const size_t before = ResidentBytes();
    auto t = FilledTable(1000000);
    const size_t after = ResidentBytes();
    state.counters["resident_bytes_per_row"] = double(after - before) / 1e6;
    state.counters["table_bytes_per_row"] = double(t->MemoryBytes()) / 1e6;
  }
}
BENCHMARK(BM_MemoryPerRow)->Unit(benchmark::kMillisecond)->Iterations(1);
}  // namespace

int main(int argc, char** argv) {
  QCoreApplication app(argc, argv);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
