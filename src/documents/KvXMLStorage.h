#pragma once
// The XML form of a document: each object an element, each property and each column value an
// attribute. Numbers, dates and times are written in fixed forms whatever the region, so that
// any XML tool reads them and the reader gets back exactly what was stored.
#include <QXmlStreamAttributes>
#include <QXmlStreamReader>
#include <QXmlStreamWriter>
#include <memory>
#include <vector>

#include "KvStorage.h"

class TKvXMLStorage : public TKvStorage {
 public:
  static bool CheckExtension(const QString& ext);
  static constexpr int FormatNumber = 1;

  // A name that may not stand as an XML name has each offending character written as
  // "_0x" four lower-case hex digits "_": a blank is "_0x0020_".
  static QString EscapeName(const QString& name);
  static QString UnescapeName(const QString& name);

  void Open(TKvStorageMode mode, QIODevice* device) override;
  bool IsOpen() const override { return FDevice != nullptr; }
  void Close() override;
  bool IsObjectEnd() override;

  bool ReadBoolean(const QString& name, bool def) override;
  double ReadDate(const QString& name, double def) override;
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
  void WriteDate(const QString& name, double value, double def) override;
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

  // Positions count the element tokens taken so far; going back reads the data again.
  int64_t GetBookmark() override { return FTaken; }
  void SetBookmark(int64_t bookmark) override;
  int64_t DataSize() const override { return FData.size(); }

 private:
  struct TToken {
    enum TKind { tkEnd, tkBegin, tkEof } Kind = tkEof;
    QString Name;  // as stored, escaped
    QXmlStreamAttributes Attributes;
  };
  void Restart();
  void FetchNext();
  void Take();
  // The attribute of the innermost open element; nullptr when absent.
  const QXmlStreamAttribute* Attribute(const QString& name) const;
  QStringView Text(const QString& name) const;
  [[noreturn]] static void BadProperty(const QString& name);
  void Attribute_Write(const QString& name, const QString& text);

  QIODevice* FDevice = nullptr;
  TKvStorageMode FMode = TKvStorageMode::smRead;
  // Reading
  QByteArray FData;
  std::unique_ptr<QXmlStreamReader> FReader;
  TToken FNext;
  std::vector<QXmlStreamAttributes> FOpen;  // attributes of the open elements, innermost last
  int64_t FTaken = 0;
  // Writing
  std::unique_ptr<QXmlStreamWriter> FWriter;
};
