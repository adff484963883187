#include "UDmKv_COM_Commander.h"

#include <QThread>
#include <algorithm>
#include <cmath>
#include <cstring>

#include "KvAppServices.h"
#include "KvDialogs.h"
#include "KvLocale.h"
#include "KvRecordingJournal.h"

TDmKv_COM_Commander* DmKv_COM_Commander = nullptr;

namespace {
const char* const kModuleLoaded = "DmKvBasic: Module already loaded";

struct TRange {
  const char* Text;
  double Lo, Hi;
};
const TRange kRanges[7] = {{"30 -  80 dB ", 30.0, 80.0},  {"40 -  90 dB ", 40.0, 90.0},
                           {"50 - 100 dB ", 50.0, 100.0}, {"60 - 110 dB ", 60.0, 110.0},
                           {"70 - 120 dB ", 70.0, 120.0}, {"80 - 130 dB ", 80.0, 130.0},
                           {"30 - 130 dB ", 30.0, 130.0}};

// At least one digit: a byte that isn't a digit shows whole, which is what the raw line is for.
QString Hex1(int v) {
  return QString::number(v & 0xFF, 16).toUpper();
}
QString Hex2(int v) {
  return QString::number(v & 0xFF, 16).toUpper().rightJustified(2, '0');
}
QString Blanks(int n) {
  return QString(n, ' ');
}
QString Digits(const TKvBuf& b, int pos) {
  return Hex1(b[pos]) + Hex1(b[pos + 1]);
}
int Pair(const TKvBuf& b, int pos) {
  return b[pos] * 10 + b[pos + 1];
}
QString Com(int port) {
  return QString("COM%1").arg(port);
}
}  // namespace

TDmKv_COM_Commander::TDmKv_COM_Commander(TKvSerialPort* serial, TKvPortList* ports,
                                         TKvSerialDialogs* dialogs, QObject* owner)
    : QObject(owner), Serial(serial), COMManager(ports), SerialDialogs(dialogs) {
  setObjectName("DmKv_COM_Commander");
  if (DmKv_COM_Commander)
    MessageDlg(kModuleLoaded, TMsgDlgType::mtError, mbOK);
  else
    DmKv_COM_Commander = this;

  JvTimerList1 = new TKvTimerList(this);
  JvTimerList1->setObjectName("JvTimerList1");
  JvTimerList1->AddEvent(1000, true)->OnTimer = [this] { JvTimerList1Events0Timer(); };
  FTimerStatusBar = new TKvTimer(this, 100, true);
  FTimerStatusBar->OnTimer = [this] { FTimerStatusBarTimer(); };
  FTimerCheckConn = new TKvTimer(this, 2000);
  FTimerCheckConn->OnTimer = [this] { FTimerCheckConnTimer(); };

  KvMemTableData.OnUpdateDataSet = [this] { UpdateDataSet(); };
  KvMemTableData.OnSetModified = [] {
    if (TKvAppServices* app = KvAppServices()) app->SetIsModified(true);
  };
  AttachDocumentHooks();

  if (COMManager) {
    COMManager->CheckPorts(99);
    FPortsLast = COMManager->Ports();
    COMManager->OnPortAdded = [this] { COMManagerPortAdded(); };
  }
}

TDmKv_COM_Commander::~TDmKv_COM_Commander() {
  DetachDocumentHooks();
  if (COMManager) COMManager->OnPortAdded = nullptr;
  if (Serial && Serial->Active()) Serial->SetActive(false);
  if (DmKv_COM_Commander == this) DmKv_COM_Commander = nullptr;
}

// ---------------------------------------------------------------------------------------
// Receiving and decoding

void TDmKv_COM_Commander::SerialRxChar() {
  // Read in portions that fit behind what RecBuf holds and decode between them, so that a
  // burst of any size decodes exactly like a trickle. The buffer is filled to one byte short
  // of its end: TrmBuf_Delete clears from one byte early, which would otherwise hit a byte
  // still in use. The lock is never held across the read, which may wait.
  for (;;) {
    int room;
    {
      std::lock_guard<std::recursive_mutex> lock(FDataLock);
      room = KvBufSize - 1 - std::max(FRecTotal, 0);
    }
    const int waiting = Serial->BufRec();
    if (waiting <= 0 || room <= 0) break;
    TKvBuf local{};
    const int got = Serial->ReceiveData(local.data(), std::min(waiting, room));
    std::lock_guard<std::recursive_mutex> lock(FDataLock);
    nrCount = got;
    if (got <= 0) break;
    TrmBuf_Append(RecBuf, FRecTotal, local.data(), got);
    FRecTotal += got;
    FRecTotalAll += got;
    while (FRecTotal >= KvRecordSize) nrCount = DecodeRxLine(KvRecordSize);
  }
}

int TDmKv_COM_Commander::StructuralFailure(const QString& msg) {
  FireStatusBarNotify(msg, true);
  TrmBuf_Delete(RecBuf, 1);
  FRecTotal -= 1;
  return 1;
}

int TDmKv_COM_Commander::DecodeRxLine(int iLen) {
  const TKvBuf& b = RecBuf;
  const QString errHead = QString("Err: DecodeRxLine: %1 Byte received (failure ").arg(FRecTotal);

  dData = TKvUniqueData();
  SwitchTimer(FTimerCheckConn, FCheckConnWanted, false);
  QString dec, raw, strAC;

  // Head byte: magic nibble and range index.
  const int magic = b[0] >> 4, range = b[0] & 0x0F;
  raw += " " + Hex1(magic) + " ";
  if (magic == 0xA) {
    dec += " A ";
    dData.bLive = true;
  } else if (magic == 0x8) {
    dec += "!A ";
  } else {
    return StructuralFailure(errHead + QString("Magic = %1 )").arg(magic));
  }
  raw += Hex1(range) + Blanks(11);
  if (range > 6) {
    dec += "ERROR       ";
    return StructuralFailure(errHead + QString("Level iData = %1)").arg(range));
  }
  dec += kRanges[range].Text;
  dData.dLo = kRanges[range].Lo;
  dData.dHi = kRanges[range].Hi;
  dData.strLo = KvFormatFloat("%2.0f", dData.dLo);
  dData.strHi = KvFormatFloat("%3.0f", dData.dHi);

  // Flags byte. Only 0x20 of the MAX bits is tested, so no MAX value can fail.
  const int flags = b[1];
  raw += Hex2(flags) + Blanks(15);
  dData.bMax = (flags & 0x20) != 0;
  dec += dData.bMax ? "MAX " : "    ";
  switch (flags & 0x03) {
    case 1:
      dec += "OVER  ";
      dData.bOver = true;
      break;
    case 2:
      dec += "UNDER ";
      dData.bUnder = true;
      break;
    default:
      dec += "      ";
  }
  if (flags & 0x08) {
    strAC = "A";
    dData.bA = true;
  } else {
    strAC = "  C";
    dData.bC = true;
  }
  dec += strAC + " ";
  if (flags & 0x04) {
    dec += "SLOW ";
    dData.bSlow = true;
  } else {
    dec += "FAST ";
    dData.bFast = true;
  }

  // Level: evaluated whole at its first digit, each digit checked at its own position.
  for (int pos = 2; pos <= 5; ++pos) {
    if (b[pos] > 9) return StructuralFailure(errHead + "Level <0 >9)");
    if (pos == 2) {
      dData.dVal = (b[2] * 1000 + b[3] * 100 + b[4] * 10 + b[5]) / 10.0;
      if (dData.dVal < 0.0 || dData.dVal > 180.0) dData.bValid = false;
      dData.strVal = KvFormatFloat("%05.1f", dData.dVal);
      dec += KvFormatFloat("%05.1f dB", dData.dVal) + strAC + " ";
      raw += Hex1(b[2]) + Hex1(b[3]) + Hex1(b[4]) + Hex1(b[5]) + Blanks(6);
    }
  }

  // Date, sent year first; unchecked bytes, reduced day and month, a fixed fallback year.
  {
    int year = Pair(b, 6), month = Pair(b, 8), day = Pair(b, 10);
    if (day > 31) day %= 31;
    if (month > 12) month %= 12;
    year = (year >= 1 && year <= 99) ? year + 2000 : 2011;
    dData.bDateValid = TryEncodeDate(year, month, day, dData.dtDate);
    if (!dData.bDateValid) {
      dData.dtDate = std::trunc(Now());
      dData.bDateValid = true;
    }
    dec += Digits(b, 6) + ".";
    raw += Digits(b, 6) + " ";
    dec += (month >= 1 && month <= 12) ? Digits(b, 8) + "." : QString("??.");
    raw += Digits(b, 8) + " ";
    dec += (day >= 1 && day <= 31) ? Digits(b, 10) + " " : QString("?? ");
    raw += Digits(b, 10) + " ";
  }

  // Time: a bad digit is reported but consumes no byte; the record is still delivered.
  for (int pos = 12; pos <= 17; ++pos) {
    if (b[pos] > 9) {
      FireStatusBarNotify(
          QString("Err: DecodeRxLine: %1 Byte received (failure Time <0 >9)").arg(FRecTotal), true);
      dData.bTimeValid = false;
      continue;
    }
    if (pos == 12 && dData.bTimeValid) {
      const int hour = Pair(b, 12), minute = Pair(b, 14), second = Pair(b, 16);
      dData.bTimeValid = TryEncodeTime(hour, minute, second, 0, dData.dtTime);
      dec += Digits(b, 12) + ":";
      dData.strTime += Digits(b, 12) + ":";
      raw += Digits(b, 12) + " ";
      if (minute >= 0 && minute <= 59) {
        dec += Digits(b, 14) + ":";
        dData.strTime += Digits(b, 14) + ":";
      } else {
        dec += "??:";
      }
      raw += Digits(b, 14) + " ";
      if (second >= 0 && second <= 59) {
        dec += Digits(b, 16) + " ";
        dData.strTime += Digits(b, 16) + " ";
      } else {
        dec += "?? ";
      }
      raw += Digits(b, 16) + " ";
    }
  }

  // The PC's clock stands in for what the instrument could not tell, and for the date the
  // user set.
  {
    const bool useClock = !(dData.bDateValid && dData.bTimeValid);
    if (useClock) dData.bDateValid = true;
    const TDateTime now = Now();
    TDateTime clockTime;
    if (!TryStrToTime(FormatDateTime(KvLocale().LongTimeFormat, now), clockTime))
      clockTime = NoDate;
    TDateTime newDate = NoDate, newTime = NoDate;
    const TDateTime dateMeter = FDateMeter.load();
    if (dateMeter != NoDate) {
      newDate = dateMeter;
      if (dData.bLive) newTime = clockTime;
    } else if (useClock) {
      newDate = now;
      if (dData.bLive) newTime = clockTime;
    }
    if (newDate != NoDate) dData.dtDate = newDate;
    if (newTime != NoDate) dData.dtTime = newTime;
  }

  if (OnDataReceived) {
    const QString strData = raw + "\r\n" + dec;
    FCheckDataReceived = true;
    FIsConnected = true;
    FIsConnected_Last = FIsConnected.load();
    FRecheckConnected = true;
    SwitchTimer(FTimerCheckConn, FCheckConnWanted, true);
    OnDataReceived(this, strData, dData);
  }

  TrmBuf_Delete(RecBuf, iLen);
  FRecTotal -= iLen;
  return iLen;
}

TKvUniqueData TDmKv_COM_Commander::CurrentData() const {
  std::lock_guard<std::recursive_mutex> lock(FDataLock);
  return dData;
}

int TDmKv_COM_Commander::RecTotal() const {
  std::lock_guard<std::recursive_mutex> lock(FDataLock);
  return FRecTotal;
}

// ---------------------------------------------------------------------------------------
// Simulation

void TDmKv_COM_Commander::DoSimulateTick() {
  std::lock_guard<std::recursive_mutex> lock(FDataLock);
  RecBuf.fill(0);
  RecBuf[0] = 0xA * 16 + 0;
  RecBuf[1] = 0 * 16 + (0 + 8 + 4);

  const TDateTime now = Now();
  int h, n, s, ms;
  DecodeTime(now, h, n, s, ms);
  std::uniform_int_distribution<int> spread(0, 49);
  const int level = spread(FRandom) + (s < 31 ? 400 : 700);

  auto writeDigits = [this](int pos, const QString& text) {
    for (int i = 0; i < text.size(); ++i) RecBuf[pos + i] = uint8_t(text[i].unicode() - '0');
  };
  writeDigits(2, QString::number(level).rightJustified(4, '0'));
  // Day first, though the decoder reads year first: simulated rows bear 12 January 2001.
  writeDigits(6, FormatDateTime("ddmmyy", EncodeDate(2012, 1, 1)));
  int y, mo, d;
  DecodeDate(now, y, mo, d);
  TDateTime inJanuary;
  if (!TryEncodeDate(y, 1, d, inJanuary)) inJanuary = EncodeDate(y, 1, 1);
  writeDigits(12, FormatDateTime("hhnnss", inJanuary + (now - std::trunc(now))));
  DecodeRxLine(KvRecordSize);
}

// ---------------------------------------------------------------------------------------
// Recording

void TDmKv_COM_Commander::AddData(const TKvUniqueData& d) {
  if (!d.bValid || !d.bConnected) return;
  // A date carrying a time part (the clock's, when the instrument's was unusable) counts
  // twice in the sum; the range is only a hint for the chart, so that is accepted.
  const TDateTime stamp = d.dtDate + d.dtTime;
  if (stamp > FdtMaxTime) FdtMaxTime = stamp;
  if (stamp < FdtMinTime) FdtMinTime = stamp;
  const TKvReadingValues row{.dtDate = d.dtDate,
                             .dtTime = d.dtTime,
                             .dVal = d.dVal,
                             .dLo = d.dLo,
                             .dHi = d.dHi,
                             .bUnder = d.bUnder,
                             .bOver = d.bOver,
                             .bA = d.bA,
                             .bC = d.bC,
                             .bSlow = d.bSlow,
                             .bFast = d.bFast};
  KvMemTableData.PostReading(row);
  if (Journal) Journal->Append(row);
  if (TKvAppServices* app = KvAppServices()) {
    app->SetIsModified(true);
    app->SetIsFileLoaded(true);
  }
}

// ---------------------------------------------------------------------------------------
// Connection

void TDmKv_COM_Commander::TellConnectionChange(bool bNewPortList) {
  if (OnConnectionChange) OnConnectionChange(this, Serial->Active(), bNewPortList);
}

void TDmKv_COM_Commander::DoConnect(bool Act, QString& BtnCap) {
  {
    std::lock_guard<std::recursive_mutex> lock(FDataLock);
    nrCount = 0;
  }
  ntCount = 0;
  const int port = Serial->COMPort();
  if (Act) {
    if (!COMManager || !COMManager->PortExists(port)) {
      DoStatusBarNotify(Com(port) +
                            " is not available as the moment. Please re-plug in case of a "
                            "USB style COM port",
                        true);
      TellConnectionChange(false);
      BtnCap.clear();
      return;
    }
    if (!Serial->Active()) {
      // A partial record or a simulation's count must not head a new stream. A port that is
      // open already keeps the record it is in the middle of.
      std::lock_guard<std::recursive_mutex> lock(FDataLock);
      FRecTotal = 0;
      RecBuf.fill(0);
    }
    Serial->SetActive(true);
    BtnCap = "Dis&connect";
    FCheckDataReceived = false;
    DoStatusBarNotify(Com(port) + " opened", true);
    // Queued, so that it follows whatever the caller says of the failure, and stays visible.
    if (!Serial->Active() && !Serial->LastErrorText().isEmpty())
      FireStatusBarNotify(Serial->LastErrorText(), true);
    FdtMaxTime = EncodeDate(1000, 1, 1);
    FdtMinTime = EncodeDate(9999, 12, 31);
  } else {
    Serial->SetActive(false);
    BtnCap = "&Connect";
    FCheckDataReceived = false;
    DoStatusBarNotify(Com(port) + " closed", true);
    if (Serial->LastError() != 0)
      DoStatusBarNotify(Com(port) + " could not be opened", true);
    else
      DoStatusBarNotify(Com(port) + " closed", true);
  }
  if (OnConnectionChange && Serial->Active() != FPortActive_Last) {
    FPortActive_Last = Serial->Active();
    OnConnectionChange(this, Serial->Active(), false);
  }
}

void TDmKv_COM_Commander::SetComPort(int iPort) {
  if (Serial->COMPort() != iPort) {
    const bool wasActive = Serial->Active();
    Serial->SetActive(false);
    Serial->SetCOMPort(iPort);
    Serial->SetActive(wasActive);
    if (OnComPortChange) OnComPortChange(this, Serial->COMPort());
  }
  DoStatusBarNotify(QString("COM port changed to COM%1").arg(Serial->COMPort()), true);
}

int TDmKv_COM_Commander::CheckDeviceAvailable() {
  if (!Serial->Active()) return -1;
  FCheckDevice = true;
  // Nothing clears FCheckDevice meanwhile, so this always waits all passes: a little over a
  // second, long enough for about a dozen records, with the user interface kept alive.
  for (int i = 0; i < 101 && FCheckDevice; ++i) {
    Sleep(10);
    ProcessMessages();
  }
  const int result = FCheckDataReceived ? Serial->COMPort() : -1;
  FCheckDevice = false;
  return result;
}

void TDmKv_COM_Commander::FTimerCheckConnTimer() {
  std::lock_guard<std::recursive_mutex> lock(FDataLock);
  SwitchTimer(FTimerCheckConn, FCheckConnWanted, false);
  if (FRecheckConnected) {
    FRecheckConnected = false;
    SwitchTimer(FTimerCheckConn, FCheckConnWanted, true);
    return;
  }
  FIsConnected = false;
  if (FIsConnected != FIsConnected_Last) {
    FIsConnected_Last = FIsConnected.load();
    if (OnDataReceived) {
      dData.bLive = false;
      dData.bConnected = false;
      OnDataReceived(this, QString(), dData);
    }
  }
}

// ---------------------------------------------------------------------------------------
// Status texts

void TDmKv_COM_Commander::DoStatusBarNotify(const QString& Msg, bool bLog) {
  if (TKvAppServices* app = KvAppServices()) app->DoStatusBarNotify(Msg, bLog);
}

void TDmKv_COM_Commander::FireStatusBarNotify(const QString& Msg, bool bLog) {
  // Nothing outruns the thread that flushes: there a text the queue would not keep is
  // preceded by a flush, not dropped.
  if (QThread::currentThread() == FTimerStatusBar->thread() && !FStatusBarNotify.Keeps(Msg))
    FTimerStatusBarTimer();
  if (FStatusBarNotify.Add(Msg, bLog)) FTimerStatusBar->SetEnabled(true);
}

void TDmKv_COM_Commander::FTimerStatusBarTimer() {
  FTimerStatusBar->SetEnabled(false);
  for (const TKvStatusQueue::TEntry& n : FStatusBarNotify.Take()) DoStatusBarNotify(n.Msg, n.bLog);
}

void TDmKv_COM_Commander::SwitchTimer(TKvTimer* timer, std::atomic<bool>& wanted, bool on) {
  if (wanted.exchange(on) == on) return;
  if (QThread::currentThread() == timer->thread()) {
    timer->SetEnabled(on);
    return;
  }
  // The switch runs later on the timer's thread and applies the latest wish, not this one.
  QMetaObject::invokeMethod(
      timer, [timer, &wanted] { timer->SetEnabled(wanted.load()); }, Qt::QueuedConnection);
}

void TDmKv_COM_Commander::UpdateDataSet() {
  if (OnUpdateDataSet) OnUpdateDataSet(this);
}

// ---------------------------------------------------------------------------------------
// Ports vanishing and arriving

int TDmKv_COM_Commander::PortNumberOf(const QString& name) {
  bool ok = false;
  const int n = name.mid(3).toInt(&ok);
  return ok ? n : 0;
}

void TDmKv_COM_Commander::SerialCOMRemoved() {
  FireStatusBarNotify(
      "! The COM port interface in use was removed from the computer (probably a USB type COM "
      "port was unplugged)",
      false);
  Serial->SetActive(false);
  JvTimerList1->Tag = 0;
  TellConnectionChange(true);
  JvTimerList1->Tag = 1;
  (*JvTimerList1)[0]->SetEnabled(true);
}

void TDmKv_COM_Commander::COMManagerPortAdded() {
  JvTimerList1->Tag = 2;
  (*JvTimerList1)[0]->SetEnabled(true);
}

void TDmKv_COM_Commander::JvTimerList1Events0Timer() {
  (*JvTimerList1)[0]->SetEnabled(false);
  const QStringList ports = COMManager ? COMManager->Ports() : QStringList();
  auto lastMissingFrom = [](const QStringList& from, const QStringList& in) {
    QString name = "COM0";
    for (const QString& p : from)
      if (!in.contains(p)) name = p;
    return name;
  };

  if (JvTimerList1->Tag == 1) {
    const QString name = lastMissingFrom(FPortsLast, ports);
    const int port = PortNumberOf(name);
    if (port > 0 && port == Serial->COMPort()) {
      QString cap;
      DoConnect(false, cap);
    }
    MessageDlg("The COM port \"COM" + name.mid(3) +
                   "\" interface in use was removed from the computer\r\n\r\n(probably a USB "
                   "type COM port was unplugged)",
               TMsgDlgType::mtError, mbOK);
  } else if (JvTimerList1->Tag == 2) {
    TellConnectionChange(true);
    const QString name = lastMissingFrom(ports, FPortsLast);
    const int port = PortNumberOf(name);
    if (!Serial->Active()) {
      if (port == Serial->COMPort() && COMManager && COMManager->PortExists(port)) {
        const int answer = MessageDlg(
            "A new COM port \"COM" + name.mid(3) +
                "\" was detected.\r\n(Probably a USB style port was plugged)\r\n\r\nDo you want "
                "to re-connect to the port now ?",
            TMsgDlgType::mtConfirmation, mbYesNoCancel);
        if (answer == mrYes || answer == mrNone) {
          QString cap;
          DoConnect(true, cap);
        }
      } else {
        MessageDlg("A new COM port  was detected.\r\n(Probably a USB style port was plugged)",
                   TMsgDlgType::mtInformation, mbOK);
      }
    }
  }
  FPortsLast = ports;
}

// ---------------------------------------------------------------------------------------
// Dialogs

bool TDmKv_COM_Commander::DlgComPort() {
  int port = Serial->COMPort();
  if (!SerialDialogs || !SerialDialogs->SelectPort(port)) return false;
  if (port != Serial->COMPort()) SetComPort(port);
  return true;
}

bool TDmKv_COM_Commander::DlgWinParameter() {
  return SerialDialogs && SerialDialogs->EditParameters();
}

bool TDmKv_COM_Commander::DlgExtParameter(const QString& Data) {
  int port = Serial->COMPort();
  if (!SerialDialogs || !SerialDialogs->EditExtended(Data, port)) return false;
  if (port != Serial->COMPort()) SetComPort(port);
  return true;
}

// ---------------------------------------------------------------------------------------
// Buffers and the send path

void TDmKv_COM_Commander::TrmBuf_Clear(TKvBuf& buf) {
  buf.fill(0);
}

void TDmKv_COM_Commander::TrmBuf_Delete(TKvBuf& buf, int iCount) {
  if (iCount <= 0) return;
  iCount = std::min(iCount, KvBufSize);
  std::memmove(buf.data(), buf.data() + iCount, size_t(KvBufSize - iCount));
  // The clear starts one byte early, as it always has: harmless, the byte is stale.
  for (int i = std::max(0, KvBufSize - 1 - iCount); i < KvBufSize; ++i) buf[i] = 0;
}

void TDmKv_COM_Commander::TrmBuf_Append(TKvBuf& bufDst, int posDst, const uint8_t* bufSrc,
                                        int lenSrc) {
  for (int i = 0; i < lenSrc; ++i) {
    const int at = posDst + i;
    if (at >= KvBufSize) break;
    if (at >= 0) bufDst[at] = bufSrc[i];
  }
}

namespace {
QString Dump(const TKvBuf& buf, int lenBuf, const char* format) {
  QString out, line;
  for (int i = 0; i < std::min(lenBuf, KvBufSize); ++i) {
    line += QString::asprintf(format, buf[i]);
    if (line.size() > 45) {
      out += line + "\r\n";
      line.clear();
    }
    if (buf[i] == 4) break;
  }
  return out + line;
}
}  // namespace

QString TDmKv_COM_Commander::TrmBuf_ToHex(const TKvBuf& buf, int lenBuf) {
  return Dump(buf, lenBuf, "%.2X ");
}

QString TDmKv_COM_Commander::TrmBuf_ToDec(const TKvBuf& buf, int lenBuf) {
  return Dump(buf, lenBuf, "%.2d ");
}

uint16_t TDmKv_COM_Commander::TrmBuf_CalcChecksum(const TKvBuf& buf, int iPos) {
  if (iPos < 1) return 0;
  uint32_t sum = 0;
  for (int i = 0; i < std::min(iPos, KvBufSize); ++i) sum += buf[i];
  return uint16_t(sum & 0xFFFF);
}

void TDmKv_COM_Commander::TrmBuf_Prepare(int, int, const uint8_t*, int) {}

void TDmKv_COM_Commander::SendToTarget(const QString& Data) {
  QString text = Data;
  text.remove('\r');
  text.remove('\n');
  text += '\n';
  for (QChar c : text) {
    Serial->TransmittText(QString(c));
    ++ntCount;
    Sleep(1);
  }
  if (!FCheckDevice) DoStatusBarNotify(QString("%1 Characters sended").arg(ntCount), true);
}
