#include "DgrClasses.h"

#include <QFontMetricsF>
#include <QLinearGradient>
#include <QRadialGradient>
#include <QTransform>
#include <optional>

void TDgrBrush::Assign(const TKvBrush& brush) {
  Color = brush.Color;
  HatchStyle = brush.Style;
  BrushMode = brush.Style == bsClear ? bmClear : brush.Style == bsSolid ? bmSolid : bmHatch;
}

namespace {

Qt::PenStyle QtPenStyle(TPenStyle s) {
  switch (s) {
    case psSolid:
      return Qt::SolidLine;
    case psDash:
      return Qt::DashLine;
    case psDot:
      return Qt::DotLine;
    case psDashDot:
      return Qt::DashDotLine;
    case psDashDotDot:
      return Qt::DashDotDotLine;
    case psClear:
      return Qt::NoPen;
  }
  return Qt::SolidLine;
}

Qt::BrushStyle QtHatch(TBrushStyle s) {
  switch (s) {
    case bsHorizontal:
      return Qt::HorPattern;
    case bsVertical:
      return Qt::VerPattern;
    case bsFDiagonal:
      return Qt::FDiagPattern;
    case bsBDiagonal:
      return Qt::BDiagPattern;
    case bsCross:
      return Qt::CrossPattern;
    default:
      return Qt::SolidPattern;
  }
}

// The gradient over a rectangle for one of the fourteen directions.
QBrush GradientBrush(const TDgrBrush& b, const QRectF& r) {
  QColor c1 = ColorToQColor(b.Color, b.Transparency);
  QColor c2 = ColorToQColor(b.Color2, b.Transparency);
  auto linear = [&](QPointF from, QPointF to, bool mirrored) {
    QLinearGradient g(from, to);
    g.setColorAt(0, c1);
    if (mirrored) {
      g.setColorAt(0.5, c2);
      g.setColorAt(1, c1);
    } else {
      g.setColorAt(1, c2);
    }
    return QBrush(g);
  };
  auto radial = [&](bool inOut) {
    QRadialGradient g(r.center(), std::max(r.width(), r.height()) / 2);
    g.setColorAt(0, inOut ? c1 : c2);
    g.setColorAt(1, inOut ? c2 : c1);
    return QBrush(g);
  };
  switch (b.GradientMode) {
    case grTopBottom:
      return linear(r.topLeft(), r.bottomLeft(), false);
    case grBottomTop:
      return linear(r.bottomLeft(), r.topLeft(), false);
    case grLeftRight:
      return linear(r.topLeft(), r.topRight(), false);
    case grRightLeft:
      return linear(r.topRight(), r.topLeft(), false);
    case grLeftTop:
      return linear(r.topLeft(), r.bottomRight(), false);
    case grRightTop:
      return linear(r.topRight(), r.bottomLeft(), false);
    case grLeftBottom:
      return linear(r.bottomLeft(), r.topRight(), false);
    case grRightBottom:
      return linear(r.bottomRight(), r.topLeft(), false);
    case grInOut:
      return radial(true);
    case grOutIn:
      return radial(false);
    case grHorzInOut:
      return linear(r.topLeft(), r.topRight(), true);
    case grHorzOutIn: {
      std::swap(c1, c2);
      return linear(r.topLeft(), r.topRight(), true);
    }
    case grVertInOut:
      return linear(r.topLeft(), r.bottomLeft(), true);
    case grVertOutIn: {
      std::swap(c1, c2);
      return linear(r.topLeft(), r.bottomLeft(), true);
    }
  }
  return QBrush(c1);
}

class TQtGraphic : public TDgrGraphic {
 public:
  explicit TQtGraphic(QImage img) : Image(std::move(img)) {}
  int Width() const override { return Image.width(); }
  int Height() const override { return Image.height(); }
  QImage Image;
};

class TQtRegion : public TDgrRegion {
 public:
  explicit TQtRegion(QPainterPath p) : FPath(std::move(p)) {}
  bool IsVisible(double x, double y) const override { return FPath.contains(QPointF(x, y)); }
  bool IsEmpty() const override { return FPath.boundingRect().isEmpty(); }

 private:
  QPainterPath FPath;  // filled, so contains() answers for the area
};

class TQtGraphicsPath : public TDgrGraphicsPath {
 public:
  QPainterPath P;
  void AddArc(const TSquare& r, double start, double sweep) override {
    P.arcMoveTo(r.ToQt(), -start);
    P.arcTo(r.ToQt(), -start, -sweep);
  }
  void AddBezier(const TDot& p1, const TDot& c1, const TDot& c2, const TDot& p2) override {
    P.moveTo(p1.ToQt());
    P.cubicTo(c1.ToQt(), c2.ToQt(), p2.ToQt());
  }
  void AddEllipse(const TSquare& r) override { P.addEllipse(r.ToQt()); }
  void AddLine(const TDot& a, const TDot& b) override {
    P.moveTo(a.ToQt());
    P.lineTo(b.ToQt());
  }
  void AddLines(const TDotArray& pts) override {
    if (pts.empty()) return;
    P.moveTo(pts[0].ToQt());
    for (size_t i = 1; i < pts.size(); ++i) P.lineTo(pts[i].ToQt());
  }
  void AddPolygon(const TDotArray& pts) override {
    AddLines(pts);
    if (!pts.empty()) P.closeSubpath();
  }
  void AddRectangle(const TSquare& r) override { P.addRect(r.ToQt()); }
  void AddRoundRect(const TSquare& r, double rx, double ry) override {
    P.addRoundedRect(r.ToQt(), rx, ry);
  }
  void CloseFigure() override { P.closeSubpath(); }
  std::unique_ptr<TDgrRegion> CreateRegion() const override {
    return std::make_unique<TQtRegion>(P);
  }
  int GetPointCount() const override { return P.elementCount(); }
  bool IsVisible(double x, double y) const override { return P.contains(QPointF(x, y)); }
  void Reset() override { P.clear(); }
  void SetFillMode(TDgrFillMode m) override {
    P.setFillRule(m == fmAlternate ? Qt::OddEvenFill : Qt::WindingFill);
  }
  void StartFigure() override {
    if (P.elementCount() > 0) P.moveTo(P.currentPosition());
  }
  void Rotate(double angle, const TDot& c) override {
    if (angle == 0) return;
    QTransform t;
    t.translate(c.X, c.Y);
    t.rotate(angle);
    t.translate(-c.X, -c.Y);
    P = t.map(P);
  }
  void Translate(double dx, double dy) override { P.translate(dx, dy); }
};

class TQtCanvas : public TDgrCanvas {
 public:
  TQtCanvas(QPainter& p, bool aa) : FAntialiased(aa), FP(p) {}

  void Ellipse(const TSquare& r) override {
    Apply();
    FP.drawEllipse(r.ToQt());
  }
  void Polygon(const TDotArray& pts) override {
    Apply();
    FP.drawPolygon(ToPoly(pts));
  }
  void Polyline(const TDotArray& pts) override {
    Apply(false);
    FP.drawPolyline(ToPoly(pts));
  }
  void Rectangle(const TSquare& r) override {
    Apply();
    FP.drawRect(r.ToQt());
  }
  void RoundRect(const TSquare& r, double rx, double ry) override {
    Apply();
    FP.drawRoundedRect(r.ToQt(), rx, ry);
  }
  void AddRoundRectPath(TDgrGraphicsPath& path, const TSquare& r, double rx, double ry) override {
    path.AddRoundRect(r, rx, ry);
  }
  void Path(const TDgrGraphicsPath& path) override {
    const QPainterPath& p = static_cast<const TQtGraphicsPath&>(path).P;
    Apply(true, p.boundingRect());
    FP.drawPath(p);
  }
  void DrawPath(const TDgrGraphicsPath& path) override {
    Apply(false);
    FP.drawPath(static_cast<const TQtGraphicsPath&>(path).P);
  }
  void DrawLine(const TDot& a, const TDot& b) override {
    Apply(false);
    FP.drawLine(a.ToQt(), b.ToQt());
  }
  void StretchDraw(const TSquare& r, const TDgrGraphic& g, int transparency,
                   bool bitmapTransparent) override {
    const QImage& img = static_cast<const TQtGraphic&>(g).Image;
    FP.save();
    FP.setOpacity(FP.opacity() * (100 - transparency) / 100.0);
    if (bitmapTransparent && !img.hasAlphaChannel()) {
      // The bottom-left pixel's colour is the transparent one, as bitmaps mark it.
      QImage masked = img.convertToFormat(QImage::Format_ARGB32);
      QRgb key = img.pixel(0, img.height() - 1);
      for (int y = 0; y < masked.height(); ++y) {
        QRgb* line = reinterpret_cast<QRgb*>(masked.scanLine(y));
        for (int x = 0; x < masked.width(); ++x)
          if ((line[x] & 0xFFFFFF) == (key & 0xFFFFFF)) line[x] = 0;
      }
      FP.drawImage(r.ToQt(), masked);
    } else {
      FP.drawImage(r.ToQt(), img);
    }
    FP.restore();
  }
  void SaveDrawingState() override {
    FP.save();
    FStates.push_back({FPen, FBrush, Font, FontColor, FAntialiased});
  }
  void RestoreDrawingState() override {
    FP.restore();
    if (FStates.empty()) return;
    FPen = FStates.back().Pen;
    FBrush = FStates.back().Brush;
    Font = FStates.back().Font;
    FontColor = FStates.back().FontColor;
    FAntialiased = FStates.back().Antialiased;
    FStates.pop_back();
  }
  TSquare StringBounds(const QString& text) override {
    const QFontMetricsF& fm = Metrics();
    return {0, 0, fm.horizontalAdvance(text), fm.height()};
  }
  void DrawString(const QString& text, const TDot& p) override {
    FP.setFont(Font);
    FP.setPen(ColorToQColor(FontColor, FontTransparency));
    FP.drawText(QPointF(p.X, p.Y + Metrics().ascent()), text);
  }
  double FontHeight() override { return Metrics().height(); }
  void SetSmooth(bool on) override { FAntialiased = on; }
  void TranslateTransform(double dx, double dy) override { FP.translate(dx, dy); }
  void ScaleTransform(double sx, double sy) override { FP.scale(sx, sy); }
  void RotateTransform(double a) override { FP.rotate(a); }
  void RotateTransform(double a, const TDot& c) override {
    FP.translate(c.X, c.Y);
    FP.rotate(a);
    FP.translate(-c.X, -c.Y);
  }
  void SetClip(const TDgrGraphicsPath& path) override {
    FP.setClipPath(static_cast<const TQtGraphicsPath&>(path).P, Qt::IntersectClip);
  }
  void SetClip(const TSquare& r) override { FP.setClipRect(r.ToQt(), Qt::IntersectClip); }
  void ResetClip() override { FP.setClipping(false); }
  void ResetTransform() override { FP.resetTransform(); }
  void FillRect(const TSquare& r, TColor color) override {
    FP.fillRect(r.ToQt(), ColorToQColor(color));
  }

  bool FAntialiased;

 private:
  void Apply(bool fill = true, const QRectF& bounds = QRectF()) {
    FP.setRenderHint(QPainter::Antialiasing, FAntialiased);
    if (FPen.DashStyle == psClear || FPen.Transparency >= 100) {
      FP.setPen(Qt::NoPen);
    } else {
      QPen pen(ColorToQColor(FPen.Color, FPen.Transparency));
      const double width = FPen.Width * ResolutionScale;
      pen.setWidthF(width <= 1 ? 0 : width);  // 0: a cosmetic hairline
      pen.setStyle(QtPenStyle(FPen.DashStyle));
      FP.setPen(pen);
    }
    if (!fill || FBrush.BrushMode == bmClear || FBrush.Transparency >= 100) {
      FP.setBrush(Qt::NoBrush);
    } else if (FBrush.BrushMode == bmGradient) {
      FP.setBrush(GradientBrush(FBrush, bounds));
    } else {
      QBrush b(ColorToQColor(FBrush.Color, FBrush.Transparency),
               FBrush.BrushMode == bmHatch ? QtHatch(FBrush.HatchStyle) : Qt::SolidPattern);
      FP.setBrush(b);
    }
  }
  // Metrics of the current font, made again only when the font changes.
  const QFontMetricsF& Metrics() {
    if (!FMetrics || !(FMetricsFont == Font)) {
      FMetricsFont = Font;
      FMetrics.emplace(Font, FP.device());
    }
    return *FMetrics;
  }
  static QPolygonF ToPoly(const TDotArray& pts) {
    QPolygonF poly;
    poly.reserve(int(pts.size()));
    for (const TDot& d : pts) poly << d.ToQt();
    return poly;
  }

  QPainter& FP;
  std::optional<QFontMetricsF> FMetrics;
  QFont FMetricsFont;
  struct Saved {
    TDgrPen Pen;
    TDgrBrush Brush;
    QFont Font;
    TColor FontColor;
    bool Antialiased;
  };
  std::vector<Saved> FStates;
};

class TQtPaintEngine : public TDgrPaintEngine {
 public:
  TQtPaintEngine(QPainter& p, bool aa) : FP(p), FCanvas(p, aa) {}
  void BeginDraw() override { FP.save(); }
  void EndDraw() override { FP.restore(); }
  void FillRect(const TSquare& r, TColor color) override { FCanvas.FillRect(r, color); }
  void ResetTransform() override { FP.resetTransform(); }
  void RotateTransform(double a) override { FP.rotate(a); }
  void ScaleTransform(double sx, double sy) override { FP.scale(sx, sy); }
  void TranslateTransform(double dx, double dy) override { FP.translate(dx, dy); }
  void SetSmoothMode(TDgrSmoothMode m) override {
    FCanvas.FAntialiased = FCanvas.FAntialiased && m != smInactive && m != smHighSpeed;
  }
  void SetTextRenderingMode(TDgrTextRenderingMode m) override {
    FP.setRenderHint(QPainter::TextAntialiasing, m != tmNormal && m != tmNormalHint);
  }
  TDgrCanvas& Canvas() override { return FCanvas; }

 private:
  QPainter& FP;
  TQtCanvas FCanvas;
};

}  // namespace

std::unique_ptr<TDgrPaintEngine> CreateQtPaintEngine(QPainter& painter, const QRect&,
                                                     bool antialiased) {
  return std::make_unique<TQtPaintEngine>(painter, antialiased);
}

std::unique_ptr<TDgrGraphicsPath> CreateQtPath() {
  return std::make_unique<TQtGraphicsPath>();
}

std::unique_ptr<TDgrGraphic> CreateQtGraphic(const QImage& image) {
  return std::make_unique<TQtGraphic>(image);
}

std::unique_ptr<TDgrGraphic> TGPBlockDrawer::CreateGraphic(const QImage& image) {
  return CreateQtGraphic(image);
}

std::unique_ptr<TDgrPaintEngine> TGPBlockDrawer::CreatePaintEngine(QPainter& painter,
                                                                   const QRect& rect) {
  return CreateQtPaintEngine(painter, rect, true);
}

std::unique_ptr<TDgrGraphicsPath> TGPBlockDrawer::CreatePath() {
  return CreateQtPath();
}

void TGPBlockDrawer::ClipRegion(TDgrCanvas& canvas, const TDgrGraphicsPath& path) {
  canvas.SetClip(path);
}

void TGPBlockDrawer::RotatePath(TDgrGraphicsPath& path) {
  path.Rotate(FAngle, FRotCentre);
}

void TGPBlockDrawer::TranslateRectsPath(TDgrGraphicsPath& path, double dx, double dy) {
  path.Translate(dx, dy);
}
