#pragma once
// Lines: straight and poly lines, side lines, arcs and Bezier curves, with their arrows.

#include "KvDiagram_Control.h"

// ---- Lines ----

class TLineArrow {
 public:
  explicit TLineArrow(TCustomDiagramLine* line) : FLine(line) {}
  virtual ~TLineArrow() = default;
  TArrowShape Shape = asNone;
  double Width = 10;
  double Height = 10;
  TKvBrush Brush{clBlack, bsSolid};
  TKvPen Pen{clBlack, 1, psSolid};
  TDot FDrawFrom, FDrawTo;  // canvas coordinates
  // Draws at FDrawTo, pointing from FDrawFrom; scale = canvas units per client unit.
  virtual void Draw(TDgrCanvas& canvas, double scale) const;

 private:
  TCustomDiagramLine* FLine;
};

class TCustomDiagramLine : public TDiagramControl {
 public:
  explicit TCustomDiagramLine(QObject* owner);
  ~TCustomDiagramLine() override;

  TLinkPoint* SourceLinkPoint() const { return FLinkPoints[0]; }
  TLinkPoint* TargetLinkPoint() const { return FLinkPoints[1]; }
  const TDotArray& Points() const { return FPoints; }
  TDiagramLineStyle LineStyle() const { return FLineStyle; }
  void SetLineStyle(TDiagramLineStyle s);
  TAnchorOrientation Orientation1() const { return FOrientation1; }
  TAnchorOrientation Orientation2() const { return FOrientation2; }
  void SetOrientation1(TAnchorOrientation o);
  void SetOrientation2(TAnchorOrientation o);
  TTextCellsMode TextCellsMode() const { return FTextCellsMode; }
  void SetTextCellsMode(TTextCellsMode m);
  // Made on first use through ArrowClass, so a subclass's arrows are the ones it asks for
  // (a constructor cannot reach the subclass's override).
  TLineArrow& SourceArrow() { return EnsureArrow(FSourceArrow); }
  TLineArrow& TargetArrow() { return EnsureArrow(FTargetArrow); }
  // Places the two ends (client coordinates) and reroutes.
  void SetEnds(const TDot& source, const TDot& target);
  // Adds a route handle (polyline points) before the target.
  void AddRouteHandle(const TDot& p);
  // The orientation of an end for the side-line router (0 source, 1 target).
  TAnchorOrientation EndOrientation(int end) const;

  // ---- TDiagramControl ----
  void SetupDrawer(TBlockDrawer& drawer) const override;
  void ReleaseForeignAnchors() override;
  TLinkPoint* HandleLinkPoint(TStretchHandle* h) override;
  void PrepareDrawer(TBlockDrawer& drawer) override;
  void AnchorLinkChanged(TLinkPoint* p) override;
  void LinkedAnchorChanged(TLinkPoint* p, TAnchorChange change) override;
  void Paint(const TDiagramDrawInfo& info) override;
  bool PointInControl(const TDot& canvasPos) override;
  void MoveBy(double dy, double dx) override;
  TSquare ControlRect() const override;
  void StartMoving() override;
  void UpdateMoving(const TControlMoveInfo& info) override;
  void StartMovingHandle() override;
  void UpdateMovingHandle(const THandleMoveInfo& info) override;
  void UpdateInserting(const TControlInsertInfo& info) override;
  void UpdateDrawing(const TControlDrawInfo& info) override;
  void EnterCursorState() override;
  void LeaveCursorState() override;
  void DrawCursor(const TDiagramDrawInfo& info) override;
  TDot HandlePoint(const TStretchHandle* handle) const override;
  TDot LinkPointPoint(const TLinkPoint* point) const override;
  TLinkPoint* LinkPointClass(TLinkPoints* c) override;
  void Loaded() override;

  // ---- virtual operations of lines, in order ----
  virtual void LineHook1() {}
  virtual void LineHook2() {}
  virtual void DrawLine(const TDiagramDrawInfo& info);
  virtual void RecalcTextCells();
  virtual void RecalcLine(TStretchHandles& handles, const TDiagramDrawInfo* info);
  virtual void HandlesToPoints(const TStretchHandles& handles);
  virtual void ResetLine();
  virtual void RebuildRoute();
  virtual std::unique_ptr<TLineArrow> ArrowClass() { return std::make_unique<TLineArrow>(this); }

  TKvPen FPen{clBlack, 1, psSolid};
  TKvPen FSelPen{clBlack, 1, psSolid};
  bool FRequiresConnections = false;
  bool FRecalcIntermediateArcHandles = true;
  bool FFixedSideLines = false;
  TTextCell* FCenterTextCell = nullptr;
  TTextCell* FSourceTextCell = nullptr;
  TTextCell* FTargetTextCell = nullptr;
  TTextCell* FAltSourceTextCell = nullptr;
  TTextCell* FAltTargetTextCell = nullptr;
  TStretchHandles FTempHandles{this};

 protected:
  friend class TSideLineRouter;
  friend struct TKvControlFiler;
  // Moves the handles between the ends so they keep their place relative to the chord.
  void FollowChord(TStretchHandles& handles, const TDot& oldA, const TDot& oldB, const TDot& newA,
                   const TDot& newB);
  void EnsureStyleHandles(TStretchHandles& handles);
  TDotArray CurvePoints(const TStretchHandles& handles) const;
  void DrawCrossBumps(TDotArray& path, size_t segment, double scale) const;
  void SyncEndsFromAnchors();
  TLineArrow& EnsureArrow(std::unique_ptr<TLineArrow>& arrow) {
    if (!arrow) arrow = ArrowClass();
    return *arrow;
  }

  TDotArray FPoints;
  TDotArray FSavePoints;  // the route at rest while the cursor route is painted
  std::unique_ptr<TLineArrow> FSourceArrow, FTargetArrow;
  TTextCellsMode FTextCellsMode = tmSingle;
  TAnchorOrientation FOrientation1 = aoNone;
  TAnchorOrientation FOrientation2 = aoNone;
  TDiagramLineStyle FLineStyle = lsLine;
  int FRecalcDepth = 0;
};

class TBaseDiagramLine : public TCustomDiagramLine {
 public:
  using TCustomDiagramLine::TCustomDiagramLine;
};

class TDiagramLine : public TBaseDiagramLine {
 public:
  explicit TDiagramLine(QObject* owner) : TBaseDiagramLine(owner) {}
  QString ClassName() const override { return QStringLiteral("TDiagramLine"); }
};

class TDiagramPolyLine : public TDiagramLine {
 public:
  explicit TDiagramPolyLine(QObject* owner);
  QString ClassName() const override { return QStringLiteral("TDiagramPolyLine"); }
};

class TDiagramSideLine : public TBaseDiagramLine {
 public:
  explicit TDiagramSideLine(QObject* owner);
  QString ClassName() const override { return QStringLiteral("TDiagramSideLine"); }
};

class TDiagramArc : public TBaseDiagramLine {
 public:
  explicit TDiagramArc(QObject* owner);
  QString ClassName() const override { return QStringLiteral("TDiagramArc"); }
  TArcType ArcType() const { return FLineStyle == lsCircularArc ? atCircular : atParabolic; }
  void SetArcType(TArcType t) { SetLineStyle(t == atCircular ? lsCircularArc : lsParabolicArc); }
};

class TDiagramBezier : public TBaseDiagramLine {
 public:
  explicit TDiagramBezier(QObject* owner);
  QString ClassName() const override { return QStringLiteral("TDiagramBezier"); }
};
