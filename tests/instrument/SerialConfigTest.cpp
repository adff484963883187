// A port's settings as a record and as the 95-digit text: texts written here by hand (not by
// ConfigToStr) are read back, the reader's kept oddities included, and the text is the same in
// every locale.
#include <QLocale>
#include <clocale>

#include "Serial.h"
#include "gtest/gtest.h"

namespace {
// The check value as the last three digits: all bytes before it combined by exclusive or.
QString WithCheck(const QString& body92) {
  uint8_t x = 0;
  for (QChar c : body92) x ^= uint8_t(c.toLatin1());
  return body92 + QString::number(x).rightJustified(3, '0');
}

// A port's defaults, field by field in the text's order.
QString DefaultsBody() {
  return QString("RRS1") + "000" + "009600" + "4" + "0" + "0" + "00016384" + "00016384" + "00000" +
         "017" + "019" + "00008192" + "00000512" + "063" + "026" + "013" + "0000" + "0000000000" +
         "0000000000";
}

// The body with the field at offset replaced.
QString Patched(int at, const QString& digits) {
  QString body = DefaultsBody();
  body.replace(at, digits.size(), digits);
  return WithCheck(body);
}
}  // namespace

TEST(SerialConfigTest, TheDefaultsWriteTheTextByTheTableInEveryLocale) {
  const QString expected = WithCheck(DefaultsBody());
  ASSERT_EQ(expected.size(), 95);
  const QLocale before;
  for (const char* name : {"C", "en_US", "de_DE", "fr_FR"}) {
    QLocale::setDefault(QLocale(name));
    std::setlocale(LC_ALL, (std::string(name) + ".UTF-8").c_str());
    TSerial serial(nullptr);
    EXPECT_EQ(serial.ConfigToStr(serial.GetConfig()), expected) << name;
    const TSerialConfig back = serial.StrToConfig(expected);
    EXPECT_TRUE(back.Valid) << name;
    EXPECT_EQ(back.BufSizeRec, 16384) << name;
  }
  QLocale::setDefault(before);
  std::setlocale(LC_ALL, "C");
}

TEST(SerialConfigTest, AnInvalidRecordGivesAnEmptyTextAndWideNumbersKeepTheirLeadingDigits) {
  TSerial serial(nullptr);
  TSerialConfig c = serial.GetConfig();
  c.Valid = false;
  EXPECT_EQ(serial.ConfigToStr(c), "");
  c.Valid = true;
  c.Baudrate = 1234567;
  c.COMPort = 12;
  c.RecTimeOut = 250;
  const QString text = serial.ConfigToStr(c);
  EXPECT_EQ(text.mid(4, 3), "012");
  EXPECT_EQ(text.mid(7, 6), "123456");
  EXPECT_EQ(text.mid(72, 10), "0000000250");
}

TEST(SerialConfigTest, ARoundTripLosesTheFlowCharactersToTheReadersOffsets) {
  TSerial serial(nullptr);
  serial.DTRActive = true;
  serial.XOnChar = 0x11;
  const TSerialConfig back = serial.StrToConfig(serial.ConfigToStr(serial.GetConfig()));
  EXPECT_TRUE(back.Valid);
  // Read from offsets 33 and 36: the digits of DtrDsr, XOnXOff, RTS ("000") and of DTR with
  // the first two of the XOn character ("101").
  EXPECT_EQ(back.XOnChar, 0);
  EXPECT_EQ(back.XOffChar, 101);
  EXPECT_TRUE(back.DTRActive);
  EXPECT_EQ(back.EventChar, 13);
}

TEST(SerialConfigTest, TextsThatFailKeepWhatWasReadAndSayInvalid) {
  struct Row {
    const char* Name;
    QString Text;
    bool Valid;
  };
  QString oneDigitChanged = WithCheck(DefaultsBody());
  oneDigitChanged[10] = '7';
  const Row rows[] = {
      {"one digit changed", oneDigitChanged, false},
      {"wrong magic", WithCheck("RRS2" + DefaultsBody().mid(4)), false},
      {"too short", "RRS1", false},
      {"baud rate 49 over a valid text", QString(WithCheck(DefaultsBody())).replace(7, 6, "000049"),
       false},
      {"a letter in a late field", Patched(80, "x"), false},
      {"a letter in the XOn limit", Patched(55, "x"), false},
      // The XOn limit is read whatever came before, and its outcome is the chain's: failures
      // of the fields before it are forgotten when the check value holds.
      {"baud rate 49, checked", Patched(7, "000049"), true},
      {"baud rate 921601, checked", Patched(7, "921601"), true},
      {"data bits 7", Patched(13, "7"), true},
      {"parity 5", Patched(14, "5"), true},
      {"stop bits 3", Patched(15, "3"), true},
  };
  TSerial serial(nullptr);
  serial.SetBaudrate(19200);
  for (const Row& r : rows) {
    const TSerialConfig c = serial.StrToConfig(r.Text);
    EXPECT_EQ(c.Valid, r.Valid) << r.Name;
  }

  // What was read before a failure stays; what comes after keeps the port's own value.
  serial.SetTrmTimeOut(777);
  serial.SetBufSizeTrm(5000);
  const TSerialConfig partly = serial.StrToConfig(Patched(72, "00000x0250"));
  EXPECT_FALSE(partly.Valid);
  EXPECT_EQ(partly.Baudrate, 9600);
  EXPECT_EQ(partly.TrmTimeOut, 777);
  const TSerialConfig forgotten = serial.StrToConfig(Patched(13, "7"));
  EXPECT_EQ(forgotten.DataBits, db_8);    // failed
  EXPECT_EQ(forgotten.BufSizeTrm, 5000);  // never read
  EXPECT_EQ(forgotten.Baudrate, 9600);    // read before the failure
  EXPECT_EQ(forgotten.TrmTimeOut, 0);     // read again after the XOn limit
}

TEST(SerialConfigTest, SetConfigAppliesThroughTheSettersAndIgnoresInvalidRecords) {
  TSerial serial(nullptr);
  TSerialConfig c = serial.GetConfig();
  c.Baudrate = 7000;
  c.BufSizeRec = 1000;
  c.XOffLimit = 9000;
  c.XOnLimit = 9000;
  c.ParityBit = even;
  c.RecTimeOut = -3;
  serial.SetConfig(c);
  EXPECT_EQ(serial.Baudrate(), 7003);
  EXPECT_EQ(serial.BufSizeRec(), 4096);
  EXPECT_EQ(serial.XOffLimit(), 4096);
  EXPECT_EQ(serial.XOnLimit(), 4095);
  EXPECT_TRUE(serial.ParityCheck());
  EXPECT_EQ(serial.RecTimeOut(), 0);

  c.Valid = false;
  c.Baudrate = 300;
  serial.SetConfig(c);
  EXPECT_EQ(serial.Baudrate(), 7003);
}
