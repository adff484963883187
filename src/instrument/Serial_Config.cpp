// A port's settings as one value and as one line of digits.
#include <QByteArray>

#include "Serial.h"

namespace {
// Where each field sits in the text; the check value covers everything before it.
constexpr int kCheckAt = 92;
const char kMagic[] = "RRS1";

class TConfigWriter {
 public:
  TConfigWriter() : FBuf(128, '\0') { FBuf.replace(0, 4, kMagic); }
  // Right-aligned with leading zeros; a wider number keeps its leading digits.
  void Put(int at, int width, long long value) {
    const QByteArray digits = QByteArray::number(value).rightJustified(width, '0').left(width);
    FBuf.replace(at, width, digits);
  }
  QString Text() {
    uint8_t check = 0;
    for (int i = 0; i < kCheckAt; ++i) check ^= uint8_t(FBuf[i]);
    Put(kCheckAt, 3, check);
    return QString::fromLatin1(FBuf.left(qstrnlen(FBuf.constData(), FBuf.size())));
  }

 private:
  QByteArray FBuf;
};

class TConfigReader {
 public:
  explicit TConfigReader(const QByteArray& text) : FText(text) {}
  // The number in the field, or nothing when it isn't one.
  bool Number(int at, int width, long long& value) const {
    if (at + width > FText.size()) return false;
    const QByteArray field = FText.mid(at, width);
    for (char c : field)
      if (c < '0' || c > '9') return false;
    value = field.toLongLong();
    return true;
  }
  bool CheckValueHolds() const {
    uint8_t check = 0;
    for (int i = 0; i < kCheckAt && i < FText.size(); ++i) check ^= uint8_t(FText[i]);
    long long stated = -1;
    return Number(kCheckAt, 3, stated) && stated == check;
  }

 private:
  QByteArray FText;
};
}  // namespace

TSerialConfig TSerial::GetConfig() const {
  TSerialConfig c;
  c.Valid = true;
  c.COMPort = FCOMPort;
  c.Baudrate = FBaudrate;
  c.DataBits = DataBits;
  c.ParityBit = FParityBit;
  c.StopBits = StopBits;
  c.BufSizeTrm = FBufSizeTrm;
  c.BufSizeRec = FBufSizeRec;
  c.HandshakeRtsCts = HandshakeRtsCts;
  c.HandshakeDtrDsr = HandshakeDtrDsr;
  c.HandshakeXOnXOff = HandshakeXOnXOff;
  c.RTSActive = RTSActive;
  c.DTRActive = DTRActive;
  c.XOnChar = XOnChar;
  c.XOffChar = XOffChar;
  c.XOffLimit = FXOffLimit;
  c.XOnLimit = FXOnLimit;
  c.ErrorChar = ErrorChar;
  c.EofChar = EofChar;
  c.EventChar = EventChar;
  c.ContinueOnXOff = ContinueOnXOff;
  c.UseErrorChar = UseErrorChar;
  c.EliminateNullChar = EliminateNullChar;
  c.AbortOnError = AbortOnError;
  c.RecTimeOut = FRecTimeOut;
  c.TrmTimeOut = FTrmTimeOut;
  return c;
}

void TSerial::SetConfig(const TSerialConfig& c) {
  if (!c.Valid) return;
  SetCOMPort(c.COMPort);
  SetBaudrate(c.Baudrate);
  DataBits = c.DataBits;
  SetParityBit(c.ParityBit);
  StopBits = c.StopBits;
  SetBufSizeTrm(c.BufSizeTrm);
  SetBufSizeRec(c.BufSizeRec);
  HandshakeRtsCts = c.HandshakeRtsCts;
  HandshakeDtrDsr = c.HandshakeDtrDsr;
  HandshakeXOnXOff = c.HandshakeXOnXOff;
  RTSActive = c.RTSActive;
  DTRActive = c.DTRActive;
  XOnChar = c.XOnChar;
  XOffChar = c.XOffChar;
  SetXOffLimit(c.XOffLimit);
  SetXOnLimit(c.XOnLimit);
  ErrorChar = c.ErrorChar;
  EofChar = c.EofChar;
  EventChar = c.EventChar;
  ContinueOnXOff = c.ContinueOnXOff;
  UseErrorChar = c.UseErrorChar;
  EliminateNullChar = c.EliminateNullChar;
  AbortOnError = c.AbortOnError;
  SetRecTimeOut(c.RecTimeOut);
  SetTrmTimeOut(c.TrmTimeOut);
}

QString TSerial::ConfigToStr(const TSerialConfig& c) const {
  if (!c.Valid) return QString();
  TConfigWriter w;
  w.Put(4, 3, c.COMPort);
  w.Put(7, 6, c.Baudrate);
  w.Put(13, 1, c.DataBits);
  w.Put(14, 1, c.ParityBit);
  w.Put(15, 1, c.StopBits);
  w.Put(16, 8, c.BufSizeTrm);
  w.Put(24, 8, c.BufSizeRec);
  w.Put(32, 1, c.HandshakeRtsCts);
  w.Put(33, 1, c.HandshakeDtrDsr);
  w.Put(34, 1, c.HandshakeXOnXOff);
  w.Put(35, 1, c.RTSActive);
  w.Put(36, 1, c.DTRActive);
  w.Put(37, 3, c.XOnChar);
  w.Put(40, 3, c.XOffChar);
  w.Put(43, 8, c.XOffLimit);
  w.Put(51, 8, c.XOnLimit);
  w.Put(59, 3, c.ErrorChar);
  w.Put(62, 3, c.EofChar);
  w.Put(65, 3, c.EventChar);
  w.Put(68, 1, c.ContinueOnXOff);
  w.Put(69, 1, c.UseErrorChar);
  w.Put(70, 1, c.EliminateNullChar);
  w.Put(71, 1, c.AbortOnError);
  w.Put(72, 10, c.RecTimeOut);
  w.Put(82, 10, c.TrmTimeOut);
  return w.Text();
}

TSerialConfig TSerial::StrToConfig(const QString& text) const {
  TSerialConfig c = GetConfig();
  c.Valid = false;
  if (text.size() < 5) return c;
  const QByteArray bytes = text.toLatin1();
  const TConfigReader r(bytes);
  if (!bytes.startsWith(kMagic) || !r.CheckValueHolds()) return c;

  // Each field is read while the chain holds; the first that isn't a number or fails its
  // test ends it.
  bool chain = true;
  long long v = 0;
  auto field = [&](int at, int width, auto test, auto apply) {
    if (!chain) return;
    chain = r.Number(at, width, v) && test(v);
    if (chain) apply(v);
  };
  auto any = [](long long) { return true; };
  auto flag = [&](int at, bool& target) {
    field(at, 1, any, [&](long long x) { target = x > 0; });
  };
  // Characters never fail; the text keeps them where they are written, but they are taken
  // from three places further on, where neighbouring flags stand.
  auto character = [&](int at, uint8_t& target) {
    if (chain && r.Number(at, 3, v)) target = uint8_t(v);
  };

  field(4, 3, any, [&](long long x) { c.COMPort = int(x); });
  field(
      7, 6, [](long long x) { return x >= 50 && x <= 921600; },
      [&](long long x) { c.Baudrate = int(x); });
  field(
      13, 1, [](long long x) { return x < 5; }, [&](long long x) { c.DataBits = TDataBits(x); });
  field(
      14, 1, [](long long x) { return x < 5; }, [&](long long x) { c.ParityBit = TParityBit(x); });
  field(
      15, 1, [](long long x) { return x < 3; }, [&](long long x) { c.StopBits = TStopBits(x); });
  field(16, 8, any, [&](long long x) { c.BufSizeTrm = int(x); });
  field(24, 8, any, [&](long long x) { c.BufSizeRec = int(x); });
  flag(32, c.HandshakeRtsCts);
  flag(33, c.HandshakeDtrDsr);
  flag(34, c.HandshakeXOnXOff);
  flag(35, c.RTSActive);
  flag(36, c.DTRActive);
  character(33, c.XOnChar);
  character(36, c.XOffChar);
  field(43, 8, any, [&](long long x) { c.XOffLimit = int(x); });
  // This field is read whatever came before, and its outcome is the chain's from here on.
  chain = r.Number(51, 8, v);
  if (chain) c.XOnLimit = int(v);
  character(59, c.ErrorChar);
  character(62, c.EofChar);
  character(65, c.EventChar);
  flag(68, c.ContinueOnXOff);
  flag(69, c.UseErrorChar);
  flag(70, c.EliminateNullChar);
  flag(71, c.AbortOnError);
  field(72, 10, any, [&](long long x) { c.RecTimeOut = int(x); });
  field(82, 10, any, [&](long long x) { c.TrmTimeOut = int(x); });
  c.Valid = chain;
  return c;
}
