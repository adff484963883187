#pragma once
// What the parts of the diagram's interaction share: the modifier state of a mouse event and
// the tolerance that tells a click from a drag.
#include <cmath>

#include "KvDiagram.h"

struct TKvDiagram::TShiftState {
  bool Shift = false, Ctrl = false, Alt = false;
  bool Left = false, Right = false, Middle = false;
  bool Double = false;
};

// Two points within 10 units on both axes: a click rather than a drag.
inline bool KvNear(const TDot& a, const TDot& b) {
  return std::abs(a.X - b.X) <= 10 && std::abs(a.Y - b.Y) <= 10;
}
