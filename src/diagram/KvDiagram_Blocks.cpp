// Blocks: geometry in client coordinates, original coordinates of handles, link points and
// cells, the body paint, shapes and outlines, polygons, line joins and groups.
#include <QPainterPath>
#include <algorithm>
#include <cmath>

#include "KvDiagram.h"

namespace {

constexpr Qt::CursorShape kSizeCursors[8] = {
    Qt::SizeFDiagCursor, Qt::SizeVerCursor, Qt::SizeBDiagCursor, Qt::SizeHorCursor,
    Qt::SizeFDiagCursor, Qt::SizeVerCursor, Qt::SizeBDiagCursor, Qt::SizeHorCursor};

// Unrotated outline of a shape over rect r, as a path.
QPainterPath ShapePath(TBlockShape shape, const TSquare& r) {
  QPainterPath p;
  QRectF q = r.ToQt();
  switch (shape) {
    case bsNoShape:
      break;
    case bsRectangle:
      p.addRect(q);
      break;
    case bsEllipse:
      p.addEllipse(q);
      break;
    case bsRoundRect:
      p.addRoundedRect(q, r.Width() / 4, r.Height() / 4);
      break;
    case bsSquareRound:
      p.addRoundedRect(q, r.Width() / 2, r.Width() / 2);
      break;
    case bsDiamond: {
      TDot c = r.Center();
      p.moveTo(c.X, r.Top);
      p.lineTo(r.Right, c.Y);
      p.lineTo(c.X, r.Bottom);
      p.lineTo(r.Left, c.Y);
      p.closeSubpath();
      break;
    }
  }
  return p;
}

}  // namespace

TCustomDiagramBlock::TCustomDiagramBlock(QObject* owner) : TDiagramControl(owner) {
  FTextCells.Add();
  UpdateBlockHandles();
}

// Leaves the scene while the block's own operations still answer.
TCustomDiagramBlock::~TCustomDiagramBlock() {
  Detach();
}

void TCustomDiagramBlock::SetBounds(double l, double t, double w, double h) {
  TSquare oldRect = BoundsRect();
  TSquare newRect{l, t, l + w, t + h};
  if (oldRect == newRect) return;
  FLeft = l;
  FTop = t;
  FWidth = w;
  FHeight = h;
  BoundsChanged(oldRect, newRect);
}

void TCustomDiagramBlock::BoundsChanged(const TSquare&, const TSquare&) {
  NotifyAnchoreds(acPosition);
  if (FDiagram) FDiagram->Modified();
  if (!(FDiagram && FDiagram->FUpdatingPos > 0)) Redraw();
}

void TCustomDiagramBlock::SetShape(TBlockShape s) {
  FShape = s;
  Redraw();
}
void TCustomDiagramBlock::SetColor(TColor c) {
  FColor = c;
  Redraw();
}
void TCustomDiagramBlock::SetSelColor(TColor c) {
  FSelColor = c;
  Redraw();
}
void TCustomDiagramBlock::SetTransparent(bool v) {
  FTransparent = v;
  Redraw();
}
void TCustomDiagramBlock::SetRotationCenter(const TDot& p) {
  FRotCenter = p;
  Redraw();
}

QString TCustomDiagramBlock::Strings() const {
  return FTextCells.Count() ? FTextCells[0]->Text() : QString();
}
void TCustomDiagramBlock::SetStrings(const QString& text) {
  if (FTextCells.Count()) FTextCells[0]->SetText(text);
}
TAlignment TCustomDiagramBlock::Alignment() const {
  return FTextCells.Count() ? FTextCells[0]->Alignment : taCenter;
}
void TCustomDiagramBlock::SetAlignment(TAlignment a) {
  if (!FTextCells.Count()) return;
  FTextCells[0]->Alignment = a;
  FTextCells[0]->Changed();
}
TVertAlign TCustomDiagramBlock::VertAlign() const {
  return FTextCells.Count() ? FTextCells[0]->VertAlign : vaTop;
}
void TCustomDiagramBlock::SetVertAlign(TVertAlign v) {
  if (!FTextCells.Count()) return;
  FTextCells[0]->VertAlign = v;
  FTextCells[0]->Changed();
}
bool TCustomDiagramBlock::WordWrap() const {
  return FTextCells.Count() ? FTextCells[0]->WordWrap : true;
}
void TCustomDiagramBlock::SetWordWrap(bool w) {
  if (!FTextCells.Count()) return;
  FTextCells[0]->WordWrap = w;
  FTextCells[0]->Changed();
}

TBlockDrawer TCustomDiagramBlock::ItemDrawer() const {
  TBlockDrawer d = ClientDrawer();
  d.FOrRect = ItemFrame();
  return d;
}

void TCustomDiagramBlock::UpdateBlockHandles() {
  const TSquare o = ItemFrame();
  const double mx = (o.Left + o.Right) / 2, my = (o.Top + o.Bottom) / 2;
  const TDot places[8] = {{o.Left, o.Top},     {mx, o.Top},    {o.Right, o.Top},   {o.Right, my},
                          {o.Right, o.Bottom}, {mx, o.Bottom}, {o.Left, o.Bottom}, {o.Left, my}};
  for (int i = 0; i < 8; ++i) {
    TStretchHandle* h = FHandles.FindByData(i + 1);
    if (!h) h = FHandles.Add(0, 0, kSizeCursors[i], i + 1, hsSize);
    h->OrX = places[i].X;
    h->OrY = places[i].Y;
  }
  bool visio = FDiagram && FDiagram->HandlesStyle == hsVisio;
  TStretchHandle* rot = FHandles.FindByData(9);
  if (!rot) rot = FHandles.Add(0, 0, Qt::PointingHandCursor, 9, hsRotate);
  rot->OrX = visio ? mx : o.Right - o.Width() / 10;
  rot->OrY = visio ? o.Top : my;
  TStretchHandle* centre = FHandles.FindByData(10);
  if (!centre && visio) centre = FHandles.Add(0, 0, Qt::PointingHandCursor, 10, hsRotCenter);
  if (centre) centre->FVisible = visio;
  AngleChanged();
}

void TCustomDiagramBlock::AngleChanged() {
  int k = int(std::trunc((FAngle + 22.5) / 45));
  for (int i = 1; i <= 8; ++i)
    if (TStretchHandle* h = FHandles.FindByData(i)) h->FCursor = kSizeCursors[(i - 1 + k) % 8];
  TDiagramControl::AngleChanged();
}

void TCustomDiagramBlock::SetupDrawer(TBlockDrawer& d) const {
  if (&d != &FDrawer) d.FOrRect = FDrawer.FOrRect;
  d.FRect = BoundsRect();
  d.SetAngle(FAngle);
  d.FRotationType = rtCurRectCenter;
}

void TCustomDiagramBlock::PrepareDrawer(TBlockDrawer& d) {
  SetupDrawer(d);
  if (FDiagram) d.FRect = FDiagram->ClientToCanvas(BoundsRect());
}

void TCustomDiagramBlock::PrepareDgrDrawer(TDgrBlockDrawer& d) {
  TSquare r = FDiagram ? FDiagram->ClientToCanvas(BoundsRect()) : BoundsRect();
  d.FAngle = FAngle;
  d.FRotCentre = r.Center();
  d.FSourceRect = r;
}

TSquare TCustomDiagramBlock::CellRectToClient(const TTextCell*, const TSquare& r) const {
  TBlockDrawer d = ItemDrawer();
  return TSquare::FromPoints(d.PPX(r.Left, r.Top), d.PPX(r.Right, r.Bottom));
}

TSquare TCustomDiagramBlock::SurroundRect() const {
  if (FAngle == 0) return BoundsRect();
  TBlockDrawer d = ClientDrawer();
  return BoundsOfDots(d.RotByCenter(BoundsRect()));
}

TDotArray TCustomDiagramBlock::SurroundPoints(const TBlockDrawer& d) const {
  TDotArray pts;
  if (FDiagram && FDiagram->OnGetSurroundPts)
    FDiagram->OnGetSurroundPts(FDiagram, const_cast<TCustomDiagramBlock*>(this), pts);
  if (!pts.empty()) return pts;
  const TSquare& r = d.FRect;
  if (FShape == bsEllipse) {
    TDot c = r.Center();
    pts.reserve(360);
    for (int i = 0; i < 360; ++i) {
      double a = i * M_PI / 180;
      pts.push_back(d.RotX(c.X + std::cos(a) * r.Width() / 2, c.Y + std::sin(a) * r.Height() / 2));
    }
    return pts;
  }
  if (FShape == bsDiamond) {
    TDot c = r.Center();
    pts = {d.RotX(c.X, r.Top), d.RotX(r.Right, c.Y), d.RotX(c.X, r.Bottom), d.RotX(r.Left, c.Y)};
  } else {
    pts = d.RotByCenter(r);
  }
  pts.push_back(pts.front());
  return pts;
}

void TCustomDiagramBlock::BuildOutlinePath(TDgrGraphicsPath& path, const TBlockDrawer& d) const {
  const TSquare& r = d.FRect;
  switch (FShape) {
    case bsNoShape:
      break;
    case bsRectangle:
      path.AddRectangle(r);
      break;
    case bsEllipse:
      path.AddEllipse(r);
      break;
    case bsRoundRect:
      path.AddRoundRect(r, r.Width() / 4, r.Height() / 4);
      break;
    case bsSquareRound:
      path.AddRoundRect(r, r.Width() / 2, r.Width() / 2);
      break;
    case bsDiamond: {
      TDot c = r.Center();
      path.AddPolygon({{c.X, r.Top}, {r.Right, c.Y}, {c.X, r.Bottom}, {r.Left, c.Y}});
      break;
    }
  }
}

void TCustomDiagramBlock::BuildBlockPath(TDgrGraphicsPath& path, const TBlockDrawer& d) const {
  BuildOutlinePath(path, d);
}

void TCustomDiagramBlock::DrawShape(const TDiagramDrawInfo& info) {
  if (FDiagram && FDiagram->OnDrawShape) {
    bool painted = false;
    FDiagram->OnDrawShape(FDiagram, this, info, {info.Drawer->FRect, FAngle}, painted);
    if (painted) return;
  }
  TBlockDrawer& d = *info.Drawer;
  if (info.DgrDrawer) {
    auto path = info.DgrDrawer->CreatePath();
    BuildOutlinePath(*path, d);
    info.DgrDrawer->RotatePath(*path);
    info.Canvas->Path(*path);
    return;
  }
  // The plain path draws every shape as a polygon through the drawer.
  const TSquare& r = d.FRect;
  switch (FShape) {
    case bsNoShape:
      return;
    case bsRectangle:
      info.Canvas->Polygon(d.RotByCenter(r));
      return;
    case bsEllipse:
      if (FAngle == 0)
        info.Canvas->Ellipse(r);
      else
        info.Canvas->Polygon(SurroundPoints(d));
      return;
    default: {
      TDotArray pts;
      for (const QPolygonF& poly : ShapePath(FShape, r).toFillPolygons())
        for (const QPointF& q : poly) pts.push_back(d.RotX(q.x(), q.y()));
      info.Canvas->Polygon(pts);
    }
  }
}

void TCustomDiagramBlock::DrawBody(const TDiagramDrawInfo& info) {
  TDgrCanvas& c = *info.Canvas;
  c.SaveDrawingState();
  if (FShadow.Visible && FDiagram) {
    TDot o = FDiagram->ClientToCanvas(TDot{double(FShadow.HOffset), double(FShadow.VOffset)}) -
             FDiagram->ClientToCanvas(TDot{0, 0});
    c.Pen().DashStyle = psClear;
    c.Pen().Transparency = 100;
    c.Brush().BrushMode = bmSolid;
    c.Brush().Color = FShadow.Color;
    c.Brush().Transparency = CombineTransparency(FShadow.Transparency, FTransparency);
    c.TranslateTransform(o.X, o.Y);
    DrawShape(info);
    c.TranslateTransform(-o.X, -o.Y);
  }
  c.Pen().DashStyle = psClear;
  c.Pen().Transparency = 100;
  if (!FTransparent) {
    c.Brush().BrushMode = bmSolid;
    c.Brush().Color = EffectiveColor();
    c.Brush().Transparency = FTransparency;
    DrawShape(info);
  }
  // Whatever has an outline takes the gradient, polygons too, whose shape is bsNoShape.
  if (FGradient.Visible) {
    if (auto outline = RotatedOutline(*info.Drawer)) {
      c.SaveDrawingState();
      c.SetClip(*outline);
      FGradient.DrawGradient(c, info.DgrDrawer, info.Drawer->FRect, FTransparency, FAngle);
      c.RestoreDrawingState();
    }
  }
  c.Brush().Assign(EffectiveBrush());
  c.Brush().Transparency = FTransparency;
  if (EffectiveBrush().Style != bsClear) DrawShape(info);
  DrawPictures(info);
  c.Pen().Assign(FPen);
  c.Pen().Transparency = FTransparency;
  c.Brush().BrushMode = bmClear;
  DrawShape(info);
  c.RestoreDrawingState();
}

std::unique_ptr<TDgrGraphicsPath> TCustomDiagramBlock::RotatedOutline(
    const TBlockDrawer& drawer) const {
  auto path = CreateQtPath();
  BuildOutlinePath(*path, drawer);
  if (path->GetPointCount() == 0) return nullptr;
  path->Rotate(FAngle, drawer.FRect.Center());
  return path;
}

void TCustomDiagramBlock::DrawPictures(const TDiagramDrawInfo& info) {
  DrawPicture(info, FBitmap, FBitmapMode);
  DrawPicture(info, FMetafile, bmStretch);
  DrawPicture(info, FPicture, FPictureMode);
}

void TCustomDiagramBlock::DrawPicture(const TDiagramDrawInfo& info, const QImage& img, int mode) {
  if (img.isNull() || img.width() == 0 || img.height() == 0 || !FDiagram) return;
  TDgrCanvas& c = *info.Canvas;
  const TSquare r = info.Drawer->FRect;
  auto graphic = CreateQtGraphic(img);
  c.SaveDrawingState();
  if (auto outline = RotatedOutline(*info.Drawer)) c.SetClip(*outline);
  if (FAngle != 0) c.RotateTransform(FAngle, r.Center());
  TDot size = FDiagram->ClientToCanvas(TDot{double(img.width()), double(img.height())}) -
              FDiagram->ClientToCanvas(TDot{0, 0});
  if (mode == bmStretch) {
    c.StretchDraw(r, *graphic, FTransparency, FBitmapTransparent);
  } else if (mode == bmCenter) {
    TDot m = r.Center();
    c.StretchDraw({m.X - size.X / 2, m.Y - size.Y / 2, m.X + size.X / 2, m.Y + size.Y / 2},
                  *graphic, FTransparency, FBitmapTransparent);
  } else if (size.X >= 1 && size.Y >= 1) {
    c.SetClip(r);
    for (double y = r.Top; y < r.Bottom; y += size.Y)
      for (double x = r.Left; x < r.Right; x += size.X)
        c.StretchDraw({x, y, x + size.X, y + size.Y}, *graphic, FTransparency, FBitmapTransparent);
  }
  c.RestoreDrawingState();
}

void TCustomDiagramBlock::Paint(const TDiagramDrawInfo& info) {
  if (info.DgrDrawer) PrepareDgrDrawer(*info.DgrDrawer);
  TDiagramDrawBlockInfo blockInfo{info.Drawer->FRect, FAngle};
  bool painted = false;
  if (FDiagram && FDiagram->OnDrawBlock)
    FDiagram->OnDrawBlock(FDiagram, this, info, blockInfo, painted);
  if (!painted && HasBody()) DrawBody(info);
  if (FDiagram && FDiagram->OnAfterDrawBlock) FDiagram->OnAfterDrawBlock(FDiagram, this, info);
  DrawCells(info);
}

bool TCustomDiagramBlock::PointInControl(const TDot& canvasPos) {
  TBlockDrawer d;
  PrepareDrawer(d);
  TDotArray pts = SurroundPoints(d);
  if (pts.size() >= 3) {
    QPolygon poly;
    for (const TDot& p : pts) poly << QPoint(RoundHalfEven(p.X), RoundHalfEven(p.Y));
    return poly.containsPoint(QPoint(RoundHalfEven(canvasPos.X), RoundHalfEven(canvasPos.Y)),
                              Qt::OddEvenFill) ||
           poly.boundingRect().width() == 0 || poly.boundingRect().height() == 0;
  }
  if (FTempPath && FTempPath->GetPointCount() > 0)
    return FTempPath->IsVisible(canvasPos.X, canvasPos.Y);
  return false;
}

void TCustomDiagramBlock::MoveBy(double dy, double dx) {
  SetBounds(FLeft + dx, FTop + dy, FWidth, FHeight);
}

TDot TCustomDiagramBlock::HandlePoint(const TStretchHandle* h) const {
  TBlockDrawer d = ItemDrawer();
  if (h->Style == hsRotCenter)
    return d.RotX(FLeft + FRotCenter.X / 100 * FWidth, FTop + FRotCenter.Y / 100 * FHeight);
  TDot p = d.PPX(h->OrX, h->OrY);
  if (h->Style == hsRotate && FDiagram && FDiagram->HandlesStyle == hsVisio)
    p.Y -= 24 / FDiagram->CanvasScale();
  return d.RotX(p);
}

TDot TCustomDiagramBlock::LinkPointPoint(const TLinkPoint* p) const {
  return ItemDrawer().Rot(p->OrX(), p->OrY());
}

void TCustomDiagramBlock::CreateGraphics() {
  TDiagramControl::CreateGraphics();
  if (!FDgrDrawer) return;
  FDgrBitmap = FBitmap.isNull() ? nullptr : FDgrDrawer->CreateGraphic(FBitmap);
  FDgrMetafile = FMetafile.isNull() ? nullptr : FDgrDrawer->CreateGraphic(FMetafile);
  FDgrPicture = FPicture.isNull() ? nullptr : FDgrDrawer->CreateGraphic(FPicture);
}

// ---- TDiagramLineJoin ----

TDiagramLineJoin::TDiagramLineJoin(QObject* owner) : TCustomDiagramBlock(owner) {
  FDrawer.FOrRect = {0, 0, 20, 20};
  FWidth = FHeight = 20;
  FRestrictions = {crNoResize, crNoRotation, crNoEdit};
  TLinkPoint* p = FLinkPoints.Add(10, 10);
  p->FCanAnchor = true;
  p->FCanAnchorInMove = true;
  UpdateBlockHandles();
}

void TDiagramLineJoin::Follow() {
  TLinkPoint* target = FLinkPoints[0]->AnchorLink();
  if (!target) return;
  TDot d = target->DiagramPoint() - LinkPointPoint(FLinkPoints[0]);
  if (d.X != 0 || d.Y != 0) MoveBy(d.Y, d.X);
}

void TDiagramLineJoin::AnchorLinkChanged(TLinkPoint*) {
  Follow();
}

void TDiagramLineJoin::LinkedAnchorChanged(TLinkPoint*, TAnchorChange change) {
  if (change == acPosition) Follow();
}

// ---- Polygons ----

TCustomPolygonBlock* TPolygonPoint::DControl() const {
  return FCollection ? FCollection->DControl() : nullptr;
}

TDotArray TPolygonPoints::Dots() const {
  TDotArray out;
  out.reserve(FItems.size());
  for (const TPolygonPoint& p : FItems) out.push_back(p.P);
  return out;
}

TCustomPolygonBlock::TCustomPolygonBlock(QObject* owner) : TCustomDiagramBlock(owner) {
  FInsertStyle = isDraw;
  FShapeCursor = true;
  FShape = bsNoShape;
  SetAlignment(taCenter);
  SetVertAlign(vaCenter);
  PolygonChanged();
}

void TCustomPolygonBlock::AddPoint(double x, double y) {
  FPolygon.Add({x, y}, FHandles.Add(0, 0, Qt::SizeAllCursor, -1, hsCustom));
  PolygonChanged();
}

void TCustomPolygonBlock::ClearPoints() {
  for (const TPolygonPoint& p : FPolygon.FItems) FHandles.Delete(FHandles.IndexOf(p.FHandle));
  FPolygon.FItems.clear();
  PolygonChanged();
}

void TCustomPolygonBlock::SetPoints(const TDotArray& pts) {
  ClearPoints();
  for (const TDot& d : pts) {
    FPolygon.Add(d, FHandles.Add(0, 0, Qt::SizeAllCursor, -1, hsCustom));
  }
  PolygonChanged();
}

void TCustomPolygonBlock::PolygonChanged() {
  TSquare box = BoundsOfDots(FPolygon.Dots());
  FDrawer.FOrRect = box;
  FInPolygonChange = true;
  TCustomDiagramBlock::SetBounds(box.Left, box.Top, box.Width(), box.Height());
  FInPolygonChange = false;
  UpdateBlockHandles();
  Redraw();
}

void TCustomPolygonBlock::SetBounds(double l, double t, double w, double h) {
  TCustomDiagramBlock::SetBounds(l, t, w, h);
}

void TCustomPolygonBlock::BoundsChanged(const TSquare& oldRect, const TSquare& newRect) {
  if (!FInPolygonChange && !FPolygon.FItems.empty()) {
    TBlockDrawer map;
    map.FOrRect = oldRect;
    map.FRect = newRect;
    for (TPolygonPoint& p : FPolygon.FItems) p.P = map.PP(p.P);
    FDrawer.FOrRect = BoundsOfDots(FPolygon.Dots());
    UpdateBlockHandles();
  }
  TCustomDiagramBlock::BoundsChanged(oldRect, newRect);
}

TDotArray TCustomPolygonBlock::SurroundPoints(const TBlockDrawer& d) const {
  TDotArray pts;
  if (FDiagram && FDiagram->OnGetSurroundPts)
    FDiagram->OnGetSurroundPts(FDiagram, const_cast<TCustomPolygonBlock*>(this), pts);
  if (!pts.empty()) return pts;
  pts.reserve(FPolygon.FItems.size() + 1);
  for (const TPolygonPoint& p : FPolygon.FItems) pts.push_back(d.RotX(d.PP(p.P)));
  if (!pts.empty()) pts.push_back(pts.front());
  return pts;
}

void TCustomPolygonBlock::BuildOutlinePath(TDgrGraphicsPath& path, const TBlockDrawer& d) const {
  TDotArray pts;
  pts.reserve(FPolygon.FItems.size());
  for (const TPolygonPoint& p : FPolygon.FItems) pts.push_back(d.PP(p.P));
  if (pts.size() >= 2) path.AddPolygon(pts);
}

void TCustomPolygonBlock::DrawShape(const TDiagramDrawInfo& info) {
  if (FDiagram && FDiagram->OnDrawShape) {
    bool painted = false;
    FDiagram->OnDrawShape(FDiagram, this, info, {info.Drawer->FRect, FAngle}, painted);
    if (painted) return;
  }
  if (FPolygon.FItems.size() < 2) return;
  if (info.DgrDrawer) {
    auto path = info.DgrDrawer->CreatePath();
    BuildOutlinePath(*path, *info.Drawer);
    info.DgrDrawer->RotatePath(*path);
    info.Canvas->Path(*path);
    return;
  }
  TDotArray pts = SurroundPoints(*info.Drawer);
  info.Canvas->Polygon(pts);
}

TDot TCustomPolygonBlock::HandlePoint(const TStretchHandle* h) const {
  if (h->FData == -1) {
    TBlockDrawer d = ClientDrawer();
    for (const TPolygonPoint& p : FPolygon.FItems)
      if (p.FHandle == h) return d.RotX(d.PP(p.P));
  }
  return TCustomDiagramBlock::HandlePoint(h);
}

void TCustomPolygonBlock::UpdateDrawing(const TControlDrawInfo& info) {
  switch (info.Action) {
    case daStart:
      ClearPoints();
      AddPoint(info.P1.X, info.P1.Y);
      break;
    case daStep:
      AddPoint(info.P2.X, info.P2.Y);
      break;
    case daInserted:
      PolygonChanged();
      break;
    default:
      break;
  }
}

// ---- Groups ----

void TGroupMemberList::Remove(TDiagramControl* c) {
  FItems.erase(std::remove(FItems.begin(), FItems.end(), c), FItems.end());
}

int TGroupMemberList::IndexOf(const TDiagramControl* c) const {
  auto it = std::find(FItems.begin(), FItems.end(), c);
  return it == FItems.end() ? -1 : int(it - FItems.begin());
}

TBaseGroupBlock::TBaseGroupBlock(QObject* owner) : TCustomDiagramBlock(owner) {
  FTextCells.Clear();
}

void TBaseGroupBlock::AddMember(TDiagramControl* c) {
  if (!c || c == this || FMembers.IndexOf(c) >= 0) return;
  FMembers.Add(c);
  if (dynamic_cast<TGroupBlock*>(this)) c->FGroupBlock = static_cast<TGroupBlock*>(this);
  RecalculateRect();
}

void TBaseGroupBlock::RemoveMember(TDiagramControl* c) {
  FMembers.Remove(c);
  if (c->FGroupBlock == this) c->FGroupBlock = nullptr;
  if (!FDestroying) RecalculateRect();
}

void TBaseGroupBlock::RecalculateRect() {
  if (FMembers.Count() == 0) return;
  TSquare r = FMembers[0]->SurroundRect();
  for (TDiagramControl* m : FMembers.FItems) r = r.United(m->SurroundRect());
  ++FUpdatingMembers;
  TCustomDiagramBlock::SetBounds(r.Left, r.Top, r.Width(), r.Height());
  --FUpdatingMembers;
  if (FGroupBlock) FGroupBlock->RecalculateRect();
}

void TBaseGroupBlock::Paint(const TDiagramDrawInfo& info) {
  if (!FDiagram) return;
  for (TDiagramControl* m : FMembers.FItems) FDiagram->PaintControl(m, info);
}

bool TBaseGroupBlock::PointInControl(const TDot& canvasPos) {
  for (TDiagramControl* m : FMembers.FItems)
    if (m->IsVisibleNow() && m->PointInControl(canvasPos)) return true;
  return false;
}

void TBaseGroupBlock::MoveBy(double dy, double dx) {
  ++FUpdatingMembers;
  for (TDiagramControl* m : FMembers.FItems) m->MoveBy(dy, dx);
  --FUpdatingMembers;
  RecalculateRect();
}

void TBaseGroupBlock::SetBounds(double l, double t, double w, double h) {
  TSquare oldRect = BoundsRect();
  TCustomDiagramBlock::SetBounds(l, t, w, h);
  if (FUpdatingMembers > 0 || FMembers.Count() == 0) return;
  // Members scale in proportion to the group.
  TBlockDrawer map;
  map.FOrRect = oldRect;
  map.FRect = BoundsRect();
  ++FUpdatingMembers;
  for (TDiagramControl* m : FMembers.FItems) {
    if (auto* b = dynamic_cast<TCustomDiagramBlock*>(m)) {
      b->SetBoundsRect(TSquare::FromPoints(map.PP(b->BoundsRect().TopLeft()),
                                           map.PP(b->BoundsRect().BottomRight())));
    } else if (auto* line = dynamic_cast<TCustomDiagramLine*>(m)) {
      line->SetEnds(map.PP(line->SourceLinkPoint()->DiagramPoint()),
                    map.PP(line->TargetLinkPoint()->DiagramPoint()));
    }
  }
  --FUpdatingMembers;
}

TGroupBlock::~TGroupBlock() {
  FDestroying = true;
  for (TDiagramControl* m : FMembers.FItems)
    if (m->FGroupBlock == this) m->FGroupBlock = nullptr;
  FMembers.Clear();
}
