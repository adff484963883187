#pragma once
// Text laid out once and drawn many times. A grid repaints the same few thousand texts
// (levels, dates, the seconds of a clock) over and over; shaping each one again is most of
// what a repaint costs. The cache is bounded and starts over when it is full or the font
// changes.
#include <QFont>
#include <QHash>
#include <QStaticText>

class TKvTextCache {
 public:
  explicit TKvTextCache(int maxEntries = 4096) : FMax(maxEntries) {}

  const QStaticText& Get(const QString& text, const QFont& font);
  int Count() const { return int(FTexts.size()); }

 private:
  QHash<QString, QStaticText> FTexts;
  QFont FFont;
  int FMax;
};
