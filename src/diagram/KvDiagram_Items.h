#pragma once
// The parts a diagram control is made of: link points with the anchor invariant, handles
// and their appearance, text cells, layers, the class registry, draw and interaction
// records, and the subscriber interface.
#include <QImage>
#include <QObject>
#include <QStringList>
#include <functional>
#include <memory>
#include <stdexcept>
#include <vector>

#include "DgrClasses.h"
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
  // Fills rect (canvas units) with the gradient, rotated as the back-end drawer says, or on
  // the plain path (no drawer) by angle degrees about the rectangle's centre.
  void DrawGradient(TDgrCanvas& canvas, TDgrBlockDrawer* dgr, const TSquare& rect, int transparency,
                    double angle = 0) const;
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
  friend struct TKvControlFiler;
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
  friend struct TKvControlFiler;
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
  // Moves the layer at from to index to; controls keep their layer.
  void Move(int from, int to);
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
