#pragma once
// The storage layer: a dataset's object tree is walked once and written through these
// operations, so that the same walk gives the binary document and the XML export. Reading
// works by expectation: each Read names the property it would like next and gets the
// default back when the data holds something else there.
#include <QByteArray>
#include <QHash>
#include <QIODevice>
#include <QString>
#include <QStringList>
#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <unordered_map>
#include <vector>

#include "KvDatSTypes.h"
#include "KvMemErrors.h"
#include "KvPageBuffer.h"
#include "KvRowLayout.h"

enum class TKvStorageMode { smRead, smWrite };

inline constexpr int KvStorageCurrentVersion = 7;

class TKvStorage {
 public:
  virtual ~TKvStorage() = default;

  // Version of the data being read, or being written; steers the version branches.
  int Version() const { return FVersion; }
  void SetStoreVersion(int version) { FStoreVersion = version; }

  virtual void Open(TKvStorageMode mode, QIODevice* device) = 0;
  virtual bool IsOpen() const = 0;
  virtual void Close() = 0;
  virtual bool IsObjectEnd() = 0;

  virtual bool ReadBoolean(const QString& name, bool def) = 0;
  virtual double ReadDate(const QString& name, double def) = 0;
  virtual double ReadFloat(const QString& name, double def) = 0;
  virtual int32_t ReadInteger(const QString& name, int32_t def) = 0;
  virtual uint32_t ReadLongWord(const QString& name, uint32_t def) = 0;
  virtual int64_t ReadInt64(const QString& name, int64_t def) = 0;
  // An empty name takes any object; the name read is returned.
  virtual QString ReadObjectBegin(const QString& name) = 0;
  virtual void ReadObjectEnd(const QString& name) = 0;
  virtual QByteArray ReadAnsiString(const QString& name, const QByteArray& def) = 0;
  virtual QString ReadWideString(const QString& name, const QString& def) = 0;
  // One column value: fixed-size payloads go to `fixed`, variable ones to `var`. False when
  // the value is absent (NULL).
  virtual bool ReadValue(const QString& name, int index, TKvDataType type, void* fixed,
                         QByteArray* var) = 0;
  // `values` are the enumeration's full names; their list position is the value.
  virtual int ReadEnum(const QString& name, const QStringList& values, int def) = 0;
  // Peeks: the position stays.
  virtual bool TestObject(const QString& name) = 0;
  virtual bool TestProperty(const QString& name) = 0;
  virtual QString PeekObjectName() = 0;

  virtual void WriteBoolean(const QString& name, bool value, bool def) = 0;
  virtual void WriteDate(const QString& name, double value, double def) = 0;
  virtual void WriteFloat(const QString& name, double value, double def) = 0;
  virtual void WriteInteger(const QString& name, int32_t value, int32_t def) = 0;
  virtual void WriteLongWord(const QString& name, uint32_t value, uint32_t def) = 0;
  virtual void WriteInt64(const QString& name, int64_t value, int64_t def) = 0;
  virtual void WriteObjectBegin(const QString& name) = 0;
  virtual void WriteObjectEnd(const QString& name) = 0;
  virtual void WriteAnsiString(const QString& name, const QByteArray& value,
                               const QByteArray& def) = 0;
  virtual void WriteWideString(const QString& name, const QString& value, const QString& def) = 0;
  virtual void WriteValue(const QString& name, int index, TKvDataType type, const void* fixed,
                          const QByteArray* var) = 0;
  virtual void WriteEnum(const QString& name, const QStringList& values, int value, int def) = 0;

  virtual int64_t GetBookmark() = 0;
  virtual void SetBookmark(int64_t bookmark) = 0;

  // Bytes of the data being read, 0 when unknown: what a document may make the engine
  // allocate is bounded by it.
  virtual int64_t DataSize() const { return 0; }
  // Whether a row version's values are stored under their column index, and the index of the
  // next one (the position stays); false at the version's end or when values go by name.
  virtual bool ValuesByIndex() const { return false; }
  virtual bool PeekValueIndex(int& index) {
    index = -1;
    return false;
  }

  // Rows of a table in bulk, for storages that do better than the walk of properties; the
  // walk takes whatever they leave. Reading takes rows while they are plain ones of the
  // layout and `take` accepts them (the image's buffers last until the next row), and stops
  // before any other; it returns the number taken. Writing is all or nothing: false when the
  // storage has no such way, and then it wrote nothing.
  using TRowTaker = std::function<bool(const TKvRowImage& row)>;
  using TRowGiver = std::function<TKvRowImage(int index)>;
  virtual int ReadRows(const TKvRowLayout&, const TRowTaker&) { return 0; }
  virtual bool WriteRows(const TKvRowLayout&, int /*count*/, const TRowGiver&) { return false; }

  QString ReadString(const QString& name, const QString& def) { return ReadWideString(name, def); }
  void WriteString(const QString& name, const QString& value, const QString& def) {
    WriteWideString(name, value, def);
  }

 protected:
  int FVersion = KvStorageCurrentVersion;
  int FStoreVersion = -1;  // -1: the current version
};

// A memo of a lookup by property name, keyed on the name's character data: the walk passes
// the same literals for every row, and a hit costs a compare of two pointers instead of a
// hash of the text. The entry keeps its own reference to the characters, so a pointer that
// matches cannot stand for other text.
template <typename V>
class TKvNameMemo {
 public:
  const V* Find(const QString& name) const {
    const TEntry& e = FEntries[Slot(name)];
    return e.Name.constData() == name.constData() && e.Name.size() == name.size() && e.Used
               ? &e.Value
               : nullptr;
  }
  void Put(const QString& name, V value) { FEntries[Slot(name)] = {name, value, true}; }
  void Clear() { FEntries = {}; }

 private:
  struct TEntry {
    QString Name;
    V Value{};
    bool Used = false;
  };
  static size_t Slot(const QString& name) {
    return (reinterpret_cast<uintptr_t>(name.constData()) >> 4) % Size;
  }
  static constexpr size_t Size = 251;
  std::array<TEntry, Size> FEntries;
};

// The tagged binary format: header, body of named objects, dictionary at the end.
class TKvBinStorage : public TKvStorage {
 public:
  static bool CheckExtension(const QString& ext);
  static constexpr int FormatNumber = 2;
  static constexpr uint8_t ObjectBeginMark = 0xFF, ObjectEndMark = 0xFE;

  void Open(TKvStorageMode mode, QIODevice* device) override;
  bool IsOpen() const override { return FDevice != nullptr; }
  void Close() override;
  bool IsObjectEnd() override;

  bool ReadBoolean(const QString& name, bool def) override;
  double ReadDate(const QString& name, double def) override { return ReadFloat(name, def); }
  double ReadFloat(const QString& name, double def) override;
  int32_t ReadInteger(const QString& name, int32_t def) override;
  uint32_t ReadLongWord(const QString& name, uint32_t def) override;
  int64_t ReadInt64(const QString& name, int64_t def) override;
  QString ReadObjectBegin(const QString& name) override;
  void ReadObjectEnd(const QString& name) override;
  QByteArray ReadAnsiString(const QString& name, const QByteArray& def) override;
  QString ReadWideString(const QString& name, const QString& def) override;
  bool ReadValue(const QString& name, int index, TKvDataType type, void* fixed,
                 QByteArray* var) override;
  int ReadEnum(const QString& name, const QStringList& values, int def) override;
  bool TestObject(const QString& name) override;
  bool TestProperty(const QString& name) override;
  QString PeekObjectName() override;

  void WriteBoolean(const QString& name, bool value, bool def) override;
  void WriteDate(const QString& name, double value, double def) override {
    WriteFloat(name, value, def);
  }
  void WriteFloat(const QString& name, double value, double def) override;
  void WriteInteger(const QString& name, int32_t value, int32_t def) override;
  void WriteLongWord(const QString& name, uint32_t value, uint32_t def) override;
  void WriteInt64(const QString& name, int64_t value, int64_t def) override;
  void WriteObjectBegin(const QString& name) override;
  void WriteObjectEnd(const QString& name) override;
  void WriteAnsiString(const QString& name, const QByteArray& value,
                       const QByteArray& def) override;
  void WriteWideString(const QString& name, const QString& value, const QString& def) override;
  void WriteValue(const QString& name, int index, TKvDataType type, const void* fixed,
                  const QByteArray* var) override;
  void WriteEnum(const QString& name, const QStringList& values, int value, int def) override;

  int64_t GetBookmark() override { return FPos; }
  void SetBookmark(int64_t bookmark) override { FPos = bookmark; }
  int64_t DataSize() const override { return InSize(); }
  bool ValuesByIndex() const override { return FVersion >= 4; }
  bool PeekValueIndex(int& index) override;
  int ReadRows(const TKvRowLayout& layout, const TRowTaker& take) override;
  bool WriteRows(const TKvRowLayout& layout, int count, const TRowGiver& row) override;
  // Off: rows go through the walk of properties alone, as a reference for the bulk way.
  bool RowsInBulk = true;

 private:
  // Reading
  uint8_t ByteAt(int64_t pos) const { return uint8_t(FIn.Data()[pos]); }
  void ReadBytes(void* dst, int64_t count) {
    if (count < 0 || FPos + count > InSize()) throw EKvStreamReadError();
    std::memcpy(dst, FIn.Data() + FPos, size_t(count));
    FPos += count;
  }
  template <typename T>
  T ReadRaw() {
    if (FPos + int64_t(sizeof(T)) > InSize()) throw EKvStreamReadError();
    T v;
    std::memcpy(&v, FIn.Data() + FPos, sizeof(T));
    FPos += sizeof(T);
    return v;
  }
  void ReadAll(QIODevice& device);
  int64_t InSize() const { return int64_t(FIn.Size()); }
  int GroupOfExpected(const QString& name);
  int EnumOfNumber(uint16_t number, const QStringList& values);  // -1: none of them
  bool ConsumeProperty(const QString& name);
  QString DictName(int number) const;
  // Writing
  uint16_t NameNumber(const QString& name);
  uint16_t NewNameNumber(const QString& name);
  void WriteName(const QString& name) { WriteRaw<uint16_t>(NameNumber(name)); }
  template <typename T>
  void WriteRaw(T v) {
    WriteBytes(&v, sizeof(T));
  }
  // The document grows in one buffer; appends are plain copies.
  void WriteBytes(const void* src, size_t count) {
    const size_t at = FOut.Size();
    FOut.Resize(at + count);
    std::memcpy(FOut.Data() + at, src, count);
  }

  QIODevice* FDevice = nullptr;
  TKvStorageMode FMode = TKvStorageMode::smRead;
  TKvPageBuffer FIn;                 // whole file being read
  std::vector<uint8_t> FRowScratch;  // versions of a row read in bulk
  int64_t FPos = 0;
  // Dictionary as read: name and the case-folded group it belongs to.
  std::vector<QString> FDictNames;
  std::vector<int> FDictGroup;
  QHash<QString, int> FExpectedGroup;
  TKvNameMemo<int> FExpectedMemo;
  std::unordered_map<uint64_t, int> FEnumCache;
  // Dictionary as written.
  TKvPageBuffer FOut;
  TKvNameMemo<uint16_t> FNameMemo;
  QHash<QString, uint16_t> FExact;
  QHash<QString, uint16_t> FFolded;
  std::vector<QString> FNames;
};

// Picks the storage class by extension or format number. Classes register themselves; the
// binary one is always there.
class TKvStorageManager {
 public:
  struct TClass {
    int Format;
    std::function<bool(const QString& ext)> CheckExtension;
    std::function<std::unique_ptr<TKvStorage>()> Create;
  };
  QString DefaultStoreExt;
  int DefaultStoreFormat = 2;

  static TKvStorageManager& Instance();
  void RegisterClass(TClass cls);
  // Format 0 chooses by the file's extension; error 716 when nothing fits.
  std::unique_ptr<TKvStorage> GetStorage(const QString& fileName, int format);

 private:
  TKvStorageManager();
  std::vector<TClass> FClasses;
};
