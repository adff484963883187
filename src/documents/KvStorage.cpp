#include "KvStorage.h"

#include <QFileInfo>
#include <cstring>

#include "KvXMLStorage.h"

namespace {
constexpr uint8_t ObjectBegin = TKvBinStorage::ObjectBeginMark;
constexpr uint8_t ObjectEnd = TKvBinStorage::ObjectEndMark;
constexpr int HeaderSize = 12;
constexpr char Magic[4] = {'A', 'D', 'B', 'S'};
constexpr int MaxNames = 65535;
constexpr int BcdMemorySize = 34;

QString ErrorText(int code) {
  switch (code) {
    case ekvInvalidBinaryStorage:
      return QStringLiteral("Invalid binary storage");
    case ekvCannotReadProperty:
      return QStringLiteral("Cannot read [%s] property");
    case ekvCannotReadObject:
      return QStringLiteral("Cannot read [%s] object");
    case ekvCannotReadRawData:
      return QStringLiteral("Cannot read RAW data of [%s] object");
    case ekvDictionaryOverflow:
      return QStringLiteral("Dictionary overflow");
    case ekvClassNotRegistered:
      return QStringLiteral("Class [%s] is not registered");
    case ekvUnknownStorageFormat:
      return QStringLiteral("Unknown storage format [%s]");
    default:
      return QString();
  }
}

QString ObjectNameOrUnknown(const QString& name) {
  return name.isEmpty() ? QStringLiteral("<unknown>") : name;
}
}  // namespace

EKvStorageError::EKvStorageError(int code, const QString& arg)
    : EKvMemError(QStringLiteral("[KvMem][Store]-%1. ").arg(code) +
                  ErrorText(code).replace(QStringLiteral("%s"), arg)),
      FCode(code) {}

// ---- reading ----------------------------------------------------------------------------

void TKvBinStorage::Open(TKvStorageMode mode, QIODevice* device) {
  FDevice = device;
  FMode = mode;
  FPos = 0;
  FDictNames.clear();
  FDictGroup.clear();
  FExpectedGroup.clear();
  FExpectedMemo.Clear();
  FEnumCache.clear();
  FExact.clear();
  FFolded.clear();
  FNameMemo.Clear();
  FNames.clear();
  if (mode == TKvStorageMode::smWrite) {
    FVersion = FStoreVersion < 0 ? KvStorageCurrentVersion : FStoreVersion;
    FOut.Resize(0);
    const char header[HeaderSize] = {};
    WriteBytes(header, HeaderSize);
    return;
  }
  ReadAll(*device);
  if (InSize() < HeaderSize || std::memcmp(FIn.Data(), Magic, 4) != 0) {
    FDevice = nullptr;
    throw EKvStorageError(ekvInvalidBinaryStorage);
  }
  uint16_t version;
  uint32_t dictOffset;
  std::memcpy(&version, FIn.Data() + 4, 2);
  std::memcpy(&dictOffset, FIn.Data() + 8, 4);
  FVersion = version;
  // Entries run to the end of the file; a cut entry ends the dictionary.
  QHash<QString, int> groups;
  const int64_t size = InSize();
  for (int64_t p = dictOffset; p + 2 <= size;) {
    uint16_t len;
    std::memcpy(&len, FIn.Data() + p, 2);
    p += 2;
    if (p + len > size) break;
    QString name(reinterpret_cast<const QChar*>(FIn.Data() + p), len / 2);
    p += len;
    auto it = groups.constFind(name.toCaseFolded());
    int group = it != groups.constEnd() ? *it : int(groups.size());
    if (it == groups.constEnd()) groups.insert(name.toCaseFolded(), group);
    FDictNames.push_back(name);
    FDictGroup.push_back(group);
  }
  for (auto it = groups.constBegin(); it != groups.constEnd(); ++it)
    FExpectedGroup.insert(it.key(), it.value());
  FPos = HeaderSize;
}

void TKvBinStorage::ReadAll(QIODevice& device) {
  // One read for a file: its size is known ahead, and a second read finds the end.
  FIn.Resize(0);
  if (!device.isSequential())
    FIn.Reserve(size_t(std::max<qint64>(device.size() - device.pos(), 0)) + 1);
  for (;;) {
    if (FIn.Size() == FIn.Capacity()) FIn.Reserve(std::max<size_t>(FIn.Capacity() * 2, 65536));
    const size_t at = FIn.Size();
    const qint64 got = device.read(FIn.Data() + at, qint64(FIn.Capacity() - at));
    if (got <= 0) break;
    FIn.Resize(at + size_t(got));
  }
  FIn.ShrinkToFit();
}

QString TKvBinStorage::DictName(int number) const {
  return number >= 0 && number < int(FDictNames.size()) ? FDictNames[number] : QString();
}

int TKvBinStorage::GroupOfExpected(const QString& name) {
  if (const int* memo = FExpectedMemo.Find(name)) return *memo;
  auto it = FExpectedGroup.constFind(name);
  int group;
  if (it != FExpectedGroup.constEnd()) {
    group = *it;
  } else {
    group = FExpectedGroup.value(name.toCaseFolded(), -1);
    FExpectedGroup.insert(name, group);
  }
  FExpectedMemo.Put(name, group);
  return group;
}

bool TKvBinStorage::ConsumeProperty(const QString& name) {
  if (FPos + 2 > InSize()) return false;
  uint16_t number;
  std::memcpy(&number, FIn.Data() + FPos, 2);
  if ((number & 0xFF) >= 254 || number >= FDictGroup.size()) return false;
  if (FDictGroup[number] != GroupOfExpected(name)) return false;
  FPos += 2;
  return true;
}

bool TKvBinStorage::TestProperty(const QString& name) {
  int64_t keep = FPos;
  bool found = ConsumeProperty(name);
  FPos = keep;
  return found;
}

bool TKvBinStorage::IsObjectEnd() {
  return FPos < InSize() && ByteAt(FPos) == ObjectEnd;
}

QString TKvBinStorage::PeekObjectName() {
  if (FPos + 2 > InSize() || ByteAt(FPos) != ObjectBegin) return QString();
  return DictName(ByteAt(FPos + 1));
}

bool TKvBinStorage::TestObject(const QString& name) {
  if (FPos + 2 > InSize() || ByteAt(FPos) != ObjectBegin) return false;
  int number = ByteAt(FPos + 1);
  return number < int(FDictGroup.size()) && FDictGroup[number] == GroupOfExpected(name);
}

QString TKvBinStorage::ReadObjectBegin(const QString& name) {
  if (FPos + 2 > InSize() || ByteAt(FPos) != ObjectBegin)
    throw EKvStorageError(ekvCannotReadObject, ObjectNameOrUnknown(name));
  if (!name.isEmpty() && !TestObject(name)) throw EKvStorageError(ekvCannotReadObject, name);
  const int number = ByteAt(FPos + 1);
  FPos += 2;
  return name.isEmpty() ? DictName(number) : name;
}

void TKvBinStorage::ReadObjectEnd(const QString& name) {
  if (!IsObjectEnd()) throw EKvStorageError(ekvCannotReadObject, ObjectNameOrUnknown(name));
  ++FPos;
}

bool TKvBinStorage::ReadBoolean(const QString& name, bool def) {
  return ConsumeProperty(name) ? ReadRaw<uint8_t>() != 0 : def;
}
double TKvBinStorage::ReadFloat(const QString& name, double def) {
  return ConsumeProperty(name) ? ReadRaw<double>() : def;
}
int32_t TKvBinStorage::ReadInteger(const QString& name, int32_t def) {
  return ConsumeProperty(name) ? ReadRaw<int32_t>() : def;
}
uint32_t TKvBinStorage::ReadLongWord(const QString& name, uint32_t def) {
  return ConsumeProperty(name) ? ReadRaw<uint32_t>() : def;
}
int64_t TKvBinStorage::ReadInt64(const QString& name, int64_t def) {
  return ConsumeProperty(name) ? ReadRaw<int64_t>() : def;
}

QByteArray TKvBinStorage::ReadAnsiString(const QString& name, const QByteArray& def) {
  if (!ConsumeProperty(name)) return def;
  uint32_t len = ReadRaw<uint32_t>();
  if (len > InSize() - FPos) throw EKvStreamReadError();
  QByteArray s(FIn.Data() + FPos, len);
  FPos += len;
  return s;
}

QString TKvBinStorage::ReadWideString(const QString& name, const QString& def) {
  if (!ConsumeProperty(name)) return def;
  uint32_t len = ReadRaw<uint32_t>();
  if (len > InSize() - FPos) throw EKvStreamReadError();
  QString s(reinterpret_cast<const QChar*>(FIn.Data() + FPos), len / 2);
  FPos += len;
  return s;
}

bool TKvBinStorage::ReadValue(const QString& name, int index, TKvDataType type, void* fixed,
                              QByteArray* var) {
  if (FVersion >= 4) {
    if (FPos + 2 > InSize()) return false;
    uint16_t stored;
    std::memcpy(&stored, FIn.Data() + FPos, 2);
    if (stored != index) return false;
    FPos += 2;
  } else if (!ConsumeProperty(name)) {
    return false;
  }
  if (KvDataTypeHasNoPayload(type)) return true;
  if (KvDataTypeIsVariable(type)) {
    uint32_t len = ReadRaw<uint32_t>();
    if (len > InSize() - FPos) throw EKvStreamReadError();
    if (var) *var = QByteArray(FIn.Data() + FPos, len);
    FPos += len;
  } else if (type == dtBCD || type == dtFmtBCD) {
    uint8_t buf[BcdMemorySize] = {};
    buf[0] = ReadRaw<uint8_t>();
    int keep = std::min<int>(buf[0], BcdMemorySize - 1);
    ReadBytes(buf + 1, keep);
    const int extra = buf[0] - keep;
    if (extra > InSize() - FPos) throw EKvStreamReadError();
    FPos += extra;
    std::memcpy(fixed, buf, BcdMemorySize);
  } else {
    ReadBytes(fixed, KvDataTypeInlineSize(type));
  }
  return true;
}

bool TKvBinStorage::PeekValueIndex(int& index) {
  if (FPos + 2 > InSize()) return false;
  uint16_t stored;
  std::memcpy(&stored, FIn.Data() + FPos, 2);
  index = stored;
  return true;
}

int TKvBinStorage::ReadEnum(const QString& name, const QStringList& values, int def) {
  if (FVersion < 5) {
    const int value = ReadInteger(name, def);
    if (value < 0 || value >= values.size()) throw EKvStorageError(ekvCannotReadProperty, name);
    return value;
  }
  if (!ConsumeProperty(name)) return def;
  const int value = EnumOfNumber(ReadRaw<uint16_t>(), values);
  if (value < 0) throw EKvStorageError(ekvCannotReadProperty, name);
  return value;
}

int TKvBinStorage::EnumOfNumber(uint16_t number, const QStringList& values) {
  uint64_t key = (uint64_t(reinterpret_cast<uintptr_t>(&values)) << 16) ^ number;
  auto it = FEnumCache.find(key);
  if (it != FEnumCache.end()) return it->second;
  const QString valueName = DictName(number);
  int value = -1;
  for (int i = 0; i < values.size() && value < 0; ++i)
    if (!valueName.isEmpty() && values[i].compare(valueName, Qt::CaseInsensitive) == 0) value = i;
  if (value >= 0) FEnumCache.emplace(key, value);
  return value;
}

// ---- writing ----------------------------------------------------------------------------

uint16_t TKvBinStorage::NameNumber(const QString& name) {
  if (const uint16_t* memo = FNameMemo.Find(name)) return *memo;
  const uint16_t number = NewNameNumber(name);
  FNameMemo.Put(name, number);
  return number;
}

uint16_t TKvBinStorage::NewNameNumber(const QString& name) {
  auto exact = FExact.constFind(name);
  if (exact != FExact.constEnd()) return *exact;
  const QString folded = name.toCaseFolded();
  auto known = FFolded.constFind(folded);
  if (known != FFolded.constEnd()) {
    FExact.insert(name, *known);
    return *known;
  }
  if (FNames.size() >= MaxNames) throw EKvStorageError(ekvDictionaryOverflow);
  const uint16_t number = uint16_t(FNames.size());
  FNames.push_back(name);
  FFolded.insert(folded, number);
  FExact.insert(name, number);
  // The low byte of an object's name number shares the byte with the markers.
  if (number == 253) {
    FNames.push_back(QStringLiteral("<end>"));
    FNames.push_back(QStringLiteral("<begin>"));
  }
  return number;
}

void TKvBinStorage::WriteObjectBegin(const QString& name) {
  const char bytes[2] = {char(ObjectBegin), char(NameNumber(name) & 0xFF)};
  WriteBytes(bytes, 2);
}

void TKvBinStorage::WriteObjectEnd(const QString&) {
  WriteRaw<uint8_t>(ObjectEnd);
}

void TKvBinStorage::WriteBoolean(const QString& name, bool value, bool def) {
  if (value == def) return;
  WriteName(name);
  WriteRaw<uint8_t>(value ? 1 : 0);
}

void TKvBinStorage::WriteFloat(const QString& name, double value, double def) {
  if (value == def) return;
  WriteName(name);
  WriteRaw<double>(value);
}

void TKvBinStorage::WriteInteger(const QString& name, int32_t value, int32_t def) {
  if (value == def) return;
  WriteName(name);
  WriteRaw<int32_t>(value);
}

void TKvBinStorage::WriteLongWord(const QString& name, uint32_t value, uint32_t def) {
  if (value == def) return;
  WriteName(name);
  WriteRaw<uint32_t>(value);
}

void TKvBinStorage::WriteInt64(const QString& name, int64_t value, int64_t def) {
  if (value == def) return;
  WriteName(name);
  WriteRaw<int64_t>(value);
}

void TKvBinStorage::WriteAnsiString(const QString& name, const QByteArray& value,
                                    const QByteArray& def) {
  if (value == def) return;
  WriteName(name);
  WriteRaw<uint32_t>(uint32_t(value.size()));
  WriteBytes(value.constData(), size_t(value.size()));
}

void TKvBinStorage::WriteWideString(const QString& name, const QString& value, const QString& def) {
  if (value == def) return;
  WriteName(name);
  WriteRaw<uint32_t>(uint32_t(value.size() * 2));
  WriteBytes(value.utf16(), size_t(value.size()) * 2);
}

void TKvBinStorage::WriteValue(const QString& name, int index, TKvDataType type, const void* fixed,
                               const QByteArray* var) {
  if (FVersion >= 4)
    WriteRaw<uint16_t>(uint16_t(index));
  else
    WriteName(name);
  if (KvDataTypeHasNoPayload(type)) return;
  if (KvDataTypeIsVariable(type)) {
    const QByteArray bytes = var ? *var : QByteArray();
    WriteRaw<uint32_t>(uint32_t(bytes.size()));
    WriteBytes(bytes.constData(), size_t(bytes.size()));
  } else if (type == dtBCD || type == dtFmtBCD) {
    const uint8_t* bcd = static_cast<const uint8_t*>(fixed);
    const int len = std::min<int>(bcd[0], BcdMemorySize - 1);
    WriteRaw<uint8_t>(uint8_t(len));
    WriteBytes(bcd + 1, size_t(len));
  } else {
    WriteBytes(fixed, size_t(KvDataTypeInlineSize(type)));
  }
}

void TKvBinStorage::WriteEnum(const QString& name, const QStringList& values, int value, int def) {
  if (value == def) return;
  if (FVersion < 5) return WriteInteger(name, value, def);
  const uint16_t valueNumber = NameNumber(values.value(value));
  WriteName(name);
  WriteRaw<uint16_t>(valueNumber);
}

void TKvBinStorage::Close() {
  if (!FDevice) return;
  if (FMode == TKvStorageMode::smWrite) {
    const uint32_t dictOffset = uint32_t(FOut.Size());
    for (const QString& name : FNames) {
      WriteRaw<uint16_t>(uint16_t(name.size() * 2));
      WriteBytes(name.utf16(), size_t(name.size()) * 2);
    }
    const uint16_t version = uint16_t(FVersion);
    char* out = FOut.Data();
    std::memcpy(out, Magic, 4);
    std::memcpy(out + 4, &version, 2);
    std::memcpy(out + 8, &dictOffset, 4);
    const qint64 size = qint64(FOut.Size());
    const bool complete = FDevice->write(out, size) == size;
    FOut.Clear();
    FDevice = nullptr;
    if (!complete) throw EKvMemError(QStringLiteral("Stream write error"));
    return;
  }
  FIn.Clear();
  FDevice = nullptr;
}

bool TKvBinStorage::CheckExtension(const QString& ext) {
  return ext.compare(QLatin1String(".ADB"), Qt::CaseInsensitive) == 0 ||
         ext.compare(QLatin1String(".BIN"), Qt::CaseInsensitive) == 0 ||
         ext.compare(QLatin1String(".DAT"), Qt::CaseInsensitive) == 0;
}

// ---- manager ----------------------------------------------------------------------------

TKvStorageManager::TKvStorageManager() {
  RegisterClass({TKvBinStorage::FormatNumber, &TKvBinStorage::CheckExtension,
                 [] { return std::make_unique<TKvBinStorage>(); }});
  RegisterClass({TKvXMLStorage::FormatNumber, &TKvXMLStorage::CheckExtension,
                 [] { return std::make_unique<TKvXMLStorage>(); }});
}

TKvStorageManager& TKvStorageManager::Instance() {
  static TKvStorageManager manager;
  return manager;
}

void TKvStorageManager::RegisterClass(TClass cls) {
  // A later registration of a format number replaces the earlier one.
  for (TClass& c : FClasses)
    if (c.Format == cls.Format) {
      c = std::move(cls);
      return;
    }
  FClasses.insert(FClasses.begin(), std::move(cls));
}

std::unique_ptr<TKvStorage> TKvStorageManager::GetStorage(const QString& fileName, int format) {
  QString ext;
  if (format == 0) {
    const QString suffix = QFileInfo(fileName).suffix();
    ext = suffix.isEmpty() ? DefaultStoreExt : QStringLiteral(".") + suffix;
    for (const TClass& c : FClasses)
      if (c.CheckExtension(ext)) return c.Create();
  }
  const int wanted = format == 0 ? DefaultStoreFormat : format;
  for (const TClass& c : FClasses)
    if (c.Format == wanted) return c.Create();
  throw EKvStorageError(ekvUnknownStorageFormat, ext);
}
