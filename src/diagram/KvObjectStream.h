#pragma once
// The object stream: a tagged, self-describing property stream in a binary form ("TPF0"
// followed by one object) and a text form ("object Name: Class ... end"). The binary form is
// what the diagram writes and reads; the text form is produced from it and converted back.
// Readers parse into a small tree (TKvStreamObject) with every length and nesting depth
// checked against what the input can hold, so damaged input fails with an exception.
#include <QByteArray>
#include <QString>
#include <cstdint>
#include <stdexcept>
#include <vector>

enum TValueType : uint8_t {
  vaNull = 0,
  vaList = 1,
  vaInt8 = 2,
  vaInt16 = 3,
  vaInt32 = 4,
  vaExtended = 5,
  vaString = 6,
  vaIdent = 7,
  vaFalse = 8,
  vaTrue = 9,
  vaBinary = 10,
  vaSet = 11,
  vaLString = 12,
  vaNil = 13,
  vaCollection = 14,
  vaSingle = 15,
  vaCurrency = 16,
  vaDate = 17,
  vaWString = 18,
  vaInt64 = 19,
  vaUTF8String = 20,
  vaDouble = 21
};

// Filer flags of an object's optional prefix byte.
enum : uint8_t { ffInherited = 1, ffChildPos = 2, ffInline = 4 };

// Errors of the stream readers and the text parser.
class EKvFilerError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  QString Message() const { return QString::fromUtf8(what()); }
};
class EKvReadError : public EKvFilerError {
 public:
  using EKvFilerError::EKvFilerError;
};
class EKvClassNotFound : public EKvFilerError {
 public:
  using EKvFilerError::EKvFilerError;
};
class EKvParserError : public EKvFilerError {
 public:
  using EKvFilerError::EKvFilerError;
};

extern const char* const SReadError;             // "Stream read error"
extern const char* const SInvalidImage;          // "Invalid stream format"
extern const char* const SInvalidPropertyValue;  // "Invalid property value"

// Deeper objects, lists or collections than this are refused rather than followed.
constexpr int KvMaxStreamDepth = 64;

struct TKvValue;

struct TKvProperty {
  QByteArray Name;              // the property path, parts joined by points
  std::vector<TKvValue> Value;  // exactly one value (a vector so the type may be incomplete)
  const TKvValue& V() const { return Value.front(); }
};

struct TKvCollectionItem {
  bool HasIndex = false;
  int64_t Index = 0;
  std::vector<TKvProperty> Props;
};

struct TKvValue {
  TValueType Type = vaNull;
  int64_t Int = 0;   // integer tags; vaCurrency raw (scaled by 10000)
  double Real = 0;   // vaExtended, vaSingle, vaDate, vaDouble
  QString Str;       // strings and identifiers
  QByteArray Bytes;  // vaBinary
  std::vector<QByteArray> Set;
  std::vector<TKvValue> List;
  std::vector<TKvCollectionItem> Items;

  bool IsInteger() const;
  bool IsReal() const;
  bool IsString() const;
  // Tolerant readers; anything else raises "Invalid property value".
  int64_t AsInteger() const;
  double AsReal() const;
  QString AsString() const;
  bool AsBoolean() const;
  const QString& AsIdent() const;
};

struct TKvStreamObject {
  uint8_t Flags = 0;
  int64_t ChildPos = 0;
  QByteArray ClassName;
  QByteArray Name;
  std::vector<TKvProperty> Props;
  std::vector<TKvStreamObject> Children;
};

// Writes the binary form with the writer's choices of tags.
class TKvBinaryWriter {
 public:
  explicit TKvBinaryWriter(QByteArray& out) : FOut(out) {}
  void WriteSignature();
  void WriteByte(uint8_t b) { FOut.append(char(b)); }
  void WriteShortStr(const QByteArray& s);
  void WritePrefix(uint8_t flags, int64_t childPos);
  void WriteObjectHeader(const QByteArray& className, const QByteArray& name);
  void WritePropName(const QByteArray& path) { WriteShortStr(path); }
  void WriteListEnd() { WriteByte(vaNull); }
  void WriteInteger(int64_t v);
  void WriteReal(double v);  // always vaExtended
  void WriteString(const QString& s);
  void WriteIdent(const QByteArray& s);
  void WriteBoolean(bool v) { WriteByte(v ? vaTrue : vaFalse); }
  void WriteSet(const std::vector<QByteArray>& members);
  void WriteBinary(const QByteArray& bytes);
  void WriteNil() { WriteByte(vaNil); }
  void BeginCollection() { WriteByte(vaCollection); }
  void BeginItem() { WriteByte(vaList); }
  void WriteValue(const TKvValue& v);
  void WriteObject(const TKvStreamObject& o);

 private:
  template <typename T>
  void WriteLE(T v);
  QByteArray& FOut;
};

// 80-bit extended reals.
void KvDoubleToExtended(double v, unsigned char out[10]);
double KvExtendedToDouble(const unsigned char in[10]);

// Parses the binary form (beginning with the signature) into a tree.
TKvStreamObject KvReadObjectBinary(const QByteArray& data);
// Parses one object of the binary form at pos, leaving pos behind it.
TKvStreamObject KvReadObjectAt(const QByteArray& data, qsizetype& pos);
QByteArray KvWriteObjectBinary(const TKvStreamObject& o);

TKvStreamObject KvReadObjectText(const QByteArray& text);
QByteArray KvWriteObjectText(const TKvStreamObject& o);

// The two converters.
QByteArray KvObjectBinaryToText(const QByteArray& binary);
QByteArray KvObjectTextToBinary(const QByteArray& text);

// A real as the text form writes it: shortest exact digits, at least one behind the point.
QByteArray KvRealToText(double v);
