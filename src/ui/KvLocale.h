#pragma once
// Regional settings the program formats with. Read once from the system locale; tests pin
// them so that texts don't depend on the machine.
#include <QChar>
#include <QString>
#include <QStringList>

class QLocale;

struct TKvLocale {
  QChar DecimalSeparator = '.';
  QChar DateSeparator = '.';
  QChar TimeSeparator = ':';
  QString ShortDateFormat = "dd.mm.yyyy";
  QString LongTimeFormat = "hh:nn:ss";
  // "mmm" and "mmmm" in a date format write these; January first.
  QStringList ShortMonthNames = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  QStringList LongMonthNames = {"January",   "February", "March",    "April",
                                "May",       "June",     "July",     "August",
                                "September", "October",  "November", "December"};

  static TKvLocale FromSystem();
  // The settings of a named locale, as the system would give them under it.
  static TKvLocale FromQLocale(const QLocale& locale);
};

// The program-wide settings; the first call reads the system locale.
TKvLocale& KvLocale();
void KvLocale_Pin(const TKvLocale& locale);

// A C-style float format ("%05.1f", "%2.0f", "%-6.2f") written with the locale's decimal
// separator. A leading zero in the width belongs to the width and does not fill: "%05.1f" of
// 65.3 is " 65.3".
QString KvFormatFloat(const char* format, double value);
