// Lines: ends on link points, handles as the stored shape, routes by style, arrows,
// cross indicators and the text cells that follow the route.
#include <algorithm>
#include <cmath>

#include "KvDiagram.h"

void SideLineRoute(TCustomDiagramLine& line, TStretchHandles& handles);
TDotArray SideLineStaircase(const TStretchHandles& handles, TAnchorOrientation firstOrientation);

namespace {

double Dist(const TDot& a, const TDot& b) {
  return std::hypot(b.X - a.X, b.Y - a.Y);
}

// The point at fraction t along the chord a-b, moved by `across` along its left normal.
TDot ChordPoint(const TDot& a, const TDot& b, double t, double across) {
  double dx = b.X - a.X, dy = b.Y - a.Y;
  double len = std::hypot(dx, dy);
  TDot p{a.X + dx * t, a.Y + dy * t};
  if (len > 0) {
    p.X += -dy / len * across;
    p.Y += dx / len * across;
  }
  return p;
}

// Ratios along and across the chord a-b, in chord lengths.
TDot ChordRatios(const TDot& a, const TDot& b, const TDot& p) {
  double dx = b.X - a.X, dy = b.Y - a.Y;
  double l2 = dx * dx + dy * dy;
  if (l2 == 0) return {0, 0};
  double along = ((p.X - a.X) * dx + (p.Y - a.Y) * dy) / l2;
  double across = ((p.X - a.X) * -dy + (p.Y - a.Y) * dx) / l2;
  return {along, across};
}

}  // namespace

TCustomDiagramLine::TCustomDiagramLine(QObject* owner) : TDiagramControl(owner) {
  FLinkPointStyle = ptNone;
  TLinkPoint* s = FLinkPoints.Add(0, 0);
  TLinkPoint* t = FLinkPoints.Add(100, 50);
  for (TLinkPoint* p : {s, t}) {
    p->FCanAnchor = true;
    p->FCanAnchorInMove = true;
  }
  FHandles.Add(0, 0, Qt::SizeAllCursor, 0, hsSize);
  FHandles.Add(100, 50, Qt::SizeAllCursor, 0, hsSize);
  HandlesToPoints(FHandles);
  RecalcTextCells();
}

TCustomDiagramLine::~TCustomDiagramLine() {
  // Leave the anchors before the collections go, so the targets' lists stay true.
  FDestroying = true;
  for (int i = 0; i < FLinkPoints.Count(); ++i) FLinkPoints[i]->AnchorTo(nullptr);
  Detach();
}

TLinkPoint* TCustomDiagramLine::LinkPointClass(TLinkPoints* c) {
  TLinkPoint* p = new TLinkPoint(c);
  p->FCanAnchor = true;
  p->FCanAnchorInMove = true;
  return p;
}

void TCustomDiagramLine::Loaded() {
  // The stored handles are the line's shape: kept while its ends still meet their anchors.
  SyncEndsFromAnchors();
  const TStretchHandle* first = FHandles[0];
  const TStretchHandle* last = FHandles[FHandles.Count() - 1];
  if (first->OrX == FLinkPoints[0]->FOrX && first->OrY == FLinkPoints[0]->FOrY &&
      last->OrX == FLinkPoints[1]->FOrX && last->OrY == FLinkPoints[1]->FOrY) {
    HandlesToPoints(FHandles);
    RecalcTextCells();
    return;
  }
  ResetLine();
}

void TCustomDiagramLine::SetLineStyle(TDiagramLineStyle s) {
  if (s == FLineStyle) return;
  FLineStyle = s;
  RebuildRoute();
}

void TCustomDiagramLine::SetOrientation1(TAnchorOrientation o) {
  FOrientation1 = o;
  RebuildRoute();
}

void TCustomDiagramLine::SetOrientation2(TAnchorOrientation o) {
  FOrientation2 = o;
  RebuildRoute();
}

void TCustomDiagramLine::SetTextCellsMode(TTextCellsMode m) {
  FTextCellsMode = m;
  RecalcTextCells();
}

void TCustomDiagramLine::SetEnds(const TDot& source, const TDot& target) {
  SourceLinkPoint()->SetOr(source.X, source.Y);
  TargetLinkPoint()->SetOr(target.X, target.Y);
  RecalcLine(FHandles, nullptr);
}

void TCustomDiagramLine::AddRouteHandle(const TDot& p) {
  FHandles.Insert(FHandles.Count() - 1, p.X, p.Y, Qt::SizeAllCursor);
  RecalcLine(FHandles, nullptr);
}

TAnchorOrientation TCustomDiagramLine::EndOrientation(int end) const {
  TLinkPoint* lp = FLinkPoints[end];
  TLinkPoint* target = lp->AnchorLink();
  if (!target) return end == 0 ? FOrientation1 : FOrientation2;
  TAnchorOrientation o = target->FOrientation;
  int k = int(std::trunc((target->DControl()->Angle() + 45) / 90)) % 4;
  if (k == 0 || o == aoNone) return o;
  if (o == aoHorz || o == aoVert) return (k % 2) ? (o == aoHorz ? aoVert : aoHorz) : o;
  static const TAnchorOrientation cycle[4] = {aoUp, aoRight, aoDown, aoLeft};
  int i = o == aoUp ? 0 : o == aoRight ? 1 : o == aoDown ? 2 : 3;
  return cycle[(i + k) % 4];
}

void TCustomDiagramLine::SetupDrawer(TBlockDrawer& d) const {
  d.FOrRect = d.FRect = ControlRect();
  d.SetAngle(0);
}

void TCustomDiagramLine::PrepareDrawer(TBlockDrawer& d) {
  SetupDrawer(d);
  if (FDiagram) d.FRect = FDiagram->ClientToCanvas(d.FRect);
}

void TCustomDiagramLine::ReleaseForeignAnchors() {
  if (FRequiresConnections) return;
  TDiagramControl::ReleaseForeignAnchors();
}

TLinkPoint* TCustomDiagramLine::HandleLinkPoint(TStretchHandle* h) {
  int i = FHandles.IndexOf(h);
  if (i == 0) return SourceLinkPoint();
  if (i == FHandles.Count() - 1 && i > 0) return TargetLinkPoint();
  return nullptr;
}

void TCustomDiagramLine::SyncEndsFromAnchors() {
  for (int i = 0; i < 2; ++i) {
    TLinkPoint* lp = FLinkPoints[i];
    if (TLinkPoint* a = lp->AnchorLink()) {
      TDot p = a->DiagramPoint();
      lp->FOrX = p.X;
      lp->FOrY = p.Y;
    }
  }
}

void TCustomDiagramLine::AnchorLinkChanged(TLinkPoint*) {
  if (IsLoading()) return;
  // A new connection routes a side line afresh; other styles keep their handles.
  if (FLineStyle == lsSideLine) {
    RebuildRoute();
    return;
  }
  SyncEndsFromAnchors();
  RecalcLine(FHandles, nullptr);
}

void TCustomDiagramLine::LinkedAnchorChanged(TLinkPoint*, TAnchorChange change) {
  // On removal the end keeps its last position: it was copied when the anchor last moved.
  if (change == acRemoval) {
    Redraw();
    return;
  }
  SyncEndsFromAnchors();
  RecalcLine(FHandles, nullptr);
}

void TCustomDiagramLine::FollowChord(TStretchHandles& handles, const TDot& oldA, const TDot& oldB,
                                     const TDot& newA, const TDot& newB) {
  if (oldA == newA && oldB == newB) return;
  double newLen = Dist(newA, newB);
  for (int i = 1; i < handles.Count() - 1; ++i) {
    TStretchHandle* h = handles[i];
    TDot r = ChordRatios(oldA, oldB, {h->OrX, h->OrY});
    TDot p = ChordPoint(newA, newB, r.X, r.Y * newLen);
    h->OrX = p.X;
    h->OrY = p.Y;
  }
}

void TCustomDiagramLine::EnsureStyleHandles(TStretchHandles& handles) {
  TDot a{handles[0]->OrX, handles[0]->OrY};
  TDot b{handles[handles.Count() - 1]->OrX, handles[handles.Count() - 1]->OrY};
  double len = Dist(a, b);
  auto rebuild = [&](const TDotArray& inner) {
    while (handles.Count() > 2) handles.Delete(1);
    for (size_t i = 0; i < inner.size(); ++i)
      handles.Insert(int(i) + 1, inner[i].X, inner[i].Y, Qt::SizeAllCursor);
  };
  if ((FLineStyle == lsParabolicArc || FLineStyle == lsCircularArc) && handles.Count() != 3)
    rebuild({ChordPoint(a, b, 0.5, len / 4)});
  else if (FLineStyle == lsBezier && handles.Count() != 4)
    rebuild({ChordPoint(a, b, 0, len * 0.2), ChordPoint(a, b, 1, -len * 0.2)});
}

void TCustomDiagramLine::RecalcLine(TStretchHandles& handles, const TDiagramDrawInfo*) {
  if (FRecalcDepth > 0) return;
  ++FRecalcDepth;
  TDot newA = SourceLinkPoint()->DiagramPoint();
  TDot newB = TargetLinkPoint()->DiagramPoint();
  TDot oldA{handles[0]->OrX, handles[0]->OrY};
  TDot oldB{handles[handles.Count() - 1]->OrX, handles[handles.Count() - 1]->OrY};
  if (FLineStyle != lsSideLine) FollowChord(handles, oldA, oldB, newA, newB);
  handles[0]->OrX = newA.X;
  handles[0]->OrY = newA.Y;
  handles[handles.Count() - 1]->OrX = newB.X;
  handles[handles.Count() - 1]->OrY = newB.Y;
  if (FLineStyle == lsSideLine)
    SideLineRoute(*this, handles);
  else
    EnsureStyleHandles(handles);
  HandlesToPoints(handles);
  --FRecalcDepth;
  if (!IsLoading()) RecalcTextCells();
  if (FDiagram) FDiagram->Modified();
  Redraw();
}

TDotArray TCustomDiagramLine::CurvePoints(const TStretchHandles& h) const {
  TDotArray pts;
  TDot a{h[0]->OrX, h[0]->OrY};
  TDot z{h[h.Count() - 1]->OrX, h[h.Count() - 1]->OrY};
  if (FLineStyle == lsBezier && h.Count() == 4) {
    TDot c1{h[1]->OrX, h[1]->OrY}, c2{h[2]->OrX, h[2]->OrY};
    double len = Dist(a, c1) + Dist(c1, c2) + Dist(c2, z);
    int n = std::max(10, int(len / 10));  // about one sample every 10 client units
    for (int i = 0; i <= n; ++i) {
      double t = double(i) / n, u = 1 - t;
      pts.push_back(
          {u * u * u * a.X + 3 * u * u * t * c1.X + 3 * u * t * t * c2.X + t * t * t * z.X,
           u * u * u * a.Y + 3 * u * u * t * c1.Y + 3 * u * t * t * c2.Y + t * t * t * z.Y});
    }
    return pts;
  }
  if (h.Count() != 3) return {a, z};
  TDot m{h[1]->OrX, h[1]->OrY};
  // Three points nearly on a line draw straight.
  double cross = (m.X - a.X) * (z.Y - a.Y) - (m.Y - a.Y) * (z.X - a.X);
  double chord = Dist(a, z);
  if (chord == 0 || std::abs(cross) / chord <= 5) return {a, z};
  const int n = 36;
  if (FLineStyle == lsParabolicArc) {
    // The quadratic curve that passes through the mid handle halfway.
    TDot c{2 * m.X - (a.X + z.X) / 2, 2 * m.Y - (a.Y + z.Y) / 2};
    for (int i = 0; i <= n; ++i) {
      double t = double(i) / n, u = 1 - t;
      pts.push_back({u * u * a.X + 2 * u * t * c.X + t * t * z.X,
                     u * u * a.Y + 2 * u * t * c.Y + t * t * z.Y});
    }
    return pts;
  }
  // The circle through the three handles, walked from the source through the mid handle.
  double d = 2 * (a.X * (m.Y - z.Y) + m.X * (z.Y - a.Y) + z.X * (a.Y - m.Y));
  double a2 = a.X * a.X + a.Y * a.Y, m2 = m.X * m.X + m.Y * m.Y, z2 = z.X * z.X + z.Y * z.Y;
  TDot c{(a2 * (m.Y - z.Y) + m2 * (z.Y - a.Y) + z2 * (a.Y - m.Y)) / d,
         (a2 * (z.X - m.X) + m2 * (a.X - z.X) + z2 * (m.X - a.X)) / d};
  double r = Dist(c, a);
  double t0 = std::atan2(a.Y - c.Y, a.X - c.X);
  double tm = std::atan2(m.Y - c.Y, m.X - c.X);
  double t1 = std::atan2(z.Y - c.Y, z.X - c.X);
  auto norm = [](double x) {
    while (x < 0) x += 2 * M_PI;
    while (x >= 2 * M_PI) x -= 2 * M_PI;
    return x;
  };
  double sweep = norm(t1 - t0);
  if (norm(tm - t0) > sweep) sweep -= 2 * M_PI;  // the mid handle lies the other way round
  for (int i = 0; i <= n; ++i) {
    double t = t0 + sweep * i / n;
    pts.push_back({c.X + r * std::cos(t), c.Y + r * std::sin(t)});
  }
  pts.front() = a;  // the ends exactly, whatever the trigonometry rounds to
  pts.back() = z;
  return pts;
}

void TCustomDiagramLine::HandlesToPoints(const TStretchHandles& handles) {
  FPoints.clear();
  switch (FLineStyle) {
    case lsLine:
      for (int i = 0; i < handles.Count(); ++i)
        FPoints.push_back({handles[i]->OrX, handles[i]->OrY});
      break;
    case lsSideLine:
      FPoints = SideLineStaircase(handles, EndOrientation(0));
      break;
    default:
      FPoints = CurvePoints(handles);
      break;
  }
}

void TCustomDiagramLine::ResetLine() {
  if (IsLoading() || (FDiagram && FDiagram->IsUpdating())) return;
  SyncEndsFromAnchors();
  RecalcLine(FHandles, nullptr);
}

void TCustomDiagramLine::RebuildRoute() {
  while (FHandles.Count() > 2) FHandles.Delete(1);
  if (FLineStyle == lsSideLine) FHandles[0]->FData = 0;
  SyncEndsFromAnchors();
  RecalcLine(FHandles, nullptr);
}

TSquare TCustomDiagramLine::ControlRect() const {
  return BoundsOfDots(FPoints);
}

TDot TCustomDiagramLine::HandlePoint(const TStretchHandle* h) const {
  return {h->OrX, h->OrY};
}

TDot TCustomDiagramLine::LinkPointPoint(const TLinkPoint* p) const {
  return {p->OrX(), p->OrY()};
}

void TCustomDiagramLine::MoveBy(double dy, double dx) {
  for (int i = 0; i < FHandles.Count(); ++i) {
    FHandles[i]->OrX += dx;
    FHandles[i]->OrY += dy;
  }
  for (int i = 0; i < FLinkPoints.Count(); ++i) {
    FLinkPoints[i]->FOrX += dx;
    FLinkPoints[i]->FOrY += dy;
  }
  HandlesToPoints(FHandles);
  RecalcTextCells();
  if (FDiagram) FDiagram->Modified();
  Redraw();
}

bool TCustomDiagramLine::PointInControl(const TDot& pos) {
  if (!FDiagram) return false;
  const double tol = 5;
  for (size_t i = 0; i + 1 < FPoints.size(); ++i) {
    TDot a = FDiagram->ClientToCanvas(FPoints[i]);
    TDot b = FDiagram->ClientToCanvas(FPoints[i + 1]);
    if (a.X == b.X) {
      if (std::abs(pos.X - a.X) <= tol && pos.Y >= std::min(a.Y, b.Y) - tol &&
          pos.Y <= std::max(a.Y, b.Y) + tol)
        return true;
      continue;
    }
    if (a.Y == b.Y) {
      if (std::abs(pos.Y - a.Y) <= tol && pos.X >= std::min(a.X, b.X) - tol &&
          pos.X <= std::max(a.X, b.X) + tol)
        return true;
      continue;
    }
    double dx = b.X - a.X, dy = b.Y - a.Y;
    double t =
        std::clamp(((pos.X - a.X) * dx + (pos.Y - a.Y) * dy) / (dx * dx + dy * dy), 0.0, 1.0);
    if (Dist(pos, {a.X + t * dx, a.Y + t * dy}) <= tol) return true;
  }
  return false;
}

// ---- Paint ----

void TCustomDiagramLine::Paint(const TDiagramDrawInfo& info) {
  DrawLine(info);
  DrawCells(info);
}

void TCustomDiagramLine::DrawCrossBumps(TDotArray& path, size_t seg, double) const {
  // Crossings with side lines below this one in z-order, in canvas units.
  TDot a = FDiagram->ClientToCanvas(FPoints[seg]);
  TDot b = FDiagram->ClientToCanvas(FPoints[seg + 1]);
  bool horz = a.Y == b.Y;
  if (!horz && a.X != b.X) return;
  std::vector<std::pair<double, TDot>> hits;
  for (TDiagramControl* c : FDiagram->DControls()) {
    if (c == this) break;
    auto* other = dynamic_cast<TCustomDiagramLine*>(c);
    if (!other || other->FLineStyle != lsSideLine || !other->IsVisibleNow()) continue;
    for (size_t j = 0; j + 1 < other->FPoints.size(); ++j) {
      TDot c1 = FDiagram->ClientToCanvas(other->FPoints[j]);
      TDot c2 = FDiagram->ClientToCanvas(other->FPoints[j + 1]);
      TDot x;
      if (horz && c1.X == c2.X) {
        x = {c1.X, a.Y};
        if (!(x.X > std::min(a.X, b.X) && x.X < std::max(a.X, b.X))) continue;
        if (!(x.Y > std::min(c1.Y, c2.Y) && x.Y < std::max(c1.Y, c2.Y))) continue;
      } else if (!horz && c1.Y == c2.Y) {
        x = {a.X, c1.Y};
        if (!(x.Y > std::min(a.Y, b.Y) && x.Y < std::max(a.Y, b.Y))) continue;
        if (!(x.X > std::min(c1.X, c2.X) && x.X < std::max(c1.X, c2.X))) continue;
      } else {
        continue;
      }
      double d2 = (x.X - a.X) * (x.X - a.X) + (x.Y - a.Y) * (x.Y - a.Y);
      // Insertion sort by squared distance from the segment's start.
      auto it = hits.begin();
      while (it != hits.end() && it->first <= d2) ++it;
      hits.insert(it, {d2, x});
    }
  }
  for (const auto& [d2, x] : hits) {
    bool forward = horz ? b.X >= a.X : b.Y >= a.Y;
    if (horz) {
      TDot p1{x.X - 4, x.Y}, p2{x.X, x.Y - 4}, p3{x.X + 4, x.Y};
      if (!forward) std::swap(p1, p3);
      path.insert(path.end(), {p1, p2, p3});
    } else {
      TDot p1{x.X, x.Y - 4}, p2{x.X + 4, x.Y}, p3{x.X, x.Y + 4};
      if (!forward) std::swap(p1, p3);
      path.insert(path.end(), {p1, p2, p3});
    }
  }
}

void TCustomDiagramLine::DrawLine(const TDiagramDrawInfo& info) {
  if (FPoints.size() < 2 || !FDiagram) return;
  TDgrCanvas& c = *info.Canvas;
  c.SaveDrawingState();
  c.Pen().Assign(Selected() ? FSelPen : FPen);
  c.Pen().Transparency = FTransparency;
  c.Brush().BrushMode = bmClear;
  TDotArray path;
  bool bumps = FLineStyle == lsSideLine && FDiagram->ShowCrossIndicators;
  for (size_t i = 0; i < FPoints.size(); ++i) {
    path.push_back(FDiagram->ClientToCanvas(FPoints[i]));
    if (bumps && i + 1 < FPoints.size()) DrawCrossBumps(path, i, 1);
  }
  c.Polyline(path);
  if (!(FPoints.front() == FPoints.back())) {
    double scale = FDiagram->CanvasScale();
    auto arrow = [&](TLineArrow& a, bool atSource) {
      if (a.Shape == asNone) return;
      size_t endIdx = atSource ? 0 : FPoints.size() - 1;
      TDot end = FPoints[endIdx];
      TDot from = end;
      for (size_t k = 1; k < FPoints.size() && from == end; ++k)
        from = FPoints[atSource ? k : FPoints.size() - 1 - k];
      a.FDrawFrom = FDiagram->ClientToCanvas(from);
      a.FDrawTo = FDiagram->ClientToCanvas(end);
      a.Draw(c, scale);
    };
    arrow(SourceArrow(), true);
    arrow(TargetArrow(), false);
  }
  c.RestoreDrawingState();
}

void TLineArrow::Draw(TDgrCanvas& c, double scale) const {
  double dx = FDrawTo.X - FDrawFrom.X, dy = FDrawTo.Y - FDrawFrom.Y;
  double len = std::hypot(dx, dy);
  if (len == 0 || Shape == asNone) return;
  double ux = dx / len, uy = dy / len;  // along the line, towards the end
  double nx = -uy, ny = ux;             // across
  double w = Width * scale, h = Height * scale;
  const TDot& e = FDrawTo;
  auto at = [&](double back, double side) {
    return TDot{e.X - ux * back + nx * side, e.Y - uy * back + ny * side};
  };
  c.SaveDrawingState();
  c.Pen().Assign(Pen);
  c.Brush().Assign(Brush);
  if (FLine) c.Pen().Color = c.Brush().Color = FLine->FPen.Color;  // the line's colour
  switch (Shape) {
    case asNone:
      break;
    case asSolidArrow:
      c.Polygon({e, at(w, h / 2), at(w, -h / 2)});
      break;
    case asLineArrow:
      c.DrawLine(e, at(w, h / 2));
      c.DrawLine(e, at(w, -h / 2));
      break;
    case asDiamond:
      c.Polygon({e, at(w / 2, h / 2), at(w, 0), at(w / 2, -h / 2)});
      break;
    case asRectangle:
      c.Polygon({at(-w / 2, h / 2), at(w / 2, h / 2), at(w / 2, -h / 2), at(-w / 2, -h / 2)});
      break;
    case asEllipse:
      c.Ellipse({e.X - w / 2, e.Y - h / 2, e.X + w / 2, e.Y + h / 2});
      break;
    case asHalfLine:
      c.DrawLine(e, at(w, h / 2));
      break;
    case asAngledDiamond:
      c.Polygon({e, at(w / 2, h / 2), at(w, h / 2), at(w / 2, 0)});
      break;
  }
  c.RestoreDrawingState();
}

// ---- Text cells of lines ----

void TCustomDiagramLine::RecalcTextCells() {
  if (FTextCellsMode == tmManual || FPoints.size() < 2) return;
  auto ensure = [&](int n) {
    while (FTextCells.Count() > n) FTextCells.Delete(FTextCells.Count() - 1);
    while (FTextCells.Count() < n) FTextCells.Add();
  };
  auto grow = [](TSquare r, double minW, double minH, TAlignment ha, TVertAlign va) {
    double dw = std::max(0.0, minW - r.Width()), dh = std::max(0.0, minH - r.Height());
    if (ha == taLeftJustify)
      r.Right += dw;
    else if (ha == taRightJustify)
      r.Left -= dw;
    else {
      r.Left -= dw / 2;
      r.Right += dw / 2;
    }
    if (va == vaTop)
      r.Bottom += dh;
    else if (va == vaBottom)
      r.Top -= dh;
    else {
      r.Top -= dh / 2;
      r.Bottom += dh / 2;
    }
    return r;
  };
  auto place = [](TTextCell* cell, const TSquare& r) {
    cell->Left = r.Left;
    cell->Top = r.Top;
    cell->Width = r.Width();
    cell->Height = r.Height();
  };
  // The point at half the polyline's length, and the normal there.
  auto centre = [&]() {
    double total = 0;
    for (size_t i = 0; i + 1 < FPoints.size(); ++i) total += Dist(FPoints[i], FPoints[i + 1]);
    double half = total / 2;
    for (size_t i = 0; i + 1 < FPoints.size(); ++i) {
      double l = Dist(FPoints[i], FPoints[i + 1]);
      if (l > 0 && (half <= l || i + 2 == FPoints.size()))
        return ChordPoint(FPoints[i], FPoints[i + 1], std::min(1.0, half / l), 10);
      half -= l;
    }
    return FPoints[0];
  };
  if (FTextCellsMode == tmSegments) {
    int n = int(FPoints.size()) - 1;
    int had = FTextCells.Count();
    ensure(n);
    for (int i = 0; i < n; ++i) {
      TTextCell* cell = FTextCells[i];
      if (i >= had) {
        cell->VertAlign = vaCenter;
        cell->WordWrap = true;
        cell->RotateFont = true;
      }
      place(cell,
            grow(TSquare::FromPoints(FPoints[i], FPoints[i + 1]), 200, 30, taCenter, vaCenter));
    }
    return;
  }
  if (FTextCellsMode == tmSingle) {
    ensure(1);
    TTextCell* cell = FTextCells[0];
    cell->Clip = false;
    TDot m = centre();
    place(cell, grow({m.X - 10, m.Y - 10, m.X + 10, m.Y + 10}, 300, 100, cell->Alignment,
                     cell->VertAlign));
    FCenterTextCell = cell;
    return;
  }
  // tmSpecific: centre, source, target, then the alternates on the other side.
  ensure(5);
  TDot m = centre();
  place(FTextCells[0], grow({m.X - 10, m.Y - 10, m.X + 10, m.Y + 10}, 300, 100,
                            FTextCells[0]->Alignment, FTextCells[0]->VertAlign));
  auto endCell = [&](TTextCell* cell, const TDot& end, const TDot& next, bool alt) {
    bool rightwards = next.X >= end.X;
    TSquare r{rightwards ? end.X : end.X - 400, alt ? end.Y : end.Y - 100,
              rightwards ? end.X + 400 : end.X, alt ? end.Y + 100 : end.Y};
    cell->Alignment = rightwards ? taLeftJustify : taRightJustify;
    cell->VertAlign = alt ? vaTop : vaBottom;
    place(cell, r);
  };
  const TDot& s = FPoints.front();
  const TDot& t = FPoints.back();
  endCell(FTextCells[1], s, FPoints[1], false);
  endCell(FTextCells[2], t, FPoints[FPoints.size() - 2], false);
  endCell(FTextCells[3], s, FPoints[1], true);
  endCell(FTextCells[4], t, FPoints[FPoints.size() - 2], true);
  FCenterTextCell = FTextCells[0];
  FSourceTextCell = FTextCells[1];
  FTargetTextCell = FTextCells[2];
  FAltSourceTextCell = FTextCells[3];
  FAltTargetTextCell = FTextCells[4];
}

// ---- Leaves ----

TDiagramPolyLine::TDiagramPolyLine(QObject* owner) : TDiagramLine(owner) {
  FInsertStyle = isDraw;
}

TDiagramSideLine::TDiagramSideLine(QObject* owner) : TBaseDiagramLine(owner) {
  SetLineStyle(lsSideLine);
}

TDiagramArc::TDiagramArc(QObject* owner) : TBaseDiagramLine(owner) {
  FTextCellsMode = tmSingle;
  FLineStyle = lsParabolicArc;
  SetEnds({50, 50}, {100, 100});
}

TDiagramBezier::TDiagramBezier(QObject* owner) : TBaseDiagramLine(owner) {
  FTextCellsMode = tmSingle;
  FLineStyle = lsBezier;
  RebuildRoute();
}
