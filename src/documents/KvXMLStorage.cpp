#include "KvXMLStorage.h"

#include <QFileDevice>
#include <QLocale>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

#include "KvDateTime.h"
#include "KvMemTable.h"

namespace {
const QString True = QStringLiteral("True"), False = QStringLiteral("False");

QString Float18(double value) {
  char buf[40];
  const auto end = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::general, 18).ptr;
  return QString::fromLatin1(buf, int(end - buf));
}

QString Digits(std::initializer_list<std::pair<int, int>> parts) {
  QString s;
  for (const auto& [value, width] : parts)
    s += QString::number(value).rightJustified(width, QLatin1Char('0'));
  return s;
}

QString DateTimeText(TDateTime dt) {
  int y, mo, d, h, mi, s, ms;
  DecodeDate(dt, y, mo, d);
  DecodeTime(dt, h, mi, s, ms);
  return Digits({{y, 4}, {mo, 2}, {d, 2}, {h, 2}, {mi, 2}, {s, 2}});
}

// "yyyymmdd" and an optional "hhnnss" behind it, as the writer spells them.
bool ParseDateTime(QStringView text, bool withTime, TDateTime& result) {
  if (text.size() != (withTime ? 14 : 8)) return false;
  for (QChar c : text)
    if (!c.isDigit()) return false;
  auto part = [&](int from, int len) { return text.mid(from, len).toInt(); };
  TDateTime date, time = 0;
  if (!TryEncodeDate(part(0, 4), part(4, 2), part(6, 2), date)) return false;
  if (withTime && !TryEncodeTime(part(8, 2), part(10, 2), part(12, 2), 0, time)) return false;
  result = date + time;
  return true;
}

template <typename T>
bool ParseInteger(QStringView text, T& value) {
  const QByteArray latin = text.toLatin1();
  const auto [end, ec] =
      std::from_chars(latin.constData(), latin.constData() + latin.size(), value);
  return ec == std::errc() && end == latin.constData() + latin.size() && !latin.isEmpty();
}

bool ParseFloat(QStringView text, double& value) {
  bool ok = false;
  value = QLocale::c().toDouble(text, &ok);
  return ok;
}

template <typename T>
void Put(void* fixed, T v) {
  std::memcpy(fixed, &v, sizeof v);
}
template <typename T>
T Get(const void* fixed) {
  T v;
  std::memcpy(&v, fixed, sizeof v);
  return v;
}

bool IsNameStart(QChar c) {
  return c.isLetter() || c == QLatin1Char('_');
}
bool IsNameChar(QChar c) {
  return IsNameStart(c) || c.isDigit() || c == QLatin1Char('-') || c == QLatin1Char('.');
}
}  // namespace

// ---- names ------------------------------------------------------------------------------

QString TKvXMLStorage::EscapeName(const QString& name) {
  bool clean = !name.isEmpty() && IsNameStart(name[0]);
  for (qsizetype i = 1; clean && i < name.size(); ++i) clean = IsNameChar(name[i]);
  if (clean) return name;
  QString out;
  for (qsizetype i = 0; i < name.size(); ++i) {
    const QChar c = name[i];
    if (i == 0 ? IsNameStart(c) : IsNameChar(c))
      out += c;
    else
      out += QStringLiteral("_0x%1_").arg(c.unicode(), 4, 16, QLatin1Char('0'));
  }
  return out.isEmpty() ? QStringLiteral("_") : out;
}

QString TKvXMLStorage::UnescapeName(const QString& name) {
  if (!name.contains(QLatin1String("_0x"))) return name;
  QString out;
  for (qsizetype i = 0; i < name.size();) {
    bool ok = false;
    const ushort code =
        name.mid(i, 3) == QLatin1String("_0x") && i + 7 < name.size() && name[i + 7] == '_'
            ? name.mid(i + 3, 4).toUShort(&ok, 16)
            : 0;
    if (ok) {
      out += QChar(code);
      i += 8;
    } else {
      out += name[i++];
    }
  }
  return out;
}

bool TKvXMLStorage::CheckExtension(const QString& ext) {
  return ext.compare(QLatin1String(".XML"), Qt::CaseInsensitive) == 0;
}

// ---- reading ----------------------------------------------------------------------------

void TKvXMLStorage::Open(TKvStorageMode mode, QIODevice* device) {
  FDevice = device;
  FMode = mode;
  if (mode == TKvStorageMode::smWrite) {
    FVersion = FStoreVersion < 0 ? KvStorageCurrentVersion : FStoreVersion;
    // The declaration as the platform's document class writes it; the stream writer would
    // spell the encoding in capitals.
    device->write("<?xml version=\"1.0\" encoding=\"utf-8\"?>");
    FWriter = std::make_unique<QXmlStreamWriter>(device);
    FWriter->setAutoFormatting(true);
    FWriter->setAutoFormattingIndent(2);
    return;
  }
  // The XML form carries no version: it is read by the current version's branches.
  FVersion = KvStorageCurrentVersion;
  FData = device->readAll();
  Restart();
}

void TKvXMLStorage::Restart() {
  FReader = std::make_unique<QXmlStreamReader>(FData);
  FOpen.clear();
  FTaken = 0;
  FetchNext();
}

void TKvXMLStorage::FetchNext() {
  // Text between elements is layout only. A document that breaks off or isn't well formed
  // simply ends, and the walk reports the object it was waiting for.
  for (;;) {
    switch (FReader->readNext()) {
      case QXmlStreamReader::StartElement:
        FNext = {TToken::tkBegin, FReader->name().toString(), FReader->attributes()};
        return;
      case QXmlStreamReader::EndElement:
        FNext = {TToken::tkEnd, QString(), {}};
        return;
      case QXmlStreamReader::Invalid:
      case QXmlStreamReader::EndDocument:
        FNext = {};
        return;
      default:
        break;
    }
  }
}

void TKvXMLStorage::Take() {
  if (FNext.Kind == TToken::tkBegin)
    FOpen.push_back(std::move(FNext.Attributes));
  else if (FNext.Kind == TToken::tkEnd && !FOpen.empty())
    FOpen.pop_back();
  ++FTaken;
  FetchNext();
}

void TKvXMLStorage::SetBookmark(int64_t bookmark) {
  if (bookmark < FTaken) Restart();
  while (FTaken < bookmark && FNext.Kind != TToken::tkEof) Take();
}

bool TKvXMLStorage::IsObjectEnd() {
  return FNext.Kind == TToken::tkEnd;
}

QString TKvXMLStorage::PeekObjectName() {
  return FNext.Kind == TToken::tkBegin ? UnescapeName(FNext.Name) : QString();
}

bool TKvXMLStorage::TestObject(const QString& name) {
  return FNext.Kind == TToken::tkBegin &&
         FNext.Name.compare(EscapeName(name), Qt::CaseInsensitive) == 0;
}

QString TKvXMLStorage::ReadObjectBegin(const QString& name) {
  if (FNext.Kind != TToken::tkBegin)
    throw EKvStorageError(ekvCannotReadObject, name.isEmpty() ? QStringLiteral("<unknown>") : name);
  if (!name.isEmpty() && !TestObject(name)) throw EKvStorageError(ekvCannotReadObject, name);
  const QString read = name.isEmpty() ? UnescapeName(FNext.Name) : name;
  Take();
  return read;
}

void TKvXMLStorage::ReadObjectEnd(const QString& name) {
  if (FNext.Kind != TToken::tkEnd)
    throw EKvStorageError(ekvCannotReadObject, name.isEmpty() ? QStringLiteral("<unknown>") : name);
  Take();
}

const QXmlStreamAttribute* TKvXMLStorage::Attribute(const QString& name) const {
  if (FOpen.empty()) return nullptr;
  const QString escaped = EscapeName(name);
  for (const QXmlStreamAttribute& a : FOpen.back())
    if (a.qualifiedName() == escaped) return &a;
  return nullptr;
}

QStringView TKvXMLStorage::Text(const QString& name) const {
  const QXmlStreamAttribute* a = Attribute(name);
  return a ? a->value() : QStringView();
}

void TKvXMLStorage::BadProperty(const QString& name) {
  throw EKvStorageError(ekvCannotReadProperty, name);
}

bool TKvXMLStorage::TestProperty(const QString& name) {
  return Attribute(name) != nullptr;
}

bool TKvXMLStorage::ReadBoolean(const QString& name, bool def) {
  const QXmlStreamAttribute* a = Attribute(name);
  if (!a) return def;
  if (a->value().compare(True, Qt::CaseInsensitive) == 0) return true;
  if (a->value().compare(False, Qt::CaseInsensitive) == 0) return false;
  BadProperty(name);
}

double TKvXMLStorage::ReadDate(const QString& name, double def) {
  if (!Attribute(name)) return def;
  TDateTime dt;
  if (!ParseDateTime(Text(name), true, dt)) BadProperty(name);
  return dt;
}

double TKvXMLStorage::ReadFloat(const QString& name, double def) {
  if (!Attribute(name)) return def;
  double v;
  if (!ParseFloat(Text(name), v)) BadProperty(name);
  return v;
}

int32_t TKvXMLStorage::ReadInteger(const QString& name, int32_t def) {
  if (!Attribute(name)) return def;
  int32_t v;
  if (!ParseInteger(Text(name), v)) BadProperty(name);
  return v;
}

uint32_t TKvXMLStorage::ReadLongWord(const QString& name, uint32_t def) {
  if (!Attribute(name)) return def;
  uint32_t v;
  if (!ParseInteger(Text(name), v)) BadProperty(name);
  return v;
}

int64_t TKvXMLStorage::ReadInt64(const QString& name, int64_t def) {
  if (!Attribute(name)) return def;
  int64_t v;
  if (!ParseInteger(Text(name), v)) BadProperty(name);
  return v;
}

QByteArray TKvXMLStorage::ReadAnsiString(const QString& name, const QByteArray& def) {
  const QXmlStreamAttribute* a = Attribute(name);
  return a ? a->value().toLocal8Bit() : def;
}

QString TKvXMLStorage::ReadWideString(const QString& name, const QString& def) {
  const QXmlStreamAttribute* a = Attribute(name);
  return a ? a->value().toString() : def;
}

int TKvXMLStorage::ReadEnum(const QString& name, const QStringList& values, int def) {
  const QXmlStreamAttribute* a = Attribute(name);
  if (!a) return def;
  for (int i = 0; i < values.size(); ++i)
    if (QStringView(values[i]).mid(2).compare(a->value(), Qt::CaseInsensitive) == 0) return i;
  BadProperty(name);
}

bool TKvXMLStorage::ReadValue(const QString& name, int, TKvDataType type, void* fixed,
                              QByteArray* var) {
  const QXmlStreamAttribute* a = Attribute(name);
  if (!a) return false;
  const QStringView text = a->value();
  bool ok = true;
  auto integer = [&](auto sample) {
    decltype(sample) v{};
    ok = ParseInteger(text, v);
    Put(fixed, v);
  };
  switch (type) {
    case dtBoolean: {
      const bool t = text.compare(True, Qt::CaseInsensitive) == 0;
      ok = t || text.compare(False, Qt::CaseInsensitive) == 0;
      Put<uint16_t>(fixed, t ? 1 : 0);
      break;
    }
    case dtSByte:
      integer(int8_t());
      break;
    case dtByte:
      integer(uint8_t());
      break;
    case dtInt16:
      integer(int16_t());
      break;
    case dtUInt16:
      integer(uint16_t());
      break;
    case dtInt32:
      integer(int32_t());
      break;
    case dtUInt32:
      integer(uint32_t());
      break;
    case dtInt64:
      integer(int64_t());
      break;
    case dtUInt64:
      integer(uint64_t());
      break;
    case dtSingle:
    case dtDouble: {
      double v = 0;
      ok = ParseFloat(text, v);
      type == dtSingle ? Put<float>(fixed, float(v)) : Put<double>(fixed, v);
      break;
    }
    case dtDate: {
      TDateTime dt = 0;
      ok = ParseDateTime(text, false, dt);
      Put<int32_t>(fixed, int32_t(std::lround(dt)) + KvDateDelta);
      break;
    }
    case dtTime: {
      int32_t hhnnss = 0;
      ok = text.size() == 6 && ParseInteger(text, hhnnss) && hhnnss / 10000 < 24 &&
           hhnnss / 100 % 100 < 60 && hhnnss % 100 < 60;
      Put<int32_t>(fixed, (hhnnss / 10000 * 3600 + hhnnss / 100 % 100 * 60 + hhnnss % 100) * 1000);
      break;
    }
    case dtDateTime: {
      TDateTime dt = 0;
      ok = ParseDateTime(text, true, dt);
      Put<double>(fixed, dt);
      break;
    }
    default:
      if (KvDataTypeHasNoPayload(type)) break;
      if (KvDataTypeIsWide(type)) {
        if (var) *var = QByteArray(reinterpret_cast<const char*>(text.utf16()), text.size() * 2);
      } else if (KvDataTypeIsVariable(type)) {
        if (var) *var = text.toLocal8Bit();
      } else {
        // Types the program never stores travel as their bytes in hex.
        const QByteArray bytes = QByteArray::fromHex(text.toLatin1());
        ok = bytes.size() == KvDataTypeInlineSize(type);
        if (ok) std::memcpy(fixed, bytes.constData(), size_t(bytes.size()));
      }
  }
  if (!ok) BadProperty(name);
  return true;
}

// ---- writing ----------------------------------------------------------------------------

void TKvXMLStorage::Attribute_Write(const QString& name, const QString& text) {
  FWriter->writeAttribute(EscapeName(name), text);
}

void TKvXMLStorage::WriteObjectBegin(const QString& name) {
  FWriter->writeStartElement(EscapeName(name));
}

void TKvXMLStorage::WriteObjectEnd(const QString&) {
  FWriter->writeEndElement();
}

void TKvXMLStorage::WriteBoolean(const QString& name, bool value, bool def) {
  if (value != def) Attribute_Write(name, value ? True : False);
}

void TKvXMLStorage::WriteDate(const QString& name, double value, double def) {
  if (value != def) Attribute_Write(name, DateTimeText(value));
}

void TKvXMLStorage::WriteFloat(const QString& name, double value, double def) {
  if (value != def) Attribute_Write(name, Float18(value));
}

void TKvXMLStorage::WriteInteger(const QString& name, int32_t value, int32_t def) {
  if (value != def) Attribute_Write(name, QString::number(value));
}

void TKvXMLStorage::WriteLongWord(const QString& name, uint32_t value, uint32_t def) {
  if (value != def) Attribute_Write(name, QString::number(value));
}

void TKvXMLStorage::WriteInt64(const QString& name, int64_t value, int64_t def) {
  if (value != def) Attribute_Write(name, QString::number(value));
}

void TKvXMLStorage::WriteAnsiString(const QString& name, const QByteArray& value,
                                    const QByteArray& def) {
  if (value != def) Attribute_Write(name, QString::fromLocal8Bit(value));
}

void TKvXMLStorage::WriteWideString(const QString& name, const QString& value, const QString& def) {
  if (value != def) Attribute_Write(name, value);
}

void TKvXMLStorage::WriteEnum(const QString& name, const QStringList& values, int value, int def) {
  if (value != def) Attribute_Write(name, values.value(value).mid(2));
}

void TKvXMLStorage::WriteValue(const QString& name, int, TKvDataType type, const void* fixed,
                               const QByteArray* var) {
  QString text;
  switch (type) {
    case dtBoolean:
      text = Get<uint16_t>(fixed) != 0 ? True : False;
      break;
    case dtSByte:
      text = QString::number(Get<int8_t>(fixed));
      break;
    case dtByte:
      text = QString::number(Get<uint8_t>(fixed));
      break;
    case dtInt16:
      text = QString::number(Get<int16_t>(fixed));
      break;
    case dtUInt16:
      text = QString::number(Get<uint16_t>(fixed));
      break;
    case dtInt32:
      text = QString::number(Get<int32_t>(fixed));
      break;
    case dtUInt32:
      text = QString::number(Get<uint32_t>(fixed));
      break;
    case dtInt64:
      text = QString::number(Get<int64_t>(fixed));
      break;
    case dtUInt64:
      text = QString::number(Get<uint64_t>(fixed));
      break;
    case dtSingle:
      text = Float18(Get<float>(fixed));
      break;
    case dtDouble:
      text = Float18(Get<double>(fixed));
      break;
    case dtDate: {
      int y, m, d;
      DecodeDate(Get<int32_t>(fixed) - KvDateDelta, y, m, d);
      text = Digits({{y, 4}, {m, 2}, {d, 2}});
      break;
    }
    case dtTime: {
      const int32_t s = Get<int32_t>(fixed) / 1000;  // milliseconds are dropped
      text = Digits({{s / 3600, 2}, {s / 60 % 60, 2}, {s % 60, 2}});
      break;
    }
    case dtDateTime:
      text = DateTimeText(Get<double>(fixed));
      break;
    default:
      if (KvDataTypeHasNoPayload(type)) break;
      if (KvDataTypeIsWide(type))
        text = var ? QString(reinterpret_cast<const QChar*>(var->constData()), var->size() / 2)
                   : QString();
      else if (KvDataTypeIsVariable(type))
        text = var ? QString::fromLocal8Bit(*var) : QString();
      else
        text = QString::fromLatin1(
            QByteArray(static_cast<const char*>(fixed), KvDataTypeInlineSize(type)).toHex());
  }
  Attribute_Write(name, text);
}

void TKvXMLStorage::Close() {
  if (!FDevice) return;
  if (FMode == TKvStorageMode::smWrite) {
    FWriter->writeEndDocument();
    // A file holds back the last of the text until it is flushed; a full disk shows there.
    auto* file = qobject_cast<QFileDevice*>(FDevice);
    const bool failed = FWriter->hasError() || (file && !file->flush());
    FWriter.reset();
    const QString reason = FDevice->errorString();
    FDevice = nullptr;
    if (failed) throw EKvMemError(QStringLiteral("Stream write error. ") + reason);
    return;
  }
  FReader.reset();
  FData.clear();
  FOpen.clear();
  FDevice = nullptr;
}
