#include "KvDiagramTypes.h"

#include <algorithm>
#include <cmath>

TSquare TSquare::United(const TSquare& o) const {
  return {std::min(Left, o.Left), std::min(Top, o.Top), std::max(Right, o.Right),
          std::max(Bottom, o.Bottom)};
}

TSquare TSquare::FromPoints(const TDot& a, const TDot& b) {
  return {std::min(a.X, b.X), std::min(a.Y, b.Y), std::max(a.X, b.X), std::max(a.Y, b.Y)};
}

TSquare BoundsOfDots(const TDotArray& dots) {
  if (dots.empty()) return {};
  TSquare r{dots[0].X, dots[0].Y, dots[0].X, dots[0].Y};
  for (const TDot& d : dots) {
    r.Left = std::min(r.Left, d.X);
    r.Top = std::min(r.Top, d.Y);
    r.Right = std::max(r.Right, d.X);
    r.Bottom = std::max(r.Bottom, d.Y);
  }
  return r;
}

QColor ColorToQColor(TColor c, int transparencyPercent) {
  int alpha = 255 - std::clamp(transparencyPercent, 0, 100) * 255 / 100;
  return QColor(c & 0xFF, (c >> 8) & 0xFF, (c >> 16) & 0xFF, alpha);
}

TColor QColorToColor(const QColor& c) {
  return c.red() | (c.green() << 8) | (c.blue() << 16);
}

int RoundHalfEven(double v) {
  return int(std::nearbyint(v));
}

int TKvFont::Height() const {
  if (FHeight != 0 && std::lround(std::abs(FHeight) * 72.0 / 96.0) == Size) return FHeight;
  return -int(std::lround(Size * 96.0 / 72.0));
}

void TKvFont::SetHeight(int h) {
  FHeight = h;
  Size = int(std::lround(std::abs(h) * 72.0 / 96.0));
}

void TKvFont::SetSize(int points) {
  Size = points;
  FHeight = 0;
}

QFont TKvFont::ToQFont(double zoom) const {
  QFont f(Name);
  f.setPixelSize(std::max(1, int(std::lround(std::abs(Height()) * zoom))));
  f.setBold(Bold);
  f.setItalic(Italic);
  f.setUnderline(Underline);
  f.setStrikeOut(StrikeOut);
  return f;
}

// ---- TBlockDrawer ----

TBlockDrawer::TBlockDrawer() {
  SetAngle(0);
}

void TBlockDrawer::SetAngle(double a) {
  FAngle = a;
  FRadAngle = M_PI * a / 180.0;
  FSinAngle = std::sin(FRadAngle);
  FCosAngle = std::cos(FRadAngle);
}

namespace {
// v from the span [from0, from1] onto [to0, to1]; an empty source span answers to0.
double MapAxis(double v, double from0, double from1, double to0, double to1) {
  if (from1 == from0) return to0;
  return (v - from0) / (from1 - from0) * (to1 - to0) + to0;
}
}  // namespace

double TBlockDrawer::PXS(double x) const {
  return MapAxis(x, FOrRect.Left, FOrRect.Right, FRect.Left, FRect.Right);
}

double TBlockDrawer::PYS(double y) const {
  return MapAxis(y, FOrRect.Top, FOrRect.Bottom, FRect.Top, FRect.Bottom);
}

double TBlockDrawer::UnPXS(double x) const {
  return MapAxis(x, FRect.Left, FRect.Right, FOrRect.Left, FOrRect.Right);
}

double TBlockDrawer::UnPYS(double y) const {
  return MapAxis(y, FRect.Top, FRect.Bottom, FOrRect.Top, FOrRect.Bottom);
}

TDot TBlockDrawer::RotationCentre() const {
  return FRotationType == rtCurRectCenter ? FRect.Center() : FRotationCenter;
}

TDot TBlockDrawer::RotX(double x, double y) const {
  if (FAngle == 0) return {x, y};
  TDot c = RotationCentre();
  return {(x - c.X) * FCosAngle + c.X - (y - c.Y) * FSinAngle,
          (x - c.X) * FSinAngle + c.Y + (y - c.Y) * FCosAngle};
}

TDot TBlockDrawer::UnrotX(const TDot& p) const {
  if (FAngle == 0) return p;
  TDot c = RotationCentre();
  // Rotation by the negated angle: sin changes sign, cos stays.
  return {(p.X - c.X) * FCosAngle + c.X + (p.Y - c.Y) * FSinAngle,
          -(p.X - c.X) * FSinAngle + c.Y + (p.Y - c.Y) * FCosAngle};
}

TDotArray TBlockDrawer::RotPoly(const TDotArray& pts) const {
  TDotArray out;
  out.reserve(pts.size());
  for (const TDot& p : pts) out.push_back(RotX(p));
  return out;
}

TDotArray TBlockDrawer::RotByCenter(const TSquare& r) const {
  return {RotX(r.Left, r.Top), RotX(r.Right, r.Top), RotX(r.Right, r.Bottom),
          RotX(r.Left, r.Bottom)};
}

void TBlockDrawer::PushState() {
  FStack.push_back({FRect, FOrRect, FAngle, FRotationType, FRotationCenter});
}

void TBlockDrawer::PopState() {
  if (FStack.empty()) return;
  const State& s = FStack.back();
  FRect = s.Rect;
  FOrRect = s.OrRect;
  SetAngle(s.Angle);
  FRotationType = s.RotationType;
  FRotationCenter = s.RotationCenter;
  FStack.pop_back();
}
