// The object stream on its own: the writer's tag choices byte by byte, the text form and the
// two converters, and what damaged input does to the readers. What a diagram writes into the
// stream is covered by the persistence suite.
#include <gtest/gtest.h>

#include <QLocale>

#include "KvObjectStream.h"

namespace {

QByteArray Hex(const char* hex) {
  return QByteArray::fromHex(hex);
}

template <typename F>
QByteArray Written(F write) {
  QByteArray out;
  TKvBinaryWriter w(out);
  write(w);
  return out;
}

// A stream of one nameless object of class C with the given property bytes.
QByteArray OneObject(const QByteArray& props) {
  return QByteArray("TPF0") + char(1) + 'C' + char(0) + props + char(0) + char(0);
}

QByteArray Prop(const char* name, const QByteArray& value) {
  return char(qstrlen(name)) + QByteArray(name) + value;
}

std::string ReadError(const QByteArray& bytes) {
  try {
    KvReadObjectBinary(bytes);
  } catch (const EKvFilerError& e) {
    return e.what();
  }
  return "no error";
}

std::string ParseError(const QByteArray& text) {
  try {
    KvReadObjectText(text);
  } catch (const EKvFilerError& e) {
    return e.what();
  }
  return "no error";
}

}  // namespace

TEST(ObjectStreamWriter, IntegersTakeTheSmallestTagThatHoldsThem) {
  struct Row {
    int64_t Value;
    const char* Bytes;
  } rows[] = {
      {0, "0200"},
      {127, "027f"},
      {-128, "0280"},
      {128, "038000"},
      {-129, "037fff"},
      {32767, "03ff7f"},
      {-32768, "030080"},
      {32768, "0400800000"},
      {-32769, "04ff7fffff"},
      {2147483647, "04ffffff7f"},
      {2147483648LL, "130000008000000000"},
      {-2147483649LL, "13ffffff7fffffffff"},
  };
  for (const Row& r : rows)
    EXPECT_EQ(Written([&](TKvBinaryWriter& w) { w.WriteInteger(r.Value); }).toHex(), r.Bytes)
        << r.Value;
}

TEST(ObjectStreamWriter, EveryRealIsAnEightyBitExtended) {
  // Tag, eight mantissa bytes with the integer bit, then sign and exponent.
  EXPECT_EQ(Written([](TKvBinaryWriter& w) { w.WriteReal(0.0); }).toHex(),
            QByteArray("0500000000000000000000"));
  EXPECT_EQ(Written([](TKvBinaryWriter& w) { w.WriteReal(1.0); }).toHex(),
            QByteArray("050000000000000080ff3f"));
  EXPECT_EQ(Written([](TKvBinaryWriter& w) { w.WriteReal(8.0); }).toHex(),
            QByteArray("0500000000000000800240"));
  EXPECT_EQ(Written([](TKvBinaryWriter& w) { w.WriteReal(15.0); }).toHex(),
            QByteArray("0500000000000000f00240"));
  EXPECT_EQ(Written([](TKvBinaryWriter& w) { w.WriteReal(-2.5); }).toHex(),
            QByteArray("0500000000000000a000c0"));
  // Doubles survive the trip through extended exactly, subnormals included.
  for (double v : {0.1, 209.97333333333336, -1e300, 4.9e-324, 1.0 / 3.0}) {
    unsigned char ext[10];
    KvDoubleToExtended(v, ext);
    EXPECT_EQ(KvExtendedToDouble(ext), v);
  }
}

TEST(ObjectStreamWriter, StringTagFollowsTheUtf8Rule) {
  auto bytes = [](const QString& s) {
    return Written([&](TKvBinaryWriter& w) { w.WriteString(s); }).toHex();
  };
  EXPECT_EQ(bytes("abc"), "0603616263");
  EXPECT_EQ(bytes(QString(256, 'a')).left(10), "0c00010000");
  EXPECT_EQ(bytes(QString(255, 'a')).left(4), "06ff");
  // Mostly two-byte text: UTF-8 not shorter than twice the units, so UTF-16 it is.
  EXPECT_EQ(bytes(QString::fromUtf8("\u00e9")), "1201000000e900");
  EXPECT_EQ(bytes(QString::fromUtf8("\u20ac")), "1201000000ac20");
  // Mostly 7-bit text with a few others: UTF-8.
  EXPECT_EQ(bytes(QString::fromUtf8("\u00c41")), "1403000000c38431");
  EXPECT_EQ(bytes(QString::fromUtf8("dB \u00b0C")), "1406000000644220c2b043");
}

TEST(ObjectStreamWriter, IdentsSetsBinaryAndCollections) {
  EXPECT_EQ(Written([](TKvBinaryWriter& w) { w.WriteIdent("clWhite"); }).toHex(),
            "0707636c5768697465");
  EXPECT_EQ(Written([](TKvBinaryWriter& w) {
              w.WriteSet({"fsBold", "fsItalic"});
            }).toHex(),
            "0b066673426f6c64"
            "0866734974616c696300");
  EXPECT_EQ(Written([](TKvBinaryWriter& w) { w.WriteBinary(Hex("04000000")); }).toHex(),
            "0a0400000004000000");
  TKvValue coll;
  coll.Type = vaCollection;
  coll.Items.resize(1);
  TKvValue x;
  x.Type = vaInt8;
  x.Int = 5;
  coll.Items[0].Props.push_back({"X", {x}});
  EXPECT_EQ(Written([&](TKvBinaryWriter& w) { w.WriteValue(coll); }).toHex(), "0e01015802050000");
}

TEST(ObjectStreamText, ValuesAsTheTextFormWritesThem) {
  const QByteArray bin =
      OneObject(Prop("I", Hex("02f7")) + Prop("R", Hex("0500000000000000800240")) +
                Prop("S", Hex("060b") + "SENDING\r\nx'") + Prop("E", Hex("0707") + "clWhite") +
                Prop("B", Hex("09")) + Prop("N", Hex("0d")) +
                Prop("Z", Hex("0b02") + "aa" + Hex("02") + "bb" + Hex("00")) +
                Prop("L", Hex("010201020200")));
  EXPECT_EQ(KvObjectBinaryToText(bin),
            "object C\n"
            "  I = -9\n"
            "  R = 8.0\n"
            "  S = 'SENDING'#13#10'x'''\n"
            "  E = clWhite\n"
            "  B = True\n"
            "  N = nil\n"
            "  Z = [aa,bb]\n"
            "  L = (\n"
            "    1\n"
            "    2)\n"
            "end\n");
}

TEST(ObjectStreamText, NestedObjectsCollectionsAndBinaryLines) {
  TKvStreamObject root;
  root.ClassName = "TKvDiagram";
  TKvStreamObject child;
  child.ClassName = "TTextBlock";
  child.Name = "TextBlock1";
  TKvValue cells;
  cells.Type = vaCollection;
  cells.Items.resize(2);
  TKvValue t;
  t.Type = vaTrue;
  cells.Items[0].Props.push_back({"DControlAngle", {t}});
  TKvValue bin;
  bin.Type = vaBinary;
  bin.Bytes = QByteArray(40, char(0xAB));
  child.Props.push_back({"TextCells", {cells}});
  child.Props.push_back({"Bitmap.Data", {bin}});
  root.Children.push_back(child);
  EXPECT_EQ(KvWriteObjectText(root),
            "object TKvDiagram\n"
            "  object TextBlock1: TTextBlock\n"
            "    TextCells = <\n"
            "      item\n"
            "        DControlAngle = True\n"
            "      end\n"
            "      item\n"
            "      end>\n"
            "    Bitmap.Data = {\n"
            "      " +
                QByteArray(64, 'A').replace("AA", "AB") +
                "\n"
                "      " +
                QByteArray(16, 'A').replace("AA", "AB") +
                "}\n"
                "  end\n"
                "end\n");
}

TEST(ObjectStreamText, LongStringsAreSplitAndJoinedAgain) {
  const QString text = QString(150, 'x') + QChar(0x20AC) + QString(30, 'y');
  TKvStreamObject o;
  o.ClassName = "C";
  TKvValue s;
  s.Type = vaWString;
  s.Str = text;
  o.Props.push_back({"Text", {s}});
  const QByteArray written = KvWriteObjectText(o);
  EXPECT_GE(written.count(" +\n"), 2);
  for (const QByteArray& line : written.split('\n')) EXPECT_LE(line.size(), 80);
  const TKvStreamObject back = KvReadObjectText(written);
  EXPECT_EQ(back.Props[0].V().Str, text);
}

TEST(ObjectStreamText, RealsKeepEveryDigitAndAPoint) {
  EXPECT_EQ(KvRealToText(8), "8.0");
  EXPECT_EQ(KvRealToText(-0.5), "-0.5");
  EXPECT_EQ(KvRealToText(209.9733333333334), "209.9733333333334");
  EXPECT_EQ(KvRealToText(1e22), "1.0E22");
  EXPECT_EQ(KvRealToText(1.5e-7), "1.5E-7");
  for (double v : {0.1, 1.0 / 3.0, 1e22, 1.5e-7, 123456789.125})
    EXPECT_EQ(KvReadObjectText("object C R = " + KvRealToText(v) + " end").Props[0].V().Real, v);
}

TEST(ObjectStreamText, TheFormDoesNotDependOnTheLocale) {
  const QByteArray text = "object C\n  R = 1234.5\n  I = -3\nend\n";
  const QByteArray bin = KvObjectTextToBinary(text);
  for (const char* name : {"C", "en_US", "de_DE", "fr_FR"}) {
    QLocale::setDefault(QLocale(QString::fromLatin1(name)));
    EXPECT_EQ(KvObjectTextToBinary(text), bin) << name;
    EXPECT_EQ(KvObjectBinaryToText(bin), text) << name;
  }
  QLocale::setDefault(QLocale::c());
}

TEST(ObjectStreamConverters, TextAndBinaryDescribeTheSameTree) {
  const QByteArray text =
      "object TKvDiagram\n"
      "  Zoom = 150\n"
      "  Big = 3000000000\n"
      "  Name = 'Pegel '#8364' dB'\n"
      "  Empty = ''\n"
      "  Set = []\n"
      "  object Block1: TDiagramBlock\n"
      "    Left = 10.0\n"
      "    TextCells = <>\n"
      "  end\n"
      "  inherited Block2: TDiagramBlock [3]\n"
      "  end\n"
      "end\n";
  const QByteArray bin = KvObjectTextToBinary(text);
  EXPECT_EQ(KvObjectBinaryToText(bin), text);
  EXPECT_EQ(KvObjectTextToBinary(KvObjectBinaryToText(bin)), bin);
  EXPECT_TRUE(bin.contains(Hex("045a6f6f6d039600")));  // "Zoom" vaInt16 150
  EXPECT_TRUE(bin.contains(Hex("0342696713005ed0b200000000")));
  EXPECT_TRUE(bin.contains(Hex("f30203") + char(13) + "TDiagramBlock"));  // inherited, child pos
}

TEST(ObjectStreamConverters, ReaderTakesEveryTagOfAKind) {
  const QByteArray bin = OneObject(
      Prop("D", Hex("15") + Hex("0000000000000440")) +  // vaDouble 2.5
      Prop("F", Hex("0f") + Hex("00002040")) +          // vaSingle 2.5
      Prop("C", Hex("10") + Hex("a861000000000000")) +  // vaCurrency 2.5
      Prop("W", Hex("1202000000") + Hex("41004200")) + Prop("U", Hex("1402000000") + "AB") +
      Prop("L", Hex("0c02000000") + "AB") + Prop("Q", Hex("130500000000000000")));
  const TKvStreamObject o = KvReadObjectBinary(bin);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(o.Props[i].V().AsReal(), 2.5) << i;
  for (int i = 3; i < 6; ++i) EXPECT_EQ(o.Props[i].V().AsString(), "AB") << i;
  EXPECT_EQ(o.Props[6].V().AsInteger(), 5);
  EXPECT_EQ(o.Props[6].V().AsReal(), 5.0);
  EXPECT_THROW(o.Props[3].V().AsInteger(), EKvReadError);
  EXPECT_THROW(o.Props[0].V().AsBoolean(), EKvReadError);
}

TEST(ObjectStreamDamage, EveryTruncationFailsCleanly) {
  const QByteArray bin = KvObjectTextToBinary(
      "object TKvDiagram\n  A = 'abc'\n  B = {0102}\n  C = <\n    item\n      X = 1.5\n    end>\n"
      "  D = [x]\n  E = (\n    1)\n  object B1: TDiagramBlock\n    Left = 1.0\n  end\nend\n");
  ASSERT_NO_THROW(KvReadObjectBinary(bin));
  for (qsizetype n = 0; n < bin.size(); ++n)
    EXPECT_THROW(KvReadObjectBinary(bin.left(n)), EKvFilerError) << n;
}

TEST(ObjectStreamDamage, HugeLengthsAndUnknownTagsAreRefused) {
  EXPECT_EQ(ReadError("XPF0"), "Invalid stream format");
  EXPECT_EQ(ReadError(OneObject(Prop("B", Hex("0affffff7f")))), "Stream read error");
  EXPECT_EQ(ReadError(OneObject(Prop("B", Hex("0a00000080")))), "Stream read error");
  EXPECT_EQ(ReadError(OneObject(Prop("W", Hex("12ffffff3f") + "ab"))), "Stream read error");
  EXPECT_EQ(ReadError(OneObject(Prop("S", Hex("14ffffff7f")))), "Stream read error");
  EXPECT_EQ(ReadError(OneObject(Prop("X", Hex("16")))), "Invalid stream format");
  EXPECT_EQ(ReadError(QByteArray("TPF0") + char(0) + char(0)), "Invalid stream format");
}

TEST(ObjectStreamDamage, DeepNestingIsRefusedInBothForms) {
  const QByteArray deepList =
      OneObject(Prop("L", QByteArray(5000, char(vaList)) + QByteArray(5001, 0)));
  EXPECT_EQ(ReadError(deepList), "Invalid stream format");
  QByteArray objects = "TPF0";
  for (int i = 0; i < 5000; ++i) objects += Hex("0143") + char(0) + char(0);
  EXPECT_EQ(ReadError(objects), "Invalid stream format");
  EXPECT_EQ(ParseError("object C L = " + QByteArray(5000, '(') + QByteArray(5000, ')') + " end"),
            "Values nested too deeply on line 1");
  QByteArray text;
  for (int i = 0; i < 5000; ++i) text += "object C\n";
  EXPECT_EQ(ParseError(text), "Objects nested too deeply on line 66");
}

TEST(ObjectStreamDamage, MalformedTextNamesTheLine) {
  EXPECT_EQ(ParseError("object C\n  A = 1\n  B 2\nend\n"), "'=' expected on line 3");
  EXPECT_EQ(ParseError("object C\n  A = 'open\nend\n"), "Unterminated string on line 2");
  EXPECT_EQ(ParseError("object C\n  A = {0G}\nend\n"), "Invalid binary value on line 2");
  EXPECT_EQ(ParseError("object C\n  A = 1\n"), "'end' expected on line 3");
  EXPECT_EQ(ParseError("object C\nend\nextra"), "End of file expected on line 3");
  EXPECT_EQ(ParseError("thing C end"), "'object' expected on line 1");
}
