#pragma once
// Where the display's ticks stand on screen, so that tests can read the bar graph from
// rendered pixels wherever the diagram's own headers may not be included.
#include <QImage>
#include <QPoint>
#include <QString>
#include <algorithm>
#include <cmath>
#include <string>

// The centre of tick i of the ring, in diagram client coordinates: position angle 140 - 4 i
// on a radius of 150 about (186, 200), a drift of i to the right, every fifth tick 5 longer.
inline QPointF KvTickCentre(int i) {
  const double a = (140.0 - 4.0 * i) * 0.017453292519943295;
  const double lift = i % 5 == 0 ? 5.0 : 0.0;
  return {186.0 + 150.0 * std::cos(a) + i, 200.0 - 150.0 * std::sin(a) - lift / 2};
}

// The ticks as '#' (shown, black) and '.' (not shown, LCD green) read from an image of the
// diagram's surface, origin being where the diagram's client point (0, 0) lies, at a zoom.
inline std::string KvTicksOnScreen(const QImage& img, QPoint origin, double zoom = 1.0) {
  std::string ticks;
  for (int i = 0; i < 26; ++i) {
    const QPointF c = KvTickCentre(i) * zoom + QPointF(origin);
    const int cx = int(std::lround(c.x())), cy = int(std::lround(c.y()));
    // A tick is two pixels wide and slanted: the darkest pixel around its centre tells.
    int darkest = 255;
    for (int y = cy - 1; y <= cy + 1; ++y)
      for (int x = cx - 1; x <= cx + 1; ++x) darkest = std::min(darkest, qGray(img.pixel(x, y)));
    ticks += darkest < 80 ? '#' : '.';
  }
  return ticks;
}

// n shown ticks followed by hidden ones.
inline std::string KvTicks(int lit) {
  return std::string(lit, '#') + std::string(26 - lit, '.');
}
