// What a control does while the mouse drags it: the cursor geometry of a move or a handle
// drag, the swap into that geometry for painting the drag image, the outline, and the final
// change at the release. The model changes once, at the release.
#include <algorithm>
#include <cmath>

#include "KvDiagram.h"

// ---- blocks ----

void TCustomDiagramBlock::StartMoving() {
  FSaveRect = FCursorRect = BoundsRect();
  FSaveAngle = FCursorAngle = FAngle;
  FSaveRotCenter = FCursorRotCenter = FRotCenter;
}

void TCustomDiagramBlock::UpdateMoving(const TControlMoveInfo& info) {
  if (info.Action == caPositionCursor) {
    FCursorRect = FSaveRect.Offset(info.Delta.X, info.Delta.Y);
    FCursorAngle = FSaveAngle;
    FCursorRotCenter = FSaveRotCenter;
    return;
  }
  TDiagramControl::UpdateMoving(info);
}

void TCustomDiagramBlock::StartMovingHandle() {
  StartMoving();
}

// Fields are swapped without notification: painting borrows the drag geometry and gives it
// back, so anchored lines and the scroll ranges never see it.
void TCustomDiagramBlock::SwapCursorGeometry() {
  const TSquare rest = BoundsRect();
  FLeft = FCursorRect.Left;
  FTop = FCursorRect.Top;
  FWidth = FCursorRect.Width();
  FHeight = FCursorRect.Height();
  FCursorRect = rest;
  std::swap(FAngle, FCursorAngle);
  std::swap(FRotCenter, FCursorRotCenter);
}

void TCustomDiagramBlock::EnterCursorState() {
  SwapCursorGeometry();
}

void TCustomDiagramBlock::LeaveCursorState() {
  SwapCursorGeometry();
}

void TCustomDiagramBlock::DrawCursor(const TDiagramDrawInfo& info) {
  if (!FDiagram) return;
  TBlockDrawer d;
  PrepareDrawer(d);
  TDotArray pts = SurroundPoints(d);
  if (pts.size() < 2) {
    pts = d.RotByCenter(d.FRect);
    pts.push_back(pts.front());
  }
  info.Canvas->Polyline(pts);
}

void TCustomDiagramBlock::PositionHandleCursor(const THandleMoveInfo& info) {
  FCursorRect = BoundsRect();
  FCursorAngle = FAngle;
  FCursorRotCenter = FRotCenter;
  TStretchHandle* h = info.AHandle;
  if (h->Style == hsRotate) {
    // The direction from the rotation centre to the mouse becomes the angle.
    TDot c{FLeft + FRotCenter.X / 100 * FWidth, FTop + FRotCenter.Y / 100 * FHeight};
    TDot m = HandlePoint(h) + info.Delta;
    double a = std::atan2(m.Y - c.Y, m.X - c.X) * 180 / M_PI;
    while (a < 0) a += 360;
    while (a >= 360) a -= 360;
    if (FRotationStep > 0) a = std::trunc(a / FRotationStep) * FRotationStep;
    FCursorAngle = a;
    return;
  }
  if (h->Style == hsRotCenter) {
    TDot p = ClientDrawer().UnrotX(HandlePoint(h) + info.Delta);
    FCursorRotCenter = {std::clamp((p.X - FLeft) / (FWidth ? FWidth : 1) * 100, 0.0, 100.0),
                        std::clamp((p.Y - FTop) / (FHeight ? FHeight : 1) * 100, 0.0, 100.0)};
    return;
  }
  if (h->Style != hsSize) return;
  // Move the edges the handle stands on, in the unrotated frame of the block.
  TDot p = ClientDrawer().UnrotX(HandlePoint(h) + info.Delta);
  TSquare r = BoundsRect();
  const int data = h->FData;
  const bool left = data == 1 || data == 7 || data == 8, right = data >= 3 && data <= 5;
  const bool top = data >= 1 && data <= 3, bottom = data >= 5 && data <= 7;
  if (left) r.Left = std::min(p.X, r.Right - FMinWidth);
  if (right) r.Right = std::max(p.X, r.Left + FMinWidth);
  if (top) r.Top = std::min(p.Y, r.Bottom - FMinHeight);
  if (bottom) r.Bottom = std::max(p.Y, r.Top + FMinHeight);
  if (FRestrictions.Contains(crKeepRatio) && FWidth > 0 && FHeight > 0) {
    const double ratio = FWidth / FHeight;
    double w = r.Width(), ht = r.Height();
    if ((left || right) && (top || bottom)) {
      // A corner: the larger of the two scales wins, the opposite corner stays.
      if (w / ratio > ht)
        ht = w / ratio;
      else
        w = ht * ratio;
    } else if (left || right) {
      ht = w / ratio;
    } else {
      w = ht * ratio;
    }
    const TDot c = BoundsRect().Center();
    r.Left = left ? r.Right - w : (right ? r.Left : c.X - w / 2);
    r.Right = r.Left + w;
    r.Top = top ? r.Bottom - ht : (bottom ? r.Top : c.Y - ht / 2);
    r.Bottom = r.Top + ht;
  }
  FCursorRect = r;
}

void TCustomDiagramBlock::UpdateMovingHandle(const THandleMoveInfo& info) {
  if (!info.AHandle) return;
  if (info.Action == haPositionCursor || info.Action == haMoved) PositionHandleCursor(info);
  if (info.Action != haMoved) return;
  switch (info.AHandle->Style) {
    case hsRotate:
      SetAngle(FCursorAngle);
      break;
    case hsRotCenter:
      SetRotationCenter(FCursorRotCenter);
      break;
    case hsSize:
      SetBoundsRect(FCursorRect);
      break;
    case hsCustom:
      break;
  }
}

void TCustomDiagramBlock::UpdateInserting(const TControlInsertInfo& info) {
  const TSquare r = CanResize() && !(info.Action == iaInserted && info.Clicked)
                        ? TSquare::FromPoints(info.P1, info.P2)
                        : TSquare{info.P1.X, info.P1.Y, info.P1.X + FWidth, info.P1.Y + FHeight};
  if (info.Action == iaInserted) {
    SetBoundsRect(r);
    return;
  }
  // Until the release only the cursor follows; the block keeps its default size.
  StartMoving();
  FCursorRect = r;
}

// ---- polygons ----

void TCustomPolygonBlock::StartMoving() {
  TCustomDiagramBlock::StartMoving();
  FCursorDots.clear();
}

void TCustomPolygonBlock::UpdateMovingHandle(const THandleMoveInfo& info) {
  TStretchHandle* h = info.AHandle;
  if (!h || h->FData != -1) {
    TCustomDiagramBlock::UpdateMovingHandle(info);
    return;
  }
  // A point handle moves its own point: back through the rotation into the block's frame.
  TBlockDrawer d = ClientDrawer();
  const TDot p = d.UnPP(d.UnrotX(HandlePoint(h) + info.Delta));
  for (size_t i = 0; i < FPolygon.FItems.size(); ++i) {
    if (FPolygon.FItems[i].FHandle != h) continue;
    if (info.Action == haPositionCursor) {
      FCursorDots = FPolygon.Dots();
      FCursorDots[i] = p;
    } else if (info.Action == haMoved) {
      FCursorDots.clear();
      FPolygon.FItems[i].P = p;
      PolygonChanged();
    }
    return;
  }
}

void TCustomPolygonBlock::EnterCursorState() {
  TCustomDiagramBlock::EnterCursorState();
  for (size_t i = 0; i < FCursorDots.size() && i < FPolygon.FItems.size(); ++i)
    std::swap(FPolygon.FItems[i].P, FCursorDots[i]);
}

void TCustomPolygonBlock::LeaveCursorState() {
  for (size_t i = 0; i < FCursorDots.size() && i < FPolygon.FItems.size(); ++i)
    std::swap(FPolygon.FItems[i].P, FCursorDots[i]);
  TCustomDiagramBlock::LeaveCursorState();
}

// ---- lines ----

void TCustomDiagramLine::StartMoving() {
  FTempHandles.Assign(FHandles);
}

void TCustomDiagramLine::UpdateMoving(const TControlMoveInfo& info) {
  if (info.Action != caPositionCursor) {
    TDiagramControl::UpdateMoving(info);
    return;
  }
  FTempHandles.Assign(FHandles);
  for (int i = 0; i < FTempHandles.Count(); ++i) {
    FTempHandles[i]->OrX += info.Delta.X;
    FTempHandles[i]->OrY += info.Delta.Y;
  }
}

void TCustomDiagramLine::StartMovingHandle() {
  FTempHandles.Assign(FHandles);
}

void TCustomDiagramLine::UpdateMovingHandle(const THandleMoveInfo& info) {
  TStretchHandle* h = info.AHandle;
  const int index = h ? FHandles.IndexOf(h) : -1;
  if (index < 0) return;
  TLinkPoint* end = HandleLinkPoint(h);
  TDot p = HandlePoint(h) + info.Delta;
  if (end && info.AnchorPoint) p = info.AnchorPoint->DiagramPoint();
  if (info.Action == haPositionCursor) {
    FTempHandles.Assign(FHandles);
    FTempHandles[index]->OrX = p.X;
    FTempHandles[index]->OrY = p.Y;
    return;
  }
  if (info.Action != haMoved) return;
  if (end) {
    // The end handle follows the point, so the route between keeps its place.
    h->OrX = p.X;
    h->OrY = p.Y;
    end->SetOr(p.X, p.Y);
    end->AnchorTo(info.AnchorPoint);
  } else {
    h->OrX = p.X;
    h->OrY = p.Y;
  }
  RecalcLine(FHandles, nullptr);
}

void TCustomDiagramLine::UpdateInserting(const TControlInsertInfo& info) {
  SetEnds(info.P1, info.P2);
  FTempHandles.Assign(FHandles);
  if (info.Action == iaInserted) {
    SourceLinkPoint()->AnchorTo(info.AnchorPoint1);
    TargetLinkPoint()->AnchorTo(info.AnchorPoint2);
  }
}

void TCustomDiagramLine::UpdateDrawing(const TControlDrawInfo& info) {
  switch (info.Action) {
    case daStart:
      while (FHandles.Count() > 2) FHandles.Delete(1);
      SetEnds(info.P1, info.P1);
      break;
    case daStep: {
      const TDot target = TargetLinkPoint()->DiagramPoint();
      const bool first = FHandles.Count() == 2 && SourceLinkPoint()->DiagramPoint() == target;
      if (!first) FHandles.Insert(FHandles.Count() - 1, target.X, target.Y, Qt::SizeAllCursor);
      // The last handle goes along, or the route handles would follow the chord.
      TStretchHandle* last = FHandles[FHandles.Count() - 1];
      last->OrX = info.P2.X;
      last->OrY = info.P2.Y;
      TargetLinkPoint()->SetOr(info.P2.X, info.P2.Y);
      RecalcLine(FHandles, nullptr);
      break;
    }
    case daInserted:
      SourceLinkPoint()->AnchorTo(info.AnchorPoint1);
      TargetLinkPoint()->AnchorTo(info.AnchorPoint2);
      break;
    case daEraseCursor:
    case daDrawCursor:
      break;
  }
}

void TCustomDiagramLine::EnterCursorState() {
  FSavePoints = FPoints;
  HandlesToPoints(FTempHandles);
}

void TCustomDiagramLine::LeaveCursorState() {
  FPoints = std::move(FSavePoints);
  FSavePoints.clear();
}

void TCustomDiagramLine::DrawCursor(const TDiagramDrawInfo& info) {
  if (!FDiagram || FPoints.size() < 2) return;
  TDotArray pts;
  pts.reserve(FPoints.size());
  for (const TDot& p : FPoints) pts.push_back(FDiagram->ClientToCanvas(p));
  info.Canvas->Polyline(pts);
}
