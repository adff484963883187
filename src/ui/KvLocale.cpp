#include "KvLocale.h"

#include <QLocale>
#include <QRegularExpression>
#include <cstdio>
#include <cstring>

namespace {
// Qt's pattern letters to ours: M is the month, m the minute (our n).
QString FromQtPattern(const QString& qt) {
  QString out;
  for (QChar c : qt) {
    if (c == 'M')
      out += 'm';
    else if (c == 'm')
      out += 'n';
    else if (c == 'A' || c == 'a' || c == 'P' || c == 'p' || c == 't')
      continue;
    else
      out += c;
  }
  return out.trimmed();
}

QChar FirstNonLetter(const QString& s, QChar fallback) {
  for (QChar c : s)
    if (!c.isLetterOrNumber() && !c.isSpace()) return c;
  return fallback;
}

TKvLocale& Storage() {
  static TKvLocale locale = TKvLocale::FromSystem();
  return locale;
}
}  // namespace

TKvLocale TKvLocale::FromSystem() {
  return FromQLocale(QLocale::system());
}

TKvLocale TKvLocale::FromQLocale(const QLocale& sys) {
  TKvLocale l;
  QString dp = sys.decimalPoint();
  l.DecimalSeparator = dp.isEmpty() ? QChar('.') : dp[0];
  // The desktop's short date carries the full year ("dd.mm.yyyy", "m/d/yyyy"), where the
  // toolkit's short form of many regions cuts it to two digits.
  l.ShortDateFormat = FromQtPattern(sys.dateFormat(QLocale::ShortFormat))
                          .replace(QRegularExpression("(?<!y)yy(?!y)"), "yyyy");
  l.LongTimeFormat = FromQtPattern(sys.timeFormat(QLocale::LongFormat));
  l.LongTimeFormat = l.LongTimeFormat.section(' ', 0, 0);  // drop a time zone name
  l.DateSeparator = FirstNonLetter(l.ShortDateFormat, '.');
  l.TimeSeparator = FirstNonLetter(l.LongTimeFormat, ':');
  for (int month = 1; month <= 12; ++month) {
    l.ShortMonthNames[month - 1] = sys.monthName(month, QLocale::ShortFormat);
    l.LongMonthNames[month - 1] = sys.monthName(month, QLocale::LongFormat);
  }
  return l;
}

TKvLocale& KvLocale() {
  return Storage();
}

void KvLocale_Pin(const TKvLocale& locale) {
  Storage() = locale;
}

QString KvFormatFloat(const char* format, double value) {
  // Parse "%[-][width][.prec]f"; everything else in the format is copied as it stands.
  const char* pct = std::strchr(format, '%');
  if (!pct) return QString::fromLatin1(format);
  const char* p = pct + 1;
  bool left = false;
  if (*p == '-') {
    left = true;
    ++p;
  }
  int width = 0;
  while (*p >= '0' && *p <= '9') width = width * 10 + (*p++ - '0');
  int prec = 6;
  if (*p == '.') {
    ++p;
    prec = 0;
    while (*p >= '0' && *p <= '9') prec = prec * 10 + (*p++ - '0');
  }
  if (*p == 'f') ++p;
  char buf[512];
  std::snprintf(buf, sizeof buf, left ? "%-*.*f" : "%*.*f", width, prec, value);
  QString number = QString::fromLatin1(buf);
  number.replace('.', KvLocale().DecimalSeparator);
  return QString::fromLatin1(format, int(pct - format)) + number + QString::fromLatin1(p);
}
