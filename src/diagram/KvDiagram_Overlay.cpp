// What a drag draws: the scene's picture taken when the drag began, and over it the cursor of
// the drag, inverting what lies under it, so nothing but the cursor is painted anew.
#include "KvDiagram.h"

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
