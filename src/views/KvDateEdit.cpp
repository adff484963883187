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

QString KvDateTimeToStr(TDateTime value) {
  const TKvLocale& l = KvLocale();
  return FormatDateTime(l.ShortDateFormat + ' ' + l.LongTimeFormat, value);
}

bool KvTryStrToDate(const QString& text, TDateTime& result) {
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
  const QString trimmed = text.trimmed();
  const QString datePart = trimmed.section(' ', 0, 0);
  const QString timePart = trimmed.section(' ', 1).trimmed();
  TDateTime date = 0, time = 0;
  if (!KvTryStrToDate(datePart, date)) throw fail();
  if (!timePart.isEmpty() && !TryStrToTime(timePart, time)) throw fail();
  return date + time;
}
