#pragma once
// Value types of the diagram engine: points and rectangles in double client coordinates,
// the enumerations in their stored order, colours in 0xBBGGRR, pens, brushes and fonts as
// plain values, and the mapping/rotation helper TBlockDrawer.
#include <QColor>
#include <QFont>
#include <QPoint>
#include <QPointF>
#include <QRect>
#include <QRectF>
#include <QString>
#include <cstdint>
#include <vector>

struct TDot {
  double X = 0;
  double Y = 0;
  bool operator==(const TDot&) const = default;
  TDot operator+(const TDot& o) const { return {X + o.X, Y + o.Y}; }
  TDot operator-(const TDot& o) const { return {X - o.X, Y - o.Y}; }
  QPointF ToQt() const { return {X, Y}; }
};

struct TSquare {
  double Left = 0;
  double Top = 0;
  double Right = 0;
  double Bottom = 0;
  bool operator==(const TSquare&) const = default;
  TDot TopLeft() const { return {Left, Top}; }
  TDot BottomRight() const { return {Right, Bottom}; }
  TDot Center() const { return {(Left + Right) / 2, (Top + Bottom) / 2}; }
  double Width() const { return Right - Left; }
  double Height() const { return Bottom - Top; }
  bool IsEmpty() const { return Right <= Left || Bottom <= Top; }
  TSquare Inflated(double d) const { return {Left - d, Top - d, Right + d, Bottom + d}; }
  TSquare Offset(double dx, double dy) const {
    return {Left + dx, Top + dy, Right + dx, Bottom + dy};
  }
  bool Contains(const TDot& p) const {
    return p.X >= Left && p.X <= Right && p.Y >= Top && p.Y <= Bottom;
  }
  bool Intersects(const TSquare& o) const {
    return Left <= o.Right && o.Left <= Right && Top <= o.Bottom && o.Top <= Bottom;
  }
  TSquare United(const TSquare& o) const;
  QRectF ToQt() const { return QRectF(QPointF(Left, Top), QPointF(Right, Bottom)); }
  static TSquare FromPoints(const TDot& a, const TDot& b);
};

using TDotArray = std::vector<TDot>;
using TPointArray = std::vector<QPoint>;

// Bounding box of a point list; (0,0,0,0) when empty.
TSquare BoundsOfDots(const TDotArray& dots);

// Colours are 0xBBGGRR like the stored form.
using TColor = int32_t;
constexpr TColor clBlack = 0x000000;
constexpr TColor clWhite = 0xFFFFFF;
constexpr TColor clGray = 0x808080;
constexpr TColor clSilver = 0xC0C0C0;
constexpr TColor clRed = 0x0000FF;
constexpr TColor clLime = 0x00FF00;
constexpr TColor clBlue = 0xFF0000;
constexpr TColor clYellow = 0x00FFFF;
constexpr TColor clNone = 0x1FFFFFFF;
QColor ColorToQColor(TColor c, int transparencyPercent = 0);
TColor QColorToColor(const QColor& c);

// Two transparencies (percent) laid over each other.
inline int CombineTransparency(int a, int b) {
  return 100 - (100 - a) * (100 - b) / 100;
}

// Round half to even, the platform's rounding of doubles to integers.
int RoundHalfEven(double v);

// A set over an enumeration of up to 64 values.
template <typename E>
class TSet {
 public:
  constexpr TSet() = default;
  constexpr TSet(std::initializer_list<E> items) {
    for (E e : items) Include(e);
  }
  constexpr bool Contains(E e) const { return (FBits >> int(e)) & 1u; }
  constexpr void Include(E e) { FBits |= uint64_t(1) << int(e); }
  constexpr void Exclude(E e) { FBits &= ~(uint64_t(1) << int(e)); }
  constexpr bool Empty() const { return FBits == 0; }
  constexpr uint64_t Bits() const { return FBits; }
  constexpr bool operator==(const TSet&) const = default;

 private:
  uint64_t FBits = 0;
};

// ---- Enumerations, in stored order ----
enum TBlockShape { bsNoShape, bsRectangle, bsEllipse, bsRoundRect, bsDiamond, bsSquareRound };
enum TControlRestriction {
  crNoMove,
  crNoResize,
  crNoRotation,
  crNoEdit,
  crNoDelete,
  crKeepRatio,
  crNoClipboard,
  crNoSelect,
  crNoRotCenterMove,
  crNoLink
};
using TControlRestrictions = TSet<TControlRestriction>;
enum TAnchorOrientation { aoNone, aoHorz, aoVert, aoUp, aoDown, aoLeft, aoRight };
enum TLinkConstraint { lcAll, lcSourceOnly, lcTargetOnly, lcNone };
enum TLinkPointStyle { ptNone, ptEllipse, ptRectangle, ptDiamond, ptCross, ptImplicit };
enum THandleStyle { hsSize, hsRotate, hsRotCenter, hsCustom };
enum THandleAppearanceStyle {
  hhRectangle,
  hhEllipse,
  hhDiamond,
  hhCrossedEllipse,
  hhRectangleX,
  hhEllipseX
};
enum TArrowShape {
  asNone,
  asSolidArrow,
  asLineArrow,
  asDiamond,
  asRectangle,
  asEllipse,
  asHalfLine,
  asAngledDiamond
};
enum TDiagramLineStyle { lsLine, lsSideLine, lsParabolicArc, lsCircularArc, lsBezier };
enum TArcType { atParabolic, atCircular };
enum TTextCellsMode { tmSegments, tmSingle, tmManual, tmSpecific };
enum TVertAlign { vaTop, vaBottom, vaCenter };
enum TAlignment { taLeftJustify, taRightJustify, taCenter };
enum TGradientDirection {
  grTopBottom,
  grBottomTop,
  grLeftRight,
  grRightLeft,
  grLeftTop,
  grRightTop,
  grLeftBottom,
  grRightBottom,
  grInOut,
  grOutIn,
  grHorzInOut,
  grHorzOutIn,
  grVertInOut,
  grVertOutIn
};
enum TBitmapMode { bmStretch, bmCenter, bmTile };
enum TPictureMode { pmStretch, pmCenter, pmTile };
enum TGridStyle { gsDots, gsLines, gsRuler };
enum TBackImageStyle { biTile, biFixed };
enum TRulerUnits { unMili, unCenti, unInch, unPixel };
enum TDiagramMeasUnit { duMili, duCenti, duInch };
enum TDgrGraphicLib { dglGDI, dglGDIPlus, dglDirect2D };
enum TDgrSmoothMode { smAntiAlias, smInactive, smHighSpeed, smHighQuality };
enum TDgrTextRenderingMode {
  tmAntiAlias,
  tmAntiAliasHint,
  tmDefault,
  tmNormal,
  tmNormalHint,
  tmClearType
};
enum TDiagramHandlesStyle { hsClassic, hsVisio };
enum TDiagramDragStyle { dsOutline, dsShape };
enum TDiagramSelectionMode { slmMultiple, slmGroup };
enum TDiagramDesignMode { ddmEditable, ddmNonEditable };
enum TMouseWheelMode { mwOff, mwHorizontal, mwVertical };
enum TDiagramKeyAction { kaEscape, kaMove, kaPage, kaResize, kaSelect };
using TDiagramKeyActions = TSet<TDiagramKeyAction>;
enum TInsertStyle { isInsert, isDraw };
enum TDControlPaintMode { pmNormal, pmNormalCursor, pmCursorOnly };
enum TPaintStyle { psScreen, psPreview, psPrint, psBitmap };
enum TDiagramControlFilter { cfAll, cfIgnoreMembers, cfIgnoreGroups, cfIgnoreAsMembers };
enum TControlSearchMode { csmAll, csmIgnoreLines };
enum TAnchorChange { acPosition, acRemoval };
enum TDiagramEventType {
  etSelectionChanging,
  etSelectionChanged,
  etControlSelected,
  etControlUnselected
};
enum TExportFormat { efAuto, efBMP, efWMF };
enum TExportSize { esStandard, esCentered, esNetto };
enum TBorderStyle { bsNone, bsSingle };

// Pen and brush styles of the model (what the stored form names).
enum TPenStyle { psSolid, psDash, psDot, psDashDot, psDashDotDot, psClear };
enum TBrushStyle { bsSolid, bsClear, bsHorizontal, bsVertical, bsFDiagonal, bsBDiagonal, bsCross };

struct TKvPen {
  TColor Color = clBlack;
  int Width = 1;
  TPenStyle Style = psSolid;
  bool operator==(const TKvPen&) const = default;
};

struct TKvBrush {
  TColor Color = clWhite;
  TBrushStyle Style = bsSolid;
  bool operator==(const TKvBrush&) const = default;
};

// A font as the stored form describes it. The stored Height (negative: the character height
// in pixels at 96 dots per inch) is kept as read, since a point size cannot hold every pixel
// height; Size (points) is the view of it for code that thinks in points.
struct TKvFont {
  QString Name = QStringLiteral("Tahoma");
  int Size = 8;
  bool Bold = false;
  bool Italic = false;
  bool Underline = false;
  bool StrikeOut = false;
  TColor Color = clBlack;
  int FHeight = 0;  // the kept height; 0 while the font is given by Size
  bool operator==(const TKvFont& o) const {
    return Name == o.Name && Height() == o.Height() && Bold == o.Bold && Italic == o.Italic &&
           Underline == o.Underline && StrikeOut == o.StrikeOut && Color == o.Color;
  }
  int Height() const;
  void SetHeight(int h);
  void SetSize(int points);
  // The Qt font at a given zoom, sized in pixels so that output does not depend on the
  // device's dots per inch.
  QFont ToQFont(double zoom = 1.0) const;
};

enum TRotationType { rtCurRectCenter, rtRotationCenter };

// Maps an original rectangle (FOrRect) onto a destination rectangle (FRect) and rotates
// about the destination centre or a given centre. A routine may borrow a drawer between
// PushState and PopState.
class TBlockDrawer {
 public:
  TBlockDrawer();
  virtual ~TBlockDrawer() = default;

  TSquare FRect;
  TSquare FOrRect{0, 0, 100, 100};
  TRotationType FRotationType = rtCurRectCenter;
  TDot FRotationCenter;

  double Angle() const { return FAngle; }
  void SetAngle(double a);
  double SinAngle() const { return FSinAngle; }
  double CosAngle() const { return FCosAngle; }

  double PXS(double x) const;
  double PYS(double y) const;
  double UnPXS(double x) const;
  double UnPYS(double y) const;
  virtual int PX(double x) const { return RoundHalfEven(PXS(x)); }
  virtual int PY(double y) const { return RoundHalfEven(PYS(y)); }
  TDot PP(const TDot& p) const { return {PXS(p.X), PYS(p.Y)}; }
  TDot PPX(double x, double y) const { return {PXS(x), PYS(y)}; }
  TDot UnPP(const TDot& p) const { return {UnPXS(p.X), UnPYS(p.Y)}; }
  TDot UnPPX(double x, double y) const { return {UnPXS(x), UnPYS(y)}; }
  // Offsets from an edge without scaling.
  double LX(double d) const { return FRect.Left + d; }
  double RX(double d) const { return FRect.Right - d; }
  double TY(double d) const { return FRect.Top + d; }
  double BY(double d) const { return FRect.Bottom - d; }

  TDot RotationCentre() const;
  TDot RotX(double x, double y) const;
  TDot RotX(const TDot& p) const { return RotX(p.X, p.Y); }
  TDot UnrotX(const TDot& p) const;
  // Maps from original coordinates and rotates.
  TDot Rot(double orX, double orY) const { return RotX(PPX(orX, orY)); }
  TDotArray RotPoly(const TDotArray& pts) const;
  // The four corners of R rotated about the centre, as a closed polygon of 4 points.
  TDotArray RotByCenter(const TSquare& r) const;

  void PushState();
  void PopState();

 private:
  struct State {
    TSquare Rect, OrRect;
    double Angle;
    TRotationType RotationType;
    TDot RotationCenter;
  };
  double FAngle = 0;
  double FRadAngle = 0;
  double FSinAngle = 0;
  double FCosAngle = 1;
  std::vector<State> FStack;
};
