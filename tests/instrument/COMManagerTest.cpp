// The port manager over a scripted device list: numbering that survives a restart and ends at
// COM99, what a device notice raises, removal notices to the holder, feedback, and the
// system's device list (pseudo-terminals registered by hand, the serial-node rule). Opening
// ports and the reader thread are covered by SerialTest.
#include <QFileInfo>

#include "KvPortDevices.h"
#include "SerialFixture.h"

namespace {
std::vector<TKvPortDevice> DevicesNamed(const QStringList& ids) {
  std::vector<TKvPortDevice> list;
  for (const QString& id : ids) list.push_back(Device(id));
  return list;
}
}  // namespace

TEST_F(PortManagerTest, NumbersStayWithTheirDevicesAcrossRuns) {
  Devices.List = DevicesNamed({"a", "b"});
  EXPECT_EQ(Restart().Ports(), QStringList({"COM1", "COM2"}));
  EXPECT_TRUE(QFileInfo::exists(Assignments->FileName()));
  EXPECT_TRUE(Assignments->FileName().startsWith(Dir.path()));

  // b stays COM2 and the newcomer doesn't take a's number while a is away.
  Devices.List = DevicesNamed({"c", "b"});
  TCOMManager& second = Restart();
  EXPECT_EQ(second.Ports(), QStringList({"COM2", "COM3"}));
  EXPECT_EQ(second.DevicePath(3), "/dev/c");
  EXPECT_EQ(second.FriendlyName(3), "Adapter c (/dev/c)");
  EXPECT_EQ(second.Port2Index(3), 1);
  EXPECT_EQ(second.Port2Index(1), -1);

  Devices.List = DevicesNamed({"b", "c", "a"});
  EXPECT_EQ(Restart().Ports(), QStringList({"COM1", "COM2", "COM3"}));
  EXPECT_EQ(Manager->DevicePath(1), "/dev/a");
}

TEST_F(PortManagerTest, NumbersEndAtCOM99AndGoToAbsentDevicesWhenAllAreTaken) {
  QStringList ids;
  for (int i = 1; i <= 120; ++i) ids << QString("dev%1").arg(i);
  Devices.List = DevicesNamed(ids);
  TCOMManager& m = Restart();
  EXPECT_EQ(m.Ports().size(), 16);  // the first look
  m.CheckPorts(150);
  EXPECT_EQ(m.CheckedPorts(), 99);
  EXPECT_EQ(m.Ports().size(), 99);
  EXPECT_EQ(m.Ports().last(), "COM99");
  EXPECT_EQ(m.DevicePath(99), "/dev/dev99");

  // All 99 numbers are given out; with dev1..dev3 away, two newcomers take theirs.
  Devices.List = DevicesNamed(ids.mid(3, 96) + QStringList{"new1", "new2"});
  TCOMManager& next = Restart();
  next.CheckPorts(99);
  EXPECT_EQ(next.DevicePath(1), "/dev/new1");
  EXPECT_EQ(next.DevicePath(2), "/dev/new2");
  EXPECT_FALSE(next.PortExists(3));
  EXPECT_EQ(next.DevicePath(4), "/dev/dev4");
}

struct NoticeCase {
  const char* Name;
  QStringList Before, After;
  TKvDeviceNotice Notice;
  int Added, Removed;
};

class PortNoticeTest : public PortManagerTest, public ::testing::WithParamInterface<NoticeCase> {};

TEST_P(PortNoticeTest, RaisesByTheChangeOfCount) {
  const NoticeCase& c = GetParam();
  Devices.List = DevicesNamed(c.Before);
  TCOMManager& m = Restart();
  int added = 0, removed = 0, feedback = 0;
  m.OnPortAdded = [&] { ++added; };
  m.OnPortRemoved = [&] { ++removed; };
  m.RegisterFeedback(this, [&] { ++feedback; });

  Devices.List = DevicesNamed(c.After);
  Devices.Notify(c.Notice);
  EXPECT_EQ(added, c.Added);
  EXPECT_EQ(removed, c.Removed);
  // Once for the new list, once more after a raise.
  EXPECT_EQ(feedback, 1 + c.Added + c.Removed);
  EXPECT_EQ(m.Ports().size(), c.After.size());
}

INSTANTIATE_TEST_SUITE_P(
    Notices, PortNoticeTest,
    ::testing::Values(
        NoticeCase{"ArrivalOfOne", {"a"}, {"a", "b"}, TKvDeviceNotice::Arrival, 1, 0},
        NoticeCase{"ArrivalWithoutChange", {"a"}, {"a"}, TKvDeviceNotice::Arrival, 0, 0},
        NoticeCase{"RemovalOfOne", {"a", "b"}, {"b"}, TKvDeviceNotice::RemoveComplete, 0, 1},
        NoticeCase{"NodesChangedMore", {"a"}, {"a", "b"}, TKvDeviceNotice::NodesChanged, 1, 0},
        NoticeCase{"NodesChangedFewer", {"a", "b"}, {"a"}, TKvDeviceNotice::NodesChanged, 0, 1},
        NoticeCase{"NodesChangedReplaced", {"a"}, {"b"}, TKvDeviceNotice::NodesChanged, 0, 0}),
    [](const auto& info) { return std::string(info.param.Name); });

TEST_F(PortManagerTest, RecheckReportsTheChangeAndLogsDevicePaths) {
  Devices.List = DevicesNamed({"a", "b"});
  TCOMManager& m = Restart();
  Devices.List = DevicesNamed({"b"});
  EXPECT_EQ(m.RecheckPorts(), -1);
  EXPECT_TRUE(Logged("COM1 (/dev/a) removed"));
  Devices.List = DevicesNamed({"b", "c", "d"});
  EXPECT_EQ(m.RecheckPorts(), 2);
  EXPECT_TRUE(Logged("COM4 arrived: Adapter d (/dev/d)"));
}

TEST_F(PortManagerTest, TheHolderOfAReplacedPortHearsOfItsRemoval) {
  TPty pty;
  Devices.List = {pty.AsDevice(), Device("other")};
  TCOMManager& m = Restart();
  TSerial serial(&m);
  int removals = 0, raised = 0;
  serial.OnCOMRemoved = [&] { ++removals; };
  m.OnPortAdded = m.OnPortRemoved = [&] { ++raised; };
  serial.SetCOMPort(1);
  ASSERT_TRUE(serial.OpenComm());
  EXPECT_EQ(m.Holder(1), &serial);

  // The other port going and coming doesn't concern the holder of COM1.
  Devices.List = {pty.AsDevice()};
  Devices.Notify(TKvDeviceNotice::RemoveComplete);
  EXPECT_EQ(m.Holder(1), &serial);

  // Same count, another device: nothing is raised, but the holder is told.
  Devices.List = {Device("third")};
  Devices.Notify(TKvDeviceNotice::NodesChanged);
  EXPECT_EQ(raised, 1);
  EXPECT_EQ(removals, 1);
  EXPECT_FALSE(serial.Active());
  EXPECT_EQ(serial.SerHandle(), -1);
}

TEST_F(PortManagerTest, ClosingAPortClearsItsHolder) {
  TPty pty;
  Devices.List = {pty.AsDevice()};
  TCOMManager& m = Restart();
  TSerial serial(&m);
  EXPECT_EQ(serial.COMPort(), 1);  // the first known port
  serial.SetActive(true);
  EXPECT_EQ(m.Holder(1), &serial);
  serial.SetActive(false);
  EXPECT_EQ(m.Holder(1), nullptr);
  serial.SetCOMPort(5);  // not listed: ignored
  EXPECT_EQ(serial.COMPort(), 1);
}

TEST_F(PortManagerTest, FeedbackIsRegisteredOncePerOwner) {
  TCOMManager& m = Restart();
  int calls = 0;
  m.RegisterFeedback(this, [&] { ++calls; });
  m.RegisterFeedback(this, [&] { calls += 100; });
  m.CheckPorts(40);
  EXPECT_EQ(calls, 1);
  m.CheckPorts(40);  // nothing new to look at: no feedback
  EXPECT_EQ(calls, 1);
  m.UnregisterFeedback(this);
  m.CheckPorts(60);
  EXPECT_EQ(calls, 1);
}

TEST(PortDevicesTest, SerialNodesAreAdaptersAndUartsThatAnswer) {
  struct Row {
    const char* Name;
    int UartType;
    bool Serial;
  };
  for (const Row& r : {Row{"ttyUSB0", 0, true}, Row{"ttyACM12", 0, true}, Row{"ttyS0", 4, true},
                       Row{"ttyS3", 0, false}, Row{"tty1", 0, false}, Row{"ttyUSB", 0, false},
                       Row{"ttyprintk", 0, false}})
    EXPECT_EQ(KvPort_IsSerialNode(r.Name, r.UartType), r.Serial) << r.Name;
}

TEST_F(PortManagerTest, RegisteredVirtualPortsAreListedWhileTheyExist) {
  TPty pty;
  TKvPortAssignments settings;
  settings.SetVirtualDevices({pty.Path, Dir.filePath("gone")});
  TKvUdevPortDevices system(TKvPortAssignments().VirtualDevices());
  int virtuals = 0;
  for (const TKvPortDevice& d : system.Devices()) {
    EXPECT_NE(d.Path, Dir.filePath("gone"));
    if (d.Path == pty.Path && d.Name == "Virtual port") ++virtuals;
  }
  EXPECT_EQ(virtuals, 1);
}
