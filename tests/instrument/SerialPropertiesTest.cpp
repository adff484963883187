// The port component on its own: the limits its setters keep, which events an open port
// raises and on which thread, the data calls open and closed, and the transmit rate timer.
// Pseudo-terminals have no modem lines, so the line events are left to real adapters.
#include <poll.h>

#include <QCoreApplication>
#include <QTest>
#include <QThread>
#include <atomic>

#include "SerialFixture.h"

namespace {
// Reads what the port sent, waiting a little for it.
QByteArray ReadMaster(int master, int count) {
  QByteArray got;
  for (int i = 0; i < 100 && got.size() < count; ++i) {
    pollfd p{master, POLLIN, 0};
    if (poll(&p, 1, 20) <= 0) continue;
    char buf[256];
    const ssize_t n = read(master, buf, sizeof buf);
    if (n > 0) got.append(buf, int(n));
  }
  return got;
}
}  // namespace

class SerialPropertiesTest : public PortManagerTest {
 protected:
  void SetUp() override {
    PortManagerTest::SetUp();
    Serial = SerialOn(Pty);
  }
  void TearDown() override {
    Serial.reset();
    PortManagerTest::TearDown();
  }
  TPty Pty;
  std::unique_ptr<TSerial> Serial;
};

TEST_F(SerialPropertiesTest, SettersKeepTheirLimits) {
  TSerial& s = *Serial;
  struct Baud {
    int Frequency, Asked, Got;
  };
  for (const Baud& b :
       {Baud{9216000, 1000000, 921600}, Baud{9216000, 2400, 2400}, Baud{9216000, 7000, 7003},
        Baud{9216000, 10, 50}, Baud{0, 7000, 7000}, Baud{-1, 30, 50}}) {
    s.SetFrequency(b.Frequency);
    s.SetBaudrate(b.Asked);
    EXPECT_EQ(s.Baudrate(), b.Got) << b.Frequency << " " << b.Asked;
  }
  s.SetXOnLimit(8192);
  EXPECT_EQ(s.XOnLimit(), 8191);
  s.SetXOnLimit(-4);
  EXPECT_EQ(s.XOnLimit(), 0);
  s.SetXOnLimit(512);
  s.SetBufSizeRec(1000);
  EXPECT_EQ(s.BufSizeRec(), 4096);
  EXPECT_EQ(s.XOffLimit(), 4096);
  EXPECT_EQ(s.XOnLimit(), 512);
  s.SetXOffLimit(100000);
  EXPECT_EQ(s.XOffLimit(), 4096);
  s.SetXOffLimit(10);
  EXPECT_EQ(s.XOffLimit(), 513);
  s.SetBufSizeTrm(1);
  EXPECT_EQ(s.BufSizeTrm(), 4096);
  s.SetDataSize(99999);
  EXPECT_EQ(s.DataSize(), 4096);
  s.SetTrmTimeOut(-1);
  EXPECT_EQ(s.TrmTimeOut(), 0);
  EXPECT_FALSE(s.ParityCheck());
  s.SetParityBit(mark);
  s.SetParityBit(none);
  EXPECT_TRUE(s.ParityCheck());  // switched on, never off
}

TEST_F(SerialPropertiesTest, OpeningNeedsAPortAndALineThatTakesTheRate) {
  Serial->SetCOMPort(0);
  Serial->SetActive(true);
  EXPECT_FALSE(Serial->Active());
  EXPECT_EQ(Serial->LastError(), 0);  // nothing was tried

  Serial->SetCOMPort(1);
  Serial->SetBaudrate(7000);  // 7003 after snapping: no line speed
  Serial->SetActive(true);
  EXPECT_FALSE(Serial->Active());
  EXPECT_EQ(Serial->LastError(), EINVAL);
  EXPECT_EQ(Serial->LastErrorText(),
            "COM1 could not be opened: the line can't take 7003 baud "
            "with these settings");

  // No handler at all: the port counts as open, though no thread watches it.
  Serial->SetBaudrate(2400);
  Serial->SetActive(true);
  EXPECT_TRUE(Serial->Active());
  EXPECT_TRUE(Serial->LastErrorText().isEmpty());
}

TEST_F(SerialPropertiesTest, EventsComeInTheDispatchersOrderOnlyForHandlersSetBeforeOpening) {
  std::mutex lock;
  QStringList seen;  // guarded by lock
  auto note = [&](const char* what) {
    std::lock_guard<std::mutex> l(lock);
    seen << what;
  };
  Serial->SetDataSize(6);
  Serial->OnData = [&] {
    note("data");
    Serial->ReceiveText();
  };
  Serial->OnRxChar = [&] { note("rx"); };
  Serial->OnEventChar = [&] { note("eventchar"); };
  Serial->EventChar = '\n';
  Serial->SetActive(true);
  bool lateCalled = false;
  Serial->OnTxEmpty = [&] { lateCalled = true; };  // after opening: never called

  Pty.Write("abc");
  ASSERT_TRUE(QTest::qWaitFor([&] {
    std::lock_guard<std::mutex> l(lock);
    return seen.size() >= 1;
  }));
  Pty.Write("de\nf");
  ASSERT_TRUE(QTest::qWaitFor([&] {
    std::lock_guard<std::mutex> l(lock);
    return seen.contains("eventchar");
  })) << seen.join(",").toStdString();
  Serial->TransmittText("out");
  QTest::qWait(100);
  Serial->SetActive(false);
  std::lock_guard<std::mutex> l(lock);
  // The three bytes alone don't reach the data size; with the rest they do, after the
  // receive event; the event character is seen in the bytes the data handler read.
  EXPECT_EQ(seen.first(), "rx");
  const int data = int(seen.indexOf("data"));
  ASSERT_GT(data, 0);
  EXPECT_EQ(seen[data - 1], "rx");
  EXPECT_EQ(seen.indexOf("eventchar"), data + 1);
  EXPECT_FALSE(lateCalled);
}

TEST_F(SerialPropertiesTest, SyncEventHandlingRaisesOnTheMainThreadAndEnableEventsSilences) {
  std::atomic<int> onMain{0}, elsewhere{0};
  Serial->SyncEventHandling = true;
  Serial->OnRxChar = [&] {
    (QThread::currentThread() == qApp->thread() ? onMain : elsewhere)++;
    Serial->ReceiveText();
  };
  Serial->SetActive(true);
  Pty.Write("x");
  ASSERT_TRUE(QTest::qWaitFor([&] { return onMain > 0; }));
  EXPECT_EQ(elsewhere.load(), 0);

  Serial->EnableEvents = false;
  const int before = onMain;
  Pty.Write("y");
  QTest::qWait(100);
  EXPECT_EQ(onMain.load(), before);
}

TEST_F(SerialPropertiesTest, DataCallsWorkOpenAndReturnNothingClosed) {
  TSerial& s = *Serial;
  uint8_t buf[4];
  EXPECT_EQ(s.ReceiveData(buf, 4), 0);
  EXPECT_TRUE(s.ReceiveText().isEmpty());
  EXPECT_EQ(s.TransmittBytes("abc"), 0);
  EXPECT_FALSE(s.Purge(true, true, true, true));
  EXPECT_FALSE(s.ForceChar('!'));
  EXPECT_FALSE(s.CanTransmitt());
  EXPECT_EQ(s.BufTrm(), 0);

  s.SetActive(true);
  EXPECT_TRUE(s.CanTransmitt());  // no handshake asked for
  EXPECT_EQ(s.TransmittBytes("hello"), 5);
  EXPECT_TRUE(s.ForceChar('!'));
  EXPECT_EQ(ReadMaster(Pty.Master, 6), "hello!");

  Pty.Write("pending");
  ASSERT_TRUE(QTest::qWaitFor([&] { return s.BufRec() == 7; }));
  EXPECT_TRUE(s.Purge(false, false, false, true));
  EXPECT_EQ(s.BufRec(), 0);
  Pty.Write("kept");
  ASSERT_TRUE(QTest::qWaitFor([&] { return s.BufRec() == 4; }));
  EXPECT_EQ(s.ReceiveText(), "kept");

  s.SetCommBreak(true);
  EXPECT_FALSE(s.ForceChar('!'));  // not in a line break
  s.SetCommBreak(false);
  s.HandshakeRtsCts = true;  // a pseudo-terminal has no CTS to show
  EXPECT_FALSE(s.CanTransmitt());
}

TEST_F(SerialPropertiesTest, TheRateTimerMeasuresWhatLeftEachSecond) {
  int measured = 0;
  Serial->OnMeasure = [&] { ++measured; };
  Serial->SetActive(true);
  EXPECT_TRUE(Serial->TimerTrmRate->Enabled());
  Serial->TransmittBytes(QByteArray(10, 'z'));
  Clock.Advance(1000);
  EXPECT_EQ(measured, 1);
  EXPECT_EQ(Serial->TrmRate(), 10 - Serial->BufTrm());
  Clock.Advance(1000);
  EXPECT_EQ(measured, 2);
  EXPECT_EQ(Serial->TrmRate(), 0);
  Serial->SetActive(false);
  EXPECT_FALSE(Serial->TimerTrmRate->Enabled());
  EXPECT_EQ(Serial->TrmRate(), 0);
}
