// TKvDiagram on screen and on bitmaps: coordinate mapping for the paint styles, the paint
// order, grid, page lines, rulers, hit tests, scroll ranges and the exports. The QPainter
// back end receives canvas coordinates, so pen widths stay in device pixels at any zoom.
#include <QBuffer>
#include <QClipboard>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMimeData>
#include <QPaintEvent>
#include <QScrollBar>
#include <QSvgGenerator>
#include <cmath>

#include "KvDiagram.h"

// ---- transforms ----

TDot TKvDiagram::ClientToCanvas(const TDot& p) const {
  switch (FPaintStyle) {
    case psScreen: {
      TDot r = p;
      if (FZoomRatio != 1) r = {r.X * FZoomRatio, r.Y * FZoomRatio};
      return {r.X - HorzPosition() + LeftRuler.VisibleSize(),
              r.Y - VertPosition() + TopRuler.VisibleSize()};
    }
    case psPreview:
    case psPrint: {
      TDot r{p.X * FPrintConvX + FPreviewOffset.X, p.Y * FPrintConvY + FPreviewOffset.Y};
      r = {r.X * FAdjustRatioX, r.Y * FAdjustRatioY};
      if (FPreviewZoom != 1) r = {r.X * FPreviewZoom, r.Y * FPreviewZoom};
      return r;
    }
    case psBitmap: {
      TDot r{p.X + FPreviewOffset.X, p.Y + FPreviewOffset.Y};
      if (FZoomRatio != 1) r = {r.X * FZoomRatio, r.Y * FZoomRatio};
      return r;
    }
  }
  return p;
}

TDot TKvDiagram::CanvasToClient(const TDot& p) const {
  switch (FPaintStyle) {
    case psScreen: {
      TDot r{p.X - LeftRuler.VisibleSize() + HorzPosition(),
             p.Y - TopRuler.VisibleSize() + VertPosition()};
      if (FZoomRatio != 1) r = {r.X / FZoomRatio, r.Y / FZoomRatio};
      return r;
    }
    case psPreview:
    case psPrint: {
      TDot r = p;
      if (FPreviewZoom != 1) r = {r.X / FPreviewZoom, r.Y / FPreviewZoom};
      r = {r.X / FAdjustRatioX - FPreviewOffset.X, r.Y / FAdjustRatioY - FPreviewOffset.Y};
      return {r.X / FPrintConvX, r.Y / FPrintConvY};
    }
    case psBitmap: {
      TDot r = p;
      if (FZoomRatio != 1) r = {r.X / FZoomRatio, r.Y / FZoomRatio};
      return {r.X - FPreviewOffset.X, r.Y - FPreviewOffset.Y};
    }
  }
  return p;
}

TSquare TKvDiagram::ClientToCanvas(const TSquare& r) const {
  return TSquare::FromPoints(ClientToCanvas(r.TopLeft()), ClientToCanvas(r.BottomRight()));
}

TSquare TKvDiagram::CanvasToClient(const TSquare& r) const {
  return TSquare::FromPoints(CanvasToClient(r.TopLeft()), CanvasToClient(r.BottomRight()));
}

QPoint TKvDiagram::ClientToCanvas(const QPoint& p) const {
  TDot d = ClientToCanvas(TDot{double(p.x()), double(p.y())});
  return {RoundHalfEven(d.X), RoundHalfEven(d.Y)};
}

QPoint TKvDiagram::CanvasToClient(const QPoint& p) const {
  TDot d = CanvasToClient(TDot{double(p.x()), double(p.y())});
  return {RoundHalfEven(d.X), RoundHalfEven(d.Y)};
}

QRect TKvDiagram::ClientToCanvas(const QRect& r) const {
  return QRect(ClientToCanvas(r.topLeft()),
               ClientToCanvas(r.bottomRight() + QPoint(1, 1)) - QPoint(1, 1));
}

QRect TKvDiagram::CanvasToClient(const QRect& r) const {
  return QRect(CanvasToClient(r.topLeft()),
               CanvasToClient(r.bottomRight() + QPoint(1, 1)) - QPoint(1, 1));
}

double TKvDiagram::CanvasScale() const {
  return (ClientToCanvas(TDot{100, 0}).X - ClientToCanvas(TDot{0, 0}).X) / 100;
}

double TKvDiagram::ResolutionScale() const {
  if (FPaintStyle != psPreview && FPaintStyle != psPrint) return 1;
  return FPrintConvY * FAdjustRatioY * FPreviewZoom;
}

double TKvDiagram::EffectiveZoom() const {
  return FPaintStyle == psScreen || FPaintStyle == psBitmap ? FZoomRatio : FPreviewZoom;
}

int TKvDiagram::HorzPosition() const {
  return horizontalScrollBar()->value();
}
int TKvDiagram::VertPosition() const {
  return verticalScrollBar()->value();
}

void TKvDiagram::SetScrollPositions(int x, int y) {
  horizontalScrollBar()->setValue(x);
  verticalScrollBar()->setValue(y);
  Redraw();
}

TSquare TKvDiagram::VisibleClientRect() const {
  QSize s = FPaintSize.isValid() ? FPaintSize : ClientSize();
  return CanvasToClient(TSquare{0, 0, double(s.width()), double(s.height())});
}

// ---- painting ----

void TKvDiagram::paintEvent(QPaintEvent*) {
  QPainter p(viewport());
  PaintTo(p, viewport()->rect());
  if (FPaintStyle == psScreen) PaintOverlay(p);
}

void TKvDiagram::resizeEvent(QResizeEvent* e) {
  QAbstractScrollArea::resizeEvent(e);
  RecalcScrollRanges();
}

void TKvDiagram::scrollContentsBy(int, int) {
  Redraw();
}

void TKvDiagram::PaintTo(QPainter& painter, const QRect& rect) {
  if (FPainting) return;
  FPainting = true;
  FPaintSize = rect.size();
  PaintBody(painter, rect);
  FPaintSize = QSize();
  FPainting = false;
}

void TKvDiagram::PaintControl(TDiagramControl* c, const TDiagramDrawInfo& base) {
  if (!c->IsVisibleNow()) return;
  c->PrepareDrawer(c->Drawer());
  TSquare r = ClientToCanvas(c->Angle() == 0 ? c->ControlRect() : c->SurroundRect());
  TSquare visible{0, 0, double(FPaintSize.width()), double(FPaintSize.height())};
  if (!r.Inflated(1).Intersects(visible)) return;
  TDiagramDrawInfo info = base;
  info.Drawer = &c->Drawer();
  info.DgrDrawer = c->GraphicLib() == dglGDI ? nullptr : c->DgrDrawer();
  c->Paint(info);
}

void TKvDiagram::PaintLinkPointsOf(TDiagramControl* c, const TDiagramDrawInfo& base) {
  if (!c->IsVisibleNow()) return;
  if (auto* g = dynamic_cast<TBaseGroupBlock*>(c)) {
    for (TDiagramControl* m : g->Members().FItems) PaintLinkPointsOf(m, base);
    return;
  }
  TDiagramDrawInfo info = base;
  info.Drawer = &c->Drawer();
  info.DgrDrawer = c->GraphicLib() == dglGDI ? nullptr : c->DgrDrawer();
  c->DrawLinkPoints(info);
}

void TKvDiagram::PaintHandlesOf(TDiagramControl* c, const TDiagramDrawInfo& info) {
  if (c->Selected() || c->IsGroup()) {
    if (c->Selected()) {
      if (auto* b = dynamic_cast<TCustomDiagramBlock*>(c)) b->UpdateBlockHandles();
      c->DrawHandles(info);
    }
    if (auto* g = dynamic_cast<TBaseGroupBlock*>(c))
      for (TDiagramControl* m : g->Members().FItems)
        if (m->IsVisibleNow()) PaintHandlesOf(m, info);
  }
}

void TKvDiagram::PaintBody(QPainter& painter, const QRect& rect) {
  bool smooth = FGraphicLib != dglGDI;
  std::unique_ptr<TDgrPaintEngine> engine = CreateQtPaintEngine(painter, rect, smooth);
  engine->SetSmoothMode(smooth ? SmoothMode : smInactive);
  engine->SetTextRenderingMode(TextRenderingMode);
  TDgrCanvas& canvas = engine->Canvas();
  canvas.ResolutionScale = ResolutionScale();
  const TSquare full{double(rect.left()), double(rect.top()), double(rect.right() + 1),
                     double(rect.bottom() + 1)};
  // A drag paints over the picture of the scene taken when it began.
  const bool cached = FUseCache && !FCacheImage.isNull() && !FDoingCache;
  if (cached) {
    painter.drawImage(0, 0, FCacheImage);
  } else {
    if (FPaintStyle == psScreen) canvas.FillRect(full, Color);
    if (FPaintStyle == psBitmap) canvas.FillRect(full, ExportBackground);
    if (OnBeforePaint) OnBeforePaint(this, canvas);
    if (Background.Visible) DrawBackground(canvas, rect);
    if (FPaintStyle == psScreen) {
      if (SnapGrid.Visible) DrawSnapGrid(painter, rect);
      if (PageLines.Visible) DrawPageLines(painter, rect);
    }
  }
  engine->BeginDraw();
  engine->ResetTransform();
  TDiagramDrawInfo info{&canvas, nullptr, nullptr};
  auto paintable = [](TDiagramControl* c) {
    return !c->GroupBlock() && (c->FIntPaintMode == pmNormal || c->FIntPaintMode == pmNormalCursor);
  };
  auto paintPass = [&](auto accept) {
    for (TDiagramControl* c : FDControls)
      if (!c->FIsBackgroundControl && paintable(c) && accept(c)) PaintControl(c, info);
  };
  if (!cached) {
    for (TDiagramControl* c : FDControls)
      if (c->FIsBackgroundControl && paintable(c)) PaintControl(c, info);
    if (PaintLinesFirst) {
      paintPass([](TDiagramControl* c) { return c->IsLine(); });
      paintPass([](TDiagramControl* c) { return !c->IsLine(); });
    } else {
      paintPass([](TDiagramControl*) { return true; });
    }
  }
  std::vector<TDiagramControl*> cursors;
  for (TDiagramControl* c : FDControls)
    if (c->FIntPaintMode != pmNormal) cursors.push_back(c);
  for (TDiagramControl* c : cursors) c->EnterCursorState();
  for (TDiagramControl* c : cursors)
    if (!c->GroupBlock()) PaintControl(c, info);
  // Marks go on top of every control, or a later control would cover those before it.
  if (ShowLinkPoints && !cached)
    for (TDiagramControl* c : FDControls)
      if (!c->GroupBlock()) PaintLinkPointsOf(c, info);
  engine->EndDraw();
  if (FPaintStyle == psScreen && !cached) {
    for (TDiagramControl* c : FDControls)
      if (!c->GroupBlock() && c->IsVisibleNow()) PaintHandlesOf(c, info);
    if (SelectionMode == slmGroup && FSelBlock->Members().Count() > 0) {
      FSelBlock->FDiagram = this;
      FSelBlock->UpdateBlockHandles();
      FSelBlock->DrawHandles(info);
      FSelBlock->FDiagram = nullptr;
    }
  }
  for (TDiagramControl* c : cursors) c->LeaveCursorState();
  if (!cached && FPaintStyle == psScreen) DrawRulers(painter);
  if (OnAfterPaint) OnAfterPaint(this, canvas);
}

void TKvDiagram::DrawBackground(TDgrCanvas& canvas, const QRect& rect) {
  TSquare r{double(rect.left()), double(rect.top()), double(rect.right() + 1),
            double(rect.bottom() + 1)};
  if (Background.Gradient.Visible) Background.Gradient.DrawGradient(canvas, nullptr, r, 0);
  const QImage& img = Background.Picture.isNull() ? Background.Bitmap : Background.Picture;
  if (img.isNull()) return;
  auto g = CreateQtGraphic(img);
  TDot origin = Background.Scroll ? ClientToCanvas(TDot{0, 0}) : TDot{r.Left, r.Top};
  if (Background.Style == biFixed) {
    canvas.StretchDraw({origin.X, origin.Y, origin.X + img.width(), origin.Y + img.height()}, *g, 0,
                       false);
    return;
  }
  double x0 = origin.X - std::ceil((origin.X - r.Left) / img.width()) * img.width();
  double y0 = origin.Y - std::ceil((origin.Y - r.Top) / img.height()) * img.height();
  for (double y = y0; y < r.Bottom; y += img.height())
    for (double x = x0; x < r.Right; x += img.width())
      canvas.StretchDraw({x, y, x + img.width(), y + img.height()}, *g, 0, false);
}

void TDiagramGradient::DrawGradient(TDgrCanvas& canvas, TDgrBlockDrawer* dgr, const TSquare& rect,
                                    int transparency, double angle) const {
  canvas.SaveDrawingState();
  canvas.Pen().Transparency = 100;
  canvas.Brush().BrushMode = bmGradient;
  canvas.Brush().GradientMode = Direction;
  canvas.Brush().Color = StartColor;
  canvas.Brush().Color2 = EndColor;
  canvas.Brush().Transparency = transparency;
  auto path = dgr ? dgr->CreatePath() : CreateQtPath();
  path->AddRectangle(rect);
  if (dgr)
    dgr->RotatePath(*path);
  else if (angle != 0)
    path->Rotate(angle, rect.Center());
  canvas.Path(*path);
  canvas.RestoreDrawingState();
}

void TKvDiagram::DrawSnapGrid(QPainter& p, const QRect& rect) {
  if (SnapGrid.Style == gsRuler) {
    TopRuler.Draw(p, QRect(), HorzPosition(), FZoomRatio, true, rect);
    LeftRuler.Draw(p, QRect(), VertPosition(), FZoomRatio, true, rect);
    return;
  }
  double sx = SnapGrid.SizeX * FZoomRatio, sy = SnapGrid.SizeY * FZoomRatio;
  if (sx < 3 || sy < 3) return;
  p.save();
  p.setRenderHint(QPainter::Antialiasing, false);
  p.setPen(ColorToQColor(SnapGrid.Pen.Color));
  TDot o = ClientToCanvas(TDot{0, 0});
  double x0 = o.X + std::ceil((rect.left() - o.X) / sx) * sx;
  double y0 = o.Y + std::ceil((rect.top() - o.Y) / sy) * sy;
  if (SnapGrid.Style == gsLines) {
    for (double x = x0; x <= rect.right(); x += sx)
      p.drawLine(QPointF(x, rect.top()), QPointF(x, rect.bottom()));
    for (double y = y0; y <= rect.bottom(); y += sy)
      p.drawLine(QPointF(rect.left(), y), QPointF(rect.right(), y));
  } else {
    for (double y = y0; y <= rect.bottom(); y += sy)
      for (double x = x0; x <= rect.right(); x += sx) p.drawPoint(QPointF(x, y));
  }
  p.restore();
}

void TKvDiagram::DrawPageLines(QPainter& p, const QRect& rect) {
  double w = MilimetersToClient(PageSettings.Orientation == poLandscape ? PageSettings.PaperHeight
                                                                        : PageSettings.PaperWidth);
  double h = MilimetersToClient(PageSettings.Orientation == poLandscape ? PageSettings.PaperWidth
                                                                        : PageSettings.PaperHeight);
  if (w <= 0 || h <= 0) return;
  p.save();
  QPen pen(ColorToQColor(PageLines.Pen.Color));
  pen.setStyle(Qt::DashLine);
  p.setPen(pen);
  TSquare v = CanvasToClient(TSquare{double(rect.left()), double(rect.top()), double(rect.right()),
                                     double(rect.bottom())});
  for (double x = w; x < v.Right; x += w) {
    double cx = ClientToCanvas(TDot{x, 0}).X;
    p.drawLine(QPointF(cx, rect.top()), QPointF(cx, rect.bottom()));
  }
  for (double y = h; y < v.Bottom; y += h) {
    double cy = ClientToCanvas(TDot{0, y}).Y;
    p.drawLine(QPointF(rect.left(), cy), QPointF(rect.right(), cy));
  }
  p.restore();
}

void TKvDiagram::DrawRulers(QPainter& p) {
  int lw = LeftRuler.VisibleSize(), th = TopRuler.VisibleSize();
  QSize s = FPaintSize;
  if (th) TopRuler.Draw(p, QRect(lw, 0, s.width() - lw, th), HorzPosition(), FZoomRatio, false, {});
  if (lw)
    LeftRuler.Draw(p, QRect(0, th, lw, s.height() - th), VertPosition(), FZoomRatio, false, {});
  if (lw && th) {
    // The corner square with two ticks along its inner edges.
    p.fillRect(QRect(0, 0, lw, th), ColorToQColor(TopRuler.Color));
    p.setPen(ColorToQColor(TopRuler.TickColor));
    p.drawLine(lw - 1, th - 4, lw - 1, th - 1);
    p.drawLine(lw - 4, th - 1, lw - 1, th - 1);
  }
}

double TCustomRuler::PixelsPerUnit() const {
  switch (Units) {
    case unMili:
      return 96 / 25.4;
    case unCenti:
      return 960 / 25.4;
    case unInch:
      return 96;
    case unPixel:
      return 1;
  }
  return 1;
}

double TCustomRuler::MajorStep(double zoom) const {
  double ppu = PixelsPerUnit() * zoom;
  if (!AutoFactor) return 1;
  for (double power = 1e-3; power < 1e7; power *= 10)
    for (double f : {1.0, 2.0, 5.0})
      if (f * power * ppu >= 40) return f * power;
  return 1e7;
}

void TCustomRuler::Draw(QPainter& p, const QRect& r, double tempOffset, double zoom, bool drawGrid,
                        const QRect& gridArea) const {
  double step = MajorStep(zoom);
  double px = step * PixelsPerUnit() * zoom;  // pixels between labelled ticks
  p.save();
  p.setRenderHint(QPainter::Antialiasing, false);
  QRect area = drawGrid ? gridArea : r;
  int start = Vertical ? area.top() : area.left();
  int end = Vertical ? area.bottom() : area.right();
  double origin = (drawGrid ? (Vertical ? area.top() : area.left()) : start) - tempOffset + Offset;
  if (!drawGrid) {
    p.fillRect(r, ColorToQColor(Color));
    p.setFont(Font.ToQFont());
  }
  double first = std::floor((start - origin) / px);
  for (double k = first; origin + k * px <= end; k += 1) {
    for (int d = 0; d < std::max(1, Divisions); ++d) {
      double pos = origin + k * px + d * px / std::max(1, Divisions);
      if (pos < start || pos > end) continue;
      if (drawGrid) {
        p.setPen(ColorToQColor(GridColor));
        if (Vertical)
          p.drawLine(QPointF(area.left(), pos), QPointF(area.right(), pos));
        else
          p.drawLine(QPointF(pos, area.top()), QPointF(pos, area.bottom()));
        continue;
      }
      int len = d == 0 ? MajorTickLength : MinorTickLength;
      p.setPen(ColorToQColor(TickColor));
      if (Vertical)
        p.drawLine(QPointF(r.right() - len, pos), QPointF(r.right(), pos));
      else
        p.drawLine(QPointF(pos, r.bottom() - len), QPointF(pos, r.bottom()));
      if (d == 0) {
        double value = (Inverse ? -k : k) * step;
        QString label = QString::number(value, 'f', 2);
        while (label.contains('.') && (label.endsWith('0') || label.endsWith('.'))) label.chop(1);
        if (Vertical)
          p.drawText(QPointF(r.left() + 1, pos + 10), label);
        else
          p.drawText(QPointF(pos + 2, r.top() + 10), label);
      }
    }
  }
  p.restore();
}

// ---- hit tests ----

TDiagramControl* TKvDiagram::DControlAtPos(const TDot& pos, TControlSearchMode mode,
                                           TDiagramControlFilter filter) const {
  TDot cp = ClientToCanvas(pos);
  if (cp.X < LeftRuler.VisibleSize() || cp.Y < TopRuler.VisibleSize()) return nullptr;
  for (auto it = FDControls.rbegin(); it != FDControls.rend(); ++it) {
    TDiagramControl* c = *it;
    if (!c->IsVisibleNow()) continue;
    if (mode == csmIgnoreLines && c->IsLine()) continue;
    if (filter == cfIgnoreMembers && c->GroupBlock()) continue;
    if (filter == cfIgnoreGroups && c->IsGroup()) continue;
    if (filter == cfIgnoreAsMembers && c->GroupBlock() && c->GroupBlock()->Selected()) continue;
    if (!ClientToCanvas(c->SurroundRect()).Inflated(5).Contains(cp)) continue;
    if (c->PointInControl(cp)) return c;
  }
  return nullptr;
}

TStretchHandle* TKvDiagram::HandleAtPos(const TDot& pos, bool ignoreZoom) const {
  double tol = ignoreZoom ? RoundHalfEven(5 / FZoomRatio) : 5;
  auto hit = [&](TDiagramControl* c) -> TStretchHandle* {
    for (int i = 0; i < c->Handles().Count(); ++i) {
      TStretchHandle* h = c->Handles()[i];
      if (!h->FVisible) continue;
      TDot p = c->HandlePoint(h);
      if (std::abs(p.X - pos.X) <= tol && std::abs(p.Y - pos.Y) <= tol) return h;
    }
    return nullptr;
  };
  if (SelectionMode == slmGroup && FSelBlock->Members().Count() > 0)
    if (TStretchHandle* h = hit(FSelBlock)) return h;
  for (TDiagramControl* c : FSelecteds)
    if (TStretchHandle* h = hit(c)) return h;
  return nullptr;
}

TLinkPoint* TKvDiagram::LinkPointAtPos(const TDot& pos, TDiagramControl* except,
                                       bool onlyUnselected, bool onlyNodes,
                                       bool onlyAcceptAnchoreds) const {
  TDot cp = ClientToCanvas(pos);
  auto search = [&](TDiagramControl* c) -> TLinkPoint* {
    if (c == except || !c->IsVisibleNow()) return nullptr;
    if (onlyUnselected && c->Selected()) return nullptr;
    for (int i = 0; i < c->LinkPoints().Count(); ++i) {
      TLinkPoint* lp = c->LinkPoints()[i];
      if (!lp->FVisible || (onlyNodes && !lp->IsNode())) continue;
      TDot p = ClientToCanvas(lp->DiagramPoint());
      if (std::abs(p.X - cp.X) > 5 || std::abs(p.Y - cp.Y) > 5) continue;
      if (onlyAcceptAnchoreds && !lp->FAcceptAnchoreds) continue;
      if (c->FLinkPointStyle == ptImplicit) continue;
      return lp;
    }
    return nullptr;
  };
  for (auto it = FBlocks.rbegin(); it != FBlocks.rend(); ++it)
    if (TLinkPoint* lp = search(*it)) return lp;
  for (auto it = FDControls.rbegin(); it != FDControls.rend(); ++it)
    if (TLinkPoint* lp = search(*it)) return lp;
  return nullptr;
}

// ---- scroll ranges ----

TSquare TKvDiagram::ControlsExtent() const {
  bool any = false;
  TSquare r;
  for (TDiagramControl* c : FDControls) {
    if (!c->IsVisibleNow() || c->GroupBlock()) continue;
    r = any ? r.United(c->SurroundRect()) : c->SurroundRect();
    any = true;
  }
  return r;
}

void TKvDiagram::RecalcScrollRanges() {
  if (IsUpdating() || FLoading) return;
  TSquare e = ControlsExtent();
  if (AutoScroll && !CanMoveOutOfBounds && (e.Left < 0 || e.Top < 0)) {
    double dx = e.Left < 0 ? -e.Left : 0, dy = e.Top < 0 ? -e.Top : 0;
    ++FUpdatingPos;
    for (TDiagramControl* c : FDControls)
      if (!c->GroupBlock()) c->MoveBy(dy, dx);
    --FUpdatingPos;
    e = e.Offset(dx, dy);
  }
  double w = std::max(0.0, e.Right) * FZoomRatio, h = std::max(0.0, e.Bottom) * FZoomRatio;
  if (AutoPage) {
    double pw = MilimetersToClient(PageSettings.PaperWidth) * FPrintConvX * FZoomRatio;
    double ph = MilimetersToClient(PageSettings.PaperHeight) * FPrintConvY * FZoomRatio;
    if (pw > 0) w = std::max(1.0, std::ceil(w / pw)) * pw;
    if (ph > 0) h = std::max(1.0, std::ceil(h / ph)) * ph;
  }
  FHorzRange = int(std::ceil(w));
  FVertRange = int(std::ceil(h));
  int vw = ClientSize().width() - LeftRuler.VisibleSize();
  int vh = ClientSize().height() - TopRuler.VisibleSize();
  horizontalScrollBar()->setRange(0, std::max(0, FHorzRange - vw));
  verticalScrollBar()->setRange(0, std::max(0, FVertRange - vh));
  horizontalScrollBar()->setPageStep(std::max(1, vw));
  verticalScrollBar()->setPageStep(std::max(1, vh));
  horizontalScrollBar()->setSingleStep(HorzScrollBar.Increment);
  verticalScrollBar()->setSingleStep(VertScrollBar.Increment);
}

// ---- exports ----

QRect TKvDiagram::ExportRect(TExportSize size, TDot& offset) const {
  TSquare e = ControlsExtent();
  double stdW = std::max<double>(ClientSize().width(), FHorzRange);
  double stdH = std::max<double>(ClientSize().height(), FVertRange);
  offset = {0, 0};
  switch (size) {
    case esStandard:
      break;
    case esNetto: {
      double off = NettoExportOffset;
      offset = {off - e.Left, off - e.Top};
      stdW = (e.Width() + 2 * off) * FZoomRatio;
      stdH = (e.Height() + 2 * off) * FZoomRatio;
      break;
    }
    case esCentered:
      offset = {(stdW / FZoomRatio - e.Width()) / 2 - e.Left,
                (stdH / FZoomRatio - e.Height()) / 2 - e.Top};
      break;
  }
  return QRect(0, 0, std::max(1, int(std::ceil(stdW))), std::max(1, int(std::ceil(stdH))));
}

void TKvDiagram::PaintExport(QPaintDevice& device, const QRect& rect, const TDot& offset) {
  TPaintStyle oldStyle = FPaintStyle;
  TDot oldOffset = FPreviewOffset;
  FPaintStyle = psBitmap;
  FPreviewOffset = offset;
  {
    QPainter p(&device);
    PaintTo(p, rect);
  }
  FPaintStyle = oldStyle;
  FPreviewOffset = oldOffset;
}

void TKvDiagram::PaintToBitmap(QImage& bitmap, TExportSize size) {
  TDot offset;
  QRect r = ExportRect(size, offset);
  bitmap = QImage(r.size(), QImage::Format_RGB32);
  PaintExport(bitmap, r, offset);
}

QImage TKvDiagram::ExportAsBMP(TExportSize size) {
  QImage img;
  PaintToBitmap(img, size);
  return img;
}

void TKvDiagram::ExportAsBMPStream(QIODevice& stream, TExportSize size) {
  ExportAsBMP(size).save(&stream, "BMP");
}

void TKvDiagram::ExportAsWMFStream(QIODevice& stream, TExportSize size) {
  TDot offset;
  QRect r = ExportRect(size, offset);
  QSvgGenerator gen;
  gen.setOutputDevice(&stream);
  gen.setSize(r.size());
  gen.setViewBox(r);
  PaintExport(gen, r, offset);
}

void TKvDiagram::ExportAsWMF(const QString& fileName, TExportSize size) {
  QFile f(fileName);
  if (!f.open(QIODevice::WriteOnly))
    throw EDiagramException("Cannot create " + fileName.toStdString());
  ExportAsWMFStream(f, size);
}

void TKvDiagram::ExportToFile(const QString& fileName, TExportFormat format, TExportSize size) {
  if (format == efAuto) {
    QString ext = QFileInfo(fileName).suffix().toLower();
    format = ext == "wmf" || ext == "emf" || ext == "svg" ? efWMF : efBMP;
  }
  if (format == efWMF) {
    ExportAsWMF(fileName, size);
    return;
  }
  QImage img = ExportAsBMP(size);
  QString ext = QFileInfo(fileName).suffix().toLower();
  if (!img.save(fileName, ext == "png" || ext == "jpg" ? nullptr : "BMP"))
    throw EDiagramException("Cannot create " + fileName.toStdString());
}

void TKvDiagram::CopyBitmapToClipboard() {
  QGuiApplication::clipboard()->setImage(ExportAsBMP());
}

void TKvDiagram::CopyMetafileToClipboard() {
  QByteArray svg;
  QBuffer buf(&svg);
  buf.open(QIODevice::WriteOnly);
  ExportAsWMFStream(buf);
  auto* mime = new QMimeData;
  mime->setData("image/svg+xml", svg);
  QGuiApplication::clipboard()->setMimeData(mime);
}
