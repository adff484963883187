#pragma once
// A date editor that can be empty, as the date override needs: empty, it reports NoDate.
// The value keeps the time of day it was given; the user edits the date only.
// Also the date-and-time text in the regional format that settings keep.
#include <QDateEdit>

#include "KvDateTime.h"

class TKvDateEdit : public QDateEdit {
  Q_OBJECT
 public:
  explicit TKvDateEdit(QWidget* parent = nullptr);

  // NoDate while empty.
  TDateTime Date() const;
  // NoDate clears the editor.
  void SetDate(TDateTime value);
  bool IsEmpty() const;

 private:
  double FTimeOfDay = 0;
};

// The short date and long time formats of the regional settings, joined by a blank; the year
// is written in full.
QString KvDateTimeToStr(TDateTime value);
// A date alone in the short date format of the regional settings; false if it isn't one.
bool KvTryStrToDate(const QString& text, TDateTime& result);
// The reverse, in the same settings; the time may be missing, the year may have two digits
// (this century). Throws std::invalid_argument with
// "'<text>' is not a valid date and time" for anything else.
TDateTime KvStrToDateTime(const QString& text);
