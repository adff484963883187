// Panning, zooming by rectangle, by click through a table of levels, and by the wheel.
#include <QScrollBar>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

#include "KvDiagram.h"
#include "KvDiagram_Interaction.h"

namespace {

constexpr double kZoomLevels[] = {0.05, 0.0833, 0.125, 0.25, 0.3333, 0.5, 0.6667, 0.75, 1.0,
                                  1.25, 1.5,    2.0,   3.0,  4.0,    6.0, 8.0,    10.0};

}  // namespace

// ---- panning and zooming ----

void TKvDiagram::StartPanning() {
  FMouseState = msToPan;
}

void TKvDiagram::CancelPanning() {
  if (FMouseState == msToPan || FMouseState == msPanning) FMouseState = msBrowsing;
  SetScreenCursor(Qt::ArrowCursor);
}

void TKvDiagram::StartZooming(TZoomingState state) {
  FZoomingState = state;
  FMouseState = msToZoom;
}

void TKvDiagram::CancelZooming() {
  if (FMouseState == msToZoom || FMouseState == msZooming) FMouseState = msBrowsing;
  DropCache();
  SetScreenCursor(Qt::ArrowCursor);
}

void TKvDiagram::SetZoomRatio(double ratio) {
  FZoomRatio = std::clamp(ratio, 0.01, 10.0);
  LeftRuler.Zoom = TopRuler.Zoom = Zoom();
  RecalcScrollRanges();
  Redraw();
}

void TKvDiagram::CentreOn(const TDot& centre) {
  const int vw = ClientSize().width() - LeftRuler.VisibleSize();
  const int vh = ClientSize().height() - TopRuler.VisibleSize();
  SetScrollPositions(RoundHalfEven(std::trunc(centre.X * FZoomRatio) - vw / 2.0),
                     RoundHalfEven(std::trunc(centre.Y * FZoomRatio) - vh / 2.0));
}

void TKvDiagram::ZoomIn(const TSquare& rect) {
  double ratio = FZoomRatio;
  if (KvNear(rect.TopLeft(), rect.BottomRight())) {
    for (double level : kZoomLevels)
      if (level > ratio + 1e-9) {
        ratio = level;
        break;
      }
  } else {
    const double vw = ClientSize().width() - LeftRuler.VisibleSize();
    const double vh = ClientSize().height() - TopRuler.VisibleSize();
    ratio = std::min(vw / std::max(1e-9, std::abs(rect.Width())),
                     vh / std::max(1e-9, std::abs(rect.Height())));
  }
  SetZoomRatio(ratio);
  CentreOn(rect.Center());
}

void TKvDiagram::ZoomOut(const TSquare& rect) {
  double ratio = FZoomRatio;
  if (KvNear(rect.TopLeft(), rect.BottomRight())) {
    for (auto it = std::rbegin(kZoomLevels); it != std::rend(kZoomLevels); ++it)
      if (*it < ratio - 1e-9) {
        ratio = *it;
        break;
      }
  } else {
    ratio = std::max(std::abs(rect.Width()) * FZoomRatio / std::max(1, ClientSize().width()),
                     std::abs(rect.Height()) * FZoomRatio / std::max(1, ClientSize().height()));
  }
  SetZoomRatio(ratio);
  CentreOn(rect.Center());
}

void TKvDiagram::ZoomMoveToFit(double margin) {
  const TSquare e = ControlsExtent().Inflated(margin);
  if (e.Width() <= 0 || e.Height() <= 0) return;
  const double vw = ClientSize().width() - LeftRuler.VisibleSize();
  const double vh = ClientSize().height() - TopRuler.VisibleSize();
  SetZoomRatio(std::min(vw / e.Width(), vh / e.Height()));
  CentreOn(e.Center());
}

TDot TKvDiagram::SnapPoint(const TDot& p) const {
  if (!SnapGrid.Active || SnapGrid.SizeX <= 0 || SnapGrid.SizeY <= 0) return p;
  return {RoundHalfEven(p.X / SnapGrid.SizeX) * SnapGrid.SizeX,
          RoundHalfEven(p.Y / SnapGrid.SizeY) * SnapGrid.SizeY};
}

void TKvDiagram::wheelEvent(QWheelEvent* e) {
  const int steps = e->angleDelta().y();
  if (steps == 0) return;
  const bool down = steps < 0;
  if (e->modifiers() & Qt::ControlModifier) {
    if (!WheelZoom) return;
    SetZoom(down ? std::max(Zoom() - WheelZoomIncrement, WheelZoomMin)
                 : std::min(Zoom() + WheelZoomIncrement, WheelZoomMax));
    return;
  }
  if (MouseWheelMode == mwOff) return;
  QScrollBar* bar = MouseWheelMode == mwHorizontal ? horizontalScrollBar() : verticalScrollBar();
  const int inc =
      MouseWheelMode == mwHorizontal ? HorzScrollBar.Increment : VertScrollBar.Increment;
  bar->setValue(bar->value() + (down ? inc : -inc));
  Redraw();
}
