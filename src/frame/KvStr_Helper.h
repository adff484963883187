#pragma once
// Small string routines shared by the frame: folder names with a trailing separator, line
// ends from pasted text, regular-expression counts and the mail-address check.
#include <QChar>
#include <QString>

// The last character, or QChar(0) for an empty string.
QChar KvStr_LastChar(const QString& s);
// s with c appended, unless s already ends with c.
QString KvStr_IncludeTrailing(const QString& s, QChar c);
// Removes the last character of s and returns it; QChar(0) when s is empty.
QChar KvStr_CutLastChar(QString& s);
// s without carriage returns and line feeds at either end.
QString KvStr_TrimLineEnds(const QString& s);
// Number of non-overlapping matches of pattern in text; 0 for an invalid pattern.
int KvStr_RegExCount(const QString& text, const QString& pattern);
// True when text holds a mail address somewhere.
bool KvStr_HasEmailAddress(const QString& text);
