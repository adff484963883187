#pragma once
// The diagram scene: TKvDiagram, a scrolling widget that owns an ordered list of diagram
// controls (blocks, lines, groups), and the controls with their link points, handles and
// text cells. Stored positions are client coordinates (doubles); link points, handles and
// text cells of a block are kept in the block's original coordinates (FOrRect), so they
// keep their relative place when the block is resized.
#include <QAbstractScrollArea>
#include <QImage>
#include <QObject>
#include <QStringList>
#include <functional>
#include <memory>
#include <stdexcept>
#include <vector>

#include "DgrClasses.h"
#include "KvClock.h"
#include "KvDiagramTypes.h"

class TKvDiagram;
class TDiagramControl;
class TCustomDiagramBlock;
class TCustomDiagramLine;
class TBaseGroupBlock;
class TGroupBlock;
class TDiagramLayer;
class TLinkPoint;
class TStretchHandle;
class TTextCell;

class EDiagramException : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};
class EDiagramPrintException : public EDiagramException {
 public:
  using EDiagramException::EDiagramException;
};

struct TDiagramDrawInfo {
  TDgrCanvas* Canvas = nullptr;
  TBlockDrawer* Drawer = nullptr;
  TDgrBlockDrawer* DgrDrawer = nullptr;  // null on the plain (dglGDI) path
};

struct TDiagramDrawBlockInfo {
  TSquare Rect;
  double Angle = 0;
};

// ---- Parameter records of the interaction (moving, inserting, drawing) ----
enum TControlMoveAction { caEraseCursor, caDrawCursor, caMoved, caPositionCursor };
enum THandleMoveAction { haEraseCursor, haDrawCursor, haMoved, haPositionCursor };
enum TControlInsertAction { iaEraseCursor, iaDrawCursor, iaInserted };
enum TControlDrawAction { daEraseCursor, daDrawCursor, daStart, daStep, daInserted };

struct TControlMoveInfo {
  TDgrCanvas* Canvas = nullptr;
  TStretchHandle* AHandle = nullptr;
  TControlMoveAction Action = caMoved;
  TLinkPoint* AnchorPoint = nullptr;
  TLinkPoint* LinkPoint = nullptr;
  TDot Delta;
};
struct THandleMoveInfo {
  TDgrCanvas* Canvas = nullptr;
  TStretchHandle* AHandle = nullptr;
  THandleMoveAction Action = haMoved;
  TLinkPoint* AnchorPoint = nullptr;
  TDiagramControl* DControl = nullptr;
  TDot Delta;
};
struct TControlInsertInfo {
  TKvDiagram* Diagram = nullptr;
  TDgrCanvas* Canvas = nullptr;
  TControlInsertAction Action = iaInserted;
  TLinkPoint* AnchorPoint1 = nullptr;
  TLinkPoint* AnchorPoint2 = nullptr;
  TDiagramControl* DControl = nullptr;
  TDot P1, P2;
  bool Clicked = false;
};
struct TControlDrawInfo {
  TKvDiagram* Diagram = nullptr;
  TDgrCanvas* Canvas = nullptr;
  TControlDrawAction Action = daInserted;
  TLinkPoint* AnchorPoint1 = nullptr;
  TLinkPoint* AnchorPoint2 = nullptr;
  TDiagramControl* DControl = nullptr;
  TDot P1, P2;
};

// ---- Persistent parts of a control ----

class TDiagramPersistent {
 public:
  explicit TDiagramPersistent(TDiagramControl* c) : FDControl(c) {}
  virtual ~TDiagramPersistent() = default;
  TDiagramControl* DControl() const { return FDControl; }

 protected:
  void Changed();
  TDiagramControl* FDControl;
};

class TBlockShadow : public TDiagramPersistent {
 public:
  using TDiagramPersistent::TDiagramPersistent;
  bool Visible = false;
  TColor Color = clGray;
  int HOffset = 2;
  int VOffset = 2;
  int Transparency = 0;
};

class TDiagramGradient : public TDiagramPersistent {
 public:
  using TDiagramPersistent::TDiagramPersistent;
  bool Visible = false;
  TGradientDirection Direction = grTopBottom;
  TColor StartColor = clWhite;
  TColor EndColor = clBlack;
  // Fills rect (canvas units) with the gradient, rotated as the back-end drawer says.
  void DrawGradient(TDgrCanvas& canvas, TDgrBlockDrawer* dgr, const TSquare& rect,
                    int transparency) const;
};

// ---- Link points ----

class TLinkPoints;

class TLinkPoint {
 public:
  explicit TLinkPoint(TLinkPoints* collection);
  virtual ~TLinkPoint();
  TLinkPoint(const TLinkPoint&) = delete;
  TLinkPoint& operator=(const TLinkPoint&) = delete;

  TLinkPoints* Collection() const { return FCollection; }
  TDiagramControl* DControl() const;
  int Index() const;

  double OrX() const { return FOrX; }
  double OrY() const { return FOrY; }
  // Moves the point (original coordinates) and tells the points anchored to it.
  void SetOr(double x, double y);

  TDiagramControl* Anchor() const { return FAnchor; }
  void SetAnchor(TDiagramControl* anchor);
  int AnchorIndex() const { return FAnchorIndex; }
  void SetAnchorIndex(int index);
  // The point this one is anchored to, or null.
  TLinkPoint* AnchorLink() const;
  // Anchors to a point in one step.
  void AnchorTo(TLinkPoint* target);
  const std::vector<TLinkPoint*>& Anchoreds() const { return FAnchoreds; }

  TDot DiagramPoint() const;  // client coordinates
  bool IsNode() const;
  bool Collapsed() const { return FCollapsed; }
  void SetCollapsed(bool v);
  void Collapse() { SetCollapsed(true); }
  void Expand() { SetCollapsed(false); }

  void AnchorChanged(TAnchorChange change);

  TAnchorOrientation FOrientation = aoNone;
  bool FCollapsable = false;
  void* FObj = nullptr;
  TLinkConstraint FLinkConstraint = lcAll;
  bool FVisible = true;
  bool FCanAnchor = false;
  bool FCanAnchorInMove = false;
  bool FAcceptAnchoreds = true;

 private:
  friend class TLinkPoints;
  friend class TCustomDiagramLine;
  friend class TKvDiagram;
  void Unlink();
  void Relink();
  // Runs a change of anchor or index, keeping the invariant and telling the controls.
  void ChangeAnchor(TDiagramControl* anchor, int index);
  TLinkPoints* FCollection;
  double FOrX = 0;
  double FOrY = 0;
  int FAnchorIndex = -1;
  TDiagramControl* FAnchor = nullptr;
  std::vector<TLinkPoint*> FAnchoreds;
  bool FCollapsed = false;
};

class TLinkPoints {
 public:
  explicit TLinkPoints(TDiagramControl* c) : FDControl(c) {}
  ~TLinkPoints();
  TDiagramControl* DControl() const { return FDControl; }
  int Count() const { return int(FItems.size()); }
  TLinkPoint* operator[](int i) const { return FItems[i].get(); }
  TLinkPoint* Add();
  TLinkPoint* Add(double orX, double orY, TAnchorOrientation o = aoNone);
  void Delete(int index);
  void Clear();
  int IndexOf(const TLinkPoint* p) const;

 private:
  TDiagramControl* FDControl;
  std::vector<std::unique_ptr<TLinkPoint>> FItems;
};

// ---- Handles ----

class TStretchHandles;

class TStretchHandle {
 public:
  explicit TStretchHandle(TStretchHandles* c) : FCollection(c) {}
  TDiagramControl* DControl() const;
  int Index() const;
  double OrX = 0;
  double OrY = 0;
  Qt::CursorShape FCursor = Qt::ArrowCursor;
  int FData = 0;
  THandleStyle Style = hsSize;
  bool FVisible = true;
  bool FAlwaysMovable = false;

 private:
  TStretchHandles* FCollection;
};

class TStretchHandles {
 public:
  explicit TStretchHandles(TDiagramControl* c) : FDControl(c) {}
  TDiagramControl* DControl() const { return FDControl; }
  int Count() const { return int(FItems.size()); }
  TStretchHandle* operator[](int i) const { return FItems[i].get(); }
  TStretchHandle* Add();
  TStretchHandle* Add(double orX, double orY, Qt::CursorShape cursor, int data,
                      THandleStyle style = hsSize);
  TStretchHandle* Insert(int index, double orX, double orY,
                         Qt::CursorShape cursor = Qt::ArrowCursor, int data = 0);
  void Delete(int index);
  void Clear() { FItems.clear(); }
  int IndexOf(const TStretchHandle* h) const;
  TStretchHandle* FindByData(int data) const;
  TStretchHandle* RotateHandle() const;
  TStretchHandle* RotCenterHandle() const;
  // Copies positions, data and styles of another collection.
  void Assign(const TStretchHandles& src);

 private:
  TDiagramControl* FDControl;
  std::vector<std::unique_ptr<TStretchHandle>> FItems;
};

struct THandleAppearance {
  TKvPen Pen;
  TKvBrush Brush;
  TKvPen DisabledPen;
  TKvBrush DisabledBrush;
  int Size = 2;
  THandleAppearanceStyle Style = hhRectangle;
  bool Visible = true;
};

struct THandlesAppearance {
  THandleAppearance Size, Rotate, Custom, RotCenter;
  // Rewrites the four appearances for a handles style; member: the control is in a group.
  void Reset(TDiagramHandlesStyle style, bool member);
  const THandleAppearance& For(THandleStyle s) const;
};

// ---- Text cells ----

struct TTextCellFrame {
  TColor Color = clWhite;
  TKvBrush Brush;
  TKvPen Pen;
  bool Transparent = true;
  bool AutoFrame = false;
  double AutoFrameMargin = 2;
  bool Visible = false;
};

class TTextCells;

class TTextCell {
 public:
  explicit TTextCell(TTextCells* c);
  TDiagramControl* DControl() const;
  int Index() const;

  double Angle() const;  // the control's when DControlAngle
  void SetAngle(double a);
  const TKvFont& Font() const;  // the control's when DControlFont
  void SetFont(const TKvFont& f);
  const QString& Text() const { return FText; }
  void SetText(const QString& t);
  TSquare Bounds() const { return {Left, Top, Left + Width, Top + Height}; }
  void SetBounds(double l, double t, double w, double h);
  // Call after changing a public field: redraws the control.
  void Changed();

  double Left = 0, Top = 0, Width = 100, Height = 100;
  bool DControlFont = true;
  bool DControlAngle = true;
  TAlignment Alignment = taCenter;
  TVertAlign VertAlign = vaTop;
  bool WordWrap = true;
  bool Clip = false;
  bool RotateFont = true;
  TTextCellFrame CellFrame;
  bool Visible = true;
  bool ParentTransparency = true;
  int Transparency = 0;
  void* FObj = nullptr;

 private:
  TTextCells* FCollection;
  double FAngle = 0;
  TKvFont FFont;
  QString FText;
};

class TTextCells {
 public:
  explicit TTextCells(TDiagramControl* c) : FDControl(c) {}
  TDiagramControl* DControl() const { return FDControl; }
  int Count() const { return int(FItems.size()); }
  TTextCell* operator[](int i) const { return FItems[i].get(); }
  TTextCell* Add();
  void Delete(int index);
  void Clear();
  int IndexOf(const TTextCell* c) const;
  void Update();

 private:
  TDiagramControl* FDControl;
  std::vector<std::unique_ptr<TTextCell>> FItems;
};

// ---- Layers ----

class TDiagramLayers;

class TDiagramLayer {
 public:
  TDiagramLayer(TDiagramLayers* c, QString name) : FCollection(c), FLayerName(std::move(name)) {}
  ~TDiagramLayer();
  const QString& LayerName() const { return FLayerName; }
  void SetLayerName(const QString& n) { FLayerName = n; }
  bool Visible() const { return FVisible; }
  void SetVisible(bool v);
  bool Editable = true;

 private:
  TDiagramLayers* FCollection;
  QString FLayerName;
  bool FVisible = true;
};

class TDiagramLayers {
 public:
  explicit TDiagramLayers(TKvDiagram* d) : FDiagram(d) {}
  TKvDiagram* Diagram() const { return FDiagram; }
  int Count() const { return int(FItems.size()); }
  TDiagramLayer* operator[](int i) const { return FItems[i].get(); }
  // An empty name takes "Layer%d" with the first free number.
  TDiagramLayer* Add(const QString& name = QString());
  void Delete(int index);
  void Clear();
  TDiagramLayer* FindByName(const QString& name) const;

 private:
  TKvDiagram* FDiagram;
  std::vector<std::unique_ptr<TDiagramLayer>> FItems;
};

// ---- Class registry ----

using TDControlFactory = std::function<TDiagramControl*(QObject* owner)>;

struct TRegDControl {
  QString FCaption;
  QString FClassName;
  TDControlFactory FDControlClass;
  QString FDControlID;
  QString FCategory;
  QString FData;
  QImage FGlyph;
  bool FUseGlyph = false;
};

class TRegDControls {
 public:
  // An empty ID takes the class name, an empty caption the ID; a row with that ID is replaced.
  TRegDControl& Register(const QString& className, TDControlFactory factory, QString id = {},
                         QString caption = {}, const QString& category = {});
  int Count() const { return int(FItems.size()); }
  const TRegDControl& operator[](int i) const { return FItems[i]; }
  const TRegDControl* FindByID(const QString& id) const;

 private:
  std::vector<TRegDControl> FItems;
};

// The program-wide registry, filled with the engine's own classes on first use.
TRegDControls& RegDControls();
// The stream reader's class table: class name to constructor.
void KvRegisterClass(const QString& className, TDControlFactory factory);
TDControlFactory KvFindClass(const QString& className);

// Splits a cell text into drawn lines: at line breaks, and with wordWrap at the last blank
// that keeps a line within maxWidth (the blank stays at the end of the line).
QStringList KvWrapCellText(const QString& text, const std::function<double(const QString&)>& width,
                           double maxWidth, bool wordWrap);

// ---- Subscribers ----

class IDiagramSubscriber {
 public:
  virtual ~IDiagramSubscriber() = default;
  virtual void DiagramNotification(TKvDiagram* diagram, TDiagramEventType event,
                                   TDiagramControl* control) = 0;
  virtual void RefreshToolbar(TKvDiagram*) {}
};

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
  virtual void PrepareDgrDrawer(TDgrBlockDrawer& drawer);
  virtual void PrepareDrawer(TBlockDrawer& drawer);
  virtual void InvalidateControl();
  virtual void SetupDrawer(TBlockDrawer& drawer) = 0;
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
  friend class TBaseGroupBlock;
  friend class TGroupBlock;
  friend class TLinkPoint;
  friend class TLinkPoints;
  void SetCollapsedFlag(bool v);
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
  void SetupDrawer(TBlockDrawer& drawer) override;
  void PrepareDgrDrawer(TDgrBlockDrawer& drawer) override;
  void PrepareDrawer(TBlockDrawer& drawer) override;
  TSquare CellRectToClient(const TTextCell* cell, const TSquare& r) const override;
  void AngleChanged() override;
  void Paint(const TDiagramDrawInfo& info) override;
  bool PointInControl(const TDot& canvasPos) override;
  void MoveBy(double dy, double dx) override;
  TSquare ControlRect() const override { return BoundsRect(); }
  TSquare SurroundRect() const override;
  void UpdateMovingHandle(const THandleMoveInfo& info) override;
  void UpdateInserting(const TControlInsertInfo& info) override;
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
  virtual void DrawCursor(const TDiagramDrawInfo&) {}
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
  void DrawPictures(const TDiagramDrawInfo& info);
  // The block's drawer mapped onto client coordinates.
  void DrawPicture(const TDiagramDrawInfo& info, const QImage& img, int mode);
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

class TPolygonPoint {
 public:
  TDot P;
  TStretchHandle* FHandle = nullptr;
};

class TPolygonPoints {
 public:
  int Count() const { return int(FItems.size()); }
  TPolygonPoint& operator[](int i) { return FItems[i]; }
  const TPolygonPoint& operator[](int i) const { return FItems[i]; }
  TDotArray Dots() const;
  std::vector<TPolygonPoint> FItems;
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
  // Handles, link points and cells keep the plain frame while FOrRect follows the points.
  TSquare ItemFrame() const override { return {0, 0, 100, 100}; }

  TColor FPointColor = clLime;
  TPolygonPoints FTempPolygon, FCursorPolygon, FSavePolygon;
  TDot TempPolygonPoint;

 protected:
  TPolygonPoints FPolygon;
  bool FInPolygonChange = false;
};

class TPolygonBlock : public TCustomPolygonBlock {
 public:
  explicit TPolygonBlock(QObject* owner) : TCustomPolygonBlock(owner) {}
  QString ClassName() const override { return QStringLiteral("TPolygonBlock"); }
};

class TGroupMemberList {
 public:
  int Count() const { return int(FItems.size()); }
  TDiagramControl* operator[](int i) const { return FItems[i]; }
  void Add(TDiagramControl* c) { FItems.push_back(c); }
  void Remove(TDiagramControl* c);
  int IndexOf(const TDiagramControl* c) const;
  void Clear() { FItems.clear(); }
  std::vector<TDiagramControl*> FItems;
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
  TGroupMemberList FMembers;
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
  TLineArrow& SourceArrow() { return *FSourceArrow; }
  TLineArrow& TargetArrow() { return *FTargetArrow; }
  // Places the two ends (client coordinates) and reroutes.
  void SetEnds(const TDot& source, const TDot& target);
  // Adds a route handle (polyline points) before the target.
  void AddRouteHandle(const TDot& p);
  // The orientation of an end for the side-line router (0 source, 1 target).
  TAnchorOrientation EndOrientation(int end) const;

  // ---- TDiagramControl ----
  void SetupDrawer(TBlockDrawer& drawer) override;
  void ReleaseForeignAnchors() override;
  TLinkPoint* HandleLinkPoint(TStretchHandle* h) override;
  void PrepareDrawer(TBlockDrawer& drawer) override;
  void AnchorLinkChanged(TLinkPoint* p) override;
  void LinkedAnchorChanged(TLinkPoint* p, TAnchorChange change) override;
  void Paint(const TDiagramDrawInfo& info) override;
  bool PointInControl(const TDot& canvasPos) override;
  void MoveBy(double dy, double dx) override;
  TSquare ControlRect() const override;
  void UpdateMovingHandle(const THandleMoveInfo& info) override;
  void UpdateInserting(const TControlInsertInfo& info) override;
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
  // Moves the handles between the ends so they keep their place relative to the chord.
  void FollowChord(TStretchHandles& handles, const TDot& oldA, const TDot& oldB, const TDot& newA,
                   const TDot& newB);
  void EnsureStyleHandles(TStretchHandles& handles);
  TDotArray CurvePoints(const TStretchHandles& handles) const;
  void DrawCrossBumps(TDotArray& path, size_t segment, double scale) const;
  void SyncEndsFromAnchors();

  TDotArray FPoints;
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

// ---- Diagram-level parts ----

struct TSnapGrid {
  bool Active = false;
  bool Force = false;
  bool Visible = false;
  double SizeX = 8.0;
  double SizeY = 8.0;
  TGridStyle Style = gsDots;
  TKvPen Pen{clBlack, 1, psSolid};
  bool SnapToRuler = false;
};

struct TPageLines {
  bool Visible = false;
  TKvPen Pen{clGray, 1, psDot};
};

struct TDiagramBackground {
  QImage Bitmap;
  QImage Picture;
  bool Scroll = false;
  TBackImageStyle Style = biTile;
  bool Visible = false;
  TDiagramGradient Gradient{nullptr};
  bool PrintGradient = false;
};

class TCustomRuler {
 public:
  virtual ~TCustomRuler() = default;
  bool Visible = false;
  int Divisions = 5;
  TKvFont Font{QStringLiteral("Arial"), 7};
  TRulerUnits Units = unCenti;
  int MinorTickLength = 4;
  int MajorTickLength = 6;
  TColor Color = clWhite;
  TColor TickColor = clBlack;
  int Size = 16;
  double Offset = 0;
  bool Inverse = false;
  bool AutoFactor = true;
  TColor GridColor = clSilver;
  int Zoom = 100;
  bool Vertical = false;
  int VisibleSize() const { return Visible ? Size : 0; }
  // Pixels per ruler unit at zoom 1.
  double PixelsPerUnit() const;
  // The step between labelled ticks, in units, so labels stay apart.
  double MajorStep(double zoom) const;
  void Draw(QPainter& p, const QRect& r, double tempOffset, double zoom, bool drawGrid,
            const QRect& gridArea) const;
};

class TDiagramRuler : public TCustomRuler {};

struct TDiagramScrollBar {
  TColor Color = clSilver;
  int Increment = 8;
  int Margin = 0;
  bool ParentColor = true;
  bool Smooth = false;
  int Size = 0;
  int ThumbSize = 0;
  bool Tracking = false;
  bool Visible = true;
};

enum TPrinterOrientation { poPortrait, poLandscape };

struct TDiagramPageSettings {
  QString PaperName = QStringLiteral("A4");
  int PaperId = 9;
  double PaperWidth = 210;
  double PaperHeight = 297;
  TPrinterOrientation Orientation = poPortrait;
  QString LeftMarginStr = QStringLiteral("25");
  QString TopMarginStr = QStringLiteral("25");
  QString RightMarginStr = QStringLiteral("25");
  QString BottomMarginStr = QStringLiteral("25");
};

class TDiagramUndoItem {
 public:
  QString FName;
  QByteArray FState;
};

class TDiagramUndoStack {
 public:
  static constexpr int MaxItems = 10;
  std::vector<TDiagramUndoItem> FItems;
  int FCurrent = -1;
  void Clear() {
    FItems.clear();
    FCurrent = -1;
  }
};

enum TMouseState {
  msBrowsing,
  msSelecting,
  msInserting,
  msToInsert,
  msMoving,
  msLink,
  msResizing,
  msToDraw,
  msDrawing,
  msToPan,
  msPanning,
  msClickingNode,
  msToZoom,
  msZooming
};

// ---- The diagram ----

class TKvDiagram : public QAbstractScrollArea {
 public:
  explicit TKvDiagram(QWidget* parent = nullptr, QObject* owner = nullptr);
  ~TKvDiagram() override;

  // The owner of the diagram's controls (the form); the parent widget when not given.
  QObject* Owner() const { return FOwner; }
  bool IsLoading() const { return FLoading; }
  void SetLoading(bool v) { FLoading = v; }
  bool IsDesigning() const { return false; }

  // ---- content ----
  void Clear();
  void ClearDControls();
  void SelectAll();
  void UnselectAll();
  void DeleteSelecteds();
  TDiagramControl* FindDControl(QStringView name) const;
  TCustomDiagramBlock* FindBlock(QStringView name) const;
  QString FindCompName(const QObject* component, QString baseName = {}) const;
  int BlockCount() const { return int(FBlocks.size()); }
  int LinkCount() const { return int(FLinks.size()); }
  int DControlCount() const { return int(FDControls.size()); }
  TCustomDiagramBlock* GetBlocks(int i) const { return FBlocks[i]; }
  TCustomDiagramLine* GetLinks(int i) const { return FLinks[i]; }
  TDiagramControl* GetDControls(int i) const { return FDControls[i]; }
  TDiagramControl* GetSelecteds(int i) const { return FSelecteds[i]; }
  const std::vector<TDiagramControl*>& DControls() const { return FDControls; }
  int SelectedCount(TDiagramControlFilter filter = cfAll) const;
  int SelectedBlockCount(TDiagramControlFilter filter = cfAll) const;
  int SelectedLinkCount() const;
  bool AreBlocksLinked(TDiagramControl* b1, TDiagramControl* b2) const;
  TCustomDiagramLine* LinkBetweenBlocks(TDiagramControl* b1, TDiagramControl* b2) const;
  TGroupBlock* AddGroup();
  TGroupBlock* GroupSelectedBlocks();
  void UngroupSelectedBlocks();
  void MoveBlocks(double dx, double dy, bool onlySelected, bool onlyMovable);
  void MoveControlIndex(TDiagramControl* c, int newIndex);
  void BringToFront(TDiagramControl* c = nullptr);
  void SendToBack(TDiagramControl* c = nullptr);
  void MakeControlVisible(TDiagramControl* c);

  // ---- layers ----
  uint64_t ActiveLayers() const { return FActiveLayers; }
  void SetActiveLayers(uint64_t mask);
  void ActivateLayer(int layer);
  void DeactivateLayer(int layer);
  bool LayerActive(int layer) const;
  void DeleteLayerControls(int layer);
  TDiagramLayers& Layers() { return FLayers; }

  // ---- batches ----
  void BeginUpdate() { ++FUpdateCount; }
  void EndUpdate(bool optimize = false);
  bool IsUpdating() const { return FUpdateCount > 0; }
  void BeginUpdateSel();
  void EndUpdateSel();
  virtual void Modified();
  // Asks for a repaint; counted while updating, ignored while painting.
  void Redraw();

  // ---- units ----
  double ClientToInches(double v) const { return v / 96.0; }
  double ClientToMilimeters(double v) const { return v * 25.4 / 96.0; }
  double InchesToClient(double v) const { return v * 96.0; }
  double MilimetersToClient(double v) const { return v * 96.0 / 25.4; }
  double MMToMeasUnit(double mm) const;
  double MeasUnitToMM(double v) const;

  // ---- zoom and transforms ----
  int Zoom() const { return int(FZoomRatio * 100); }
  void SetZoom(int percent);
  double ZoomRatio() const { return FZoomRatio; }
  double EffectiveZoom() const;
  TDot ClientToCanvas(const TDot& p) const;
  TDot CanvasToClient(const TDot& p) const;
  TSquare ClientToCanvas(const TSquare& r) const;
  TSquare CanvasToClient(const TSquare& r) const;
  QPoint ClientToCanvas(const QPoint& p) const;
  QPoint CanvasToClient(const QPoint& p) const;
  QRect ClientToCanvas(const QRect& r) const;
  QRect CanvasToClient(const QRect& r) const;
  // Canvas units per client unit (1 on screen at zoom 100).
  double CanvasScale() const;
  int HorzPosition() const;
  int VertPosition() const;
  void SetScrollPositions(int x, int y);
  // The size of the scene's window; before the widget is laid out, the size it will get.
  QSize ClientSize() const { return isVisible() ? viewport()->size() : maximumViewportSize(); }
  // The rectangle that is painted, in client coordinates.
  TSquare VisibleClientRect() const;

  // ---- hit tests (positions in client coordinates) ----
  TDiagramControl* DControlAtPos(const TDot& pos, TControlSearchMode mode = csmAll,
                                 TDiagramControlFilter filter = cfAll) const;
  TStretchHandle* HandleAtPos(const TDot& pos, bool ignoreZoom = false) const;
  TLinkPoint* LinkPointAtPos(const TDot& pos, TDiagramControl* except = nullptr,
                             bool onlyUnselected = false, bool onlyNodes = false,
                             bool onlyAcceptAnchoreds = false) const;
  TLinkPoint* LinkNodeAtPos(const TDot& pos) const {
    return LinkPointAtPos(pos, nullptr, false, true, false);
  }

  // ---- painting and export ----
  // Paints the scene onto a painter; rect is the device rectangle to fill.
  void PaintTo(QPainter& painter, const QRect& rect);
  void PaintToBitmap(QImage& bitmap, TExportSize size = esStandard);
  QImage ExportAsBMP(TExportSize size = esStandard);
  void ExportAsBMPStream(QIODevice& stream, TExportSize size = esStandard);
  void ExportAsWMF(const QString& fileName, TExportSize size = esStandard);
  void ExportAsWMFStream(QIODevice& stream, TExportSize size = esStandard);
  void ExportToFile(const QString& fileName, TExportFormat format = efAuto,
                    TExportSize size = esStandard);
  void CopyBitmapToClipboard();
  void CopyMetafileToClipboard();
  // Extent of the visible non-member controls, client coordinates.
  TSquare ControlsExtent() const;
  void RecalcScrollRanges();
  int HorzRange() const { return FHorzRange; }
  int VertRange() const { return FVertRange; }
  TPaintStyle PaintStyle() const { return FPaintStyle; }
  // Exports, preview and print paint in another style; each sets psScreen back afterwards.
  void SetPaintStyle(TPaintStyle style) { FPaintStyle = style; }
  // After a stream has filled the diagram in: anchors resolved, ranges, names.
  virtual void Loaded();
  bool Painting() const { return FPainting; }
  TDgrGraphicLib GraphicLib() const { return FGraphicLib; }
  void SetGraphicLib(TDgrGraphicLib lib);

  // ---- subscribers ----
  void AddSubscriber(IDiagramSubscriber* s);
  void RemoveSubscriber(IDiagramSubscriber* s);
  void NotifySubscribers(TDiagramEventType e, TDiagramControl* c);
  void RefreshToolbars();

  // ---- settings (published) ----
  bool PaintLinesFirst = false;
  int NettoExportOffset = 3;
  bool AutomaticNodes = false;
  bool AutoScroll = true;
  bool AutoPage = false;
  TDiagramBackground Background;
  TSnapGrid SnapGrid;
  bool ShowLinkPoints = true;
  TDiagramRuler LeftRuler, TopRuler;
  TColor BorderColor = clGray;
  TDiagramScrollBar VertScrollBar, HorzScrollBar;
  TMouseWheelMode MouseWheelMode = mwVertical;
  Qt::CursorShape LinkCursor = Qt::PointingHandCursor;
  Qt::CursorShape PanCursor = Qt::PointingHandCursor;
  Qt::CursorShape ZoomCursor = Qt::ArrowCursor;
  bool IgnoreScreenDPI = false;
  bool ShowCrossIndicators = false;
  TPageLines PageLines;
  TDiagramKeyActions KeyActions{kaEscape, kaMove, kaPage, kaResize, kaSelect};
  TDiagramHandlesStyle HandlesStyle = hsClassic;
  TDgrSmoothMode SmoothMode = smAntiAlias;
  TDgrTextRenderingMode TextRenderingMode = tmAntiAlias;
  TDiagramSelectionMode SelectionMode = slmMultiple;
  bool CanMoveOutOfBounds = true;
  TDiagramPageSettings PageSettings;
  bool RulerAutoUnit = false;
  TDiagramMeasUnit MeasUnit = duCenti;
  bool WheelZoom = false;
  int WheelZoomIncrement = 10;
  int WheelZoomMin = 10;
  int WheelZoomMax = 500;
  TColor Color = clWhite;
  TKvFont Font;
  TBorderStyle BorderStyle = bsSingle;
  TDiagramDesignMode DesignMode = ddmEditable;
  bool FFixedSideLines = false;
  TDiagramDragStyle FDragStyle = dsOutline;
  TColor ExportBackground = clWhite;
  int FConnOff = 10;

  // ---- events ----
  std::function<void(TKvDiagram*, TCustomDiagramBlock*)> OnInsertBlock;
  std::function<void(TKvDiagram*, TDiagramControl*)> OnInsertDControl;
  std::function<void(TKvDiagram*, TDiagramControl*)> OnRemoveDControl;
  std::function<void(TKvDiagram*, TDiagramControl*)> OnSelectDControl;
  std::function<void(TKvDiagram*, TDiagramControl*)> OnUnselectDControl;
  std::function<void(TKvDiagram*, TCustomDiagramLine*)> OnInsertLink;
  std::function<void(TKvDiagram*)> OnSelectionChanging;
  std::function<void(TKvDiagram*)> OnSelectionChanged;
  std::function<void(TKvDiagram*)> OnModified;
  std::function<void(TKvDiagram*, TCustomDiagramBlock*, const TDiagramDrawInfo&,
                     const TDiagramDrawBlockInfo&, bool&)>
      OnDrawBlock;
  std::function<void(TKvDiagram*, TCustomDiagramBlock*, const TDiagramDrawInfo&,
                     const TDiagramDrawBlockInfo&, bool&)>
      OnDrawShape;
  std::function<void(TKvDiagram*, TCustomDiagramBlock*, TDotArray&)> OnGetSurroundPts;
  std::function<void(TKvDiagram*, TDiagramControl*, Qt::MouseButton, Qt::KeyboardModifiers, double,
                     double)>
      OnDControlMouseDown, OnDControlMouseUp;
  std::function<void(TKvDiagram*, TDiagramControl*, Qt::KeyboardModifiers, double, double)>
      OnDControlMouseMove;
  std::function<void(TKvDiagram*, TDiagramControl*)> OnBlockMouseEnter, OnBlockMouseLeave;
  std::function<void(TKvDiagram*, TDiagramControl*)> OnDControlClick, OnDControlDblClick;
  std::function<void(TKvDiagram*, TDiagramControl*, TCustomDiagramLine*, TLinkPoint*)> OnLinkAdded,
      OnLinkRemoved;
  std::function<void(TKvDiagram*, TCustomDiagramLine*, TLinkPoint*, bool&)> OnAcceptAnchor;
  std::function<void(TKvDiagram*, TCustomDiagramLine*, TLinkPoint*, TLinkPoint*, bool&)>
      OnAcceptLink;
  std::function<void(TKvDiagram*)> OnBeforeMove, OnMoving, OnAfterMove;
  std::function<void(TKvDiagram*)> OnBeforeResize, OnDControlResizing, OnAfterResize;
  std::function<void(TKvDiagram*, TDgrCanvas&)> OnBeforePaint, OnAfterPaint;
  std::function<void(TKvDiagram*, TLinkPoint*, const TDiagramDrawInfo&, bool&)> OnDrawLinkPoint;
  std::function<void(TKvDiagram*, TTextCell*, bool)> OnCloseEditor;
  std::function<void(TKvDiagram*, TCustomDiagramBlock*, const TDiagramDrawInfo&)> OnAfterDrawBlock;
  std::function<void(TKvDiagram*, const QString&, QString&)> OnBeforeCreateControl;

  // ---- state (not stored) ----
  TMouseState FMouseState = msBrowsing;
  TDiagramControl* FInsertDControl = nullptr;
  TDiagramControl* FPreviousDControl = nullptr;
  TDiagramControl* FDControlClicked = nullptr;
  TTextCell* FInplaceMemo = nullptr;  // the cell being edited in place
  int FUpdatingPos = 0;
  int FInternalUpdating = 0;
  bool FInternalStreaming = false;
  bool FClipboardStreaming = false;
  double FPreviewZoom = 1.0;
  double FPrintConvX = 1.0;
  double FPrintConvY = 1.0;
  TDot FPreviewOffset;
  double FAdjustRatioX = 1.0;
  double FAdjustRatioY = 1.0;
  QString FClipPrefix = QStringLiteral("___clip___");
  TDiagramUndoStack FUndoStack;
  bool FKeepInserting = false;
  QImage FCacheImage;
  bool FUseCache = false;
  bool FDoingCache = false;
  std::function<TGroupBlock*(QObject*)> FCustomGroupBlockClass;
  TKvTimer* FSelectTimer = nullptr;  // rubber-band auto-scroll, 300 ms, off
  int FRedrawRequestCount = 0;
  TSelectionBlock* SelBlock() const { return FSelBlock; }
  int FUpdatingSel = 0;
  int FUpdateCount = 0;

 protected:
  void paintEvent(QPaintEvent* e) override;
  void resizeEvent(QResizeEvent* e) override;
  void scrollContentsBy(int dx, int dy) override;

 private:
  friend class TDiagramControl;
  friend class TCustomDiagramLine;
  friend class TBaseGroupBlock;
  void AddDControl(TDiagramControl* c);
  void RemoveDControl(TDiagramControl* c);
  void SelectionChanged(TDiagramControl* c, bool selected);
  void RecalcSelBlock();
  bool NameTaken(const QObject* component, const QString& name) const;
  // Paint body for a paint style; rect in device pixels.
  void PaintBody(QPainter& painter, const QRect& rect);
  void PaintControl(TDiagramControl* c, const TDiagramDrawInfo& info);
  void PaintHandlesOf(TDiagramControl* c, const TDiagramDrawInfo& info);
  void DrawSnapGrid(QPainter& p, const QRect& rect);
  void DrawPageLines(QPainter& p, const QRect& rect);
  void DrawRulers(QPainter& p);
  void DrawBackground(TDgrCanvas& canvas, const QRect& rect);
  QRect ExportRect(TExportSize size, TDot& offset) const;
  // Paints the export area onto a device in psBitmap style.
  void PaintExport(QPaintDevice& device, const QRect& rect, const TDot& offset);

  QObject* FOwner;
  bool FLoading = false;
  std::vector<TDiagramControl*> FDControls;  // z-order
  std::vector<TCustomDiagramBlock*> FBlocks;
  std::vector<TCustomDiagramLine*> FLinks;
  std::vector<TDiagramControl*> FSelecteds;
  std::vector<IDiagramSubscriber*> FSubscribers;
  TDiagramLayers FLayers{this};
  uint64_t FActiveLayers = ~uint64_t(0);
  double FZoomRatio = 1.0;
  TPaintStyle FPaintStyle = psScreen;
  bool FPainting = false;
  TDgrGraphicLib FGraphicLib = dglGDIPlus;
  TSelectionBlock* FSelBlock = nullptr;
  int FHorzRange = 0;
  int FVertRange = 0;
  QSize FPaintSize;  // device size of the surface being painted
};

// A diagram that only exists to be streamed: it paints nothing of its own window.
class TStreamDiagram : public TKvDiagram {
 public:
  using TKvDiagram::TKvDiagram;

 protected:
  void paintEvent(QPaintEvent*) override {}
};
