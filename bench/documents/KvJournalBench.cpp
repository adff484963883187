// The recording journal's cost on the main thread: encoding a reading with its checksum and
// queueing it for the writer thread, which writes and syncs it meanwhile. Also reports the
// disk bytes a reading takes and what reading a day's journal back costs.
#include <benchmark/benchmark.h>

#include <QFileInfo>
#include <QTemporaryDir>

#include "KvJournalWriter.h"

namespace {
TKvReadingValues Reading(int64_t i) {
  return {.dtDate = 46000,
          .dtTime = double(i % 86400) / 86400.0,
          .dVal = 40.0 + double(i % 500) / 10,
          .dLo = 30,
          .dHi = 80,
          .bA = true,
          .bFast = true};
}

void BM_JournalAppend(benchmark::State& state) {
  QTemporaryDir dir;
  TKvJournalWriter writer;
  writer.Open(dir.filePath("bench.jnl"), 0, 0);
  int64_t i = 0;
  for (auto _ : state) {
    writer.Append(Reading(i++));
    // The meter sends 13 a second; here the writer is given time to keep up now and then,
    // outside the measurement, so that the queue never fills.
    if (i % 4096 == 0) {
      state.PauseTiming();
      writer.Flush();
      state.ResumeTiming();
    }
  }
  writer.Close();
  state.counters["dropped"] = double(writer.Dropped());
  state.counters["disk_bytes_per_reading"] =
      double(QFileInfo(dir.filePath("bench.jnl")).size()) / double(std::max<int64_t>(i, 1));
}
BENCHMARK(BM_JournalAppend);

void BM_JournalReadADay(benchmark::State& state) {
  QTemporaryDir dir;
  const QString file = dir.filePath("day.jnl");
  {
    TKvJournalWriter writer;
    writer.Open(file, 0, 0);
    for (int64_t i = 0; i < 86400 * 13; ++i) writer.Append(Reading(i), true);
  }
  for (auto _ : state) benchmark::DoNotOptimize(KvJournal_Read(file).Readings.size());
  state.counters["readings"] = 86400 * 13;
}
BENCHMARK(BM_JournalReadADay)->Unit(benchmark::kMillisecond)->Iterations(3);
}  // namespace

BENCHMARK_MAIN();
