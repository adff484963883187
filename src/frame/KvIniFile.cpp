#include "KvIniFile.h"

#include <QStringDecoder>

namespace {

bool SameName(const QString& a, const QString& b) {
  return a.compare(b, Qt::CaseInsensitive) == 0;
}

// Text that no one wrote on purpose: control characters or undecodable bytes.
bool IsGarbage(const QString& line) {
  for (QChar c : line)
    if ((c.unicode() < 0x20 && c != '\t') || c.unicode() == 0x7f ||
        c == QChar::ReplacementCharacter)
      return true;
  return false;
}

QString OneLine(const QString& text) {
  QString out = text;
  for (QChar& c : out)
    if (c.unicode() < 0x20 || c.unicode() == 0x7f) c = ' ';
  return out;
}

}  // namespace

void TKvIniFile::Clear() {
  FSections.clear();
  FDamage = {};
}

void TKvIniFile::NoteDamage(int lineNo) {
  if (FDamage.Lines++ == 0) FDamage.FirstLine = lineNo;
}

void TKvIniFile::Parse(const QByteArray& bytes) {
  Clear();
  QByteArray body = bytes.startsWith("\xEF\xBB\xBF") ? bytes.mid(3) : bytes;
  QStringDecoder utf8(QStringDecoder::Utf8);
  QString text = utf8(body);
  TSection* current = nullptr;
  int lineNo = 0;
  for (QStringView raw : QStringView(text).split('\n')) {
    ++lineNo;
    QString line = raw.toString().trimmed();
    if (line.isEmpty() || line.startsWith(';') || line.startsWith('#')) continue;
    if (IsGarbage(line)) {
      NoteDamage(lineNo);
      continue;
    }
    if (line.startsWith('[') && line.endsWith(']') && line.size() > 2) {
      QString name = line.mid(1, line.size() - 2).trimmed();
      current = FindSection(name);
      if (current) {
        NoteDamage(lineNo);  // a repeated section: its keys join the first one
      } else {
        FSections.push_back({name, {}});
        current = &FSections.back();
      }
      continue;
    }
    qsizetype eq = line.indexOf('=');
    if (!current || eq <= 0) {
      NoteDamage(lineNo);
      continue;
    }
    QString key = line.left(eq).trimmed();
    QString value = line.mid(eq + 1).trimmed();
    auto it = std::find_if(current->Keys.begin(), current->Keys.end(),
                           [&](const TKey& k) { return SameName(k.Name, key); });
    if (it == current->Keys.end()) {
      current->Keys.push_back({key, value});
    } else {
      NoteDamage(lineNo);  // a repeated key: the later line wins, as in a lookup from the top
      it->Value = value;
    }
  }
}

QByteArray TKvIniFile::Serialize() const {
  QString out;
  for (const TSection& s : FSections) {
    if (!out.isEmpty()) out += '\n';
    out += '[' + s.Name + "]\n";
    for (const TKey& k : s.Keys) out += k.Name + '=' + k.Value + '\n';
  }
  return out.toUtf8();
}

TKvIniFile::TSection* TKvIniFile::FindSection(const QString& name) {
  for (TSection& s : FSections)
    if (SameName(s.Name, name)) return &s;
  return nullptr;
}

const TKvIniFile::TSection* TKvIniFile::FindSection(const QString& name) const {
  return const_cast<TKvIniFile*>(this)->FindSection(name);
}

std::optional<QString> TKvIniFile::Value(const QString& section, const QString& key) const {
  if (const TSection* s = FindSection(section))
    for (const TKey& k : s->Keys)
      if (SameName(k.Name, key)) return k.Value;
  return std::nullopt;
}

void TKvIniFile::SetValue(const QString& section, const QString& key, const QString& value) {
  QString sectionName = OneLine(section).trimmed();
  QString keyName = OneLine(key).trimmed();
  if (sectionName.isEmpty() || keyName.isEmpty()) return;  // no reader could take it back
  TSection* s = FindSection(sectionName);
  if (!s) {
    FSections.push_back({sectionName, {}});
    s = &FSections.back();
  }
  for (TKey& k : s->Keys)
    if (SameName(k.Name, keyName)) {
      k.Value = OneLine(value).trimmed();
      return;
    }
  s->Keys.push_back({keyName, OneLine(value).trimmed()});
}

bool TKvIniFile::EraseSection(const QString& section) {
  auto it = std::find_if(FSections.begin(), FSections.end(),
                         [&](const TSection& s) { return SameName(s.Name, section); });
  if (it == FSections.end()) return false;
  FSections.erase(it);
  return true;
}

QStringList TKvIniFile::Sections() const {
  QStringList names;
  for (const TSection& s : FSections) names << s.Name;
  return names;
}

QStringList TKvIniFile::Keys(const QString& section) const {
  QStringList names;
  if (const TSection* s = FindSection(section))
    for (const TKey& k : s->Keys) names << k.Name;
  return names;
}
