// The port engine on real pseudo-terminals: bytes from the line reach the commander through
// the reader thread and are decoded, closing joins that thread, the far end going away
// reaches the commander's removal path on the main thread, a port that can't be opened says
// why, and the link holds up under a second reader, a port held elsewhere, a handler that
// closes its own port, long streams and garbage floods. Also run under ThreadSanitizer. The
// port list itself is COMManagerTest's.
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <QCoreApplication>
#include <QFile>
#include <QTest>
#include <QThread>
#include <condition_variable>
#include <random>
#include <thread>

#include "InstrumentFixture.h"
#include "KvSerialCommander.h"
#include "SerialFixture.h"

class SerialTest : public PortManagerTest {
 protected:
  void SetUp() override {
    PortManagerTest::SetUp();
    KvAppServices_Install(&Services);
    Devices.List = {Pty.AsDevice()};
    Restart();
    Serial = std::make_unique<TSerial>(Manager.get());
    Commander = std::make_unique<TDmKv_COM_Commander>(Serial.get(), Manager.get());
    KvSerial_SetupForCommander(*Serial, *Commander);
    Commander->OnDataReceived = [this](QObject*, const QString&, const TKvUniqueData& d) {
      std::lock_guard<std::mutex> lock(FLock);
      Received.push_back(d);
      OnPortThread = OnPortThread && QThread::currentThread() != qApp->thread();
      FArrived.notify_all();
    };
  }
  void TearDown() override {
    Commander.reset();
    Serial.reset();
    KvAppServices_Install(nullptr);
    PortManagerTest::TearDown();
  }
  void Connect() {
    QString caption;
    Commander->DoConnect(true, caption);
    ASSERT_TRUE(Serial->Active());
  }
  // Waits, at most a few seconds, until count readings were delivered.
  bool WaitForReadings(size_t count) {
    std::unique_lock<std::mutex> lock(FLock);
    return FArrived.wait_for(lock, std::chrono::seconds(5),
                             [&] { return Received.size() >= count; });
  }
  QStringList FlushedStatusTexts() {
    Clock.Advance(100);
    return Services.Texts;
  }
  // Lets queued calls from the port thread (a hang-up, a timer switch) run on this thread.
  void RunQueuedCalls(int ms) { QTest::qWait(ms); }
  size_t ReadingCount() {
    std::lock_guard<std::mutex> lock(FLock);
    return Received.size();
  }

  TPty Pty;
  TRecordingServices Services;
  std::unique_ptr<TSerial> Serial;
  std::unique_ptr<TDmKv_COM_Commander> Commander;
  std::vector<TKvUniqueData> Received;  // guarded by FLock
  bool OnPortThread = true;             // guarded by FLock
  std::mutex FLock;
  std::condition_variable FArrived;
};

TEST_F(SerialTest, RecordsFromTheLineAreDecodedOnThePortThread) {
  Connect();
  EXPECT_TRUE(Logged("COM1 open on " + Pty.Path));
  // Two records, split across writes the way a slow line delivers them.
  const QByteArray two = WorkedRecord() + WorkedRecord();
  Pty.Write(two.left(7));
  Pty.Write(two.mid(7, 20));
  Pty.Write(two.mid(27));
  ASSERT_TRUE(WaitForReadings(2));
  std::lock_guard<std::mutex> lock(FLock);
  EXPECT_TRUE(OnPortThread);
  EXPECT_DOUBLE_EQ(Received[1].dVal, 65.3);
  EXPECT_EQ(Received[1].dtDate, EncodeDate(2011, 6, 15));
  EXPECT_TRUE(Received[1].bSlow);
  EXPECT_EQ(Commander->RecTotalAll(), 36);
}

TEST_F(SerialTest, NoReceiveEventRunsAfterClosingReturns) {
  std::atomic<bool> closed{false}, late{false}, writing{true};
  std::atomic<int> events{0};
  Serial->OnRxChar = [&] {
    if (closed) late = true;
    ++events;
    Commander->SerialRxChar();
  };
  // A full line must not hold the writer once the port is closed for good.
  fcntl(Pty.Master, F_SETFL, fcntl(Pty.Master, F_GETFL) | O_NONBLOCK);
  std::thread line([&] {
    const QByteArray r = WorkedRecord();
    while (writing) {
      [[maybe_unused]] ssize_t n = write(Pty.Master, r.constData(), size_t(r.size()));
      std::this_thread::yield();
    }
  });
  for (int i = 0; i < 20; ++i) {
    closed = false;
    Serial->SetActive(true);
    ASSERT_TRUE(Serial->Active());
    EXPECT_TRUE(WaitForReadings(ReadingCount() + 1));
    Serial->SetActive(false);
    closed = true;
    EXPECT_EQ(Serial->SerHandle(), -1);
  }
  writing = false;
  line.join();
  EXPECT_FALSE(late);
  EXPECT_GE(events.load(), 20);
}

TEST_F(SerialTest, TheFarEndClosingReachesTheCommandersRemovalOnTheMainThread) {
  std::vector<std::pair<bool, bool>> changes;
  bool mainThread = true;
  Commander->OnConnectionChange = [&](QObject*, bool connected, bool newList) {
    changes.emplace_back(connected, newList);
    mainThread = mainThread && QThread::currentThread() == qApp->thread();
  };
  int portsRemoved = 0;
  Manager->OnPortRemoved = [&] { ++portsRemoved; };
  Connect();
  changes.clear();
  Pty.Write(WorkedRecord());
  ASSERT_TRUE(WaitForReadings(1));

  Pty.CloseMaster();
  ASSERT_TRUE(QTest::qWaitFor([&] { return !changes.empty(); }, 5000));
  EXPECT_TRUE(mainThread);
  EXPECT_EQ(changes.front(), std::make_pair(false, true));
  EXPECT_FALSE(Serial->Active());
  EXPECT_EQ(Manager->Holder(1), nullptr);
  EXPECT_EQ(portsRemoved, 0);  // the node is still listed, so no port left the list
  EXPECT_TRUE(Logged("COM1 (" + Pty.Path + ") was removed"));
  EXPECT_TRUE(FlushedStatusTexts().contains(
      "! The COM port interface in use was removed from the computer (probably a USB type COM "
      "port was unplugged)"));
}

struct OpenFailureCase {
  const char* Name;
  int Errno;
  const char* Reason;
};

class SerialOpenFailureTest : public SerialTest,
                              public ::testing::WithParamInterface<OpenFailureCase> {};

TEST_P(SerialOpenFailureTest, LeavesThePortClosedAndLogsTheReason) {
  const OpenFailureCase& c = GetParam();
  const QString path = Dir.filePath("node");
  if (c.Errno != ENOENT) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
  }
  if (c.Errno == EACCES) {
    ASSERT_EQ(chmod(path.toLocal8Bit().constData(), 0), 0);
  }
  Devices.List = {{path, path, "Node"}};
  Manager->RecheckPorts();
  ASSERT_EQ(Manager->DevicePath(2), path);
  Serial->SetCOMPort(2);
  {
    TWithoutCapabilities asAUser({CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH});
    Serial->SetActive(true);
  }
  if (c.Errno == EACCES && Serial->Active()) {
    GTEST_SKIP() << "this user may open any file";
  }
  EXPECT_FALSE(Serial->Active());
  EXPECT_EQ(Serial->LastError(), c.Errno);
  EXPECT_EQ(Serial->SerHandle(), -1);
  EXPECT_TRUE(Logged("COM2 (" + path + ") could not be opened: " + c.Reason))
      << KvSysHelper().SysLog_Get().join("\n").toStdString();

  // Through the commander: its own text first, then the reason, which stays on the bar.
  QString caption;
  {
    TWithoutCapabilities asAUser({CAP_DAC_OVERRIDE, CAP_DAC_READ_SEARCH});
    Commander->DoConnect(true, caption);
  }
  const QStringList shown = FlushedStatusTexts();
  ASSERT_GE(shown.size(), 2);
  EXPECT_EQ(shown[shown.size() - 2], "COM2 opened");
  EXPECT_TRUE(shown.last().startsWith(QString("COM2 could not be opened: ") + c.Reason))
      << shown.last().toStdString();
}

INSTANTIATE_TEST_SUITE_P(
    Failures, SerialOpenFailureTest,
    ::testing::Values(OpenFailureCase{"Missing", ENOENT, "No such file or directory"},
                      OpenFailureCase{"NotATerminal", ENOTTY, "Inappropriate ioctl for device"},
                      OpenFailureCase{
                          "NoPermission", EACCES,
                          "Permission denied - the user must be a member of the group"}),
    [](const auto& info) { return std::string(info.param.Name); });

TEST_F(SerialTest, ASecondReaderOfTheSamePortIsNoRemoval) {
  // Another program reading the same line takes some of the bytes: the port is woken for
  // bytes that are gone when it looks. That is no hang-up.
  const int other = open(Pty.Path.toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_NONBLOCK);
  ASSERT_GE(other, 0);
  int removals = 0;
  Serial->OnCOMRemoved = [&] { ++removals; };
  Connect();
  std::atomic<bool> running{true};
  std::atomic<int> stolen{0};
  std::thread thief([&] {
    char buf[64];
    while (running) {
      pollfd p{other, POLLIN, 0};
      if (poll(&p, 1, 5) > 0) {
        const ssize_t n = read(other, buf, sizeof buf);
        if (n > 0) stolen += int(n);
      }
    }
  });
  // Each piece on its own, so that both readers wake for it and either may win.
  for (int i = 0; i < 400 && stolen < 100; ++i) {
    Pty.Write(WorkedRecord().left(1 + i % 18));
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    if (i % 20 == 0) RunQueuedCalls(1);
  }
  RunQueuedCalls(200);
  running = false;
  thief.join();
  close(other);
  EXPECT_GT(stolen.load(), 0);
  EXPECT_EQ(removals, 0);
  EXPECT_TRUE(Serial->Active());
  EXPECT_FALSE(Logged("was removed"));
}

TEST(SerialHangUpTest, OnlyAHangUpOrAVanishedDeviceIsARemoval) {
  struct Row {
    short Revents;
    int Waiting;
    bool Gone;
  };
  for (const Row& r : {Row{POLLIN, 0, false}, Row{POLLIN, 5, false}, Row{0, 0, false},
                       Row{POLLHUP, 0, true}, Row{POLLIN | POLLHUP, 7, true}, Row{POLLERR, 0, true},
                       Row{POLLNVAL, 0, true}, Row{POLLIN, -1, true}})
    EXPECT_EQ(KvSerial_IsHangUp(r.Revents, r.Waiting), r.Gone) << r.Revents << " " << r.Waiting;
}

TEST_F(SerialTest, APortHeldByAnotherProgramFailsToOpenWithTheReason) {
  const int holder = open(Pty.Path.toLocal8Bit().constData(), O_RDWR | O_NOCTTY);
  ASSERT_GE(holder, 0);
  ASSERT_EQ(flock(holder, LOCK_EX | LOCK_NB), 0);
  QString caption;
  Commander->DoConnect(true, caption);
  EXPECT_FALSE(Serial->Active());
  EXPECT_EQ(Serial->LastError(), EBUSY);
  EXPECT_TRUE(
      Logged("COM1 (" + Pty.Path + ") could not be opened: the port is in use by another program"));
  EXPECT_EQ(FlushedStatusTexts().last(),
            "COM1 could not be opened: the port is in use by another program");

  // Once the other program lets go, the port opens, and now keeps the next one out.
  close(holder);
  Connect();
  const int late = open(Pty.Path.toLocal8Bit().constData(), O_RDWR | O_NOCTTY);
  if (late >= 0) {
    EXPECT_NE(flock(late, LOCK_EX | LOCK_NB), 0);
    close(late);
  }
}

TEST_F(SerialTest, AClosedOrRefusedPortIsOpenToOthersAgain) {
  // A pseudo-terminal's line outlives the port's closing: only root could open it again if
  // the port left it exclusive.
  TWithoutCapabilities asAUser({CAP_SYS_ADMIN});
  auto othersMayOpen = [&] {
    const int other = open(Pty.Path.toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (other >= 0) close(other);
    return other >= 0;
  };
  Connect();
  EXPECT_FALSE(othersMayOpen());
  Serial->SetActive(false);
  EXPECT_TRUE(othersMayOpen());
  Serial->SetBaudrate(7000);  // no line speed: refused after the port took the line
  Serial->SetActive(true);
  ASSERT_FALSE(Serial->Active());
  EXPECT_TRUE(othersMayOpen());
  Serial->SetBaudrate(2400);
  Connect();
}

TEST_F(SerialTest, AHandlerClosingItsOwnPortFreesNothingInUse) {
  std::atomic<int> closings{0};
  Serial->OnRxChar = [&] {
    Commander->SerialRxChar();
    Serial->SetActive(false);  // on the port's own thread
    ++closings;
  };
  for (int i = 0; i < 10; ++i) {
    Serial->SetActive(true);
    ASSERT_TRUE(Serial->Active());
    Pty.Write(WorkedRecord());
    ASSERT_TRUE(QTest::qWaitFor([&] { return closings.load() == i + 1; }, 5000));
    ASSERT_TRUE(QTest::qWaitFor([&] { return !Serial->Active(); }, 5000));
    EXPECT_EQ(Serial->SerHandle(), -1);
  }
  EXPECT_EQ(ReadingCount(), 10u);
}

TEST_F(SerialTest, ConnectAndDisconnectWhileThePortThreadReceives) {
  fcntl(Pty.Master, F_SETFL, fcntl(Pty.Master, F_GETFL) | O_NONBLOCK);
  std::atomic<bool> writing{true};
  std::thread line([&] {
    const QByteArray r = WorkedRecord() + QByteArray(1, char(0x55));
    while (writing) {
      [[maybe_unused]] ssize_t n = write(Pty.Master, r.constData(), size_t(r.size()));
      std::this_thread::yield();
    }
  });
  QString caption;
  for (int i = 0; i < 15; ++i) {
    Commander->DoConnect(true, caption);
    ASSERT_TRUE(Serial->Active());
    EXPECT_TRUE(WaitForReadings(ReadingCount() + 1));
    Clock.Advance(150);  // the watchdog and the status queue run meanwhile
    (void)Commander->CurrentData();
    Commander->DoConnect(false, caption);
    EXPECT_FALSE(Serial->Active());
    RunQueuedCalls(1);
  }
  writing = false;
  line.join();
  EXPECT_TRUE(FlushedStatusTexts().contains("COM1 closed"));
}

namespace {
// The i-th reading of a stream, numbered through its level and seconds.
QByteArray NumberedRecord(int i) {
  const QByteArray level = QByteArray::number(i % 10000).rightJustified(4, '0');
  const QByteArray time = "1430" + QByteArray::number(i % 60).rightJustified(2, '0');
  return Record(0xA2, 0x0C, level.constData(), "110615", time.constData());
}
double NumberedLevel(int i) {
  return (i % 10000) / 10.0;
}
}  // namespace

TEST_F(SerialTest, ALongStreamLosesNothingAndDuplicatesNothing) {
  // Delivered as fast as the line takes them, in the uneven pieces a USB adapter hands on.
  const int kRecords = 2000;
  QByteArray stream;
  for (int i = 0; i < kRecords; ++i) stream += NumberedRecord(i);
  Connect();
  std::mt19937 random(3);
  std::thread feeder([&] {
    for (int at = 0; at < stream.size();) {
      const int n = std::min(int(random() % 90) + 1, int(stream.size()) - at);
      Pty.Write(stream.mid(at, n));
      at += n;
    }
  });
  feeder.join();
  ASSERT_TRUE(WaitForReadings(kRecords));
  RunQueuedCalls(50);
  std::lock_guard<std::mutex> lock(FLock);
  ASSERT_EQ(Received.size(), size_t(kRecords));
  for (int i = 0; i < kRecords; ++i)
    ASSERT_DOUBLE_EQ(Received[size_t(i)].dVal, NumberedLevel(i)) << "reading " << i;
}

TEST_F(SerialTest, TenMinutesAtTheMetersRateLoseNothingAndKeepTheLinkUp) {
  // Thirteen readings a second, each written when the virtual clock reaches it, most in two
  // pieces some milliseconds apart, so that the watchdog and the status queue run among them
  // as they do at the real rate. Only the wait for the bytes to arrive takes real time.
  const int kRecords = 13 * 60 * 10;
  Connect();
  std::mt19937 random(5);
  for (int i = 0; i < kRecords; ++i) {
    const QByteArray record = NumberedRecord(i);
    const int split = 1 + int(random() % KvRecordSize);
    Clock.Advance(int64_t(i) * 1000 / 13 - Clock.ElapsedMs());
    Pty.Write(record.left(split));
    Clock.Advance(30);
    if (split < KvRecordSize) Pty.Write(record.mid(split));
    ASSERT_TRUE(WaitForReadings(size_t(i) + 1)) << "reading " << i << " did not arrive";
    ASSERT_TRUE(Commander->IsConnected()) << "the watchdog gave up at reading " << i;
  }
  EXPECT_NE(Clock.DueAt(Commander->FTimerCheckConn), -1);
  {
    std::lock_guard<std::mutex> lock(FLock);
    ASSERT_EQ(Received.size(), size_t(kRecords));
    EXPECT_TRUE(OnPortThread) << "the watchdog reported a lost link meanwhile";
    for (int i = 0; i < kRecords; ++i)
      ASSERT_DOUBLE_EQ(Received[size_t(i)].dVal, NumberedLevel(i)) << "reading " << i;
  }
  EXPECT_TRUE(FlushedStatusTexts().filter("Err:").isEmpty());

  // When the readings stop, the watchdog says so once, within two of its rounds.
  Clock.Advance(4100);
  EXPECT_FALSE(Commander->IsConnected());
  Clock.Advance(20000);
  std::lock_guard<std::mutex> lock(FLock);
  ASSERT_EQ(Received.size(), size_t(kRecords) + 1);
  EXPECT_FALSE(Received.back().bConnected);
}

TEST_F(SerialTest, AGarbageFloodKeepsTheQueueTheLogAndTheEventsBounded) {
  int queuedCalls = 0;
  struct TCounter : QObject {
    int* Count;
    bool eventFilter(QObject*, QEvent* e) override {
      if (e->type() == QEvent::MetaCall) ++*Count;
      return false;
    }
  } counter;
  counter.Count = &queuedCalls;
  Commander->FTimerStatusBar->installEventFilter(&counter);
  Commander->FTimerCheckConn->installEventFilter(&counter);
  Connect();
  Pty.Write(WorkedRecord());
  ASSERT_TRUE(WaitForReadings(1));

  // A megabyte of noise while the main thread is busy elsewhere.
  const int kBytes = 1 << 20;
  std::thread feeder([&] {
    const QByteArray noise(4096, char(0x55));
    for (int i = 0; i < kBytes / noise.size(); ++i) Pty.Write(noise);
  });
  feeder.join();
  const int64_t expected = kBytes + 18;
  for (int i = 0; i < 3000 && Commander->RecTotalAll() < expected; ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  ASSERT_EQ(Commander->RecTotalAll(), expected);
  EXPECT_LE(Commander->StatusQueued(), TKvStatusQueue::MaxQueued);
  queuedCalls = 0;
  RunQueuedCalls(1);
  EXPECT_LE(queuedCalls, 4);
  const QStringList shown = FlushedStatusTexts();
  EXPECT_LE(shown.size(), int(TKvStatusQueue::MaxQueued) + 3);
  EXPECT_TRUE(shown.last().endsWith("further status texts were dropped"));
  EXPECT_TRUE(Serial->Active());
}

TEST_F(SerialTest, TheRemovalLogLineNamesTheDevicePath) {
  Connect();
  Devices.List = {};
  Devices.Notify(TKvDeviceNotice::RemoveComplete);
  EXPECT_FALSE(Serial->Active());
  EXPECT_TRUE(Logged("COM1 (" + Pty.Path + ") was removed"))
      << KvSysHelper().SysLog_Get().join("\n").toStdString();
}

TEST_F(SerialTest, PortByIndexTakesAListedPortAndIgnoresOthers) {
  TPty second;
  Devices.List = {Pty.AsDevice(), second.AsDevice()};
  Manager->RecheckPorts();
  Serial->PortByIndex(1);
  EXPECT_EQ(Serial->COMPort(), 2);
  for (int outside : {2, -1, 99}) {
    Serial->PortByIndex(outside);
    EXPECT_EQ(Serial->COMPort(), 2) << outside;
  }
  Serial->PortByIndex(0);
  EXPECT_EQ(Serial->COMPort(), 1);
}
