// Inserting a control by a drag or a click, and drawing one point by point, with the line
// ends anchored to the link points they start and land on.
#include <QGuiApplication>

#include "DiagramLibrary.h"
#include "KvDiagram.h"
#include "KvDiagram_Interaction.h"

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

// The fields an insertion and a drawing step share: where the drag began and where the
// mouse is, each end on an accepted link point when one lies there.
template <typename TInfo, typename TAction>
TInfo TKvDiagram::DragInfo(int x, int y, TAction action, bool withTarget) {
  const TDot pos = CanvasToClient(TDot{double(x), double(y)});
  TInfo info;
  info.Diagram = this;
  info.Action = action;
  info.DControl = FInsertDControl;
  info.P1 = CanvasToClient(FDragStart);
  info.AnchorPoint1 = FLinkPoint;
  if (withTarget) info.AnchorPoint2 = LinkPointAtPos(pos, nullptr, true, false, false);
  if (info.AnchorPoint2 == info.AnchorPoint1) info.AnchorPoint2 = nullptr;
  auto* line = dynamic_cast<TCustomDiagramLine*>(FInsertDControl);
  if (line && info.AnchorPoint2 &&
      !(AcceptAnchor(line, info.AnchorPoint2) &&
        AcceptLink(line, info.AnchorPoint1, info.AnchorPoint2)))
    info.AnchorPoint2 = nullptr;
  info.P2 = info.AnchorPoint2 ? info.AnchorPoint2->DiagramPoint() : SnapPoint(pos);
  return info;
}

TControlInsertInfo TKvDiagram::InsertInfo(int x, int y, TControlInsertAction action) {
  TControlInsertInfo info = DragInfo<TControlInsertInfo>(x, y, action, true);
  info.Clicked = KvNear(info.P1, info.P2);
  if (!FInsertDControl || !FInsertDControl->IsLine()) {
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
  const bool target = FInsertDControl->IsLine() && action != daStart;
  const TControlDrawInfo info = DragInfo<TControlDrawInfo>(x, y, action, target);
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
  // The control belongs to the form until it is inserted; the form may free it first.
  connect(control, &QObject::destroyed, this, [this, control] {
    if (FInsertDControl == control) FInsertDControl = nullptr;
  });
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
