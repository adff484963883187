// The port engine on real pseudo-terminals: bytes from the line reach the commander through
// the reader thread and are decoded, closing joins that thread, the far end going away
// reaches the commander's removal path on the main thread, and a port that can't be opened
// says why. Also run under ThreadSanitizer. The port list itself is COMManagerTest's.
#include <fcntl.h>
#include <linux/capability.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <QCoreApplication>
#include <QFile>
#include <QTest>
#include <QThread>
#include <condition_variable>
#include <thread>

#include "InstrumentFixture.h"
#include "KvSerialCommander.h"
#include "SerialFixture.h"

namespace {
// Takes away root's right to open any file, for this thread, so that a missing permission
// can be tried in a container that runs as root. Restores it on destruction.
class TWithoutFileOverride {
 public:
  TWithoutFileOverride() {
    FOk = syscall(SYS_capget, &FHeader, FSaved) == 0;
    if (!FOk) return;
    __user_cap_data_struct reduced[2] = {FSaved[0], FSaved[1]};
    reduced[0].effective &= ~((1u << CAP_DAC_OVERRIDE) | (1u << CAP_DAC_READ_SEARCH));
    FOk = syscall(SYS_capset, &FHeader, reduced) == 0;
  }
  ~TWithoutFileOverride() {
    if (FOk) syscall(SYS_capset, &FHeader, FSaved);
  }

 private:
  __user_cap_header_struct FHeader{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct FSaved[2]{};
  bool FOk = false;
};
}  // namespace

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
    TWithoutFileOverride asAUser;
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
}

INSTANTIATE_TEST_SUITE_P(
    Failures, SerialOpenFailureTest,
    ::testing::Values(OpenFailureCase{"Missing", ENOENT, "No such file or directory"},
                      OpenFailureCase{"NotATerminal", ENOTTY, "Inappropriate ioctl for device"},
                      OpenFailureCase{
                          "NoPermission", EACCES,
                          "Permission denied - the user must be a member of the group"}),
    [](const auto& info) { return std::string(info.param.Name); });
