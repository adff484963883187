// What a recorded reading costs the main thread with the table and chart docked and shown:
// at 1,000 and at 1,000,000 rows. Then the chart's replots at large sizes, a filter change
// and the chart's rebuild over a million rows.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QHBoxLayout>
#include <QTabWidget>
#include <memory>

#include "KvDockedViews.h"
#include "KvStreamPort.h"
#include "UDmKv_COM_Commander.h"
#include "UDxChart.h"
#include "UDxTable.h"

namespace {
class TNoPorts : public TKvPortList {
 public:
  QStringList Ports() const override { return {}; }
  bool PortExists(int) const override { return false; }
  void CheckPorts(int) override {}
};

TKvUniqueData Reading(long long i) {
  TKvUniqueData d;
  d.bValid = d.bConnected = true;
  d.dVal = 50 + double(i % 400) / 10;
  d.dLo = 50;
  d.dHi = 100;
  d.dtDate = EncodeDate(2026, 11, 1) + double(i / 13 / 86400);
  d.dtTime = double((i / 13) % 86400) / 86400.0;
  return d;
}

// The two panels in a window as the main window docks them, on the given tab.
struct TViews {
  TKvStreamPort Port;
  TNoPorts Ports;
  TDmKv_COM_Commander Commander{&Port, &Ports};
  QTabWidget Tabs;
  TFrmDxTable* Table;
  TFrmDxChart* Chart;
  long long Posted = 0;

  TViews(long long rows, int tab) {
    Table = new TFrmDxTable;
    Chart = new TFrmDxChart;
    FrmDxTable = Table;
    FrmDxChart = Chart;
    Tabs.addTab(Table, "Data table");
    Tabs.addTab(Chart, "Line chart");
    Chart->Channel_SetupBottomAxis("Date - Time", "dd.mm - hh:mm:ss");
    Chart->Channel_Add(1, "Level [dB]", "", true, "Level");
    Chart->Channel_Add(2, "Range Min", "", true, "Min");
    Chart->Channel_Add(3, "Range Max", "", true, "Max");
    Chart->Channel_Add(4, "Average", "AverageFunction", false, "Avg");
    Chart->Channel_CreateFromList();
    Commander.KvMemTableData.SetIndexName(tab == 0 ? TKvMeasurementTable::IndexDescName
                                                   : TKvMeasurementTable::IndexAscName);
    Commander.KvMemTableData.DisableControls();
    for (; Posted < rows; ++Posted) Commander.AddData(Reading(Posted));
    Commander.KvMemTableData.EnableControls();
    Tabs.setCurrentIndex(tab);
    Tabs.resize(1280, 800);
    Tabs.show();
    QApplication::processEvents();
  }
  ~TViews() {
    FrmDxTable = nullptr;
    FrmDxChart = nullptr;
  }
  // What the main window's display timer does with a recorded reading, and the repaint.
  void Record() {
    Table->AddData(Reading(Posted++));
    Chart->cxButtonShowAxisFullClick(&Tabs);
    QApplication::processEvents();
  }
};

void BM_RecordedReading(benchmark::State& state) {
  TViews views(state.range(0), int(state.range(1)));
  for (auto _ : state) views.Record();
  state.SetLabel(state.range(1) == 0 ? "table shown" : "chart shown");
}
BENCHMARK(BM_RecordedReading)
    ->Args({1000, 0})
    ->Args({1000000, 0})
    ->Args({1000, 1})
    ->Args({1000000, 1})
    ->Unit(benchmark::kMicrosecond);

// The level series filled at once, as a loaded document fills it.
void LoadLevels(TViews& views, long long count) {
  std::vector<double> keys, values;
  for (long long i = 0; i < count; ++i) {
    const TKvUniqueData d = Reading(i);
    keys.push_back(KvChart_Key(d.dtDate + d.dtTime));
    values.push_back(d.dVal);
  }
  views.Chart->Series(0).SetPoints(std::move(keys), std::move(values), {});
  views.Chart->DoChart_Autoscale();
}

void BM_ReplotAfterOnePoint(benchmark::State& state) {
  TViews views(0, 1);
  LoadLevels(views, state.range(0));
  long long i = state.range(0);
  // The first point after a load grows the series' storage once (a copy of all points);
  // what is measured is the steady state of a recording.
  const TKvUniqueData first = Reading(i++);
  views.Chart->Series(0).AddXY(first.dtDate + first.dtTime, first.dVal);
  views.Chart->DBChart->replot(QCustomPlot::rpImmediateRefresh);
  for (auto _ : state) {
    const TKvUniqueData d = Reading(i++);
    views.Chart->Series(0).AddXY(d.dtDate + d.dtTime, d.dVal);
    views.Chart->DoChart_Autoscale();
    views.Chart->DBChart->replot(QCustomPlot::rpImmediateRefresh);
  }
}
BENCHMARK(BM_ReplotAfterOnePoint)->Arg(1000000)->Arg(10000000)->Unit(benchmark::kMillisecond);

// A replot with nothing new: what drawing the chart costs whatever its points.
void BM_ReplotOnly(benchmark::State& state) {
  TViews views(0, 1);
  LoadLevels(views, state.range(0));
  for (auto _ : state) views.Chart->DBChart->replot(QCustomPlot::rpImmediateRefresh);
}
BENCHMARK(BM_ReplotOnly)->Arg(0)->Arg(1000000)->Unit(benchmark::kMillisecond);

void BM_FilterChange(benchmark::State& state) {
  TViews views(state.range(0), 0);
  bool on = false;
  for (auto _ : state) {
    on = !on;
    if (on)
      views.Table->SetColumnFilter("Y", {TKvFilterOp::GreaterOrEqual, 70, "70"});
    else
      views.Table->ClearFilter();
    QApplication::processEvents();
  }
}
BENCHMARK(BM_FilterChange)->Arg(1000000)->Unit(benchmark::kMillisecond);

void BM_ChartRebuild(benchmark::State& state) {
  TViews views(state.range(0), 1);
  for (auto _ : state) {
    views.Chart->DoChart_UpdateFromDataset(views.Commander.KvMemTableData);
    QApplication::processEvents();
  }
}
BENCHMARK(BM_ChartRebuild)->Arg(1000000)->Unit(benchmark::kMillisecond);

void BM_PartsOfAReading(benchmark::State& state) {
  TViews views(state.range(0), 0);
  QElapsedTimer t;
  qint64 add = 0, scale = 0, paint = 0;
  for (auto _ : state) {
    t.start();
    views.Table->AddData(Reading(views.Posted++));
    add += t.nsecsElapsed();
    t.start();
    views.Chart->cxButtonShowAxisFullClick(&views.Tabs);
    scale += t.nsecsElapsed();
    t.start();
    QApplication::processEvents();
    paint += t.nsecsElapsed();
  }
  state.counters["add_us"] = double(add) / 1000 / state.iterations();
  state.counters["scale_us"] = double(scale) / 1000 / state.iterations();
  state.counters["paint_us"] = double(paint) / 1000 / state.iterations();
}
BENCHMARK(BM_PartsOfAReading)->Arg(1000)->Arg(1000000)->Unit(benchmark::kMicrosecond);

// The reading alone, without repainting: what the table and chart do per row.
void BM_AddOnly(benchmark::State& state) {
  TViews views(state.range(0), 0);
  for (auto _ : state) views.Table->AddData(Reading(views.Posted++));
}
BENCHMARK(BM_AddOnly)->Arg(1000)->Arg(1000000)->Unit(benchmark::kMicrosecond);
}  // namespace

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication app(argc, argv);
  ::benchmark::Initialize(&argc, argv);
  ::benchmark::RunSpecifiedBenchmarks();
  return 0;
}
