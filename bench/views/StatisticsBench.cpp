// What the acoustic statistics cost: all figures of a million-row document (one pass and the
// selection), and the statistics strip's share of a recorded reading, on top of a million rows.
#include <benchmark/benchmark.h>

#include <QApplication>

#include "KvLevelStatistics.h"
#include "KvMeasurementTable.h"
#include "KvMemTableModel.h"
#include "KvStatisticsStrip.h"

namespace {
TKvReadingValues Reading(long long i) {
  TKvReadingValues r;
  r.dVal = 40 + double((i * 7919) % 700) / 10;  // levels all over 40..110 dB
  r.dLo = 30;
  r.dHi = 130;
  r.dtDate = EncodeDate(2026, 11, 1) + double(i / 13 / 86400);
  r.dtTime = double((i / 13) % 86400) / 86400.0;
  return r;
}

// The recorder's table (newest first) with `rows` readings.
std::unique_ptr<TKvMeasurementTable> Filled(long long rows) {
  auto table = std::make_unique<TKvMeasurementTable>();
  table->CreateDataSet();
  table->Open();
  table->DisableControls();
  for (long long i = 0; i < rows; ++i) table->PostReading(Reading(i));
  table->EnableControls();
  return table;
}

void BM_StatisticsOfADocument(benchmark::State& state) {
  auto table = Filled(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(KvLevelStatistics_Of(*table));
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_StatisticsOfADocument)->Arg(1000000)->Unit(benchmark::kMillisecond);

// A reading posted through the grid's model, with the strip following it (1) or without (0):
// the difference is what the strip costs a reading.
void BM_PostedReading(benchmark::State& state) {
  auto table = Filled(1000000);
  TKvMemTableModel model(*table, {{"c", "Y", "", -1}});
  std::unique_ptr<TKvStatisticsStrip> strip;
  if (state.range(0)) strip = std::make_unique<TKvStatisticsStrip>(*table, model);
  long long i = 1000000;
  for (auto _ : state) table->PostReading(Reading(i++));
  state.SetLabel(state.range(0) ? "with strip" : "without strip");
}
BENCHMARK(BM_PostedReading)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

// The strip's own work for one reading: read the row, tally it, all figures and texts.
void BM_StripReading(benchmark::State& state) {
  auto table = Filled(1000000);
  TKvMemTableModel model(*table, {{"c", "Y", "", -1}});
  TKvStatisticsStrip strip(*table, model);
  for (auto _ : state) strip.ReadingShown(int(state.iterations() % 1000));
}
BENCHMARK(BM_StripReading)->Unit(benchmark::kMicrosecond);
}  // namespace

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication app(argc, argv);
  ::benchmark::Initialize(&argc, argv);
  ::benchmark::RunSpecifiedBenchmarks();
  return 0;
}
