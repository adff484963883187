#pragma once
// The diagram scene: TKvDiagram, a scrolling widget that owns an ordered list of diagram
// controls (blocks, lines, groups), and the controls with their link points, handles and
// text cells. Stored positions are client coordinates (doubles); link points, handles and
// text cells of a block are kept in the block's original coordinates (FOrRect), so they
// keep their relative place when the block is resized.
#include <QAbstractScrollArea>
#include <QHash>
#include <QIODevice>

#include "KvChildNames.h"
#include "KvClock.h"
#include "KvDiagram_Blocks.h"
#include "KvDiagram_Lines.h"

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

enum TDuplexType { dtNone, dtLongEdge, dtShortEdge };

struct TDiagramPrintSettings {
  int FCopies = 1;
  QString FTitle;
  QString FPageNumbers;  // empty: all pages
  bool FCollation = true;
  TDuplexType FDuplex = dtNone;
};

class TDiagramPrinter;
struct TDiagramPageGrid;

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

enum TZoomingState { zsZoomIn, zsZoomOut };
enum TKeepInsertingMode { kmNever, kmAlways, kmOnShiftPressed, kmLinesOnly };
class TDiagramMemo;

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
  void DeleteLayerControls(const QString& layerName);
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
  // ---- print and preview (KvDiagram_Print.cpp) ----
  // True when printing took place.
  bool Print(bool AShowDialog);
  // One page as the printer would put it on paper, scaled to AWidth by AHeight (0: the
  // paper's dots on that axis).
  QImage BuildPreviewBitmap(int APage, int AWidth, int AHeight);
  // The pages over the scene on the printer in use.
  TDiagramPageGrid PageGrid();
  int PageCount();
  // Device pixels per screen pixel: pens, fonts and marks grow by it on paper.
  double ResolutionScale() const;
  TDiagramPrintSettings PrintSettings;
  // The printer to print on, not owned; none: the system's default printer.
  TDiagramPrinter* Printer = nullptr;
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

  // ---- persistence ----
  virtual QString ClassName() const { return QStringLiteral("TKvDiagram"); }
  // The object stream of the diagram, binary or text; the diagram is always a nameless root.
  virtual void SaveToStream(QIODevice& stream, bool textFormat);
  virtual void LoadFromStream(QIODevice& stream, bool textFormat);
  QByteArray SaveToBytes(bool textFormat);
  void LoadFromBytes(const QByteArray& bytes, bool textFormat);
  // Files hold the text form.
  void SaveToFile(const QString& fileName);
  void LoadFromFile(const QString& fileName);
  // Adds a copy of another diagram's controls and takes its diagram-level properties.
  void Assign(TKvDiagram* source);
  void CopyToClipboard();
  void CutToClipboard();
  void PasteFromClipboard();
  bool CanCopy() const;
  bool CanPaste() const;
  // The clipboard format that marks a copied diagram.
  static const char* const ClipboardFormat;
  // Reads a binary stream into the diagram as it stands; answers the controls it made.
  std::vector<TDiagramControl*> ReadStream(const QByteArray& binary);
  // The text stream of the diagram with only these controls (groups with their members),
  // as the clipboard and library items hold it.
  QByteArray ControlsToText(const std::vector<TDiagramControl*>& controls);
  // The binary stream of the diagram-level properties and the controls that pass.
  QByteArray WriteStream(const std::function<bool(const TDiagramControl*)>& pass) const;

  // ---- interaction (mouse, keyboard, in-place editing, undo) ----
  TMouseState MouseState() const { return FMouseState; }
  // Modifiers and buttons of a mouse event, and whether it is the press of a double click.
  struct TShiftState;
  // By registry ID (library data, class, or a plain block carrying the ID), or a control
  // made by the caller, which the diagram then owns.
  void StartInsertingControl(const QString& id, bool keepInserting = false);
  void StartInsertingControl(TDiagramControl* control, bool keepInserting = false);
  void CancelInsertingBlock();
  void StartZooming(TZoomingState state);
  void CancelZooming();
  void StartPanning();
  void CancelPanning();
  // Rectangles in client coordinates.
  void ZoomIn(const TSquare& rect);
  void ZoomOut(const TSquare& rect);
  void ZoomMoveToFit(double margin = 0);
  // A client position on the snap grid while the grid is active.
  TDot SnapPoint(const TDot& p) const;
  bool AcceptAnchor(TCustomDiagramLine* line, TLinkPoint* point);
  bool AcceptLink(TCustomDiagramLine* line, TLinkPoint* anchor1, TLinkPoint* anchor2);
  void EditBlockText();
  bool EditControlText(TDiagramControl* control);
  bool EditTextCell(TTextCell* cell);
  void CloseEditor(bool update);
  // The cell after (or before) cell among the visible cells of its control, wrapping.
  TTextCell* SelectNextCell(TTextCell* cell, bool forward) const;
  TDiagramMemo* InplaceEditor() const { return FEditor; }
  void ClearUndoStack();
  void PushUndoStack(const QString& name);
  void Undo();
  void Redo();
  QString NextUndoAction() const;
  QString NextRedoAction() const;
  const TDiagramUndoStack& UndoStack() const { return FUndoStack; }

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
  TKeepInsertingMode KeepInsertingMode = kmNever;
  QString ConnectionLineId;  // empty: a link point starts no line

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
  std::function<void(TKvDiagram*, TDiagramControl*, TStretchHandle*, Qt::MouseButton,
                     Qt::KeyboardModifiers, double, double)>
      OnDControlMouseDownEx;
  std::function<void(TKvDiagram*, TLinkPoint*)> OnClickNode;

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
  std::function<TDiagramMemo*(TKvDiagram*)> FCustomDiagramMemoClass;
  TKvTimer* FSelectTimer = nullptr;  // rubber-band auto-scroll, 300 ms, off
  int FRedrawRequestCount = 0;
  TSelectionBlock* SelBlock() const { return FSelBlock; }
  int FUpdatingSel = 0;
  int FUpdateCount = 0;

 protected:
  void paintEvent(QPaintEvent* e) override;
  void resizeEvent(QResizeEvent* e) override;
  void scrollContentsBy(int dx, int dy) override;
  void mousePressEvent(QMouseEvent* e) override;
  void mouseDoubleClickEvent(QMouseEvent* e) override;
  void mouseMoveEvent(QMouseEvent* e) override;
  void mouseReleaseEvent(QMouseEvent* e) override;
  void keyPressEvent(QKeyEvent* e) override;
  void wheelEvent(QWheelEvent* e) override;

 private:
  friend class TDiagramControl;
  friend class TCustomDiagramLine;
  friend class TBaseGroupBlock;
  void AddDControl(TDiagramControl* c);
  void RemoveDControl(TDiagramControl* c);
  void SelectionChanged(TDiagramControl* c, bool selected);
  void RecalcSelBlock();
  bool NameTaken(const QObject* component, const QString& name) const;
  friend class TDiagramControl;
  // The names of the controls, folded to lower case, with their counts.
  void ControlRenamed(const QString& oldName, const QString& newName);
  void NameFreed(const QString& key) const;
  QHash<QString, int> FNameSet;
  // The lowest number that may be free behind each base name of FindCompName.
  mutable QHash<QString, int> FNameHint;
  mutable std::vector<std::unique_ptr<TKvChildNames>> FChildNames;
  // Paint body for a paint style; rect in device pixels.
  void PaintBody(QPainter& painter, const QRect& rect);
  void PaintControl(TDiagramControl* c, const TDiagramDrawInfo& info);
  void PaintHandlesOf(TDiagramControl* c, const TDiagramDrawInfo& info);
  void PaintLinkPointsOf(TDiagramControl* c, const TDiagramDrawInfo& info);
  void DrawSnapGrid(QPainter& p, const QRect& rect);
  void DrawPageLines(QPainter& p, const QRect& rect);
  void DrawRulers(QPainter& p);
  void DrawBackground(TDgrCanvas& canvas, const QRect& rect);
  QRect ExportRect(TExportSize size, TDot& offset) const;
  // Paints the export area onto a device in psBitmap style.
  void PaintExport(QPaintDevice& device, const QRect& rect, const TDot& offset);
  // Paints one page in print or preview style onto a painter of the paper's size in dots.
  void PaintPage(QPainter& painter, TDiagramPrinter& printer, int page, TPaintStyle style);

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

  // ---- interaction state ----
  void MouseDown(Qt::MouseButton button, const TShiftState& shift, int x, int y);
  void MouseMove(const TShiftState& shift, int x, int y);
  void MouseUp(Qt::MouseButton button, const TShiftState& shift, int x, int y);
  void SelectControl(TDiagramControl* c, int mode);
  void PrepareMove();
  void UpdateMove(int x, int y);
  void FinishMove(bool cancel);
  void UpdateResize(int x, int y);
  void FinishResize(bool cancel);
  template <typename TInfo, typename TAction>
  TInfo DragInfo(int x, int y, TAction action, bool withTarget);
  TControlInsertInfo InsertInfo(int x, int y, TControlInsertAction action);
  void FinishInserting(bool cancel, int x, int y);
  void DrawStep(int x, int y, TControlDrawAction action);
  void FinishDrawing(bool cancel, int x, int y);
  // The press of an insertion or a drawing: FLinkPoint and FDragStart; false when refused.
  bool StartLinkAt(const TDot& pos);
  TLinkPoint* AutoLinkPointAt(const TDot& pos);
  TCustomDiagramLine* CreateConnectionLine();
  void SelectTimerTick();
  void SelectNext(int dx, int dy);
  void SetScreenCursor(Qt::CursorShape c);
  void SetZoomRatio(double ratio);
  void CentreOn(const TDot& centre);
  // The picture of the scene a drag is drawn over.
  void BuildCache();
  void DropCache();
  void PaintOverlay(QPainter& painter);
  void EndDrag();
  TDot FDragStart;
  bool FHasOldDragPos = false;  // a cursor was drawn
  TDot FOldDragPos;
  TSquare FCurRect;  // the rubber band, canvas coordinates
  TStretchHandle* FHandle = nullptr;
  TLinkPoint* FLinkPoint = nullptr;
  TLinkPoint* FNodeClicked = nullptr;
  Qt::CursorShape FOldScreenCursor = Qt::ArrowCursor;
  QPoint FOldPosition;
  QPoint FLastMousePos;
  TZoomingState FZoomingState = zsZoomIn;
  std::vector<TControlMoveInfo> FControlMoveInfos;
  TControlMoveInfo FMoveInfo;
  THandleMoveInfo FHandleInfo;
  TControlInsertInfo FInsertInfo;
  QString FInsertID;
  TDiagramMemo* FEditor = nullptr;
  bool FDestroyingDiagram = false;
};

// A diagram that only exists to be streamed: it paints nothing of its own window.
class TStreamDiagram : public TKvDiagram {
 public:
  using TKvDiagram::TKvDiagram;
  QString ClassName() const override { return QStringLiteral("TStreamDiagram"); }

 protected:
  void paintEvent(QPaintEvent*) override {}
};
