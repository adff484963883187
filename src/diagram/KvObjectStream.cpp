#include "KvObjectStream.h"

#include <charconv>
#include <cmath>
#include <cstring>

const char* const SReadError = "Stream read error";
const char* const SInvalidImage = "Invalid stream format";
const char* const SInvalidPropertyValue = "Invalid property value";

namespace {
const char Signature[4] = {'T', 'P', 'F', '0'};

[[noreturn]] void ReadError() {
  throw EKvReadError(SReadError);
}
[[noreturn]] void InvalidImage() {
  throw EKvReadError(SInvalidImage);
}
[[noreturn]] void InvalidValue() {
  throw EKvReadError(SInvalidPropertyValue);
}
}  // namespace

// ---- values ----

bool TKvValue::IsInteger() const {
  return Type == vaInt8 || Type == vaInt16 || Type == vaInt32 || Type == vaInt64;
}

bool TKvValue::IsReal() const {
  return Type == vaExtended || Type == vaDouble || Type == vaSingle || Type == vaCurrency ||
         Type == vaDate || IsInteger();
}

bool TKvValue::IsString() const {
  return Type == vaString || Type == vaLString || Type == vaWString || Type == vaUTF8String;
}

int64_t TKvValue::AsInteger() const {
  if (!IsInteger()) InvalidValue();
  return Int;
}

double TKvValue::AsReal() const {
  if (IsInteger()) return double(Int);
  if (Type == vaCurrency) return double(Int) / 10000.0;
  if (!IsReal()) InvalidValue();
  return Real;
}

QString TKvValue::AsString() const {
  if (!IsString()) InvalidValue();
  return Str;
}

bool TKvValue::AsBoolean() const {
  if (Type == vaTrue) return true;
  if (Type == vaFalse) return false;
  InvalidValue();
}

const QString& TKvValue::AsIdent() const {
  if (Type != vaIdent) InvalidValue();
  return Str;
}

// ---- extended reals ----

void KvDoubleToExtended(double v, unsigned char out[10]) {
  uint64_t bits;
  std::memcpy(&bits, &v, 8);
  const bool negative = bits >> 63;
  int exp = int((bits >> 52) & 0x7FF);
  uint64_t frac = bits & ((uint64_t(1) << 52) - 1);
  uint64_t mant = 0;
  int e80 = 0;
  if (exp == 0x7FF) {
    e80 = 0x7FFF;
    mant = (uint64_t(1) << 63) | (frac << 11);
  } else if (exp == 0 && frac == 0) {
    e80 = 0;
    mant = 0;
  } else {
    if (exp == 0) {  // subnormal double: normalise, the extended range holds it
      exp = 1;
      while (!(frac & (uint64_t(1) << 52))) {
        frac <<= 1;
        --exp;
      }
      frac &= (uint64_t(1) << 52) - 1;
    }
    e80 = exp - 1023 + 16383;
    mant = (uint64_t(1) << 63) | (frac << 11);
  }
  for (int i = 0; i < 8; ++i) out[i] = (unsigned char)(mant >> (8 * i));
  const int se = (negative ? 0x8000 : 0) | e80;
  out[8] = (unsigned char)(se & 0xFF);
  out[9] = (unsigned char)(se >> 8);
}

double KvExtendedToDouble(const unsigned char in[10]) {
  uint64_t mant = 0;
  for (int i = 7; i >= 0; --i) mant = (mant << 8) | in[i];
  const int se = in[8] | (in[9] << 8);
  const bool negative = se & 0x8000;
  const int exp = se & 0x7FFF;
  double v;
  if (exp == 0x7FFF)
    v = (mant << 1) ? std::nan("") : HUGE_VAL;
  else if (exp == 0)
    v = std::ldexp(double(mant), -16382 - 63);
  else
    v = std::ldexp(double(mant), exp - 16383 - 63);
  return negative ? -v : v;
}

// ---- binary writer ----

template <typename T>
void TKvBinaryWriter::WriteLE(T v) {
  auto u = static_cast<std::make_unsigned_t<T>>(v);
  for (size_t i = 0; i < sizeof(T); ++i) FOut.append(char((u >> (8 * i)) & 0xFF));
}

void TKvBinaryWriter::WriteSignature() {
  FOut.append(Signature, 4);
}

void TKvBinaryWriter::WriteShortStr(const QByteArray& s) {
  if (s.size() > 255)
    throw EKvFilerError("Name too long for the stream: " + s.left(64).toStdString());
  WriteByte(uint8_t(s.size()));
  FOut.append(s);
}

void TKvBinaryWriter::WritePrefix(uint8_t flags, int64_t childPos) {
  if (!flags) return;
  WriteByte(0xF0 | flags);
  if (flags & ffChildPos) WriteInteger(childPos);
}

void TKvBinaryWriter::WriteObjectHeader(const QByteArray& className, const QByteArray& name) {
  WriteShortStr(className);
  WriteShortStr(name);
}

void TKvBinaryWriter::WriteInteger(int64_t v) {
  if (v >= -128 && v <= 127) {
    WriteByte(vaInt8);
    WriteLE<int8_t>(int8_t(v));
  } else if (v >= -32768 && v <= 32767) {
    WriteByte(vaInt16);
    WriteLE<int16_t>(int16_t(v));
  } else if (v >= INT32_MIN && v <= INT32_MAX) {
    WriteByte(vaInt32);
    WriteLE<int32_t>(int32_t(v));
  } else {
    WriteByte(vaInt64);
    WriteLE<int64_t>(v);
  }
}

void TKvBinaryWriter::WriteReal(double v) {
  unsigned char ext[10];
  KvDoubleToExtended(v, ext);
  WriteByte(vaExtended);
  FOut.append(reinterpret_cast<const char*>(ext), 10);
}

void TKvBinaryWriter::WriteString(const QString& s) {
  const QByteArray utf8 = s.toUtf8();
  if (utf8.size() >= 2 * s.size()) {
    WriteByte(vaWString);
    WriteLE<int32_t>(int32_t(s.size()));
    for (QChar c : s) WriteLE<uint16_t>(c.unicode());
    return;
  }
  bool ascii = true;
  for (char c : utf8) ascii = ascii && uint8_t(c) < 128;
  if (!ascii) {
    WriteByte(vaUTF8String);
    WriteLE<int32_t>(int32_t(utf8.size()));
  } else if (utf8.size() <= 255) {
    WriteByte(vaString);
    WriteByte(uint8_t(utf8.size()));
  } else {
    WriteByte(vaLString);
    WriteLE<int32_t>(int32_t(utf8.size()));
  }
  FOut.append(utf8);
}

void TKvBinaryWriter::WriteIdent(const QByteArray& s) {
  WriteByte(vaIdent);
  WriteShortStr(s);
}

void TKvBinaryWriter::WriteSet(const std::vector<QByteArray>& members) {
  WriteByte(vaSet);
  for (const QByteArray& m : members) WriteShortStr(m);
  WriteShortStr({});
}

void TKvBinaryWriter::WriteBinary(const QByteArray& bytes) {
  WriteByte(vaBinary);
  WriteLE<int32_t>(int32_t(bytes.size()));
  FOut.append(bytes);
}

void TKvBinaryWriter::WriteValue(const TKvValue& v) {
  switch (v.Type) {
    case vaList:
      WriteByte(vaList);
      for (const TKvValue& x : v.List) WriteValue(x);
      WriteListEnd();
      break;
    case vaInt8:
    case vaInt16:
    case vaInt32:
    case vaInt64:
      WriteInteger(v.Int);
      break;
    case vaExtended:
    case vaSingle:
    case vaCurrency:
    case vaDate:
    case vaDouble:
      WriteReal(v.AsReal());
      break;
    case vaString:
    case vaLString:
    case vaWString:
    case vaUTF8String:
      WriteString(v.Str);
      break;
    case vaIdent:
      WriteIdent(v.Str.toUtf8());
      break;
    case vaBinary:
      WriteBinary(v.Bytes);
      break;
    case vaSet:
      WriteSet(v.Set);
      break;
    case vaCollection:
      BeginCollection();
      for (const TKvCollectionItem& item : v.Items) {
        if (item.HasIndex) WriteInteger(item.Index);
        BeginItem();
        for (const TKvProperty& p : item.Props) {
          WritePropName(p.Name);
          WriteValue(p.V());
        }
        WriteListEnd();
      }
      WriteListEnd();
      break;
    default:  // vaNull, vaFalse, vaTrue, vaNil carry no payload
      WriteByte(v.Type);
      break;
  }
}

void TKvBinaryWriter::WriteObject(const TKvStreamObject& o) {
  WritePrefix(o.Flags, o.ChildPos);
  WriteObjectHeader(o.ClassName, o.Name);
  for (const TKvProperty& p : o.Props) {
    WritePropName(p.Name);
    WriteValue(p.V());
  }
  WriteListEnd();
  for (const TKvStreamObject& c : o.Children) WriteObject(c);
  WriteListEnd();
}

QByteArray KvWriteObjectBinary(const TKvStreamObject& o) {
  QByteArray out;
  TKvBinaryWriter w(out);
  w.WriteSignature();
  w.WriteObject(o);
  return out;
}

// ---- binary reader ----

namespace {

class TKvBinaryParser {
 public:
  TKvBinaryParser(const QByteArray& data, qsizetype pos) : FData(data), FPos(pos) {}
  qsizetype Pos() const { return FPos; }

  TKvStreamObject ReadObject(int depth) {
    if (depth > KvMaxStreamDepth) InvalidImage();
    TKvStreamObject o;
    uint8_t first = Peek();
    if ((first & 0xF0) == 0xF0) {
      ++FPos;
      o.Flags = first & 0x0F;
      if (o.Flags & ffChildPos) {
        TKvValue v = ReadValue(depth);
        if (!v.IsInteger()) InvalidImage();
        o.ChildPos = v.Int;
      }
    }
    o.ClassName = ReadShortStr();
    if (o.ClassName.isEmpty()) InvalidImage();
    o.Name = ReadShortStr();
    ReadProps(o.Props, depth);
    while (Peek() != vaNull) o.Children.push_back(ReadObject(depth + 1));
    ++FPos;
    return o;
  }

 private:
  uint8_t Peek() const {
    if (FPos >= FData.size()) ReadError();
    return uint8_t(FData[FPos]);
  }
  uint8_t Byte() {
    uint8_t b = Peek();
    ++FPos;
    return b;
  }
  const char* Take(qint64 n) {
    if (n < 0 || n > FData.size() - FPos) ReadError();
    const char* p = FData.constData() + FPos;
    FPos += n;
    return p;
  }
  template <typename T>
  T LE() {
    const unsigned char* p = reinterpret_cast<const unsigned char*>(Take(sizeof(T)));
    std::make_unsigned_t<T> u = 0;
    for (size_t i = sizeof(T); i-- > 0;) u = (u << 8) | p[i];
    return static_cast<T>(u);
  }
  QByteArray ReadShortStr() {
    uint8_t n = Byte();
    return QByteArray(Take(n), n);
  }
  void ReadProps(std::vector<TKvProperty>& props, int depth) {
    while (Peek() != vaNull) {
      TKvProperty p;
      p.Name = ReadShortStr();
      if (p.Name.isEmpty()) InvalidImage();
      p.Value.push_back(ReadValue(depth + 1));
      props.push_back(std::move(p));
    }
    ++FPos;
  }

  TKvValue ReadValue(int depth) {
    if (depth > KvMaxStreamDepth) InvalidImage();
    TKvValue v;
    v.Type = TValueType(Byte());
    switch (v.Type) {
      case vaNull:
      case vaFalse:
      case vaTrue:
      case vaNil:
        break;
      case vaList:
        while (Peek() != vaNull) v.List.push_back(ReadValue(depth + 1));
        ++FPos;
        break;
      case vaInt8:
        v.Int = LE<int8_t>();
        break;
      case vaInt16:
        v.Int = LE<int16_t>();
        break;
      case vaInt32:
        v.Int = LE<int32_t>();
        break;
      case vaInt64:
        v.Int = LE<int64_t>();
        break;
      case vaExtended:
        v.Real = KvExtendedToDouble(reinterpret_cast<const unsigned char*>(Take(10)));
        break;
      case vaSingle: {
        uint32_t u = LE<uint32_t>();
        float f;
        std::memcpy(&f, &u, 4);
        v.Real = f;
        break;
      }
      case vaDate:
      case vaDouble: {
        uint64_t u = LE<uint64_t>();
        std::memcpy(&v.Real, &u, 8);
        break;
      }
      case vaCurrency:
        v.Int = LE<int64_t>();
        break;
      case vaString:
      case vaIdent: {
        QByteArray s = ReadShortStr();
        v.Str = v.Type == vaIdent ? QString::fromUtf8(s) : QString::fromLatin1(s);
        break;
      }
      case vaLString: {
        int32_t n = LE<int32_t>();
        v.Str = QString::fromLatin1(Take(n), n);
        break;
      }
      case vaUTF8String: {
        int32_t n = LE<int32_t>();
        v.Str = QString::fromUtf8(Take(n), n);
        break;
      }
      case vaWString: {
        int32_t n = LE<int32_t>();
        if (n < 0 || n > (FData.size() - FPos) / 2) ReadError();
        v.Str.resize(n);
        for (int32_t i = 0; i < n; ++i) v.Str[i] = QChar(LE<uint16_t>());
        break;
      }
      case vaBinary: {
        int32_t n = LE<int32_t>();
        v.Bytes = QByteArray(Take(n), n);
        break;
      }
      case vaSet:
        for (;;) {
          QByteArray m = ReadShortStr();
          if (m.isEmpty()) break;
          v.Set.push_back(m);
        }
        break;
      case vaCollection:
        while (Peek() != vaNull) {
          TKvCollectionItem item;
          if (Peek() != vaList) {
            TKvValue index = ReadValue(depth + 1);
            if (!index.IsInteger()) InvalidImage();
            item.HasIndex = true;
            item.Index = index.Int;
          }
          if (Byte() != vaList) InvalidImage();
          ReadProps(item.Props, depth + 1);
          v.Items.push_back(std::move(item));
        }
        ++FPos;
        break;
      default:
        InvalidImage();
    }
    return v;
  }

  const QByteArray& FData;
  qsizetype FPos;
};

}  // namespace

TKvStreamObject KvReadObjectAt(const QByteArray& data, qsizetype& pos) {
  TKvBinaryParser p(data, pos);
  TKvStreamObject o = p.ReadObject(0);
  pos = p.Pos();
  return o;
}

TKvStreamObject KvReadObjectBinary(const QByteArray& data) {
  if (data.size() < 4 || std::memcmp(data.constData(), Signature, 4) != 0) InvalidImage();
  qsizetype pos = 4;
  return KvReadObjectAt(data, pos);
}

// ---- text writer ----

QByteArray KvRealToText(double v) {
  if (!std::isfinite(v)) throw EKvFilerError(SInvalidPropertyValue);
  char buf[64];
  auto r = std::to_chars(buf, buf + sizeof buf, v);
  QByteArray s(buf, int(r.ptr - buf));
  const qsizetype e = s.indexOf('e');
  QByteArray mant = e < 0 ? s : s.left(e);
  QByteArray exp = e < 0 ? QByteArray() : s.mid(e + 1);
  if (!mant.contains('.')) mant += ".0";
  if (exp.startsWith('+')) exp.remove(0, 1);
  const bool negative = exp.startsWith('-');
  if (negative) exp.remove(0, 1);
  while (exp.size() > 1 && exp.startsWith('0')) exp.remove(0, 1);
  if (negative) exp.prepend('-');
  return exp.isEmpty() ? mant : mant + 'E' + exp;
}

namespace {

// Names in the text form must scan back as the same single token.
const QByteArray& CheckedIdent(const QByteArray& s) {
  bool ok = !s.isEmpty() && !(s[0] >= '0' && s[0] <= '9') && s[0] != '.';
  for (char c : s)
    ok = ok && ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
                c == '_' || c == '.');
  if (!ok) throw EKvFilerError("Invalid identifier in the stream: " + s.left(64).toStdString());
  return s;
}

class TKvTextWriter {
 public:
  QByteArray Out;

  void Object(const TKvStreamObject& o, int level) {
    Indent(level);
    Out += (o.Flags & ffInherited) ? "inherited " : (o.Flags & ffInline) ? "inline " : "object ";
    if (!o.Name.isEmpty()) Out += CheckedIdent(o.Name) + ": ";
    Out += CheckedIdent(o.ClassName);
    if (o.Flags & ffChildPos) Out += " [" + QByteArray::number(o.ChildPos) + "]";
    Out += "\n";
    Props(o.Props, level + 1);
    for (const TKvStreamObject& c : o.Children) Object(c, level + 1);
    Indent(level);
    Out += "end\n";
  }

 private:
  void Indent(int level) { Out.append(2 * level, ' '); }
  qsizetype Column() const { return Out.size() - (Out.lastIndexOf('\n') + 1); }

  void Props(const std::vector<TKvProperty>& props, int level) {
    for (const TKvProperty& p : props) {
      Indent(level);
      Out += CheckedIdent(p.Name);
      Out += " = ";
      Value(p.V(), level);
      Out += "\n";
    }
  }

  void Value(const TKvValue& v, int level) {
    switch (v.Type) {
      case vaNull:
        Out += "Null";
        break;
      case vaNil:
        Out += "nil";
        break;
      case vaFalse:
        Out += "False";
        break;
      case vaTrue:
        Out += "True";
        break;
      case vaInt8:
      case vaInt16:
      case vaInt32:
      case vaInt64:
        Out += QByteArray::number(qlonglong(v.Int));
        break;
      case vaExtended:
      case vaSingle:
      case vaCurrency:
      case vaDate:
      case vaDouble:
        Out += KvRealToText(v.AsReal());
        break;
      case vaIdent:
        Out += CheckedIdent(v.Str.toUtf8());
        break;
      case vaString:
      case vaLString:
      case vaWString:
      case vaUTF8String:
        String(v.Str, level);
        break;
      case vaSet: {
        Out += "[";
        for (size_t i = 0; i < v.Set.size(); ++i) Out += (i ? "," : "") + CheckedIdent(v.Set[i]);
        Out += "]";
        break;
      }
      case vaBinary:
        Binary(v.Bytes, level);
        break;
      case vaList:
        Out += "(";
        for (const TKvValue& x : v.List) {
          Out += "\n";
          Indent(level + 1);
          Value(x, level + 1);
        }
        Out += ")";
        break;
      case vaCollection:
        Out += "<";
        for (const TKvCollectionItem& item : v.Items) {
          Out += "\n";
          Indent(level + 1);
          Out += "item";
          if (item.HasIndex) Out += " [" + QByteArray::number(qlonglong(item.Index)) + "]";
          Out += "\n";
          Props(item.Props, level + 2);
          Indent(level + 1);
          Out += "end";
        }
        Out += ">";
        break;
    }
  }

  // Printable 7-bit text inside quotes, everything else as #nnn; long strings go on over
  // further lines joined by a trailing '+'.
  void String(const QString& s, int level) {
    if (s.isEmpty()) {
      Out += "''";
      return;
    }
    bool quoted = false;
    for (qsizetype i = 0; i < s.size(); ++i) {
      if (i > 0 && Column() >= 64 + 2 * level) {
        if (quoted) Out += "'";
        quoted = false;
        Out += " +\n";
        Indent(level + 1);
      }
      const ushort c = s[i].unicode();
      if (c >= 32 && c < 127) {
        if (!quoted) Out += "'";
        quoted = true;
        Out += char(c);
        if (c == '\'') Out += '\'';
      } else {
        if (quoted) Out += "'";
        quoted = false;
        Out += "#" + QByteArray::number(c);
      }
    }
    if (quoted) Out += "'";
  }

  void Binary(const QByteArray& bytes, int level) {
    Out += "{";
    const QByteArray hex = bytes.toHex().toUpper();
    for (qsizetype i = 0; i < hex.size(); i += 64) {
      Out += "\n";
      Indent(level + 1);
      Out += hex.mid(i, 64);
    }
    Out += "}";
  }
};

}  // namespace

QByteArray KvWriteObjectText(const TKvStreamObject& o) {
  TKvTextWriter w;
  w.Out.reserve(1 << 16);
  w.Object(o, 0);
  return w.Out;
}

// ---- text parser ----

namespace {

enum TTokenKind { tkEof, tkSymbol, tkIdent, tkInteger, tkReal, tkString };

class TKvTextParser {
 public:
  explicit TKvTextParser(const QByteArray& text) : FText(text) { Next(); }

  TKvStreamObject Object(int depth) {
    if (depth > KvMaxStreamDepth) Error("Objects nested too deeply");
    TKvStreamObject o;
    if (IsIdent("inherited"))
      o.Flags |= ffInherited;
    else if (IsIdent("inline"))
      o.Flags |= ffInline;
    else if (!IsIdent("object"))
      Error("'object' expected");
    Next();
    QByteArray first = Ident();
    if (IsSymbol(':')) {
      Next();
      o.Name = first;
      o.ClassName = Ident();
    } else {
      o.ClassName = first;
    }
    if (IsSymbol('[')) {
      Next();
      o.Flags |= ffChildPos;
      o.ChildPos = Integer();
      Expect(']');
    }
    while (FKind == tkIdent && !IsObjectStart() && !IsIdent("end"))
      o.Props.push_back(Property(depth));
    while (IsObjectStart()) o.Children.push_back(Object(depth + 1));
    if (!IsIdent("end")) Error("'end' expected");
    Next();
    return o;
  }

  void ExpectEof() {
    if (FKind != tkEof) Error("End of file expected");
  }

 private:
  [[noreturn]] void Error(const char* what) {
    throw EKvParserError(
        QStringLiteral("%1 on line %2").arg(QLatin1String(what)).arg(FLine).toStdString());
  }
  bool IsIdent(const char* s) const {
    return FKind == tkIdent && FToken.compare(s, Qt::CaseInsensitive) == 0;
  }
  bool IsSymbol(char c) const { return FKind == tkSymbol && FToken.size() == 1 && FToken[0] == c; }
  bool IsObjectStart() const {
    return IsIdent("object") || IsIdent("inherited") || IsIdent("inline");
  }
  void Expect(char c) {
    if (!IsSymbol(c)) {
      const char msg[] = {'\'', c, '\'', ' ', 'e', 'x', 'p', 'e', 'c', 't', 'e', 'd', 0};
      Error(msg);
    }
    Next();
  }
  QByteArray Ident() {
    if (FKind != tkIdent) Error("Identifier expected");
    QByteArray s = FToken;
    Next();
    return s;
  }
  int64_t Integer() {
    if (FKind != tkInteger) Error("Integer expected");
    int64_t v = FInt;
    Next();
    return v;
  }

  TKvProperty Property(int depth) {
    TKvProperty p;
    p.Name = Ident();
    Expect('=');
    p.Value.push_back(Value(depth + 1));
    return p;
  }

  TKvValue Value(int depth) {
    if (depth > KvMaxStreamDepth) Error("Values nested too deeply");
    TKvValue v;
    switch (FKind) {
      case tkInteger:
        v.Type = FInt >= -128 && FInt <= 127              ? vaInt8
                 : FInt >= -32768 && FInt <= 32767        ? vaInt16
                 : FInt >= INT32_MIN && FInt <= INT32_MAX ? vaInt32
                                                          : vaInt64;
        v.Int = FInt;
        Next();
        return v;
      case tkReal:
        v.Type = vaExtended;
        v.Real = FReal;
        Next();
        return v;
      case tkString:
        v.Type = vaWString;  // the writer picks the tag from the text
        v.Str = FString;
        Next();
        while (IsSymbol('+')) {
          Next();
          if (FKind != tkString) Error("String expected");
          v.Str += FString;
          Next();
        }
        return v;
      case tkIdent:
        if (IsIdent("True"))
          v.Type = vaTrue;
        else if (IsIdent("False"))
          v.Type = vaFalse;
        else if (IsIdent("nil"))
          v.Type = vaNil;
        else if (IsIdent("Null"))
          v.Type = vaNull;
        else {
          v.Type = vaIdent;
          v.Str = QString::fromUtf8(FToken);
        }
        Next();
        return v;
      case tkSymbol:
        break;
      case tkEof:
        Error("Unexpected end of file");
    }
    if (IsSymbol('[')) {
      v.Type = vaSet;
      Next();
      if (!IsSymbol(']')) {
        for (;;) {
          v.Set.push_back(Ident());
          if (IsSymbol(']')) break;
          Expect(',');
        }
      }
      Next();
    } else if (IsSymbol('(')) {
      v.Type = vaList;
      Next();
      while (!IsSymbol(')')) v.List.push_back(Value(depth + 1));
      Next();
    } else if (IsSymbol('<')) {
      v.Type = vaCollection;
      Next();
      while (!IsSymbol('>')) {
        if (!IsIdent("item")) Error("'item' expected");
        Next();
        TKvCollectionItem item;
        if (IsSymbol('[')) {
          Next();
          item.HasIndex = true;
          item.Index = Integer();
          Expect(']');
        }
        while (!IsIdent("end")) {
          if (FKind != tkIdent) Error("Identifier expected");
          item.Props.push_back(Property(depth + 1));
        }
        Next();
        v.Items.push_back(std::move(item));
      }
      Next();
    } else if (IsSymbol('{')) {
      v.Type = vaBinary;
      v.Bytes = FBinary;
      Next();
    } else {
      Error("Invalid property value");
    }
    return v;
  }

  // ---- scanner ----
  char At(qsizetype i) const { return i < FText.size() ? FText[i] : '\0'; }
  static bool IdentStart(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
  }
  static bool IdentChar(char c) { return IdentStart(c) || (c >= '0' && c <= '9') || c == '.'; }
  static bool Digit(char c) { return c >= '0' && c <= '9'; }

  void Next() {
    while (FPos < FText.size() && uint8_t(FText[FPos]) <= ' ') {
      if (FText[FPos] == '\n') ++FLine;
      ++FPos;
    }
    FToken.clear();
    if (FPos >= FText.size()) {
      FKind = tkEof;
      return;
    }
    const char c = FText[FPos];
    if (IdentStart(c)) {
      const qsizetype start = FPos;
      while (IdentChar(At(FPos))) ++FPos;
      FToken = FText.mid(start, FPos - start);
      FKind = tkIdent;
    } else if (Digit(c) || ((c == '-' || c == '+') && Digit(At(FPos + 1)))) {
      Number();
    } else if (c == '\'' || c == '#') {
      StringToken();
    } else if (c == '{') {
      BinaryToken();
    } else {
      FToken = QByteArray(1, c);
      FKind = tkSymbol;
      ++FPos;
    }
  }

  void Number() {
    const qsizetype start = FPos;
    if (At(FPos) == '-' || At(FPos) == '+') ++FPos;
    while (Digit(At(FPos))) ++FPos;
    bool real = false;
    if (At(FPos) == '.' && Digit(At(FPos + 1))) {
      real = true;
      ++FPos;
      while (Digit(At(FPos))) ++FPos;
    }
    if (At(FPos) == 'E' || At(FPos) == 'e') {
      qsizetype p = FPos + 1;
      if (At(p) == '-' || At(p) == '+') ++p;
      if (Digit(At(p))) {
        real = true;
        FPos = p;
        while (Digit(At(FPos))) ++FPos;
      }
    }
    QByteArray s = FText.mid(start, FPos - start);
    if (s.startsWith('+')) s.remove(0, 1);
    bool ok = false;
    if (real) {
      const char* b = s.constData();
      auto r = std::from_chars(b, b + s.size(), FReal);
      ok = r.ec == std::errc() && r.ptr == b + s.size();
      FKind = tkReal;
    } else {
      FInt = s.toLongLong(&ok);
      FKind = tkInteger;
    }
    if (!ok) Error("Invalid number");
  }

  void StringToken() {
    FString.clear();
    for (;;) {
      if (At(FPos) == '\'') {
        ++FPos;
        for (;;) {
          if (FPos >= FText.size() || FText[FPos] == '\n' || FText[FPos] == '\r')
            Error("Unterminated string");
          if (FText[FPos] == '\'') {
            if (At(FPos + 1) != '\'') break;
            ++FPos;
          }
          // Text between quotes is taken as UTF-8, so files written by hand in it read back.
          qsizetype end = FPos + 1;
          if (uint8_t(FText[FPos]) >= 0x80)
            while (end < FText.size() && (uint8_t(FText[end]) & 0xC0) == 0x80) ++end;
          FString += QString::fromUtf8(FText.constData() + FPos, end - FPos);
          FPos = end;
        }
        ++FPos;
      } else if (At(FPos) == '#') {
        ++FPos;
        const qsizetype start = FPos;
        while (Digit(At(FPos))) ++FPos;
        bool ok = false;
        const int code = FText.mid(start, FPos - start).toInt(&ok);
        if (!ok || code > 0xFFFF) Error("Invalid character code");
        FString += QChar(ushort(code));
      } else {
        break;
      }
    }
    FKind = tkString;
  }

  void BinaryToken() {
    ++FPos;
    QByteArray hex;
    while (FPos < FText.size() && FText[FPos] != '}') {
      const char c = FText[FPos++];
      if (c == '\n') ++FLine;
      if (uint8_t(c) <= ' ') continue;
      if (!std::isxdigit(uint8_t(c))) Error("Invalid binary value");
      hex += c;
    }
    if (FPos >= FText.size()) Error("Unterminated binary value");
    ++FPos;
    if (hex.size() % 2) Error("Invalid binary value");
    FBinary = QByteArray::fromHex(hex);
    FKind = tkSymbol;
    FToken = "{";
  }

  const QByteArray& FText;
  qsizetype FPos = 0;
  int FLine = 1;
  TTokenKind FKind = tkEof;
  QByteArray FToken;
  int64_t FInt = 0;
  double FReal = 0;
  QString FString;
  QByteArray FBinary;
};

}  // namespace

TKvStreamObject KvReadObjectText(const QByteArray& text) {
  TKvTextParser p(text);
  TKvStreamObject o = p.Object(0);
  p.ExpectEof();
  return o;
}

QByteArray KvObjectBinaryToText(const QByteArray& binary) {
  return KvWriteObjectText(KvReadObjectBinary(binary));
}

QByteArray KvObjectTextToBinary(const QByteArray& text) {
  return KvWriteObjectBinary(KvReadObjectText(text));
}
