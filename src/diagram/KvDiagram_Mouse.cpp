// The diagram under mouse and keyboard: one state machine over TMouseState. A drag draws
// only its cursor, on an overlay above a cached picture of the scene; the model changes
// once, at the release.
#include <QKeyEvent>
#include <QMouseEvent>
#include <QScrollBar>
#include <algorithm>
#include <cmath>

#include "KvDiagram.h"
#include "KvDiagram_Interaction.h"

namespace {

using TShift = TKvDiagram::TShiftState;

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
            StartInsertingControl(probe.release(), false);
            FKeepInserting = false;  // a link drawn from a point is a single one
            FLinkPoint = start;
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

// ---- keyboard ----

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
