#pragma once
// Blocks: plain and text blocks, line joins, polygons and groups.

#include "KvDiagram_Control.h"

class TCustomDiagramBlock : public TDiagramControl {
 public:
  explicit TCustomDiagramBlock(QObject* owner);
  ~TCustomDiagramBlock() override;
  bool IsBlock() const override { return true; }

  double Left() const { return FLeft; }
  double Top() const { return FTop; }
  double Width() const { return FWidth; }
  double Height() const { return FHeight; }
  void SetLeft(double v) { SetBounds(v, FTop, FWidth, FHeight); }
  void SetTop(double v) { SetBounds(FLeft, v, FWidth, FHeight); }
  void SetWidth(double v) { SetBounds(FLeft, FTop, v, FHeight); }
  void SetHeight(double v) { SetBounds(FLeft, FTop, FWidth, v); }
  // The one routine behind Left, Top, Width and Height.
  virtual void SetBounds(double l, double t, double w, double h);
  TSquare BoundsRect() const { return {FLeft, FTop, FLeft + FWidth, FTop + FHeight}; }
  void SetBoundsRect(const TSquare& r) { SetBounds(r.Left, r.Top, r.Width(), r.Height()); }

  TBlockShape Shape() const { return FShape; }
  void SetShape(TBlockShape s);
  TColor Color() const { return FColor; }
  void SetColor(TColor c);
  TColor SelColor() const { return FSelColor; }
  void SetSelColor(TColor c);
  TColor EffectiveColor() const { return Selected() ? FSelColor : FColor; }
  const TKvBrush& EffectiveBrush() const { return Selected() ? FSelBrush : FBrush; }
  bool Transparent() const { return FTransparent; }
  void SetTransparent(bool v);
  TDot RotationCenter() const { return FRotCenter; }
  void SetRotationCenter(const TDot& p);

  // Views on the default text cell (cell 0).
  QString Strings() const;
  void SetStrings(const QString& text);
  TAlignment Alignment() const;
  void SetAlignment(TAlignment a);
  TVertAlign VertAlign() const;
  void SetVertAlign(TVertAlign v);
  bool WordWrap() const;
  void SetWordWrap(bool w);

  // Keeps the handles of the block in original coordinates, adding those missing.
  void UpdateBlockHandles();
  // The original frame of handles, link points and text cells.
  virtual TSquare ItemFrame() const { return FDrawer.FOrRect; }
  // The client drawer that maps the original frame onto the block.
  TBlockDrawer ItemDrawer() const;

  // ---- TDiagramControl ----
  void SetupDrawer(TBlockDrawer& drawer) const override;
  void PrepareDgrDrawer(TDgrBlockDrawer& drawer) override;
  void PrepareDrawer(TBlockDrawer& drawer) override;
  TSquare CellRectToClient(const TTextCell* cell, const TSquare& r) const override;
  void AngleChanged() override;
  void Paint(const TDiagramDrawInfo& info) override;
  bool PointInControl(const TDot& canvasPos) override;
  void MoveBy(double dy, double dx) override;
  TSquare ControlRect() const override { return BoundsRect(); }
  TSquare SurroundRect() const override;
  void StartMoving() override;
  void UpdateMoving(const TControlMoveInfo& info) override;
  void StartMovingHandle() override;
  void UpdateMovingHandle(const THandleMoveInfo& info) override;
  void UpdateInserting(const TControlInsertInfo& info) override;
  void EnterCursorState() override;
  void LeaveCursorState() override;
  TDot HandlePoint(const TStretchHandle* handle) const override;
  TDot LinkPointPoint(const TLinkPoint* point) const override;
  void CreateGraphics() override;

  // ---- virtual operations of blocks, in order ----
  virtual void BlockHook1() {}
  virtual void BlockHook2() {}
  virtual void BoundsChanged(const TSquare& oldRect, const TSquare& newRect);
  virtual void BlockHook3() {}
  virtual void BlockHook4() {}
  virtual void BlockHook5() {}
  // Outline polygon for hit tests, in the drawer's coordinates.
  virtual TDotArray SurroundPoints(const TBlockDrawer& drawer) const;
  virtual void BuildOutlinePath(TDgrGraphicsPath& path, const TBlockDrawer& drawer) const;
  virtual void BuildBlockPath(TDgrGraphicsPath& path, const TBlockDrawer& drawer) const;
  virtual void BuildSurroundPath(TDgrGraphicsPath& path, const TBlockDrawer& drawer) const {
    BuildOutlinePath(path, drawer);
  }
  virtual void PathHook1(TDgrGraphicsPath&) {}
  virtual void PathHook2(TDgrGraphicsPath&) {}
  virtual void PathHook3(TDgrGraphicsPath&) {}
  void DrawCursor(const TDiagramDrawInfo& info) override;
  virtual void DrawShape(const TDiagramDrawInfo& info);
  virtual void DrawBody(const TDiagramDrawInfo& info);
  virtual bool HasBody() const { return true; }

  // Fields without behaviour.
  TKvBrush FBrush{clBlack, bsClear};
  TKvBrush FSelBrush{clBlack, bsClear};
  TKvPen FPen{clBlack, 1, psSolid};
  bool FClipText = false;
  int FMinWidth = 40;
  int FMinHeight = 40;
  TBlockShadow FShadow{this};
  TDiagramGradient FGradient{this};
  QImage FBitmap, FMetafile, FPicture;
  TBitmapMode FBitmapMode = bmStretch;
  TPictureMode FPictureMode = pmStretch;
  bool FBitmapTransparent = false;
  bool FShapeCursor = false;
  int FRotationStep = 5;
  double FCursorAngle = 0, FSaveAngle = 0;
  TSquare FCursorRect, FSaveRect;
  TDot FCursorRotCenter, FSaveRotCenter;

 protected:
  friend struct TKvControlFiler;
  void DrawPictures(const TDiagramDrawInfo& info);
  // The outline turned with the block, canvas units; null when the block has none.
  std::unique_ptr<TDgrGraphicsPath> RotatedOutline(const TBlockDrawer& drawer) const;
  // The block's drawer mapped onto client coordinates.
  void DrawPicture(const TDiagramDrawInfo& info, const QImage& img, int mode);
  // The drag geometry a handle gives: FCursorRect, FCursorAngle, FCursorRotCenter.
  void PositionHandleCursor(const THandleMoveInfo& info);
  void SwapCursorGeometry();
  double FLeft = 0, FTop = 0, FWidth = 50, FHeight = 50;
  TBlockShape FShape = bsNoShape;
  TColor FSelColor = clWhite;
  TColor FColor = clWhite;
  bool FTransparent = false;
  TDot FRotCenter{50, 50};
  std::unique_ptr<TDgrGraphic> FDgrBitmap, FDgrMetafile, FDgrPicture;
};

class TDiagramBlock : public TCustomDiagramBlock {
 public:
  explicit TDiagramBlock(QObject* owner) : TCustomDiagramBlock(owner) {}
  QString ClassName() const override { return QStringLiteral("TDiagramBlock"); }
};

class TTextBlock : public TCustomDiagramBlock {
 public:
  explicit TTextBlock(QObject* owner) : TCustomDiagramBlock(owner) {}
  QString ClassName() const override { return QStringLiteral("TTextBlock"); }
};

class TDiagramLineJoin : public TCustomDiagramBlock {
 public:
  explicit TDiagramLineJoin(QObject* owner);
  QString ClassName() const override { return QStringLiteral("TDiagramLineJoin"); }
  TDiagramControl* Anchor() const { return FLinkPoints[0]->Anchor(); }
  void SetAnchor(TDiagramControl* c) { FLinkPoints[0]->SetAnchor(c); }
  int AnchorIndex() const { return FLinkPoints[0]->AnchorIndex(); }
  void SetAnchorIndex(int i) { FLinkPoints[0]->SetAnchorIndex(i); }
  TAnchorOrientation Orientation() const { return FLinkPoints[0]->FOrientation; }
  void SetOrientation(TAnchorOrientation o) { FLinkPoints[0]->FOrientation = o; }
  void AnchorLinkChanged(TLinkPoint* p) override;
  void LinkedAnchorChanged(TLinkPoint* p, TAnchorChange change) override;

 private:
  void Follow();
};

class TPolygonPoints;
class TCustomPolygonBlock;

// A point of a polygon (client coordinates) with its own handle; it reaches its block
// through the collection.
class TPolygonPoint {
 public:
  explicit TPolygonPoint(TPolygonPoints* c = nullptr) : FCollection(c) {}
  TPolygonPoints* Collection() const { return FCollection; }
  TCustomPolygonBlock* DControl() const;
  TDot P;
  TStretchHandle* FHandle = nullptr;

 private:
  TPolygonPoints* FCollection;
};

class TPolygonPoints {
 public:
  explicit TPolygonPoints(TCustomPolygonBlock* c = nullptr) : FDControl(c) {}
  TPolygonPoints(const TPolygonPoints&) = delete;
  TPolygonPoints& operator=(const TPolygonPoints&) = delete;
  TCustomPolygonBlock* DControl() const { return FDControl; }
  int Count() const { return int(FItems.size()); }
  TPolygonPoint& operator[](int i) { return FItems[i]; }
  const TPolygonPoint& operator[](int i) const { return FItems[i]; }
  TPolygonPoint& Add(const TDot& p, TStretchHandle* handle) {
    FItems.emplace_back(this);
    FItems.back().P = p;
    FItems.back().FHandle = handle;
    return FItems.back();
  }
  TDotArray Dots() const;
  std::vector<TPolygonPoint> FItems;

 private:
  TCustomPolygonBlock* FDControl;
};

class TCustomPolygonBlock : public TCustomDiagramBlock {
 public:
  explicit TCustomPolygonBlock(QObject* owner);
  void AddPoint(double x, double y);
  void ClearPoints();
  void SetPoints(const TDotArray& pts);
  const TPolygonPoints& Polygon() const { return FPolygon; }
  // Rebuilds FOrRect, the block rectangle and the point handles from FPolygon.
  void PolygonChanged();

  void SetBounds(double l, double t, double w, double h) override;
  void BoundsChanged(const TSquare& oldRect, const TSquare& newRect) override;
  void Loaded() override { PolygonChanged(); }
  TDotArray SurroundPoints(const TBlockDrawer& drawer) const override;
  void BuildOutlinePath(TDgrGraphicsPath& path, const TBlockDrawer& drawer) const override;
  void DrawShape(const TDiagramDrawInfo& info) override;
  TDot HandlePoint(const TStretchHandle* handle) const override;
  void UpdateDrawing(const TControlDrawInfo& info) override;
  void StartMoving() override;
  void UpdateMovingHandle(const THandleMoveInfo& info) override;
  void EnterCursorState() override;
  void LeaveCursorState() override;
  // Handles, link points and cells keep the plain frame while FOrRect follows the points.
  TSquare ItemFrame() const override { return {0, 0, 100, 100}; }

  TColor FPointColor = clLime;
  TPolygonPoints FTempPolygon, FCursorPolygon, FSavePolygon;
  TDot TempPolygonPoint;

 protected:
  TPolygonPoints FPolygon{this};
  bool FInPolygonChange = false;
  TDotArray FCursorDots;  // the points while one of them is dragged; empty otherwise
};

class TPolygonBlock : public TCustomPolygonBlock {
 public:
  explicit TPolygonBlock(QObject* owner) : TCustomPolygonBlock(owner) {}
  QString ClassName() const override { return QStringLiteral("TPolygonBlock"); }
};

// The members of a group; the list reaches its group, each member its group block.
class TGroupMemberList {
 public:
  explicit TGroupMemberList(TBaseGroupBlock* c) : FDControl(c) {}
  TBaseGroupBlock* DControl() const { return FDControl; }
  int Count() const { return int(FItems.size()); }
  TDiagramControl* operator[](int i) const { return FItems[i]; }
  void Add(TDiagramControl* c) { FItems.push_back(c); }
  void Remove(TDiagramControl* c);
  int IndexOf(const TDiagramControl* c) const;
  void Clear() { FItems.clear(); }
  std::vector<TDiagramControl*> FItems;

 private:
  TBaseGroupBlock* FDControl;
};

class TBaseGroupBlock : public TCustomDiagramBlock {
 public:
  explicit TBaseGroupBlock(QObject* owner);
  TGroupMemberList& Members() { return FMembers; }
  void AddMember(TDiagramControl* c);
  void RemoveMember(TDiagramControl* c);
  // The bounding rectangle of the members.
  void RecalculateRect();
  void Paint(const TDiagramDrawInfo& info) override;
  bool PointInControl(const TDot& canvasPos) override;
  void MoveBy(double dy, double dx) override;
  void SetBounds(double l, double t, double w, double h) override;
  bool HasBody() const override { return false; }

 protected:
  TGroupMemberList FMembers{this};
  int FUpdatingMembers = 0;
};

class TSelectionBlock : public TBaseGroupBlock {
 public:
  explicit TSelectionBlock(QObject* owner) : TBaseGroupBlock(owner) {}
  QString ClassName() const override { return QStringLiteral("TSelectionBlock"); }
};

class TGroupBlock : public TBaseGroupBlock {
 public:
  explicit TGroupBlock(QObject* owner) : TBaseGroupBlock(owner) {}
  ~TGroupBlock() override;
  QString ClassName() const override { return QStringLiteral("TGroupBlock"); }
};
