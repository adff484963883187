#include "KvTextCache.h"

#include <QTransform>

const QStaticText& TKvTextCache::Get(const QString& text, const QFont& font) {
  if (font != FFont) {
    FTexts.clear();
    FFont = font;
  }
  auto found = FTexts.constFind(text);
  if (found != FTexts.constEnd()) return *found;
  if (FTexts.size() >= FMax) FTexts.clear();
  QStaticText prepared(text);
  prepared.setTextFormat(Qt::PlainText);
  prepared.prepare(QTransform(), font);
  return *FTexts.insert(text, prepared);
}
