#pragma once
// A plain INI text: "[Section]" lines and "key=value" lines in UTF-8, read back in the order
// they were written. Section and key names compare without regard to case, so the file never
// holds two sections or two keys that a standard INI reader would take for duplicates.
//
// Parsing never fails: what cannot be read is dropped and counted, and the rest is kept.
// Serialize() always gives a clean file.
#include <QByteArray>
#include <QString>
#include <QStringList>
#include <optional>
#include <vector>

class TKvIniFile {
 public:
  // Lines that could not be read while parsing: garbage, a key outside any section, a line
  // without "=", a repeated section or key. FirstLine is 1-based, 0 when nothing was wrong.
  struct TDamage {
    int Lines = 0;
    int FirstLine = 0;
  };

  void Parse(const QByteArray& bytes);
  QByteArray Serialize() const;
  const TDamage& Damage() const { return FDamage; }

  std::optional<QString> Value(const QString& section, const QString& key) const;
  // Line breaks and other control characters in a value become blanks (one value, one line),
  // and blanks around it are dropped, as INI readers drop them.
  void SetValue(const QString& section, const QString& key, const QString& value);
  bool EraseSection(const QString& section);
  QStringList Sections() const;
  QStringList Keys(const QString& section) const;
  void Clear();

 private:
  struct TKey {
    QString Name;
    QString Value;
  };
  struct TSection {
    QString Name;
    std::vector<TKey> Keys;
  };
  TSection* FindSection(const QString& name);
  const TSection* FindSection(const QString& name) const;
  void NoteDamage(int lineNo);

  std::vector<TSection> FSections;
  TDamage FDamage;
};
