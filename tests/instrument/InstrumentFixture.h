#pragma once
// A commander on a replayed stream, a scripted device list and a status bar that records,
// under the virtual clock.
#include <QByteArray>
#include <QMap>
#include <memory>

#include "KvAppServices.h"
#include "KvStreamPort.h"
#include "LvxTestSupport.h"
#include "UDmKv_COM_Commander.h"

class TScriptedPortList : public TKvPortList {
 public:
  QStringList List;
  QMap<int, QString> Names;
  int CheckedUpTo = 0;
  QString FriendlyName(int port) const override { return Names.value(port); }
  QStringList Ports() const override { return List; }
  bool PortExists(int port) const override { return List.contains(QString("COM%1").arg(port)); }
  void CheckPorts(int maxPort) override { CheckedUpTo = maxPort; }
};

class TRecordingServices : public TKvAppServices {
 public:
  QStringList Texts;
  QStringList Logged;
  bool Modified = false, Loaded = false;
  void DoStatusBarNotify(const QString& msg, bool bLog) override {
    Texts << msg;
    if (bLog) Logged << msg;
  }
  bool IsModified() const override { return Modified; }
  void SetIsModified(bool v) override { Modified = v; }
  bool IsFileLoaded() const override { return Loaded; }
  void SetIsFileLoaded(bool v) override { Loaded = v; }
};

// A port that refuses to open, as one without permission does.
class TRefusingPort : public TKvStreamPort {
 public:
  using TKvStreamPort::TKvStreamPort;
  void SetActive(bool) override {}
  int LastError() const override { return 13; }
};

struct TDelivery {
  QString strData;
  TKvUniqueData Data;
  int64_t AtMs;
};

class InstrumentTest : public VirtualTimeTest {
 protected:
  void SetUp() override {
    VirtualTimeTest::SetUp();
    KvAppServices_Install(&Services);
    Ports.List = {"COM1", "COM3"};
    Commander = std::make_unique<TDmKv_COM_Commander>(&Port, &Ports);
    Commander->OnDataReceived = [this](QObject*, const QString& s, const TKvUniqueData& d) {
      Deliveries.push_back({s, d, Clock.ElapsedMs()});
    };
  }
  void TearDown() override {
    Commander.reset();
    KvAppServices_Install(nullptr);
    VirtualTimeTest::TearDown();
  }

  // Bytes arrive as one receive event.
  void Receive(const QByteArray& bytes) {
    Port.Push(bytes);
    Commander->SerialRxChar();
  }
  // Status texts reach the status bar through the 100 ms queue.
  QStringList FlushedTexts() {
    Clock.Advance(100);
    return Services.Texts;
  }

  TKvStreamPort Port{1};
  TScriptedPortList Ports;
  TRecordingServices Services;
  std::unique_ptr<TDmKv_COM_Commander> Commander;
  std::vector<TDelivery> Deliveries;
};

// Digits are written as text; ':' stands for the byte 10, ';' for 11.
inline QByteArray Record(uint8_t head, uint8_t flags, const char* level4, const char* date6,
                         const char* time6) {
  QByteArray r;
  r.append(char(head)).append(char(flags));
  for (const char* p : {level4, date6, time6})
    for (; *p; ++p) r.append(char(*p - '0'));
  return r;
}

// The worked example: live, range 2, A, SLOW, 65.3 dB, 15 June 2011 14:30:05.
inline QByteArray WorkedRecord() {
  return Record(0xA2, 0x0C, "0653", "110615", "143005");
}
