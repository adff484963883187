// The diagram under mouse and keyboard: one state machine over TMouseState. A drag draws
// only its cursor, on an overlay above a cached picture of the scene; the model changes
// once, at the release.
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QScrollBar>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

#include "DiagramLibrary.h"
#include "KvDiagram.h"
#include "KvDiagram_Memo.h"

struct TKvDiagram::TShiftState {
  bool Shift = false, Ctrl = false, Alt = false;
  bool Left = false, Right = false, Middle = false;
  bool Double = false;
};

namespace {

using TShift = TKvDiagram::TShiftState;

constexpr double kZoomLevels[] = {0.05, 0.0833, 0.125, 0.25, 0.3333, 0.5, 0.6667, 0.75, 1.0,
                                  1.25, 1.5,    2.0,   3.0,  4.0,    6.0, 8.0,    10.0};

TShift ShiftOf(Qt::KeyboardModifiers m, Qt::MouseButtons buttons, Qt::MouseButton button,
               bool dbl) {
  TShift s;
  s.Shift = m & Qt::ShiftModifier;
  s.Ctrl = m & Qt::ControlModifier;
  s.Alt = m & Qt::AltModifier;
  buttons |= button;
  s.Left = buttons & Qt::LeftButton;
  s.Right = buttons & Qt::RightButton;
  s.Middle = buttons & Qt::MiddleButton;
  s.Double = dbl;
  return s;
}

Qt::KeyboardModifiers ModifiersOf(const TShift& s) {
  Qt::KeyboardModifiers m;
  if (s.Shift) m |= Qt::ShiftModifier;
  if (s.Ctrl) m |= Qt::ControlModifier;
  if (s.Alt) m |= Qt::AltModifier;
  return m;
}

TDiagramControl* Outermost(TDiagramControl* c) {
  while (c->GroupBlock()) c = c->GroupBlock();
  return c;
}

bool Near(const TDot& a, const TDot& b) {
  return std::abs(a.X - b.X) <= 10 && std::abs(a.Y - b.Y) <= 10;
}

}  // namespace

// ---- Qt events ----

void TKvDiagram::mousePressEvent(QMouseEvent* e) {
  const QPoint p = e->position().toPoint();
  MouseDown(e->button(), ShiftOf(e->modifiers(), e->buttons(), e->button(), false), p.x(), p.y());
}

void TKvDiagram::mouseDoubleClickEvent(QMouseEvent* e) {
  const QPoint p = e->position().toPoint();
  MouseDown(e->button(), ShiftOf(e->modifiers(), e->buttons(), e->button(), true), p.x(), p.y());
}

void TKvDiagram::mouseMoveEvent(QMouseEvent* e) {
  const QPoint p = e->position().toPoint();
  MouseMove(ShiftOf(e->modifiers(), e->buttons(), Qt::NoButton, false), p.x(), p.y());
}

void TKvDiagram::mouseReleaseEvent(QMouseEvent* e) {
  const QPoint p = e->position().toPoint();
  MouseUp(e->button(), ShiftOf(e->modifiers(), e->buttons(), Qt::NoButton, false), p.x(), p.y());
}

// ---- press ----

void TKvDiagram::MouseDown(Qt::MouseButton button, const TShift& shift, int x, int y) {
  if (!IsDesigning()) {
    CloseEditor(true);
    setFocus();
  }
  FOldScreenCursor = viewport()->cursor().shape();
  FLastMousePos = {x, y};
  if (x < LeftRuler.VisibleSize() || y < TopRuler.VisibleSize()) return;
  const TDot pos = CanvasToClient(TDot{double(x), double(y)});
  const auto mods = ModifiersOf(shift);

  switch (FMouseState) {
    case msBrowsing: {
      TDiagramControl* control = nullptr;
      if (PaintLinesFirst) control = DControlAtPos(pos, csmIgnoreLines, cfIgnoreGroups);
      if (!control) control = DControlAtPos(pos, csmAll, cfIgnoreGroups);
      TStretchHandle* handle = HandleAtPos(pos, true);
      TLinkPoint* node = LinkNodeAtPos(pos);
      TDiagramControl* owner = handle ? handle->DControl() : nullptr;
      auto mouseDownEvents = [&](TDiagramControl* c) {
        c->MouseDownHook(button, mods, pos);
        if (OnDControlMouseDown) OnDControlMouseDown(this, c, button, mods, pos.X, pos.Y);
      };
      auto doubleClick = [&](TDiagramControl* c) {
        c->DblClickHook();
        if (OnDControlDblClick) OnDControlDblClick(this, c);
      };
      const bool handleEnabled =
          handle && ((handle->Style == hsSize && owner->CanResize()) ||
                     (handle->Style == hsRotate && owner->CanRotate()) ||
                     (handle->Style == hsRotCenter && owner->CanMoveRotCenter()) ||
                     (handle->Style == hsCustom && owner->CanMove()));
      if (handle && button == Qt::LeftButton && owner && handleEnabled && owner->CanSelect()) {
        mouseDownEvents(owner);
        if (shift.Double)
          doubleClick(owner);
        else
          FDControlClicked = owner;
        if (OnDControlMouseDownEx)
          OnDControlMouseDownEx(this, owner, handle, button, mods, pos.X, pos.Y);
        FMouseState = msResizing;
        FHandle = handle;
        FDragStart = ClientToCanvas(owner->HandlePoint(handle));
        FHasOldDragPos = false;
        FHandleInfo = THandleMoveInfo{};
        owner->StartMovingHandle();
        if (OnBeforeResize) OnBeforeResize(this);
        return;
      }
      if (node) {
        FMouseState = msClickingNode;
        FNodeClicked = node;
        if (OnClickNode) OnClickNode(this, node);
        return;
      }
      if (shift.Left && !ConnectionLineId.isEmpty()) {
        TLinkPoint* start = LinkPointAtPos(pos, nullptr, true, false, false);
        if (start && start->DControl()->CanLink()) {
          std::unique_ptr<TCustomDiagramLine> probe(CreateConnectionLine());
          if (probe && AcceptAnchor(probe.get(), start) &&
              AcceptLink(probe.get(), start, nullptr)) {
            CancelInsertingBlock();
            FInsertDControl = probe.release();
            FInsertID = FInsertDControl->DControlID();
            FKeepInserting = false;
            FLinkPoint = start;
            UnselectAll();
            FDragStart = ClientToCanvas(start->DiagramPoint());
            FMouseState = msInserting;
            FHasOldDragPos = false;
            return;
          }
        }
      }
      if (control) {
        mouseDownEvents(control);
        if (shift.Double) {
          doubleClick(control);
          return;
        }
        if (!control->CanSelect()) return;
        FDControlClicked = control;
        if (OnDControlMouseDownEx)
          OnDControlMouseDownEx(this, control, nullptr, button, mods, pos.X, pos.Y);
        if (button == Qt::RightButton) {
          if (!control->Selected()) SelectControl(control, shift.Ctrl ? 1 : 0);
          return;
        }
        if (button != Qt::LeftButton) return;
        if (shift.Shift) {
          BeginUpdateSel();
          SelectControl(control, 2);
          EndUpdateSel();
          Redraw();
          return;
        }
        FDragStart = {double(x), double(y)};
        SelectControl(control, shift.Ctrl ? 1 : 0);
        auto* line = dynamic_cast<TCustomDiagramLine*>(control);
        if (shift.Ctrl || (line && line->FRequiresConnections)) return;
        FMouseState = msMoving;
        FHasOldDragPos = false;
        FCurRect = {};
        PrepareMove();
        return;
      }
      if (button == Qt::LeftButton) {
        UnselectAll();
        FDragStart = {double(x), double(y)};
        FMouseState = msSelecting;
        FCurRect = {};
        BuildCache();
        FSelectTimer->OnTimer = [this] { SelectTimerTick(); };
        FSelectTimer->SetEnabled(true);
      } else if (button == Qt::RightButton) {
        UnselectAll();
      }
      return;
    }
    case msToInsert:
      if (!shift.Left) return;
      UnselectAll();
      if (!StartLinkAt(pos)) return;
      FMouseState = msInserting;
      FHasOldDragPos = false;
      BuildCache();
      return;
    case msToDraw:
      if (!shift.Left) return;
      UnselectAll();
      if (!StartLinkAt(pos)) return;
      FMouseState = msDrawing;
      FHasOldDragPos = false;
      BuildCache();
      DrawStep(x, y, daStart);
      return;
    case msDrawing:
      if (!shift.Left) return;
      if (shift.Double)
        FinishDrawing(false, x, y);
      else
        DrawStep(x, y, daStep);
      return;
    case msToPan:
      if (!shift.Left) return;
      FDragStart = {double(x), double(y)};
      FOldPosition = {HorzPosition(), VertPosition()};
      FMouseState = msPanning;
      return;
    case msToZoom:
      if (!shift.Left) return;
      FMouseState = msZooming;
      FDragStart = {double(x), double(y)};
      FCurRect = {};
      BuildCache();
      return;
    default:
      return;
  }
}

void TKvDiagram::SelectControl(TDiagramControl* c, int mode) {
  BeginUpdateSel();
  if (mode == 0) {
    if (!c->Selected()) {
      UnselectAll();
      Outermost(c)->SetSelected(true);
    }
  } else if (mode == 1) {
    // Repeated Ctrl-clicks walk down from a group into its members.
    TDiagramControl* target = c;
    while (target->GroupBlock() && !target->GroupBlock()->Selected()) target = target->GroupBlock();
    TDiagramControl* parent = target->GroupBlock();
    UnselectAll();
    if (parent && parent->Selected()) parent->SetSelected(false);
    target->SetSelected(true);
  } else {
    if (c->GroupBlock() && c->GroupBlock()->Selected()) {
      c->GroupBlock()->SetSelected(false);
      c->SetSelected(true);
    } else {
      c->SetSelected(!c->Selected());
    }
  }
  EndUpdateSel();
}

// ---- moving ----

void TKvDiagram::PrepareMove() {
  const bool group = SelectionMode == slmGroup && FSelBlock->Members().Count() > 0;
  FControlMoveInfos.assign(FSelecteds.size() + (group ? 1 : 0), TControlMoveInfo{});
  FMoveInfo = TControlMoveInfo{};
  BuildCache();
  for (TDiagramControl* c : FSelecteds) {
    c->StartMoving();
    if (FDragStyle == dsShape) c->FIntPaintMode = pmNormalCursor;
  }
  if (group) {
    FSelBlock->StartMoving();
    if (FDragStyle == dsShape) FSelBlock->FIntPaintMode = pmCursorOnly;
  }
  if (OnBeforeMove) OnBeforeMove(this);
}

void TKvDiagram::UpdateMove(int x, int y) {
  const TDot start = SnapPoint(CanvasToClient(FDragStart));
  const TDot now = SnapPoint(CanvasToClient(TDot{double(x), double(y)}));
  TDot delta = now - start;
  FMoveInfo.AnchorPoint = FMoveInfo.LinkPoint = nullptr;
  // The first link point of the selection that lands on an accepting point pulls the
  // selection onto it.
  for (TDiagramControl* c : FSelecteds) {
    if (c->GroupBlock() || !c->CanMove()) continue;
    auto* line = dynamic_cast<TCustomDiagramLine*>(c);
    for (int i = 0; i < c->LinkPoints().Count() && !FMoveInfo.AnchorPoint; ++i) {
      TLinkPoint* lp = c->LinkPoints()[i];
      if (!lp->FCanAnchor || !lp->FCanAnchorInMove) continue;
      if (lp->Anchor() && lp->Anchor()->Selected()) continue;
      TLinkPoint* hit = LinkPointAtPos(lp->DiagramPoint() + delta, c, true, false, true);
      if (!hit) continue;
      if (line) {
        TLinkPoint* other = line->LinkPoints()[1 - std::min(i, 1)];
        TLinkPoint* otherAnchor =
            other->Anchor() && other->Anchor()->Selected() ? other->AnchorLink() : nullptr;
        if (!AcceptLink(line, hit, otherAnchor) || !AcceptAnchor(line, hit)) continue;
      }
      FMoveInfo.AnchorPoint = hit;
      FMoveInfo.LinkPoint = lp;
    }
    if (FMoveInfo.AnchorPoint) break;
  }
  if (FMoveInfo.AnchorPoint)
    delta = FMoveInfo.AnchorPoint->DiagramPoint() - FMoveInfo.LinkPoint->DiagramPoint();
  FMoveInfo.Delta = delta;
  TControlMoveInfo info = FMoveInfo;
  info.Action = caPositionCursor;
  for (TDiagramControl* c : FSelecteds) c->UpdateMoving(info);
  if (SelectionMode == slmGroup && FSelBlock->Members().Count() > 0) FSelBlock->UpdateMoving(info);
  FHasOldDragPos = true;
  FOldDragPos = {double(x), double(y)};
  if (OnMoving) OnMoving(this);
  Redraw();
}

void TKvDiagram::FinishMove(bool cancel) {
  const bool moved =
      FHasOldDragPos && !cancel && (FMoveInfo.Delta.X != 0 || FMoveInfo.Delta.Y != 0);
  if (moved) {
    ++FUpdatingPos;
    TControlMoveInfo info = FMoveInfo;
    info.Action = caMoved;
    // Lines go first: a line end anchored to a moved block then settles on the block.
    std::vector<TDiagramControl*> movers;
    for (TDiagramControl* c : FSelecteds)
      if (!(c->GroupBlock() && c->GroupBlock()->Selected()) && c->CanMove()) movers.push_back(c);
    std::stable_partition(movers.begin(), movers.end(),
                          [](TDiagramControl* c) { return c->IsLine(); });
    for (TDiagramControl* c : movers) c->UpdateMoving(info);
    for (TDiagramControl* c : movers) c->ReleaseForeignAnchors();
    for (TDiagramControl* c : movers)
      if (c->GroupBlock()) c->GroupBlock()->RecalculateRect();
    if (FMoveInfo.AnchorPoint && FMoveInfo.LinkPoint)
      FMoveInfo.LinkPoint->AnchorTo(FMoveInfo.AnchorPoint);
    --FUpdatingPos;
  }
  FControlMoveInfos.clear();
  EndDrag();
  if (!moved) return;
  if (OnAfterMove) OnAfterMove(this);
  Modified();
  PushUndoStack(QStringLiteral("move"));
}

// ---- resizing ----

void TKvDiagram::UpdateResize(int x, int y) {
  TDiagramControl* c = FHandle->DControl();
  const TDot pos = SnapPoint(CanvasToClient(TDot{double(x), double(y)}));
  FHandleInfo = THandleMoveInfo{};
  FHandleInfo.AHandle = FHandle;
  FHandleInfo.DControl = c;
  FHandleInfo.Delta = pos - c->HandlePoint(FHandle);
  if (auto* line = dynamic_cast<TCustomDiagramLine*>(c); line && line->HandleLinkPoint(FHandle)) {
    TLinkPoint* end = line->HandleLinkPoint(FHandle);
    TLinkPoint* other = line->LinkPoints()[end->Index() == 0 ? 1 : 0];
    TLinkPoint* hit =
        LinkPointAtPos(CanvasToClient(TDot{double(x), double(y)}), line, true, false, true);
    if (hit && AcceptAnchor(line, hit) &&
        AcceptLink(line, end->Index() == 0 ? hit : other->AnchorLink(),
                   end->Index() == 0 ? other->AnchorLink() : hit))
      FHandleInfo.AnchorPoint = hit;
  }
  FHandleInfo.Action = haPositionCursor;
  c->UpdateMovingHandle(FHandleInfo);
  if (OnDControlResizing) OnDControlResizing(this);
  FHasOldDragPos = true;
  FOldDragPos = {double(x), double(y)};
  Redraw();
}

void TKvDiagram::FinishResize(bool cancel) {
  TDiagramControl* c = FHandle ? FHandle->DControl() : nullptr;
  const bool resized = c && FHasOldDragPos && !cancel;
  if (resized) {
    auto* line = dynamic_cast<TCustomDiagramLine*>(c);
    if (line && line->HandleLinkPoint(FHandle) && !FHandleInfo.AnchorPoint)
      FHandleInfo.AnchorPoint = AutoLinkPointAt(c->HandlePoint(FHandle) + FHandleInfo.Delta);
    FHandleInfo.Action = haMoved;
    c->UpdateMovingHandle(FHandleInfo);
    if (c->GroupBlock()) c->GroupBlock()->RecalculateRect();
  }
  FHandle = nullptr;
  EndDrag();
  if (!resized) return;
  if (OnAfterResize) OnAfterResize(this);
  Modified();
  PushUndoStack(QStringLiteral("resize"));
}

// ---- inserting and drawing ----

TCustomDiagramLine* TKvDiagram::CreateConnectionLine() {
  const TRegDControl* reg = RegDControls().FindByID(ConnectionLineId);
  if (!reg || !reg->FDControlClass) return nullptr;
  TDiagramControl* c = reg->FDControlClass(FOwner);
  if (auto* line = dynamic_cast<TCustomDiagramLine*>(c)) {
    line->SetDControlID(ConnectionLineId);
    return line;
  }
  delete c;
  return nullptr;
}

bool TKvDiagram::AcceptAnchor(TCustomDiagramLine* line, TLinkPoint* point) {
  if (!point || !point->DControl()->CanLink()) return false;
  bool accept = true;
  if (OnAcceptAnchor) OnAcceptAnchor(this, line, point, accept);
  return accept;
}

bool TKvDiagram::AcceptLink(TCustomDiagramLine* line, TLinkPoint* anchor1, TLinkPoint* anchor2) {
  // A point's constraint tells which end of a line may rest on it.
  if (anchor1 && (anchor1->FLinkConstraint == lcNone || anchor1->FLinkConstraint == lcTargetOnly))
    return false;
  if (anchor2 && (anchor2->FLinkConstraint == lcNone || anchor2->FLinkConstraint == lcSourceOnly))
    return false;
  bool accept = true;
  if (OnAcceptLink) OnAcceptLink(this, line, anchor1, anchor2, accept);
  return accept;
}

TLinkPoint* TKvDiagram::AutoLinkPointAt(const TDot& pos) {
  auto* block =
      dynamic_cast<TCustomDiagramBlock*>(DControlAtPos(pos, csmIgnoreLines, cfIgnoreGroups));
  if (!block || !block->FAutoCreateLinkPoints || !block->CanLink()) return nullptr;
  TBlockDrawer d = block->ItemDrawer();
  const TDot o = d.UnPP(d.UnrotX(pos));
  return block->LinkPoints().Add(o.X, o.Y);
}

bool TKvDiagram::StartLinkAt(const TDot& pos) {
  FLinkPoint = nullptr;
  auto* line = dynamic_cast<TCustomDiagramLine*>(FInsertDControl);
  if (line) {
    FLinkPoint = LinkPointAtPos(pos, nullptr, true, false, false);
    if (!FLinkPoint) FLinkPoint = AutoLinkPointAt(pos);
    if (FLinkPoint && !(AcceptAnchor(line, FLinkPoint) && AcceptLink(line, FLinkPoint, nullptr)))
      FLinkPoint = nullptr;
    // A line that must end on link points does not start anywhere else.
    if (!FLinkPoint && line->FRequiresConnections) return false;
  }
  FDragStart = ClientToCanvas(FLinkPoint ? FLinkPoint->DiagramPoint() : SnapPoint(pos));
  return true;
}

TControlInsertInfo TKvDiagram::InsertInfo(int x, int y, TControlInsertAction action) {
  const TDot pos = CanvasToClient(TDot{double(x), double(y)});
  TControlInsertInfo info;
  info.Diagram = this;
  info.Action = action;
  info.DControl = FInsertDControl;
  info.P1 = CanvasToClient(FDragStart);
  info.AnchorPoint1 = FLinkPoint;
  info.AnchorPoint2 = LinkPointAtPos(pos, nullptr, true, false, false);
  if (info.AnchorPoint2 == info.AnchorPoint1) info.AnchorPoint2 = nullptr;
  auto* line = dynamic_cast<TCustomDiagramLine*>(FInsertDControl);
  if (line && info.AnchorPoint2 &&
      !(AcceptAnchor(line, info.AnchorPoint2) &&
        AcceptLink(line, info.AnchorPoint1, info.AnchorPoint2)))
    info.AnchorPoint2 = nullptr;
  info.P2 = info.AnchorPoint2 ? info.AnchorPoint2->DiagramPoint() : SnapPoint(pos);
  info.Clicked = Near(info.P1, info.P2);
  if (!line) {
    // A block is never drawn inside out: at least one unit wide and high.
    if (info.P2.X <= info.P1.X) info.P2.X = info.P1.X + 1;
    if (info.P2.Y <= info.P1.Y) info.P2.Y = info.P1.Y + 1;
  }
  return info;
}

void TKvDiagram::FinishInserting(bool cancel, int x, int y) {
  TDiagramControl* c = FInsertDControl;
  if (cancel || !c) {
    CancelInsertingBlock();
    EndDrag();
    return;
  }
  TControlInsertInfo info = InsertInfo(x, y, iaInserted);
  auto* line = dynamic_cast<TCustomDiagramLine*>(c);
  if (line && line->FRequiresConnections) {
    if (!info.AnchorPoint1) info.AnchorPoint1 = FLinkPoint = AutoLinkPointAt(info.P1);
    if (!info.AnchorPoint2) info.AnchorPoint2 = AutoLinkPointAt(info.P2);
  }
  c->UpdateInserting(info);
  auto* block = dynamic_cast<TCustomDiagramBlock*>(c);
  if (block && SnapGrid.Active && SnapGrid.Force) {
    const TDot p = SnapPoint(block->BoundsRect().TopLeft());
    block->SetBounds(p.X, p.Y, block->Width(), block->Height());
  }
  FInsertDControl = nullptr;
  c->SetDiagram(this);
  if (auto* g = dynamic_cast<TBaseGroupBlock*>(c))
    for (TDiagramControl* m : g->Members().FItems) m->SetDiagram(this);
  UnselectAll();
  c->SetSelected(true);
  if (OnInsertDControl) OnInsertDControl(this, c);
  if (line && OnInsertLink) OnInsertLink(this, line);
  if (block && OnInsertBlock) OnInsertBlock(this, block);
  Modified();
  PushUndoStack(QStringLiteral("insert"));
  EndDrag();
  if (FKeepInserting && !FInsertID.isEmpty()) StartInsertingControl(FInsertID, true);
}

void TKvDiagram::DrawStep(int x, int y, TControlDrawAction action) {
  TControlDrawInfo info;
  info.Diagram = this;
  info.Action = action;
  info.DControl = FInsertDControl;
  info.P1 = CanvasToClient(FDragStart);
  info.AnchorPoint1 = FLinkPoint;
  const TDot pos = CanvasToClient(TDot{double(x), double(y)});
  auto* line = dynamic_cast<TCustomDiagramLine*>(FInsertDControl);
  if (line && action != daStart) {
    info.AnchorPoint2 = LinkPointAtPos(pos, nullptr, true, false, false);
    if (info.AnchorPoint2 == info.AnchorPoint1 ||
        (info.AnchorPoint2 && !(AcceptAnchor(line, info.AnchorPoint2) &&
                                AcceptLink(line, info.AnchorPoint1, info.AnchorPoint2))))
      info.AnchorPoint2 = nullptr;
  }
  info.P2 = info.AnchorPoint2 ? info.AnchorPoint2->DiagramPoint() : SnapPoint(pos);
  FInsertInfo.P2 = info.P2;
  FInsertInfo.AnchorPoint2 = info.AnchorPoint2;
  FInsertDControl->UpdateDrawing(info);
  Redraw();
}

void TKvDiagram::FinishDrawing(bool cancel, int x, int y) {
  TDiagramControl* c = FInsertDControl;
  if (c && FHasOldDragPos) {
    TControlDrawInfo erase;
    erase.Action = daEraseCursor;
    erase.DControl = c;
    c->UpdateDrawing(erase);
  }
  if (c && !cancel) {
    DrawStep(x, y, daInserted);
    FInsertDControl = nullptr;
    c->SetDiagram(this);
    UnselectAll();
    c->SetSelected(true);
    Modified();
    PushUndoStack(QStringLiteral("insert"));
  } else {
    CancelInsertingBlock();
  }
  FInsertDControl = nullptr;
  EndDrag();
}

void TKvDiagram::StartInsertingControl(const QString& id, bool keepInserting) {
  const TRegDControl* reg = RegDControls().FindByID(id);
  QString base;
  if (OnBeforeCreateControl) OnBeforeCreateControl(this, id, base);
  TDiagramControl* c = nullptr;
  if (reg && !reg->FData.isEmpty()) c = KvCreateControlFromData(this, id, reg->FData);
  if (!c && reg && reg->FDControlClass) c = reg->FDControlClass(FOwner);
  if (!c) c = new TDiagramBlock(FOwner);
  if (!reg || c->ClassName() != id) c->SetDControlID(id);
  c->SetName(FindCompName(c, base));
  StartInsertingControl(c, keepInserting);
  FInsertID = id;
}

void TKvDiagram::StartInsertingControl(TDiagramControl* control, bool keepInserting) {
  if (!control) return;
  CloseEditor(true);
  const bool shiftDown = QGuiApplication::keyboardModifiers() & Qt::ShiftModifier;
  CancelInsertingBlock();
  FKeepInserting = keepInserting || KeepInsertingMode == kmAlways ||
                   (KeepInsertingMode == kmOnShiftPressed && shiftDown) ||
                   (KeepInsertingMode == kmLinesOnly && control->IsLine());
  FInsertDControl = control;
  FInsertID = control->DControlID();
  UnselectAll();
  FMouseState = control->FInsertStyle == isDraw ? msToDraw : msToInsert;
}

void TKvDiagram::CancelInsertingBlock() {
  TDiagramControl* c = FInsertDControl;
  FInsertDControl = nullptr;
  if (c && c->Diagram() != this) {
    // A group made from library data brings members that are on no diagram either.
    if (auto* g = dynamic_cast<TBaseGroupBlock*>(c)) {
      std::vector<TDiagramControl*> members = g->Members().FItems;
      delete c;
      for (TDiagramControl* m : members)
        if (!m->Diagram()) delete m;
    } else {
      delete c;
    }
  }
  if (FMouseState == msToInsert || FMouseState == msToDraw || FMouseState == msInserting ||
      FMouseState == msDrawing)
    FMouseState = msBrowsing;
}

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
  if (Near(rect.TopLeft(), rect.BottomRight())) {
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
  if (Near(rect.TopLeft(), rect.BottomRight())) {
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

// ---- mouse move ----

void TKvDiagram::SetScreenCursor(Qt::CursorShape c) {
  if (viewport()->cursor().shape() != c) viewport()->setCursor(c);
}

void TKvDiagram::MouseMove(const TShift& shift, int x, int y) {
  FLastMousePos = {x, y};
  const TDot pos = CanvasToClient(TDot{double(x), double(y)});
  Qt::CursorShape cursor = Qt::ArrowCursor;
  // Hover tracking only while no drag runs: a drag step must not walk the whole scene.
  const bool dragging = FMouseState == msMoving || FMouseState == msResizing ||
                        FMouseState == msSelecting || FMouseState == msZooming ||
                        FMouseState == msPanning;
  if (!dragging) {
    TDiagramControl* control = DControlAtPos(pos, csmAll, cfIgnoreGroups);
    if (control != FPreviousDControl) {
      if (FPreviousDControl && OnBlockMouseLeave) OnBlockMouseLeave(this, FPreviousDControl);
      if (control && OnBlockMouseEnter) OnBlockMouseEnter(this, control);
      FPreviousDControl = control;
    }
    if (control) {
      control->MouseMoveHook(ModifiersOf(shift), pos);
      if (OnDControlMouseMove) OnDControlMouseMove(this, control, ModifiersOf(shift), pos.X, pos.Y);
      cursor = control->CursorHook(control->FCursor);
    }
  }
  switch (FMouseState) {
    case msBrowsing: {
      if (!ConnectionLineId.isEmpty() && LinkPointAtPos(pos, nullptr, true, false, false))
        cursor = LinkCursor;
      if (TStretchHandle* h = HandleAtPos(pos, true)) cursor = h->FCursor;
      break;
    }
    case msSelecting:
    case msZooming:
      FCurRect = TSquare::FromPoints(FDragStart, TDot{double(x), double(y)});
      FHasOldDragPos = true;
      Redraw();
      break;
    case msInserting:
      if (FInsertDControl) {
        FInsertInfo = InsertInfo(x, y, iaDrawCursor);
        FInsertDControl->UpdateInserting(FInsertInfo);
        if (FInsertInfo.AnchorPoint2) cursor = LinkCursor;
        FHasOldDragPos = true;
        Redraw();
      }
      break;
    case msDrawing:
      if (FInsertDControl) {
        FInsertInfo.P2 = SnapPoint(pos);
        if (TLinkPoint* lp = LinkPointAtPos(pos, nullptr, true, false, false);
            lp && FInsertDControl->IsLine()) {
          FInsertInfo.P2 = lp->DiagramPoint();
          cursor = LinkCursor;
        }
        FHasOldDragPos = true;
        Redraw();
      }
      break;
    case msToInsert:
    case msToDraw:
      if (auto* line = dynamic_cast<TCustomDiagramLine*>(FInsertDControl);
          line && line->FRequiresConnections) {
        TLinkPoint* lp = LinkPointAtPos(pos, nullptr, true, false, false);
        auto* block =
            dynamic_cast<TCustomDiagramBlock*>(DControlAtPos(pos, csmIgnoreLines, cfIgnoreGroups));
        if ((lp && AcceptAnchor(line, lp)) || (block && block->FAutoCreateLinkPoints))
          cursor = LinkCursor;
      }
      break;
    case msMoving:
      UpdateMove(x, y);
      if (FMoveInfo.AnchorPoint) cursor = LinkCursor;
      break;
    case msResizing: {
      UpdateResize(x, y);
      auto* block =
          dynamic_cast<TCustomDiagramBlock*>(DControlAtPos(pos, csmIgnoreLines, cfIgnoreGroups));
      cursor = FHandleInfo.AnchorPoint ||
                       (block && block->FAutoCreateLinkPoints && FHandle->DControl()->IsLine())
                   ? LinkCursor
                   : FHandle->FCursor;
      break;
    }
    case msToPan:
      cursor = PanCursor;
      break;
    case msToZoom:
      cursor = ZoomCursor;
      break;
    case msPanning:
      horizontalScrollBar()->setValue(FOldPosition.x() - RoundHalfEven(x - FDragStart.X));
      verticalScrollBar()->setValue(FOldPosition.y() - RoundHalfEven(y - FDragStart.Y));
      cursor = PanCursor;
      Redraw();
      break;
    default:
      break;
  }
  SetScreenCursor(cursor);
}

// ---- release ----

void TKvDiagram::MouseUp(Qt::MouseButton button, const TShift& shift, int x, int y) {
  const TDot pos = CanvasToClient(TDot{double(x), double(y)});
  switch (FMouseState) {
    case msBrowsing:
      if (TDiagramControl* c = DControlAtPos(pos, csmAll, cfIgnoreGroups)) {
        c->MouseUpHook(button, ModifiersOf(shift), pos);
        if (OnDControlMouseUp) OnDControlMouseUp(this, c, button, ModifiersOf(shift), pos.X, pos.Y);
        if (OnDControlClick) OnDControlClick(this, c);
      }
      break;
    case msSelecting: {
      FSelectTimer->SetEnabled(false);
      const TSquare band =
          CanvasToClient(TSquare::FromPoints(FDragStart, TDot{double(x), double(y)}));
      BeginUpdateSel();
      for (TDiagramControl* c : FDControls) {
        if (c->GroupBlock() || !c->IsVisibleNow()) continue;
        const TSquare r = c->SurroundRect();
        if (band.Contains(r.TopLeft()) && band.Contains(r.BottomRight())) c->SetSelected(true);
      }
      EndUpdateSel();
      EndDrag();
      break;
    }
    case msInserting:
      FinishInserting(false, x, y);
      break;
    case msMoving:
      FinishMove(false);
      break;
    case msResizing:
      FinishResize(false);
      break;
    case msPanning:
      FMouseState = msToPan;
      break;
    case msZooming: {
      const TSquare r = CanvasToClient(TSquare::FromPoints(FDragStart, TDot{double(x), double(y)}));
      EndDrag();
      if (FZoomingState == zsZoomIn)
        ZoomIn(r);
      else
        ZoomOut(r);
      break;
    }
    case msClickingNode: {
      TLinkPoint* node = FNodeClicked;
      FNodeClicked = nullptr;
      FMouseState = msBrowsing;
      if (node && LinkNodeAtPos(pos) == node) node->SetCollapsed(!node->Collapsed());
      break;
    }
    default:
      break;
  }
}

// The end of every drag: cursor gone, paint modes back, ranges and screen cursor restored.
void TKvDiagram::EndDrag() {
  FSelectTimer->SetEnabled(false);
  for (TDiagramControl* c : FDControls) c->FIntPaintMode = pmNormal;
  FSelBlock->FIntPaintMode = pmNormal;
  FHasOldDragPos = false;
  FCurRect = {};
  FMouseState = msBrowsing;
  DropCache();
  RecalcScrollRanges();
  Redraw();
  SetScreenCursor(FOldScreenCursor);
}

// ---- rubber band auto-scroll ----

void TKvDiagram::SelectTimerTick() {
  if (FMouseState != msSelecting) return;
  const QSize size = viewport()->size();
  auto overshoot = [](int v, int extent) { return v < 0 ? v : (v > extent ? v - extent : 0); };
  const int dx = overshoot(FLastMousePos.x(), size.width());
  const int dy = overshoot(FLastMousePos.y(), size.height());
  if (dx == 0 && dy == 0) return;
  auto scroll = [](QScrollBar* bar, int by) {
    if (by == 0 || bar->maximum() <= 0) return 0;
    const int old = bar->value();
    bar->setValue(std::clamp(old + by, 0, bar->maximum()));
    return bar->value() - old;
  };
  const int sx = scroll(horizontalScrollBar(), dx);
  const int sy = scroll(verticalScrollBar(), dy);
  // The band's start stays on the same spot of the scene.
  FDragStart = {FDragStart.X - sx, FDragStart.Y - sy};
  FCurRect =
      TSquare::FromPoints(FDragStart, TDot{double(FLastMousePos.x()), double(FLastMousePos.y())});
  BuildCache();
  Redraw();
}

// ---- wheel and keyboard ----

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

void TKvDiagram::SelectNext(int dx, int dy) {
  TSquare from;
  bool any = false;
  for (TDiagramControl* c : FSelecteds) {
    if (c->GroupBlock()) continue;
    from = any ? from.United(c->SurroundRect()) : c->SurroundRect();
    any = true;
  }
  const TDot origin = from.Center();
  TCustomDiagramBlock* best = nullptr;
  double bestDist = 0;
  for (TCustomDiagramBlock* b : FBlocks) {
    if (b->GroupBlock() || b->Selected() || !b->IsVisibleNow() || !b->CanSelect()) continue;
    const TDot d = b->SurroundRect().Center() - origin;
    const double along = dx ? d.X * dx : d.Y * dy;
    const double across = std::abs(dx ? d.Y : d.X);
    if (any && (along < 0 || across > along)) continue;
    const double dist = std::hypot(d.X, d.Y);
    if (!best || dist < bestDist) {
      best = b;
      bestDist = dist;
    }
  }
  if (best) SelectControl(best, 0);
}

void TKvDiagram::keyPressEvent(QKeyEvent* e) {
  // The scroll area's own paging and arrow scrolling would come on top of the diagram's.
  static constexpr int own[] = {Qt::Key_Escape, Qt::Key_PageUp, Qt::Key_PageDown, Qt::Key_Left,
                                Qt::Key_Up,     Qt::Key_Right,  Qt::Key_Down};
  if (std::find(std::begin(own), std::end(own), e->key()) == std::end(own)) {
    QAbstractScrollArea::keyPressEvent(e);
    return;
  }
  const bool ctrl = e->modifiers() & Qt::ControlModifier;
  const bool shift = e->modifiers() & Qt::ShiftModifier;
  switch (e->key()) {
    case Qt::Key_Escape:
      if (!KeyActions.Contains(kaEscape)) break;
      switch (FMouseState) {
        case msSelecting:
          EndDrag();
          UnselectAll();
          break;
        case msInserting:
          FinishInserting(true, 0, 0);
          break;
        case msMoving:
          FinishMove(true);
          break;
        case msResizing:
          FinishResize(true);
          break;
        case msDrawing:
          FinishDrawing(true, 0, 0);
          break;
        default:
          break;
      }
      break;
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
      if (!KeyActions.Contains(kaPage)) break;
      verticalScrollBar()->setValue(VertPosition() +
                                    (e->key() == Qt::Key_PageUp ? -1 : 1) * ClientSize().height());
      Redraw();
      break;
    case Qt::Key_Left:
    case Qt::Key_Up:
    case Qt::Key_Right:
    case Qt::Key_Down: {
      const int dx = e->key() == Qt::Key_Left ? -1 : e->key() == Qt::Key_Right ? 1 : 0;
      const int dy = e->key() == Qt::Key_Up ? -1 : e->key() == Qt::Key_Down ? 1 : 0;
      if (ctrl) {
        if (!KeyActions.Contains(kaMove)) break;
        FDragStart = {};
        const double sx = SnapGrid.Active ? SnapGrid.SizeX : 1.0;
        const double sy = SnapGrid.Active ? SnapGrid.SizeY : 1.0;
        if (SelectedCount() == 0) break;
        MoveBlocks(dx * sx, dy * sy, true, true);
        Modified();
        PushUndoStack(QStringLiteral("move"));
      } else if (shift) {
        // There is no resizing by keyboard, on purpose.
        if (KeyActions.Contains(kaResize)) FDragStart = {};
      } else if (KeyActions.Contains(kaSelect)) {
        SelectNext(dx, dy);
      }
      break;
    }
    default:
      break;
  }
}

// ---- the drag picture ----

void TKvDiagram::BuildCache() {
  DropCache();
  const QSize size = viewport()->size();
  if (size.isEmpty()) return;
  FCacheImage = QImage(size, QImage::Format_RGB32);
  FDoingCache = true;
  {
    QPainter p(&FCacheImage);
    PaintTo(p, QRect(QPoint(0, 0), size));
  }
  FDoingCache = false;
  FUseCache = true;
}

void TKvDiagram::DropCache() {
  FUseCache = false;
  FCacheImage = QImage();
}

void TKvDiagram::PaintOverlay(QPainter& painter) {
  const bool band = (FMouseState == msSelecting || FMouseState == msZooming) && FHasOldDragPos;
  const bool outline = FDragStyle == dsOutline &&
                       ((FMouseState == msMoving || FMouseState == msResizing) && FHasOldDragPos);
  const bool inserting = (FMouseState == msInserting || FMouseState == msDrawing) &&
                         FInsertDControl && (FHasOldDragPos || FMouseState == msDrawing);
  if (!band && !outline && !inserting) return;
  painter.save();
  // The cursor inverts what lies under it, as a drag cursor does on any background.
  painter.setCompositionMode(QPainter::RasterOp_SourceXorDestination);
  std::unique_ptr<TDgrPaintEngine> engine = CreateQtPaintEngine(painter, viewport()->rect(), false);
  TDgrCanvas& canvas = engine->Canvas();
  canvas.Pen().Color = clWhite;
  canvas.Pen().DashStyle = psDot;
  canvas.Pen().Width = 1;
  canvas.Brush().BrushMode = bmClear;
  TDiagramDrawInfo info{&canvas, nullptr, nullptr};
  if (band) {
    const TSquare& r = FCurRect;
    canvas.Polyline(
        {r.TopLeft(), {r.Right, r.Top}, r.BottomRight(), {r.Left, r.Bottom}, r.TopLeft()});
  }
  if (outline) {
    std::vector<TDiagramControl*> cursors;
    if (FMouseState == msResizing && FHandle)
      cursors.push_back(FHandle->DControl());
    else
      for (TDiagramControl* c : FSelecteds)
        if (!c->IsGroup()) cursors.push_back(c);
    for (TDiagramControl* c : cursors) {
      const bool own = c->Diagram() != this;  // the selection block lives on no diagram
      if (own) c->FDiagram = this;
      c->EnterCursorState();
      c->DrawCursor(info);
      c->LeaveCursorState();
      if (own) c->FDiagram = nullptr;
    }
  }
  if (inserting) {
    // The control to come is on no diagram yet: it borrows this one's transform to draw.
    TDiagramControl* c = FInsertDControl;
    c->FDiagram = this;
    const bool shaped = FMouseState == msInserting;
    if (shaped) c->EnterCursorState();
    c->DrawCursor(info);
    if (shaped) c->LeaveCursorState();
    c->FDiagram = nullptr;
    if (FMouseState == msDrawing) {
      TDot last = c->IsLine()
                      ? static_cast<TCustomDiagramLine*>(c)->TargetLinkPoint()->DiagramPoint()
                      : CanvasToClient(FDragStart);
      if (auto* poly = dynamic_cast<TCustomPolygonBlock*>(c); poly && poly->Polygon().Count() > 0)
        last = poly->Polygon()[poly->Polygon().Count() - 1].P;
      canvas.DrawLine(ClientToCanvas(last), ClientToCanvas(FInsertInfo.P2));
    }
  }
  painter.restore();
}
