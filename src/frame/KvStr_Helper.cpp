#include "KvStr_Helper.h"

#include <QRegularExpression>

QChar KvStr_LastChar(const QString& s) {
  return s.isEmpty() ? QChar(0) : s.back();
}

QString KvStr_IncludeTrailing(const QString& s, QChar c) {
  return s.endsWith(c) ? s : s + c;
}

QChar KvStr_CutLastChar(QString& s) {
  QChar last = KvStr_LastChar(s);
  if (!s.isEmpty()) s.chop(1);
  return last;
}

QString KvStr_TrimLineEnds(const QString& s) {
  auto isLineEnd = [](QChar c) { return c == '\r' || c == '\n'; };
  qsizetype from = 0, to = s.size();
  while (from < to && isLineEnd(s[from])) ++from;
  while (to > from && isLineEnd(s[to - 1])) --to;
  return s.mid(from, to - from);
}

int KvStr_RegExCount(const QString& text, const QString& pattern) {
  QRegularExpression re(pattern);
  if (!re.isValid()) return 0;
  int count = 0;
  for (auto it = re.globalMatch(text); it.hasNext(); it.next()) ++count;
  return count;
}

bool KvStr_HasEmailAddress(const QString& text) {
  return KvStr_RegExCount(text, R"([\w\d\-\.]+@[\w\d\-]+(\.[\w\d\-]+)+)") > 0;
}
