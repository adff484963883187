// The reader thread's priority on a real pseudo-terminal: the thread runs at the nice value
// asked for when the system allows it, and a refused raise leaves the port working and is
// told once in the log. Lowering a thread's priority is always allowed; whether a raise is
// depends on the user, so a refusal is made sure of by taking the privilege away.
#include <sys/resource.h>
#include <unistd.h>

#include <QTest>
#include <atomic>

#include "SerialFixture.h"

class SerialPriorityTest : public PortManagerTest {
 protected:
  void SetUp() override {
    PortManagerTest::SetUp();
    Serial = SerialOn(Pty);
    Serial->OnRxChar = [this] {
      Serial->ReceiveText();
      Reader = gettid();
    };
  }
  void TearDown() override {
    Serial.reset();
    PortManagerTest::TearDown();
  }
  // Opens the port and lets a byte through; the thread id of whoever received it.
  pid_t OpenAndReceive(TThreadPriority priority) {
    Reader = 0;
    Serial->ThreadPriority = priority;
    Serial->SetActive(true);
    if (!Serial->Active()) return 0;
    Pty.Write("x");
    return QTest::qWaitFor([this] { return Reader != 0; }, 5000) ? Reader.load() : 0;
  }
  static int NiceOf(pid_t thread) { return getpriority(PRIO_PROCESS, id_t(thread)); }
  int RefusalsLogged() const {
    return int(KvSysHelper().SysLog_Get().filter("was refused").size());
  }

  TPty Pty;
  std::unique_ptr<TSerial> Serial;
  std::atomic<pid_t> Reader{0};
};

struct PriorityCase {
  const char* Name;
  TThreadPriority Priority;
  int Nice;
};

class SerialPriorityAskedTest : public SerialPriorityTest,
                                public ::testing::WithParamInterface<PriorityCase> {};

TEST_P(SerialPriorityAskedTest, TheReaderThreadRunsAtTheNiceValueAskedForWhenAllowed) {
  const PriorityCase& c = GetParam();
  const int started = NiceOf(0);
  const pid_t reader = OpenAndReceive(c.Priority);
  ASSERT_NE(reader, 0) << "no byte reached the reader thread";
  EXPECT_NE(reader, gettid());
  const int nice = NiceOf(reader);
  EXPECT_EQ(NiceOf(0), started) << "the opener's own priority changed";
  if (c.Nice >= started) {
    EXPECT_EQ(nice, c.Nice);
    EXPECT_EQ(RefusalsLogged(), 0);
  } else if (nice != c.Nice) {
    // This user may not raise it: the thread runs as started and the log says so.
    EXPECT_EQ(nice, started);
    EXPECT_EQ(RefusalsLogged(), 1);
  }
}

INSTANTIATE_TEST_SUITE_P(
    Priorities, SerialPriorityAskedTest,
    ::testing::Values(PriorityCase{"Idle", tpIdle, 19}, PriorityCase{"Lowest", tpLowest, 10},
                      PriorityCase{"Lower", tpLower, 5},
                      PriorityCase{"Normal", tpNormal, getpriority(PRIO_PROCESS, 0)},
                      PriorityCase{"Higher", tpHigher, -5}, PriorityCase{"Highest", tpHighest, -10},
                      PriorityCase{"TimeCritical", tpTimeCritical, -20}),
    [](const auto& info) { return std::string(info.param.Name); });

TEST_F(SerialPriorityTest, ARefusedRaiseLeavesThePortWorkingAndIsToldOnce) {
  const int started = NiceOf(0);
  rlimit saved{};
  ASSERT_EQ(getrlimit(RLIMIT_NICE, &saved), 0);
  auto openWithoutPrivilege = [&] {
    TWithoutCapabilities asAUser({CAP_SYS_NICE});
    const rlimit none{0, saved.rlim_max};
    setrlimit(RLIMIT_NICE, &none);
    const pid_t reader = OpenAndReceive(tpTimeCritical);
    setrlimit(RLIMIT_NICE, &saved);
    return reader;
  };
  for (int opening = 0; opening < 3; ++opening) {
    const pid_t reader = openWithoutPrivilege();
    ASSERT_TRUE(Serial->Active()) << "opening " << opening;
    ASSERT_NE(reader, 0) << "no byte reached the reader thread";
    if (NiceOf(reader) == -20) GTEST_SKIP() << "this process may raise priorities regardless";
    EXPECT_EQ(NiceOf(reader), started);
    Serial->SetActive(false);
  }
  const QStringList told = KvSysHelper().SysLog_Get().filter("was refused");
  ASSERT_EQ(told.size(), 1);
  EXPECT_TRUE(told[0].endsWith(
      "COM1 reads at the priority its thread was started with: nice -20 was refused (Permission "
      "denied); raising it needs the CAP_SYS_NICE capability or a higher RLIMIT_NICE"))
      << told[0].toStdString();

  // Once a priority was given, a later refusal is news again.
  ASSERT_NE(OpenAndReceive(tpIdle), 0);
  Serial->SetActive(false);
  openWithoutPrivilege();
  EXPECT_EQ(RefusalsLogged(), 2);
}
