// The commander's housekeeping on the virtual clock: the watchdog, the status queue,
// opening and closing, the device check, ports vanishing and arriving, the buffers.
#include "InstrumentFixture.h"

class CommanderTest : public InstrumentTest {
 protected:
  std::vector<std::pair<bool, bool>> Changes;  // Connected, bNewPortList
  void ListenToConnection() {
    Commander->OnConnectionChange = [this](QObject*, bool c, bool n) { Changes.push_back({c, n}); };
  }
};

TEST_F(CommanderTest, WatchdogTellsOnceTwoToFourSecondsAfterTheLastRecord) {
  Receive(WorkedRecord());
  Clock.Advance(1500);
  Receive(WorkedRecord());  // last record at 1500 ms
  Clock.Advance(10000);
  ASSERT_EQ(Deliveries.size(), 3u);
  const TDelivery& lost = Deliveries[2];
  EXPECT_TRUE(lost.strData.isEmpty());
  EXPECT_FALSE(lost.Data.bConnected);
  EXPECT_FALSE(lost.Data.bLive);
  EXPECT_DOUBLE_EQ(lost.Data.dVal, 65.3);  // the last record's values stay
  EXPECT_GE(lost.AtMs - 1500, 2000);
  EXPECT_LE(lost.AtMs - 1500, 4000);
  EXPECT_FALSE(Commander->IsConnected());
  EXPECT_FALSE(Commander->FTimerCheckConn->Enabled());

  Receive(WorkedRecord());  // the next record brings the connection back
  EXPECT_TRUE(Commander->IsConnected());
  EXPECT_TRUE(Deliveries.back().Data.bConnected);
}

TEST_F(CommanderTest, WatchdogStandsStillUnderPureGarbage) {
  Receive(WorkedRecord());
  Receive(QByteArray(40, char(0x55)));
  Clock.Advance(20000);
  EXPECT_EQ(Deliveries.size(), 1u);
  EXPECT_TRUE(Commander->IsConnected());
}

TEST_F(CommanderTest, QueuedTextsReachTheStatusBarInOrderAfter100ms) {
  Commander->FireStatusBarNotify("first", true);
  Commander->FireStatusBarNotify("second", false);
  Clock.Advance(99);
  EXPECT_TRUE(Services.Texts.isEmpty());
  Clock.Advance(1);
  EXPECT_EQ(Services.Texts, QStringList({"first", "second"}));
  EXPECT_EQ(Services.Logged, QStringList({"first"}));
  Commander->FireStatusBarNotify("third", true);
  Clock.Advance(100);
  EXPECT_EQ(Services.Texts.size(), 3);
}

TEST_F(CommanderTest, ConnectOpensListedPortsAndRefusesVanishedOnes) {
  ListenToConnection();
  QString cap = "x";
  Port.SetCOMPort(2);  // not listed
  Commander->DoConnect(true, cap);
  EXPECT_TRUE(cap.isEmpty());
  EXPECT_FALSE(Port.Active());
  EXPECT_EQ(Services.Texts.last(),
            "COM2 is not available as the moment. Please re-plug in case of a USB style COM port");
  EXPECT_EQ(Changes, (std::vector<std::pair<bool, bool>>{{false, false}}));

  Port.SetCOMPort(3);
  Commander->DoConnect(true, cap);
  EXPECT_EQ(cap, "Dis&connect");
  EXPECT_TRUE(Port.Active());
  EXPECT_EQ(Services.Texts.last(), "COM3 opened");
  EXPECT_EQ(Changes.back(), std::make_pair(true, false));

  Commander->DoConnect(false, cap);
  EXPECT_EQ(cap, "&Connect");
  EXPECT_EQ(Services.Texts.mid(Services.Texts.size() - 2),
            QStringList({"COM3 closed", "COM3 closed"}));
  EXPECT_EQ(Changes.back(), std::make_pair(false, false));
  EXPECT_EQ(Changes.size(), 3u);
}

TEST_F(CommanderTest, APortThatWillNotOpenIsReportedOnClose) {
  TRefusingPort refusing(1);
  Commander.reset();
  Commander = std::make_unique<TDmKv_COM_Commander>(&refusing, &Ports);
  QString cap;
  Commander->DoConnect(true, cap);
  EXPECT_FALSE(refusing.Active());
  EXPECT_EQ(Services.Texts.last(), "COM1 opened");
  EXPECT_EQ(Commander->CheckDeviceAvailable(), -1);
  Commander->DoConnect(false, cap);
  EXPECT_EQ(Services.Texts.last(), "COM1 could not be opened");
  Commander.reset();  // before the port it uses goes
}

TEST_F(CommanderTest, OpeningAPortDropsWhatASimulationOrAnEarlierStreamLeft) {
  for (int i = 0; i < 3; ++i) Commander->DoSimulateTick();
  EXPECT_EQ(Commander->RecTotal(), -54);
  Receive(WorkedRecord().left(7));
  QString cap;
  Commander->DoConnect(true, cap);
  EXPECT_EQ(Commander->RecTotal(), 0);
  Deliveries.clear();
  Receive(WorkedRecord());
  ASSERT_EQ(Deliveries.size(), 1u);
  EXPECT_DOUBLE_EQ(Deliveries[0].Data.dVal, 65.3);
}

TEST_F(CommanderTest, DeviceCheckWaitsItsFullSecondAndTellsWhetherRecordsCame) {
  QString cap;
  Commander->DoConnect(true, cap);
  int64_t start = Clock.ElapsedMs();
  EXPECT_EQ(Commander->CheckDeviceAvailable(), -1);
  EXPECT_EQ(Clock.ElapsedMs() - start, 1010);

  // A record decoded while the check pumps messages counts, however early it came.
  TKvTimer feeder(nullptr, 50, true);
  feeder.OnTimer = [this] { Receive(WorkedRecord()); };
  feeder.SetEnabled(true);
  start = Clock.ElapsedMs();
  EXPECT_EQ(Commander->CheckDeviceAvailable(), 1);
  EXPECT_EQ(Clock.ElapsedMs() - start, 1010);

  Commander->DoConnect(false, cap);
  EXPECT_EQ(Commander->CheckDeviceAvailable(), -1);
}

TEST_F(CommanderTest, ChangingThePortKeepsTheOpenState) {
  std::vector<int> told;
  Commander->OnComPortChange = [&](QObject*, int p) { told.push_back(p); };
  QString cap;
  Commander->DoConnect(true, cap);
  Commander->SetComPort(3);
  EXPECT_TRUE(Port.Active());
  EXPECT_EQ(Port.COMPort(), 3);
  Commander->SetComPort(3);
  EXPECT_EQ(told, std::vector<int>{3});
  EXPECT_EQ(Services.Texts.filter("COM port changed to COM3").size(), 2);
}

TEST_F(CommanderTest, UnpluggedPortIsClosedAndAnnouncedASecondLater) {
  ListenToConnection();
  QString cap;
  Commander->DoConnect(true, cap);
  Ports.List = {"COM3"};  // COM1 vanished
  Commander->SerialCOMRemoved();
  EXPECT_FALSE(Port.Active());
  EXPECT_EQ(Changes.back(), std::make_pair(false, true));
  Clock.Advance(100);
  EXPECT_EQ(Services.Texts.last(),
            "! The COM port interface in use was removed from the computer (probably a USB type "
            "COM port was unplugged)");
  EXPECT_FALSE(Services.Logged.contains(Services.Texts.last()));
  EXPECT_TRUE(Dialogs.Messages.empty());
  Clock.Advance(900);
  ASSERT_EQ(Dialogs.Messages.size(), 1u);
  EXPECT_EQ(Dialogs.Messages[0].Text,
            "The COM port \"COM1\" interface in use was removed from the computer\r\n\r\n"
            "(probably a USB type COM port was unplugged)");
  EXPECT_EQ(Dialogs.Messages[0].Type, TMsgDlgType::mtError);
  EXPECT_EQ(Services.Texts.last(), "COM1 closed");

  // Plugged in again while closed and still selected: the question, and Yes reconnects.
  Ports.List = {"COM1", "COM3"};
  Dialogs.Answers = {mrYes};
  Ports.OnPortAdded();
  Clock.Advance(1000);
  ASSERT_EQ(Dialogs.Messages.size(), 2u);
  EXPECT_EQ(Dialogs.Messages[1].Text,
            "A new COM port \"COM1\" was detected.\r\n(Probably a USB style port was plugged)"
            "\r\n\r\nDo you want to re-connect to the port now ?");
  EXPECT_EQ(Dialogs.Messages[1].Buttons, mbYesNoCancel);
  EXPECT_TRUE(Port.Active());
}

TEST_F(CommanderTest, OtherPortsArrivingOnlyReloadTheListOrInform) {
  ListenToConnection();
  QString cap;
  Commander->DoConnect(true, cap);
  Ports.List << "COM7";
  Ports.OnPortAdded();
  Clock.Advance(1000);
  EXPECT_TRUE(Dialogs.Messages.empty());  // connected: no box
  EXPECT_EQ(Changes.back(), std::make_pair(true, true));

  Commander->DoConnect(false, cap);
  Ports.List << "COM8";
  Ports.OnPortAdded();
  Clock.Advance(1000);
  ASSERT_EQ(Dialogs.Messages.size(), 1u);
  EXPECT_EQ(Dialogs.Messages[0].Text,
            "A new COM port  was detected.\r\n(Probably a USB style port was plugged)");
  EXPECT_EQ(Dialogs.Messages[0].Type, TMsgDlgType::mtInformation);
  EXPECT_FALSE(Port.Active());
}

TEST_F(CommanderTest, SecondModuleIsRefusedWithTheModuleMessage) {
  TDmKv_COM_Commander second(&Port, &Ports);
  ASSERT_EQ(Dialogs.Messages.size(), 1u);
  EXPECT_EQ(Dialogs.Messages[0].Text, "DmKvBasic: Module already loaded");
  EXPECT_EQ(DmKv_COM_Commander, Commander.get());
}

TEST(CommanderBuffers, AppendStopsAtTheEndAndDeleteShiftsAndClears) {
  TKvBuf buf{};
  uint8_t src[10] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  TDmKv_COM_Commander::TrmBuf_Append(buf, 250, src, 10);
  EXPECT_EQ(buf[250], 1);
  EXPECT_EQ(buf[256], 7);  // 8..10 did not fit
  TDmKv_COM_Commander::TrmBuf_Delete(buf, 5);
  EXPECT_EQ(buf[245], 1);
  EXPECT_EQ(buf[250], 6);
  EXPECT_EQ(buf[251], 0);  // the clear starts one byte early
  buf[0] = 200;
  buf[1] = 100;
  EXPECT_EQ(TDmKv_COM_Commander::TrmBuf_CalcChecksum(buf, 2), 300);
  EXPECT_EQ(TDmKv_COM_Commander::TrmBuf_CalcChecksum(buf, 0), 0);
  buf[2] = 4;
  EXPECT_EQ(TDmKv_COM_Commander::TrmBuf_ToHex(buf, 10), "C8 64 04 ");
}
