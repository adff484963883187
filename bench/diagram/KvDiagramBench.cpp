// The engine's cost per instrument reading: 26 look-ups by name on a diagram of 100
// controls, and a repaint of the display's scene (26 rotated tick polygons, 12 text blocks,
// 6 dots) at 100% and 157%.
#include <benchmark/benchmark.h>

#include <QApplication>
#include <QImage>
#include <QMouseEvent>
#include <QPainter>
#include <cmath>

#include "KvDiagram.h"

namespace {

TPolygonBlock* AddPolygon(TKvDiagram* d, QObject* owner, const QString& name, const TSquare& r,
                          double angle) {
  auto* p = new TPolygonBlock(owner);
  p->SetName(name);
  p->SetDiagram(d);
  p->FBrush = {clBlack, bsSolid};
  p->SetColor(clBlack);
  p->SetRotationCenter({0, 50});
  p->SetAngle(angle);
  for (TDot q :
       {r.TopLeft(), TDot{r.Right, r.Top}, r.BottomRight(), TDot{r.Left, r.Bottom}, r.TopLeft()})
    p->AddPoint(q.X, q.Y);
  p->SetBoundsRect(r);
  return p;
}

// The instrument display's scene; `extra` further controls make up a larger diagram.
struct DisplayScene {
  QWidget owner;
  TKvDiagram* diagram = new TKvDiagram(&owner);
  std::vector<QString> tickNames;

  explicit DisplayScene(int extra = 0) {
    diagram->resize(410, 315);
    diagram->Color = 0xA3DF9F;
    diagram->Font = TKvFont{"DejaVu Sans", 8, true};
    const char* texts[] = {"SENDING", "MEMO", "MAX",  "SLOW", "FAST", "UNDER",
                           "OVER",    "TIME", "A  C", "dB",   "30",   "00:00:00"};
    for (int i = 0; i < 12; ++i) {
      auto* t = new TTextBlock(&owner);
      t->SetName(QString("TextBlock_%1").arg(i));
      t->SetDiagram(diagram);
      t->SetBounds(10 + (i % 4) * 100, 5 + (i / 4) * 100, 100, 44);
      t->SetStrings(texts[i]);
    }
    const TDot dots[] = {{54.2, 85.2},  {106.4, 47.0}, {231.5, 25.8},
                         {292.9, 45.1}, {166.4, 26.5}, {343.7, 84.7}};
    for (int i = 0; i < 6; ++i)
      AddPolygon(diagram, &owner, QString("PolygonBlock%1").arg(i + 1),
                 {dots[i].X, dots[i].Y, dots[i].X + 5, dots[i].Y + 5}, 0);
    for (int i = 0; i < extra; ++i) {
      auto* b = new TDiagramBlock(&owner);
      b->SetDiagram(diagram);
      b->SetBounds(i * 3, 300, 2, 2);
    }
    double a = 140, angle = 130;
    for (int n = 0; n < 26; ++n, a -= 4, angle += 4) {
      double rad = a * 0.017453292519943295, lift = n % 5 == 0 ? 5 : 0;
      TSquare r{185 + 150 * std::cos(rad) + n, 190 - 150 * std::sin(rad) - lift,
                187 + 150 * std::cos(rad) + n, 210 - 150 * std::sin(rad)};
      tickNames.push_back(QString("poly%1").arg(n));
      AddPolygon(diagram, &owner, tickNames.back(), r, angle);
    }
  }
};

void BM_FindBlock26Of100(benchmark::State& state) {
  DisplayScene scene(100 - 44);
  for (auto _ : state)
    for (const QString& name : scene.tickNames)
      benchmark::DoNotOptimize(scene.diagram->FindBlock(name));
  state.counters["controls"] = scene.diagram->DControlCount();
}
BENCHMARK(BM_FindBlock26Of100);

void BM_RepaintDisplay(benchmark::State& state) {
  DisplayScene scene;
  scene.diagram->SetZoom(int(state.range(0)));
  double z = state.range(0) / 100.0;
  QImage target(int(410 * z), int(315 * z), QImage::Format_ARGB32_Premultiplied);
  for (auto _ : state) {
    QPainter p(&target);
    scene.diagram->PaintTo(p, target.rect());
  }
}
BENCHMARK(BM_RepaintDisplay)->Arg(100)->Arg(157)->Unit(benchmark::kMicrosecond);

// One reading: the bar graph's 26 look-ups and visibility changes, then the repaint.
void BM_ReadingWithRepaint(benchmark::State& state) {
  DisplayScene scene;
  scene.diagram->SetZoom(int(state.range(0)));
  double z = state.range(0) / 100.0;
  QImage target(int(410 * z), int(315 * z), QImage::Format_ARGB32_Premultiplied);
  int level = 0;
  for (auto _ : state) {
    level = (level + 7) % 27;
    for (int i = 0; i < 26; ++i)
      if (TCustomDiagramBlock* b = scene.diagram->FindBlock(scene.tickNames[i]))
        b->SetVisible(i < level);
    QPainter p(&target);
    scene.diagram->PaintTo(p, target.rect());
  }
}
BENCHMARK(BM_ReadingWithRepaint)->Arg(100)->Arg(157)->Unit(benchmark::kMicrosecond);

// ---- persistence ----

void BM_UndoSnapshotOfDisplay(benchmark::State& state) {
  DisplayScene scene;
  size_t bytes = 0;
  for (auto _ : state) bytes = scene.diagram->SaveToBytes(false).size();
  state.counters["bytes"] = double(bytes);
}
BENCHMARK(BM_UndoSnapshotOfDisplay)->Unit(benchmark::kMicrosecond);

// A diagram of n named text blocks in rows.
struct BigScene {
  QWidget owner;
  TKvDiagram* diagram = new TKvDiagram(&owner);
  explicit BigScene(int n) {
    for (int i = 0; i < n; ++i) {
      auto* b = new TTextBlock(&owner);
      b->SetName(QString("Block%1").arg(i));
      b->SetBounds((i % 100) * 60.0, (i / 100) * 30.0, 50, 20);
      b->SetStrings(QString::number(i));
      b->SetDiagram(diagram);
    }
  }
};

void BM_Save10000Blocks(benchmark::State& state) {
  BigScene scene(10000);
  for (auto _ : state) benchmark::DoNotOptimize(scene.diagram->SaveToBytes(state.range(0)));
  state.SetLabel(state.range(0) ? "text" : "binary");
}
BENCHMARK(BM_Save10000Blocks)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_Load10000Blocks(benchmark::State& state) {
  QByteArray bytes = BigScene(10000).diagram->SaveToBytes(state.range(0));
  QWidget owner;
  auto* target = new TKvDiagram(&owner);
  for (auto _ : state) target->LoadFromBytes(bytes, state.range(0));
  state.SetLabel(state.range(0) ? "text" : "binary");
}
BENCHMARK(BM_Load10000Blocks)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

void BM_Add10000UnnamedControls(benchmark::State& state) {
  for (auto _ : state) {
    QWidget owner;
    auto* d = new TKvDiagram(&owner);
    d->BeginUpdate();  // a batch: no scroll ranges or repaints in between
    for (int i = 0; i < 10000; ++i) (new TDiagramBlock(&owner))->SetDiagram(d);
    d->EndUpdate();
  }
}
BENCHMARK(BM_Add10000UnnamedControls)->Iterations(1)->Unit(benchmark::kMillisecond);

// ---- interaction ----

// One step of dragging 100 selected blocks over a scene of 10,000: the mouse move and the
// repaint it asks for, drawn over the picture of the scene taken when the drag began.
void BM_DragStep100Of10000(benchmark::State& state) {
  BigScene scene(10000);
  TKvDiagram* d = scene.diagram;
  d->FDragStyle = state.range(0) ? dsShape : dsOutline;
  d->resize(1024, 768);
  scene.owner.resize(1024, 768);
  scene.owner.show();
  d->BeginUpdateSel();
  for (int row = 0; row < 10; ++row)
    for (int col = 0; col < 10; ++col) d->GetBlocks(row * 100 + col)->SetSelected(true);
  d->EndUpdateSel();
  QWidget* port = d->viewport();
  auto send = [&](QEvent::Type type, QPoint p, Qt::MouseButton b, Qt::MouseButtons held) {
    QMouseEvent e(type, QPointF(p), port->mapToGlobal(QPointF(p)), b, held, {});
    QCoreApplication::sendEvent(port, &e);
  };
  QImage screen(port->size(), QImage::Format_ARGB32_Premultiplied);
  send(QEvent::MouseButtonPress, {20, 10}, Qt::LeftButton, Qt::LeftButton);
  if (d->MouseState() != msMoving) state.SkipWithError("the press did not start a move");
  int step = 0;
  for (auto _ : state) {
    ++step;
    send(QEvent::MouseMove, {20 + step % 200, 10 + step % 150}, Qt::NoButton, Qt::LeftButton);
    port->render(&screen);
  }
  send(QEvent::MouseButtonRelease, {20 + step % 200, 10 + step % 150}, Qt::LeftButton,
       Qt::NoButton);
  state.counters["selected"] = double(d->SelectedCount());
  state.counters["fps"] =
      benchmark::Counter(double(state.iterations()), benchmark::Counter::kIsRate);
  state.SetLabel(state.range(0) ? "shape" : "outline");
}
BENCHMARK(BM_DragStep100Of10000)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

// The same scene repainted whole, as a drag without the cached picture would have to.
void BM_Repaint10000(benchmark::State& state) {
  BigScene scene(10000);
  scene.diagram->resize(1024, 768);
  scene.owner.resize(1024, 768);
  scene.owner.show();
  QImage screen(scene.diagram->viewport()->size(), QImage::Format_ARGB32_Premultiplied);
  for (auto _ : state) scene.diagram->viewport()->render(&screen);
}
BENCHMARK(BM_Repaint10000)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication app(argc, argv);
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
