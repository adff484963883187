#pragma once
// Date-time as a day count: day 0 is 30 Dec 1899, the fraction is the time of day.
// Values travel as plain doubles (readings are copied whole), so no wrapper type.
#include <QString>

using TDateTime = double;

inline constexpr TDateTime NoDate = -700000.0;
inline constexpr double MSecsPerDay = 86400000.0;

bool TryEncodeDate(int year, int month, int day, TDateTime& result);
bool TryEncodeTime(int hour, int min, int sec, int msec, TDateTime& result);
// Throws std::invalid_argument for an impossible date or time.
TDateTime EncodeDate(int year, int month, int day);
TDateTime EncodeTime(int hour, int min, int sec, int msec);
void DecodeDate(TDateTime dt, int& year, int& month, int& day);
void DecodeTime(TDateTime dt, int& hour, int& min, int& sec, int& msec);
bool IsLeapYear(int year);
int DaysInMonth(int year, int month);

// Current date-time, today and time of day, read through the program's clock.
TDateTime Now();
TDateTime Date();
TDateTime Time();

// Pattern letters as the program's formats use them: y yy yyyy, m mm (minutes after h), mmm
// mmmm (the locale's month names), d dd, h hh, n nn, s ss, z zzz, "/" and ":" for the locale's
// separators, quoted literals.
QString FormatDateTime(const QString& pattern, TDateTime dt);
// Parses a time of day ("14:30:05", "14:30", with an optional AM/PM); false if it isn't one.
bool TryStrToTime(const QString& text, TDateTime& result);
