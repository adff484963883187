#pragma once
// The drawing surface the diagram engine paints through. The engine only talks to these
// abstract classes; TGPBlockDrawer and its companions serve them with QPainter. All
// coordinates handed to a canvas are canvas (device pixel) coordinates as doubles.
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <memory>

#include "KvDiagramTypes.h"

enum TDgrBrushMode { bmSolid, bmClear, bmHatch, bmGradient, bmTexture };
// The same values as TGradientDirection, in that order.
using TDgrGradientMode = TGradientDirection;
enum TDgrFillMode { fmAlternate, fmWinding };

class TDgrPen {
 public:
  TColor Color = clBlack;
  int Transparency = 0;  // percent
  double Width = 1;
  TPenStyle DashStyle = psSolid;
  void Assign(const TKvPen& pen) {
    Color = pen.Color;
    Width = pen.Width;
    DashStyle = pen.Style;
  }
};

class TDgrBrush {
 public:
  TDgrBrushMode BrushMode = bmSolid;
  TColor Color = clWhite;
  TColor Color2 = clBlack;
  TDgrGradientMode GradientMode = grTopBottom;
  int Transparency = 0;  // percent
  TBrushStyle HatchStyle = bsSolid;
  void Assign(const TKvBrush& brush);
};

class TDgrGraphic {
 public:
  virtual ~TDgrGraphic() = default;
  virtual int Width() const = 0;
  virtual int Height() const = 0;
  bool Empty() const { return Width() == 0 || Height() == 0; }
};

// An area made from a path, for hit tests and clipping.
class TDgrRegion {
 public:
  virtual ~TDgrRegion() = default;
  virtual bool IsVisible(double x, double y) const = 0;
  virtual bool IsEmpty() const = 0;
};

class TDgrGraphicsPath {
 public:
  virtual ~TDgrGraphicsPath() = default;
  virtual void AddArc(const TSquare& r, double startAngle, double sweepAngle) = 0;
  virtual void AddBezier(const TDot& p1, const TDot& c1, const TDot& c2, const TDot& p2) = 0;
  virtual void AddEllipse(const TSquare& r) = 0;
  virtual void AddLine(const TDot& a, const TDot& b) = 0;
  virtual void AddLines(const TDotArray& pts) = 0;
  virtual void AddPolygon(const TDotArray& pts) = 0;
  virtual void AddRectangle(const TSquare& r) = 0;
  virtual void AddRoundRect(const TSquare& r, double rx, double ry) = 0;
  virtual void CloseFigure() = 0;
  virtual std::unique_ptr<TDgrRegion> CreateRegion() const = 0;
  virtual int GetPointCount() const = 0;
  virtual bool IsVisible(double x, double y) const = 0;
  virtual void Reset() = 0;
  virtual void SetFillMode(TDgrFillMode mode) = 0;
  virtual void StartFigure() = 0;
  // Rotates the path by angle degrees about centre.
  virtual void Rotate(double angle, const TDot& centre) = 0;
  virtual void Translate(double dx, double dy) = 0;
};

class TDgrCanvas {
 public:
  virtual ~TDgrCanvas() = default;
  TDgrPen& Pen() { return FPen; }
  TDgrBrush& Brush() { return FBrush; }
  QFont Font;
  TColor FontColor = clBlack;
  int FontTransparency = 0;
  // Device pixels per screen pixel; pen widths are screen pixels and grow by it on paper.
  double ResolutionScale = 1;

  virtual void Ellipse(const TSquare& r) = 0;
  virtual void Polygon(const TDotArray& pts) = 0;
  virtual void Polyline(const TDotArray& pts) = 0;
  virtual void Rectangle(const TSquare& r) = 0;
  virtual void RoundRect(const TSquare& r, double rx, double ry) = 0;
  virtual void AddRoundRectPath(TDgrGraphicsPath& path, const TSquare& r, double rx, double ry) = 0;
  virtual void Path(const TDgrGraphicsPath& path) = 0;      // fill and outline
  virtual void DrawPath(const TDgrGraphicsPath& path) = 0;  // outline only
  virtual void DrawLine(const TDot& a, const TDot& b) = 0;
  virtual void StretchDraw(const TSquare& r, const TDgrGraphic& graphic, int transparency,
                           bool bitmapTransparent) = 0;
  virtual void SaveDrawingState() = 0;
  virtual void RestoreDrawingState() = 0;
  virtual TSquare StringBounds(const QString& text) = 0;
  // Draws text with its top-left at p (the font's ascent below p is the baseline).
  virtual void DrawString(const QString& text, const TDot& p) = 0;
  virtual void TranslateTransform(double dx, double dy) = 0;
  virtual void ScaleTransform(double sx, double sy) = 0;
  virtual void RotateTransform(double angle) = 0;
  virtual void RotateTransform(double angle, const TDot& centre) = 0;
  virtual void SetClip(const TDgrGraphicsPath& path) = 0;
  virtual void SetClip(const TSquare& r) = 0;
  virtual void ResetClip() = 0;
  virtual void ResetTransform() = 0;
  virtual void FillRect(const TSquare& r, TColor color) = 0;
  virtual double FontHeight() = 0;  // line height of the current font in pixels
  // Device-pixel marks (handles, link points) are drawn unsmoothed; kept by the state stack.
  virtual void SetSmooth(bool on) = 0;

 protected:
  TDgrPen FPen;
  TDgrBrush FBrush;
};

class TDgrPaintEngine {
 public:
  virtual ~TDgrPaintEngine() = default;
  virtual void BeginDraw() = 0;
  virtual void EndDraw() = 0;
  virtual void FillRect(const TSquare& r, TColor color) = 0;
  virtual void ResetTransform() = 0;
  virtual void RotateTransform(double angle) = 0;
  virtual void ScaleTransform(double sx, double sy) = 0;
  virtual void TranslateTransform(double dx, double dy) = 0;
  virtual void SetSmoothMode(TDgrSmoothMode mode) = 0;
  virtual void SetTextRenderingMode(TDgrTextRenderingMode mode) = 0;
  virtual TDgrCanvas& Canvas() = 0;
};

// Per-control factory and transform of a back end.
class TDgrBlockDrawer {
 public:
  virtual ~TDgrBlockDrawer() = default;
  virtual std::unique_ptr<TDgrBrush> CreateBrush() { return std::make_unique<TDgrBrush>(); }
  virtual std::unique_ptr<TDgrPen> CreatePen() { return std::make_unique<TDgrPen>(); }
  virtual std::unique_ptr<TDgrGraphic> CreateGraphic(const QImage& image) = 0;
  virtual std::unique_ptr<TDgrPaintEngine> CreatePaintEngine(QPainter& painter,
                                                             const QRect& rect) = 0;
  virtual std::unique_ptr<TDgrGraphicsPath> CreatePath() = 0;
  virtual void ClipRegion(TDgrCanvas& canvas, const TDgrGraphicsPath& path) = 0;
  virtual void SetDeviceContext(QPainter* painter) { FPainter = painter; }
  // Applies the control transform (rotation about FRotCentre by FAngle).
  virtual void RotatePath(TDgrGraphicsPath& path) = 0;
  virtual void TranslateRectsPath(TDgrGraphicsPath& path, double dx, double dy) = 0;
  virtual void TransformPath(TDgrGraphicsPath& path) = 0;

  // Transform prepared by the control (PrepareDgrDrawer).
  double FAngle = 0;
  TDot FRotCentre;
  TSquare FSourceRect;

 protected:
  QPainter* FPainter = nullptr;
};

// The QPainter back end (anti-aliased; it plays dglGDIPlus).
class TGPBlockDrawer : public TDgrBlockDrawer {
 public:
  std::unique_ptr<TDgrGraphic> CreateGraphic(const QImage& image) override;
  std::unique_ptr<TDgrPaintEngine> CreatePaintEngine(QPainter& painter, const QRect& rect) override;
  std::unique_ptr<TDgrGraphicsPath> CreatePath() override;
  void ClipRegion(TDgrCanvas& canvas, const TDgrGraphicsPath& path) override;
  void RotatePath(TDgrGraphicsPath& path) override;
  void TranslateRectsPath(TDgrGraphicsPath& path, double dx, double dy) override;
  void TransformPath(TDgrGraphicsPath& path) override { RotatePath(path); }
};

// A paint engine over a painter. Antialiased selects the smooth (dglGDIPlus) or the plain
// (dglGDI) rendering of the same painter.
std::unique_ptr<TDgrPaintEngine> CreateQtPaintEngine(QPainter& painter, const QRect& rect,
                                                     bool antialiased);
std::unique_ptr<TDgrGraphicsPath> CreateQtPath();
std::unique_ptr<TDgrGraphic> CreateQtGraphic(const QImage& image);
