#include "KvDateEdit.h"

#include <QRegularExpression>
#include <cmath>
#include <stdexcept>

#include "KvLocale.h"

namespace {

const QDate DayZero(1899, 12, 30);
// The editor's minimum stands for "empty" and shows as a blank.
const QDate EmptyDay(1900, 1, 1);

TDateTime DayNumber(const QDate& d) {
  return double(DayZero.daysTo(d));
}

// "dd.mm.yyyy" in the program's pattern letters as a Qt display format.
QString QtDateFormat(const QString& pattern) {
  QString qt = pattern;
  qt.replace('m', 'M');
  return qt;
}

}  // namespace

TKvDateEdit::TKvDateEdit(QWidget* parent) : QDateEdit(parent) {
  setCalendarPopup(true);
  setMinimumDate(EmptyDay);
  setSpecialValueText(" ");
  setDisplayFormat(QtDateFormat(KvLocale().ShortDateFormat));
  setDate(EmptyDay);
}

bool TKvDateEdit::IsEmpty() const {
  return date() == EmptyDay;
}

TDateTime TKvDateEdit::Date() const {
  return IsEmpty() ? NoDate : DayNumber(date()) + FTimeOfDay;
}

void TKvDateEdit::SetDate(TDateTime value) {
  if (value == NoDate) {
    FTimeOfDay = 0;
    setDate(EmptyDay);
    return;
  }
  const double day = std::floor(value);
  FTimeOfDay = value - day;
  setDate(DayZero.addDays(qint64(day)));
}

namespace {

// The short date format with the year in full, so that the century survives a round trip in
// locales that show two digits.
QString FullYearDateFormat() {
  QString pattern = KvLocale().ShortDateFormat;
  const qsizetype y = pattern.indexOf('y', 0, Qt::CaseInsensitive);
  if (y < 0) return pattern;
  qsizetype end = y;
  while (end < pattern.size() && pattern[end].toLower() == 'y') ++end;
  return pattern.replace(y, end - y, "yyyy");
}

// Reads a date from the start of a text as a date pattern of FormatDateTime's letters asks;
// the rest is left for the time.
class TKvDateReader {
 public:
  explicit TKvDateReader(const QString& text) : FText(text) {}

  bool Read(const QString& pattern, int& year, int& month, int& day) {
    const TKvLocale& l = KvLocale();
    bool fullYear = false;
    for (qsizetype i = 0; i < pattern.size();) {
      const QChar c = pattern[i].toLower();
      qsizetype run = 1;
      while (i + run < pattern.size() && pattern[i + run].toLower() == c) ++run;
      i += run;
      bool ok = true;
      if (c == 'd') {
        ok = Number(2, day);
      } else if (c == 'm') {
        ok = (run >= 3 && MonthName(l, month)) || Number(2, month);
      } else if (c == 'y') {
        const qsizetype start = FPos;
        ok = Number(4, year);
        fullYear = FPos - start > 2;
      } else if (c == '/') {
        ok = Literal(l.DateSeparator);
      } else if (c == '"' || c == '\'') {
        const qsizetype end = pattern.indexOf(c, i);
        const QString quoted = pattern.mid(i, end < 0 ? -1 : end - i);
        ok = FText.mid(FPos).startsWith(quoted);
        FPos += quoted.size();
        i = end < 0 ? pattern.size() : end + 1;
      } else {
        for (qsizetype k = 0; k < run && ok; ++k) ok = Literal(c);
      }
      if (!ok) return false;
    }
    if (!fullYear) year += 2000;
    return true;
  }
  QString Rest() const { return FText.mid(FPos).trimmed(); }

 private:
  bool Number(int maxDigits, int& value) {
    qsizetype n = 0;
    while (n < maxDigits && FPos + n < FText.size() && FText[FPos + n].isDigit()) ++n;
    if (n == 0) return false;
    value = FText.mid(FPos, n).toInt();
    FPos += n;
    return true;
  }
  // The longest name that matches, so that "June" is not read as "Jun" and a stray "e".
  bool MonthName(const TKvLocale& l, int& month) {
    qsizetype best = 0;
    for (const QStringList* names : {&l.LongMonthNames, &l.ShortMonthNames})
      for (int m = 0; m < names->size(); ++m) {
        const QString& name = names->at(m);
        if (name.size() > best && FText.mid(FPos).startsWith(name, Qt::CaseInsensitive)) {
          best = name.size();
          month = m + 1;
        }
      }
    FPos += best;
    return best > 0;
  }
  bool Literal(QChar c) {
    if (c.isSpace()) {
      const qsizetype start = FPos;
      while (FPos < FText.size() && FText[FPos].isSpace()) ++FPos;
      return FPos > start;
    }
    if (FPos >= FText.size() || FText[FPos] != c) return false;
    ++FPos;
    return true;
  }

  const QString FText;
  qsizetype FPos = 0;
};

}  // namespace

QString KvDateTimeToStr(TDateTime value) {
  return FormatDateTime(FullYearDateFormat() + ' ' + KvLocale().LongTimeFormat, value);
}

bool KvTryStrToDate(const QString& text, TDateTime& result) {
  // The date exactly as the format writes it, month names included.
  TKvDateReader reader(text.trimmed());
  int d = 0, m = 0, y = 0;
  if (reader.Read(KvLocale().ShortDateFormat, y, m, d) && reader.Rest().isEmpty())
    return TryEncodeDate(y, m, d, result);
  const TKvLocale& l = KvLocale();
  // The order of day, month and year follows the short date format.
  QString order;
  for (QChar c : l.ShortDateFormat.toLower())
    if ((c == 'd' || c == 'm' || c == 'y') && !order.contains(c)) order += c;
  // Any run of non-digits separates the parts: the separator of the format, or the blank
  // that formats without one (the C locale's) put there.
  static const QRegularExpression separators(QStringLiteral("[^0-9]+"));
  const QStringList parts = text.trimmed().split(separators, Qt::SkipEmptyParts);
  if (order.size() != 3 || parts.size() != 3) return false;
  int day = 0, month = 0, year = 0;
  for (int i = 0; i < 3; ++i) {
    bool ok = false;
    const int v = parts[i].toInt(&ok);
    if (!ok) return false;
    (order[i] == 'd' ? day : order[i] == 'm' ? month : year) = v;
  }
  if (year < 100) year += 2000;
  return TryEncodeDate(year, month, day, result);
}

TDateTime KvStrToDateTime(const QString& text) {
  const auto fail = [&text] {
    return std::invalid_argument(
        QString("'%1' is not a valid date and time").arg(text).toStdString());
  };
  TKvDateReader reader(text.trimmed());
  int day = 0, month = 0, year = 0;
  if (!reader.Read(KvLocale().ShortDateFormat, year, month, day)) throw fail();
  TDateTime date = 0, time = 0;
  if (!TryEncodeDate(year, month, day, date)) throw fail();
  const QString timePart = reader.Rest();
  if (!timePart.isEmpty() && !TryStrToTime(timePart, time)) throw fail();
  return date + time;
}
