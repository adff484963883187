#pragma once
// TDiagramControl, the base of every block, line and group on a diagram.

#include "KvDiagram_Items.h"

class TKvBinaryWriter;
struct TKvValue;
struct TKvReadContext;

// ---- Controls ----

class TDiagramControl : public QObject {
 public:
  explicit TDiagramControl(QObject* owner);
  ~TDiagramControl() override;

  virtual QString ClassName() const { return QStringLiteral("TDiagramControl"); }
  const QString& Name() const { return FName; }
  void SetName(const QString& name);

  TKvDiagram* Diagram() const { return FDiagram; }
  void SetDiagram(TKvDiagram* d);
  bool IsLoading() const;

  bool Selected() const;
  void SetSelected(bool v);
  bool IsVisibleNow() const;
  bool Visible() const { return FVisible; }
  void SetVisible(bool v);
  int Layer() const { return FLayerInteger; }
  void SetLayer(int n);
  TDiagramLayer* LayerObj() const { return FLayerObj; }
  void SetLayerObj(TDiagramLayer* l);
  QString LayerName() const;
  void SetLayerName(const QString& n);
  bool Collapsed() const { return FCollapsed; }
  double Angle() const { return FAngle; }
  virtual void SetAngle(double a);
  int Transparency() const { return FTransparency; }
  void SetTransparency(int t);
  const TKvFont& Font() const;
  void SetFont(const TKvFont& f);
  QString DControlID() const { return FDControlID.isEmpty() ? ClassName() : FDControlID; }
  void SetDControlID(const QString& id) { FDControlID = id; }
  TGroupBlock* GroupBlock() const { return FGroupBlock; }
  TDgrGraphicLib GraphicLib() const;
  void SetGraphicLib(TDgrGraphicLib lib);
  bool IsGroup() const;
  bool IsLine() const;
  virtual bool IsBlock() const { return false; }

  // Restriction queries.
  bool CanMove() const;
  bool CanResize() const;
  bool CanRotate() const;
  bool CanEdit() const;
  bool CanMoveRotCenter() const;
  bool CanLink() const;
  bool CanSelect() const;
  bool CanClipboard() const;
  bool CanDelete() const;

  TStretchHandles& Handles() { return FHandles; }
  TLinkPoints& LinkPoints() { return FLinkPoints; }
  TTextCells& TextCells() { return FTextCells; }
  TBlockDrawer& Drawer() { return FDrawer; }
  TDgrBlockDrawer* DgrDrawer() const { return FDgrDrawer.get(); }

  // Tells the points anchored to this control's points (acPosition or acRemoval).
  void NotifyAnchoreds(TAnchorChange change);

  // ---- virtual operations, in slot order ----
  virtual void ReservedHook() {}
  virtual void TextCellRemoved(TTextCell* cell);
  virtual void ReleaseForeignAnchors();
  virtual TLinkPoint* HandleLinkPoint(TStretchHandle*) { return nullptr; }
  virtual void EnterCursorState() {}
  virtual void LeaveCursorState() {}
  // The drag outline of the control in its cursor state.
  virtual void DrawCursor(const TDiagramDrawInfo&) {}
  virtual void PrepareDgrDrawer(TDgrBlockDrawer& drawer);
  virtual void PrepareDrawer(TBlockDrawer& drawer);
  virtual void InvalidateControl();
  virtual void SetupDrawer(TBlockDrawer& drawer) const = 0;
  virtual TSquare CellRectToClient(const TTextCell*, const TSquare& r) const { return r; }
  virtual void DrawCellText(const TDiagramDrawInfo& info, TTextCell* cell, const TSquare& r);
  virtual void LinkAdded(TCustomDiagramLine* link, TLinkPoint* point);
  virtual void LinkRemoved(TCustomDiagramLine* link, TLinkPoint* point);
  virtual void AngleChanged();
  virtual void GeometryChanged() { AngleChanged(); }
  virtual void AnchorLinkChanged(TLinkPoint*) {}
  virtual void LinkedAnchorChanged(TLinkPoint*, TAnchorChange) {}
  virtual void Redraw();
  virtual void DrawCells(const TDiagramDrawInfo& info);
  virtual void DrawCell(const TDiagramDrawInfo& info, TTextCell* cell);
  virtual void Paint(const TDiagramDrawInfo& info) = 0;
  virtual bool PointInControl(const TDot& canvasPos) = 0;
  virtual void MouseDownHook(Qt::MouseButton, Qt::KeyboardModifiers, const TDot&) {}
  virtual void MouseUpHook(Qt::MouseButton, Qt::KeyboardModifiers, const TDot&) {}
  virtual void MouseMoveHook(Qt::KeyboardModifiers, const TDot&) {}
  virtual void DblClickHook() {}
  virtual Qt::CursorShape CursorHook(Qt::CursorShape c) { return c; }
  virtual void MoveBy(double dy, double dx) = 0;
  virtual TSquare ControlRect() const = 0;
  virtual TSquare SurroundRect() const { return ControlRect(); }
  virtual void StartMoving() {}
  virtual void UpdateMoving(const TControlMoveInfo& info);
  virtual void UpdateInserting(const TControlInsertInfo&) {}
  virtual void UpdateDrawing(const TControlDrawInfo&) {}
  virtual void StartMovingHandle() {}
  virtual void UpdateMovingHandle(const THandleMoveInfo&) {}
  virtual void DrawHandles(const TDiagramDrawInfo& info);
  virtual void DrawHandle(const TDiagramDrawInfo& info, TStretchHandle* handle);
  virtual TDot HandlePoint(const TStretchHandle* handle) const = 0;
  virtual TDot LinkPointPoint(const TLinkPoint* point) const = 0;
  virtual void DiagramChanged(TKvDiagram*, TKvDiagram*) {}
  virtual TStretchHandle* ControlHandle() { return nullptr; }
  virtual TLinkPoint* LinkPointClass(TLinkPoints* c) { return new TLinkPoint(c); }
  virtual void CreateGraphics();
  virtual void FreeGraphics();
  virtual void CalcSize(TDgrCanvas&) {}
  // After a stream has filled the control in.
  virtual void Loaded() {}
  // Properties a class adds to those of its family, written after them; ReadOwnProp answers
  // false for a name that is none of them.
  virtual void WriteOwnProps(TKvBinaryWriter&) const {}
  virtual bool ReadOwnProp(const QByteArray&, const TKvValue&, TKvReadContext&) { return false; }

  // Link point marks (drawn by the diagram after the controls).
  void DrawLinkPoints(const TDiagramDrawInfo& info);
  // The drawer prepared for client coordinates (zoom-free).
  TBlockDrawer ClientDrawer() const;

  // Fields without behaviour of their own.
  TControlRestrictions FRestrictions;
  TKvBrush FLinkPointBrush{clBlack, bsSolid};
  TKvPen FLinkPointPen{clBlue, 1, psSolid};
  TLinkPointStyle FLinkPointStyle = ptCross;
  std::function<void(TDiagramControl*, TCustomDiagramLine*, TLinkPoint*)> FOnLinkRemoved;
  std::function<void(TDiagramControl*, TCustomDiagramLine*, TLinkPoint*)> FOnLinkAdded;
  void* FObj = nullptr;
  TInsertStyle FInsertStyle = isInsert;
  QString FHint;
  bool FShowHint = false;
  bool FParentShowHint = true;
  Qt::CursorShape FCursor = Qt::ArrowCursor;
  bool FDiagramFont = true;
  int FNotifying = 0;
  QString FStringData;
  bool FAutoCreateLinkPoints = false;
  bool FIsBackgroundControl = false;
  TDControlPaintMode FIntPaintMode = pmNormal;
  QString FLayerNameFix;
  THandlesAppearance FHandlesAppearance;
  bool FCustomGraphicLib = false;
  bool FLoading = false;  // csLoading
  bool FDestroying = false;

 protected:
  friend class TKvDiagram;
  friend struct TKvControlFiler;
  friend class TBaseGroupBlock;
  friend class TGroupBlock;
  friend class TLinkPoint;
  friend class TLinkPoints;
  void SetCollapsedFlag(bool v);
  // Keeps the diagram's name set in step, whichever way the name was changed.
  void NameChanged(const QString& name);
  // Leaves anchors, group and diagram; the first-level destructors call it, so handlers of
  // OnRemoveDControl still meet a block or a line.
  void Detach();
  // Not ruled out by the restriction, the design mode, and (when it matters) the layer.
  bool Allowed(TControlRestriction r, bool layerMatters) const;

  QString FName;
  TKvDiagram* FDiagram = nullptr;
  bool FSelected = false;
  TStretchHandles FHandles;
  TLinkPoints FLinkPoints;
  TTextCells FTextCells;
  QString FDControlID;
  double FAngle = 0;
  TBlockDrawer FDrawer, FTempDrawer;
  TKvFont FFont;
  bool FVisible = true;
  int FLayerInteger = 0;
  TDiagramLayer* FLayerObj = nullptr;
  bool FCollapsed = false;
  std::unique_ptr<TDgrBlockDrawer> FDgrDrawer;
  std::unique_ptr<TDgrGraphicsPath> FTempPath;
  int FTransparency = 0;
  TGroupBlock* FGroupBlock = nullptr;
  TDgrGraphicLib FGraphicLib = dglGDIPlus;
};
