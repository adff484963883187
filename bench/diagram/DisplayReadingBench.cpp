// One instrument reading on the display panel: Data2Display with its label texts and
// legends, the 26 tick look-ups and visibility changes, and the repaint of the panel that
// follows, at the design scale. The ring alternates between a low and a high level so that
// every pass changes ticks. The last two take the repaint apart: the diagram alone and the
// big figure alone.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QImage>
#include <QPainter>

#include "KvLib.h"
#include "UDmKvDiagramEditor.h"
#include "UDxLvxDisplay.h"

namespace {

TKvUniqueData Reading(double val) {
  TKvUniqueData d;
  d.dVal = val;
  d.strVal = QString::asprintf("%5.1f", val);
  d.dLo = 30;
  d.strLo = "30";
  d.dHi = 130;
  d.strHi = "130";
  d.strTime = "12:34:56";
  d.bA = d.bFast = d.bValid = d.bLive = d.bConnected = true;
  return d;
}

// Sized by the screen's resolution as the program sizes it: on a screen of 144 dots per inch
// (QT_QPA_PLATFORM=offscreen:configfile=tests/views/screen_144dpi.json) there are 2.5 times
// the pixels to paint.
struct Panel {
  TDmKvDiagramEditor editor;
  TFrmDxLvxDisplay form;
  const TKvDisplayScale scale = KvDisplay_ScaleFor(GetScreenDPI());
  QImage surface{scale.Width + 20, scale.Height + 20, QImage::Format_ARGB32_Premultiplied};
  Panel() {
    form.resize(surface.size());
    FrmDxLvxDisplay = &form;
  }
  ~Panel() { FrmDxLvxDisplay = nullptr; }
  void Paint() {
    QPainter p(&surface);
    form.render(&p);
  }
};

void BM_DisplayReading(benchmark::State& state) {
  Panel panel;
  const TKvUniqueData low = Reading(41.3), high = Reading(97.8);
  bool flip = false;
  for (auto _ : state) {
    panel.form.Data2Display((flip = !flip) ? high : low);
    panel.Paint();
  }
}
BENCHMARK(BM_DisplayReading)->Unit(benchmark::kMicrosecond);

// The reading without the repaint: what the main thread spends before painting.
void BM_DisplayReadingNoPaint(benchmark::State& state) {
  Panel panel;
  const TKvUniqueData low = Reading(41.3), high = Reading(97.8);
  bool flip = false;
  for (auto _ : state) panel.form.Data2Display((flip = !flip) ? high : low);
}
BENCHMARK(BM_DisplayReadingNoPaint)->Unit(benchmark::kMicrosecond);

void BM_PaintDiagramOnly(benchmark::State& state) {
  Panel panel;
  QWidget* d = panel.form.findChild<QWidget*>("kvDiagram1");
  for (auto _ : state) {
    QPainter p(&panel.surface);
    d->render(&p);
  }
}
BENCHMARK(BM_PaintDiagramOnly)->Unit(benchmark::kMicrosecond);

void BM_PaintBigFigure(benchmark::State& state) {
  Panel panel;
  for (auto _ : state) {
    QPainter p(&panel.surface);
    panel.form.cxLabelSoundVal->render(&p);
  }
}
BENCHMARK(BM_PaintBigFigure)->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv) {
  if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication app(argc, argv);
  for (const char* f : {"LCD_BaseB", "DS_Digital"}) LoadFontResource(f);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
