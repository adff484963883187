// TDiagramControl: placement on a diagram, visibility and layers, restrictions, selection,
// anchor notification, and the drawing shared by all controls (handles, link point marks).
#include <algorithm>
#include <cmath>

#include "KvDiagram.h"

TDiagramControl::TDiagramControl(QObject* owner)
    : QObject(owner), FHandles(this), FLinkPoints(this), FTextCells(this) {
  connect(this, &QObject::objectNameChanged, this, [this](const QString& n) { NameChanged(n); });
  FHandlesAppearance.Reset(hsClassic, false);
}

TDiagramControl::~TDiagramControl() {
  Detach();
  FLinkPoints.Clear();
  FreeGraphics();
}

void TDiagramControl::Detach() {
  FDestroying = true;
  if (FDiagram && FDiagram->FInplaceMemo && FDiagram->FInplaceMemo->DControl() == this)
    FDiagram->FInplaceMemo = nullptr;
  NotifyAnchoreds(acRemoval);
  if (FGroupBlock) FGroupBlock->RemoveMember(this);
  if (FDiagram) FDiagram->RemoveDControl(this);
}

void TDiagramControl::SetName(const QString& name) {
  NameChanged(name);
  setObjectName(name);
}

void TDiagramControl::NameChanged(const QString& name) {
  if (name == FName) return;
  if (FDiagram) FDiagram->ControlRenamed(FName, name);
  FName = name;
}

bool TDiagramControl::IsLoading() const {
  return FLoading || (FDiagram && FDiagram->IsLoading());
}

bool TDiagramControl::IsGroup() const {
  return dynamic_cast<const TBaseGroupBlock*>(this);
}

bool TDiagramControl::IsLine() const {
  return dynamic_cast<const TCustomDiagramLine*>(this);
}

void TDiagramControl::SetDiagram(TKvDiagram* d) {
  if (d == FDiagram) return;
  TKvDiagram* old = FDiagram;
  DiagramChanged(old, d);
  if (old) {
    if (FSelected) SetSelected(false);
    old->RemoveDControl(this);
  }
  if (old && d != old) FLayerObj = nullptr;
  FDiagram = nullptr;
  FreeGraphics();
  FDiagram = d;
  CreateGraphics();
  if (d) {
    d->AddDControl(this);
    if (!FLayerNameFix.isEmpty()) {
      if (TDiagramLayer* l = d->Layers().FindByName(FLayerNameFix)) FLayerObj = l;
      FLayerNameFix.clear();
    }
  }
}

bool TDiagramControl::Selected() const {
  return FSelected && CanSelect();
}

void TDiagramControl::SetSelected(bool v) {
  v = v && CanSelect();
  if (v == FSelected) return;
  if (v && !IsVisibleNow()) return;
  FSelected = v;
  if (FDiagram) FDiagram->SelectionChanged(this, v);
  // A member of a group is selected with its whole outermost group.
  if (v && FDiagram && FDiagram->SelectionMode == slmMultiple && FGroupBlock) {
    TDiagramControl* top = FGroupBlock;
    while (top->GroupBlock()) top = top->GroupBlock();
    top->SetSelected(true);
  }
  if (v && FDiagram && FDiagram->SelectionMode == slmMultiple) {
    if (auto* g = dynamic_cast<TBaseGroupBlock*>(this))
      for (TDiagramControl* m : g->Members().FItems) m->SetSelected(true);
  }
  Redraw();
}

bool TDiagramControl::IsVisibleNow() const {
  return FVisible && FDiagram && FDiagram->LayerActive(FLayerInteger) && !FCollapsed &&
         (!FLayerObj || FLayerObj->Visible());
}

void TDiagramControl::SetVisible(bool v) {
  if (v == FVisible) return;
  FVisible = v;
  if (!IsVisibleNow()) SetSelected(false);
  Redraw();
}

void TDiagramControl::SetLayer(int n) {
  if (n == FLayerInteger) return;
  FLayerInteger = n;
  if (!IsVisibleNow()) SetSelected(false);
  Redraw();
}

void TDiagramControl::SetLayerObj(TDiagramLayer* l) {
  FLayerObj = l;
  if (!IsVisibleNow()) SetSelected(false);
  Redraw();
}

QString TDiagramControl::LayerName() const {
  return FLayerObj ? FLayerObj->LayerName() : FLayerNameFix;
}

void TDiagramControl::SetLayerName(const QString& n) {
  TDiagramLayer* l = FDiagram ? FDiagram->Layers().FindByName(n) : nullptr;
  if (!l && FDiagram && FDiagram->IsLoading()) {
    FLayerNameFix = n;  // the layers may come later in the stream
    return;
  }
  if (!l) FLayerNameFix = n;
  SetLayerObj(l);
}

void TDiagramControl::SetCollapsedFlag(bool v) {
  FCollapsed = v;
  if (v) SetSelected(false);
}

void TDiagramControl::SetAngle(double a) {
  while (a < 0) a += 360;
  while (a >= 360) a -= 360;
  if (a == FAngle) return;
  FAngle = a;
  GeometryChanged();
  NotifyAnchoreds(acPosition);
  if (FDiagram) FDiagram->Modified();
  Redraw();
}

void TDiagramControl::SetTransparency(int t) {
  FTransparency = std::clamp(t, 0, 100);
  Redraw();
}

const TKvFont& TDiagramControl::Font() const {
  return FDiagramFont && FDiagram ? FDiagram->Font : FFont;
}

void TDiagramControl::SetFont(const TKvFont& f) {
  FFont = f;
  FDiagramFont = false;
  Redraw();
}

TDgrGraphicLib TDiagramControl::GraphicLib() const {
  if (FCustomGraphicLib || !FDiagram) return FGraphicLib;
  return FDiagram->GraphicLib();
}

void TDiagramControl::SetGraphicLib(TDgrGraphicLib lib) {
  FGraphicLib = lib;
  FCustomGraphicLib = true;
  FreeGraphics();
  CreateGraphics();
  Redraw();
}

bool TDiagramControl::Allowed(TControlRestriction r, bool layerMatters) const {
  if (FDiagram && FDiagram->DesignMode == ddmNonEditable) return false;
  if (FRestrictions.Contains(r)) return false;
  return !(layerMatters && FLayerObj && !FLayerObj->Editable);
}

bool TDiagramControl::CanMove() const {
  return Allowed(crNoMove, true);
}
bool TDiagramControl::CanResize() const {
  return Allowed(crNoResize, true);
}
bool TDiagramControl::CanRotate() const {
  return Allowed(crNoRotation, true);
}
bool TDiagramControl::CanEdit() const {
  return Allowed(crNoEdit, true);
}
bool TDiagramControl::CanMoveRotCenter() const {
  return Allowed(crNoRotCenterMove, true);
}
bool TDiagramControl::CanLink() const {
  return Allowed(crNoLink, true);
}
bool TDiagramControl::CanSelect() const {
  return Allowed(crNoSelect, false);
}
bool TDiagramControl::CanClipboard() const {
  return Allowed(crNoClipboard, false);
}
bool TDiagramControl::CanDelete() const {
  return Allowed(crNoDelete, false);
}

void TDiagramControl::NotifyAnchoreds(TAnchorChange change) {
  if (FNotifying > 0) return;
  ++FNotifying;
  std::vector<TLinkPoint*> anchoreds;
  for (int i = 0; i < FLinkPoints.Count(); ++i)
    for (TLinkPoint* a : FLinkPoints[i]->Anchoreds()) anchoreds.push_back(a);
  for (TLinkPoint* a : anchoreds) a->AnchorChanged(change);
  --FNotifying;
}

void TDiagramControl::TextCellRemoved(TTextCell* cell) {
  if (FDiagram && FDiagram->FInplaceMemo == cell) FDiagram->FInplaceMemo = nullptr;
}

void TDiagramControl::ReleaseForeignAnchors() {
  for (int i = 0; i < FLinkPoints.Count(); ++i) {
    TLinkPoint* p = FLinkPoints[i];
    if (p->Anchor() && !p->Anchor()->Selected()) p->AnchorTo(nullptr);
  }
}

void TDiagramControl::PrepareDgrDrawer(TDgrBlockDrawer& drawer) {
  drawer.FAngle = 0;
  drawer.FRotCentre = {};
}

void TDiagramControl::PrepareDrawer(TBlockDrawer& drawer) {
  SetupDrawer(drawer);
}

void TDiagramControl::InvalidateControl() {
  if (FDiagram) FDiagram->Redraw();
}

void TDiagramControl::Redraw() {
  if (FDiagram && !FDestroying) FDiagram->Redraw();
}

void TDiagramControl::LinkAdded(TCustomDiagramLine* link, TLinkPoint* point) {
  if (FOnLinkAdded) FOnLinkAdded(this, link, point);
  if (FDiagram && FDiagram->OnLinkAdded) FDiagram->OnLinkAdded(FDiagram, this, link, point);
}

void TDiagramControl::LinkRemoved(TCustomDiagramLine* link, TLinkPoint* point) {
  if (FOnLinkRemoved) FOnLinkRemoved(this, link, point);
  if (FDiagram && FDiagram->OnLinkRemoved) FDiagram->OnLinkRemoved(FDiagram, this, link, point);
}

void TDiagramControl::AngleChanged() {
  // Cells that follow the control read its angle; only a repaint is needed.
  Redraw();
}

void TDiagramControl::UpdateMoving(const TControlMoveInfo& info) {
  if (info.Action == caMoved) MoveBy(info.Delta.Y, info.Delta.X);
}

void TDiagramControl::CreateGraphics() {
  if (FDestroying || GraphicLib() == dglGDI) return;
  if (!FDgrDrawer) FDgrDrawer = std::make_unique<TGPBlockDrawer>();
  if (!FTempPath) FTempPath = FDgrDrawer->CreatePath();
}

void TDiagramControl::FreeGraphics() {
  FTempPath.reset();
  FDgrDrawer.reset();
}

TBlockDrawer TDiagramControl::ClientDrawer() const {
  TBlockDrawer d;
  SetupDrawer(d);
  return d;
}

// ---- Handles and link point marks ----

namespace {

void ApplyPenBrush(TDgrCanvas& c, const TKvPen& pen, const TKvBrush& brush) {
  c.Pen().Assign(pen);
  c.Pen().Transparency = 0;
  c.Brush().Assign(brush);
  c.Brush().Transparency = 0;
}

}  // namespace

void TDiagramControl::DrawHandles(const TDiagramDrawInfo& info) {
  FHandlesAppearance.Reset(FDiagram ? FDiagram->HandlesStyle : hsClassic, FGroupBlock);
  for (int i = 0; i < FHandles.Count(); ++i)
    if (FHandles[i]->FVisible) DrawHandle(info, FHandles[i]);
}

void TDiagramControl::DrawHandle(const TDiagramDrawInfo& info, TStretchHandle* h) {
  const THandleAppearance& a = FHandlesAppearance.For(h->Style);
  if (!a.Visible || !FDiagram) return;
  bool enabled = h->Style == hsSize        ? CanResize()
                 : h->Style == hsRotate    ? CanRotate()
                 : h->Style == hsRotCenter ? CanMoveRotCenter()
                                           : CanMove();
  TDgrCanvas& c = *info.Canvas;
  c.SaveDrawingState();
  c.ResetTransform();
  c.SetSmooth(false);
  ApplyPenBrush(c, enabled ? a.Pen : a.DisabledPen, enabled ? a.Brush : a.DisabledBrush);
  TDot cp = FDiagram->ClientToCanvas(HandlePoint(h));
  double x = RoundHalfEven(cp.X), y = RoundHalfEven(cp.Y);
  int s = a.Size;
  TSquare box{x - s, y - s, x + s + 1, y + s + 1};
  switch (a.Style) {
    case hhRectangle:
      c.Rectangle(box);
      break;
    case hhEllipse:
      c.Ellipse(box);
      break;
    case hhDiamond:
      c.Polygon({{x, y - s}, {x + s, y}, {x, y + s}, {x - s, y}});
      break;
    case hhCrossedEllipse:
      c.Ellipse(box);
      c.DrawLine({x - s - 3, y}, {x + s + 3, y});
      c.DrawLine({x, y - s - 3}, {x, y + s + 3});
      break;
    case hhRectangleX:
    case hhEllipseX:
      if (a.Style == hhRectangleX)
        c.Rectangle(box);
      else
        c.Ellipse(box);
      c.DrawLine({box.Left, box.Top}, {box.Right, box.Bottom});
      c.DrawLine({box.Right, box.Top}, {box.Left, box.Bottom});
      break;
  }
  c.RestoreDrawingState();
}

void TDiagramControl::DrawLinkPoints(const TDiagramDrawInfo& info) {
  if (!FDiagram) return;
  TDgrCanvas& c = *info.Canvas;
  for (int i = 0; i < FLinkPoints.Count(); ++i) {
    TLinkPoint* lp = FLinkPoints[i];
    if (!lp->FVisible) continue;
    bool painted = false;
    if (FDiagram->OnDrawLinkPoint) FDiagram->OnDrawLinkPoint(FDiagram, lp, info, painted);
    if (painted) continue;
    TDot cp = FDiagram->ClientToCanvas(lp->DiagramPoint());
    double x = RoundHalfEven(cp.X), y = RoundHalfEven(cp.Y);
    // Marks are sized in screen pixels; on paper they grow with the resolution.
    const double k = FDiagram->ResolutionScale();
    auto at = [&](double dx, double dy) { return TDot{x + dx * k, y + dy * k}; };
    auto box = [&](double from, double to) {
      return TSquare::FromPoints(at(from, from), at(to, to));
    };
    c.SaveDrawingState();
    c.SetSmooth(false);
    if (lp->IsNode()) {
      ApplyPenBrush(c, {clGray, 1, psSolid}, {clWhite, bsSolid});
      c.Rectangle(box(-4, 5));
      c.Pen().Color = clBlack;
      c.DrawLine(at(-2, 0), at(3, 0));
      if (lp->Collapsed()) c.DrawLine(at(0, -2), at(0, 3));
    } else {
      ApplyPenBrush(c, FLinkPointPen, FLinkPointBrush);
      switch (FLinkPointStyle) {
        case ptEllipse:
          c.Ellipse(box(-2, 2));
          break;
        case ptRectangle:
          c.Rectangle(box(-2, 2));
          break;
        case ptDiamond:
          c.Polygon({at(0, -3), at(3, 0), at(0, 3), at(-3, 0)});
          break;
        case ptCross:
          c.DrawLine(at(-2, -2), at(3, 3));
          c.DrawLine(at(2, -2), at(-3, 3));
          break;
        case ptNone:
        case ptImplicit:
          break;
      }
    }
    c.RestoreDrawingState();
  }
}
