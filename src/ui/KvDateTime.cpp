#include "KvDateTime.h"

#include <QDate>
#include <cmath>
#include <stdexcept>

#include "KvClock.h"
#include "KvLocale.h"

namespace {
constexpr qint64 kJulianDayOfZero = 2415019;  // 30 Dec 1899

void SplitDay(TDateTime dt, qint64& day, qint64& msOfDay) {
  // Negative values keep their time part as a positive fraction (-1.25 is 29 Dec, 06:00).
  double whole = std::trunc(dt);
  double frac = std::fabs(dt - whole);
  qint64 ms = std::llround(frac * MSecsPerDay);
  if (ms >= qint64(MSecsPerDay)) {
    ms -= qint64(MSecsPerDay);
    whole += dt < 0 ? -1 : 1;
  }
  day = qint64(whole);
  msOfDay = ms;
}
}  // namespace

bool IsLeapYear(int year) {
  return (year % 4 == 0) && (year % 100 != 0 || year % 400 == 0);
}

int DaysInMonth(int year, int month) {
  static const int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (month < 1 || month > 12) return 0;
  return month == 2 && IsLeapYear(year) ? 29 : days[month - 1];
}

bool TryEncodeDate(int year, int month, int day, TDateTime& result) {
  if (year < 1 || year > 9999 || month < 1 || month > 12 || day < 1 ||
      day > DaysInMonth(year, month))
    return false;
  result = double(QDate(year, month, day).toJulianDay() - kJulianDayOfZero);
  return true;
}

bool TryEncodeTime(int hour, int min, int sec, int msec, TDateTime& result) {
  if (hour < 0 || hour > 23 || min < 0 || min > 59 || sec < 0 || sec > 59 || msec < 0 || msec > 999)
    return false;
  result = (((hour * 60.0 + min) * 60.0 + sec) * 1000.0 + msec) / MSecsPerDay;
  return true;
}

TDateTime EncodeDate(int year, int month, int day) {
  TDateTime r;
  if (!TryEncodeDate(year, month, day, r))
    throw std::invalid_argument("Invalid argument to date encode");
  return r;
}

TDateTime EncodeTime(int hour, int min, int sec, int msec) {
  TDateTime r;
  if (!TryEncodeTime(hour, min, sec, msec, r))
    throw std::invalid_argument("Invalid argument to time encode");
  return r;
}

void DecodeDate(TDateTime dt, int& year, int& month, int& day) {
  qint64 d, ms;
  SplitDay(dt, d, ms);
  QDate::fromJulianDay(d + kJulianDayOfZero).getDate(&year, &month, &day);
}

void DecodeTime(TDateTime dt, int& hour, int& min, int& sec, int& msec) {
  qint64 d, ms;
  SplitDay(dt, d, ms);
  hour = int(ms / 3600000);
  min = int(ms / 60000 % 60);
  sec = int(ms / 1000 % 60);
  msec = int(ms % 1000);
}

TDateTime Now() {
  return KvClock().Now();
}
TDateTime Date() {
  return std::trunc(Now());
}
TDateTime Time() {
  TDateTime n = Now();
  return n - std::trunc(n);
}

QString FormatDateTime(const QString& pattern, TDateTime dt) {
  int y, mo, d, h, mi, s, ms;
  DecodeDate(dt, y, mo, d);
  DecodeTime(dt, h, mi, s, ms);
  const TKvLocale& loc = KvLocale();
  QString out;
  bool lastWasHour = false;
  const int n = pattern.size();
  for (int i = 0; i < n;) {
    QChar c = pattern[i].toLower();
    int run = 1;
    while (i + run < n && pattern[i + run].toLower() == c) ++run;
    auto num = [&](int v, int width) { return QString::number(v).rightJustified(width, '0'); };
    if (c == '"' || c == '\'') {
      int end = pattern.indexOf(pattern[i], i + 1);
      if (end < 0) end = n;
      out += pattern.mid(i + 1, end - i - 1);
      i = end + 1;
      continue;
    }
    switch (c.unicode()) {
      case 'y':
        out += run <= 2 ? num(y % 100, 2) : num(y, 4);
        break;
      case 'm':
        if (lastWasHour)
          out += num(mi, run >= 2 ? 2 : 1);
        else if (run >= 3)
          out += (run == 3 ? loc.ShortMonthNames : loc.LongMonthNames).value(mo - 1);
        else
          out += num(mo, run >= 2 ? 2 : 1);
        break;
      case 'd':
        out += num(d, run >= 2 ? 2 : 1);
        break;
      case 'h':
        out += num(h, run >= 2 ? 2 : 1);
        break;
      case 'n':
        out += num(mi, run >= 2 ? 2 : 1);
        break;
      case 's':
        out += num(s, run >= 2 ? 2 : 1);
        break;
      case 'z':
        out += run >= 3 ? num(ms, 3) : QString::number(ms);
        break;
      case '/':
        out += QString(loc.DateSeparator).repeated(run);
        break;
      case ':':
        out += QString(loc.TimeSeparator).repeated(run);
        break;
      default:
        out += pattern.mid(i, run);
    }
    if (c.isLetter()) lastWasHour = (c == 'h');
    i += run;
  }
  return out;
}

bool TryStrToTime(const QString& text, TDateTime& result) {
  QString t = text.trimmed();
  int addHours = 0;
  bool hasAmPm = false;
  if (t.endsWith("AM", Qt::CaseInsensitive) || t.endsWith("PM", Qt::CaseInsensitive)) {
    hasAmPm = true;
    addHours = t.endsWith("PM", Qt::CaseInsensitive) ? 12 : 0;
    t = t.left(t.size() - 2).trimmed();
  }
  QStringList parts = t.split(KvLocale().TimeSeparator);
  if (parts.size() < 2 || parts.size() > 3) return false;
  int v[3] = {0, 0, 0};
  for (int i = 0; i < parts.size(); ++i) {
    bool ok = false;
    v[i] = parts[i].trimmed().toInt(&ok);
    if (!ok) return false;
  }
  if (hasAmPm) {
    if (v[0] < 1 || v[0] > 12) return false;
    v[0] = v[0] % 12 + addHours;
  }
  return TryEncodeTime(v[0], v[1], v[2], 0, result);
}
