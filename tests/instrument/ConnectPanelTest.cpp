// The connection panel's states and transitions, driven by clicks on the real widgets, a
// scripted device list, an instrument that sends on one port only, and the virtual clock.
// The commander's own texts and timing are CommanderTest's.
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QToolButton>

#include "InstrumentFixture.h"
#include "KvAppIniFileStorage.h"
#include "KvFormStorage.h"
#include "KvSys_Helper.h"
#include "UDxLvx_Connect.h"

namespace {
// Ports that exist per the device list; only listed ones open.
class TListedPort : public TKvStreamPort {
 public:
  TListedPort(TScriptedPortList& list) : TKvStreamPort(1), FList(list) {}
  void SetActive(bool on) override { TKvStreamPort::SetActive(on && FList.PortExists(COMPort())); }

 private:
  TScriptedPortList& FList;
};
}  // namespace

class ConnectPanelTest : public InstrumentTest {
 protected:
  void SetUp() override {
    InstrumentTest::SetUp();
    Ports.List = {"COM1", "COM3", "COM4"};
    Ports.Names = {{1, "Built-in UART"}, {3, "USB Serial Port"}, {4, "USB Serial Port"}};
    Commander.reset();
    Commander = std::make_unique<TDmKv_COM_Commander>(&Listed, &Ports);
    Commander->OnDataReceived = [this](QObject*, const QString& s, const TKvUniqueData& d) {
      Deliveries.push_back({s, d, Clock.ElapsedMs()});
    };
    // The instrument sends about 13 records a second, but only on its own port.
    Instrument.OnTimer = [this] {
      if (SendingOn > 0 && Listed.Active() && Listed.COMPort() == SendingOn) {
        Listed.Push(WorkedRecord());
        Commander->SerialRxChar();
      }
    };
    Instrument.SetEnabled(true);
  }
  void TearDown() override {
    Panel.reset();
    InstrumentTest::TearDown();
  }
  void CreatePanel() { Panel = std::make_unique<TFrmLvx_Connect>(Commander.get(), &Ports); }
  void Click(QAbstractButton* b) { QTest::mouseClick(b, Qt::LeftButton); }
  void Choose(const QString& entryStart) {
    for (int i = 0; i < Panel->cxComboBoxCOM->count(); ++i)
      if (Panel->cxComboBoxCOM->itemText(i).startsWith(entryStart)) {
        Panel->cxComboBoxCOM->setCurrentIndex(i);
        return;
      }
    FAIL() << "no entry " << entryStart.toStdString();
  }
  bool TimerOn(int i) { return (*Panel->JvTimerList1)[i]->Enabled(); }
  QString ConnectCaption() { return Panel->cxButtonConnect->text(); }

  TListedPort Listed{Ports};
  TKvTimer Instrument{nullptr, 77};
  int SendingOn = 0;
  std::unique_ptr<TFrmLvx_Connect> Panel;
};

TEST_F(ConnectPanelTest, ListsPortsWithFriendlyNamesThenSimulation) {
  CreatePanel();
  QComboBox* c = Panel->cxComboBoxCOM;
  ASSERT_EQ(c->count(), 4);
  EXPECT_EQ(c->itemText(0), "COM 1 - Built-in UART");
  EXPECT_EQ(c->itemText(1), "COM 3 - USB Serial Port");
  EXPECT_EQ(c->itemText(3), "Simulation");
  EXPECT_EQ(c->itemData(3).toInt(), 1);
  EXPECT_EQ(c->itemData(0).toInt(), 0);
  EXPECT_EQ(Panel->windowTitle(), "Phonara: Connection");
  EXPECT_EQ(Panel->IndexFromPort(4), 2);
  EXPECT_EQ(Panel->IndexFromPort(2), -1);

  Ports.List.clear();
  Panel->EnumComPorts();
  EXPECT_EQ(c->count(), 2);
  EXPECT_EQ(c->itemText(0), "<none>");
  EXPECT_EQ(c->itemText(1), "Simulation");
}

TEST_F(ConnectPanelTest, ChoosingAnEntrySelectsItsPortAndShowsItsShortName) {
  CreatePanel();
  Choose("COM 3");
  EXPECT_EQ(Listed.COMPort(), 3);
  EXPECT_EQ(Panel->cxComboBoxCOM->EditText(), "COM 3");
}

TEST_F(ConnectPanelTest, ConnectToASendingInstrumentThenDisconnect) {
  SendingOn = 3;
  CreatePanel();
  Choose("COM 3");
  Click(Panel->cxButtonConnect);
  EXPECT_EQ(ConnectCaption(), "Dis&connect");
  EXPECT_FALSE(TFrmLvx_Connect::IsRed(Panel->cxButtonConnect));
  EXPECT_TRUE(Listed.Active());
  EXPECT_TRUE(Services.Texts.contains("COM3 checking ..."));
  EXPECT_EQ(Services.Texts.last(), "COM3 found, instrument available and connected");
  EXPECT_FALSE(Panel->cxComboBoxCOM->isEnabled());
  EXPECT_FALSE(Panel->cxButtonSeek->isEnabled());
  EXPECT_TRUE(Panel->cxButtonRecordData->isEnabled());
  EXPECT_TRUE(TimerOn(1));
  EXPECT_FALSE(TimerOn(4));

  Click(Panel->cxButtonRecordData);
  EXPECT_TRUE(Commander->IsRecording());
  EXPECT_EQ(Panel->RecordImageIndex(), 5);
  EXPECT_EQ(Services.Texts.last(), "COM3 started recording to data table ...");

  Click(Panel->cxButtonConnect);
  EXPECT_EQ(ConnectCaption(), "&Connect");
  EXPECT_FALSE(Listed.Active());
  EXPECT_FALSE(Commander->IsRecording());
  EXPECT_EQ(Panel->RecordImageIndex(), 3);
  EXPECT_TRUE(Panel->cxComboBoxCOM->isEnabled());
  EXPECT_FALSE(Panel->cxButtonRecordData->isEnabled());
  EXPECT_FALSE(TimerOn(1));
}

TEST_F(ConnectPanelTest, SilentInstrumentLeavesThePortOpenAndTheButtonRedUntilRecordsCome) {
  CreatePanel();
  Choose("COM 3");
  const int64_t start = Clock.ElapsedMs();
  Click(Panel->cxButtonConnect);
  EXPECT_GE(Clock.ElapsedMs() - start, 1010);  // the check waited its full second
  EXPECT_EQ(ConnectCaption(), "Dis&connect");
  EXPECT_TRUE(TFrmLvx_Connect::IsRed(Panel->cxButtonConnect));
  EXPECT_TRUE(Listed.Active());
  EXPECT_EQ(Services.Texts.last(),
            "COM3 opened, instrument not available (not connected to this port or not in SENDING "
            "mode)");
  EXPECT_TRUE(TimerOn(1));

  SendingOn = 3;  // switched to SENDING later: the next colour tick turns the button back
  Clock.Advance(3500);
  EXPECT_FALSE(TFrmLvx_Connect::IsRed(Panel->cxButtonConnect));
  SendingOn = 0;  // and silent again: the watchdog, then the colour tick
  Clock.Advance(4000 + 3500);
  EXPECT_TRUE(TFrmLvx_Connect::IsRed(Panel->cxButtonConnect));
}

TEST_F(ConnectPanelTest, ConnectOnAVanishedPortChangesNothing) {
  CreatePanel();
  Choose("COM 4");
  Ports.List.removeAll("COM4");
  Click(Panel->cxButtonConnect);
  EXPECT_EQ(ConnectCaption(), "&Connect");
  EXPECT_FALSE(Listed.Active());
  EXPECT_EQ(Services.Texts.last(),
            "COM4 is not available as the moment. Please re-plug in case of a USB style COM port");
  EXPECT_TRUE(Panel->cxComboBoxCOM->isEnabled());
}

TEST_F(ConnectPanelTest, SimulationRunsWithoutAPortOrACheck) {
  CreatePanel();
  Choose("Simulation");
  const int64_t start = Clock.ElapsedMs();
  EXPECT_EQ(Panel->cxComboBoxCOM->EditText(), "Simulation");
  Click(Panel->cxButtonConnect);
  EXPECT_EQ(Clock.ElapsedMs(), start);
  EXPECT_FALSE(Listed.Active());
  EXPECT_EQ(ConnectCaption(), "Dis&connect");
  EXPECT_EQ(Services.Texts.last(), "COM simulation  found, instrument available and connected");
  EXPECT_TRUE(TimerOn(1) && TimerOn(4));
  Clock.Advance(3000);
  EXPECT_EQ(Deliveries.size(), 3u);
  EXPECT_FALSE(TFrmLvx_Connect::IsRed(Panel->cxButtonConnect));

  Click(Panel->cxButtonConnect);
  EXPECT_EQ(ConnectCaption(), "&Connect");
  EXPECT_FALSE(TimerOn(4));
  Clock.Advance(1000);
  EXPECT_EQ(Deliveries.size(), 3u);
}

TEST_F(ConnectPanelTest, SearchTriesEachPortAndConnectsWhereTheInstrumentSends) {
  SendingOn = 4;
  CreatePanel();
  Click(Panel->cxButtonSeek);
  EXPECT_EQ(Panel->cxButtonSeek->text(), "&Search stop");
  EXPECT_FALSE(Panel->cxButtonConnect->isEnabled());
  Clock.Advance(20000);
  EXPECT_EQ(ConnectCaption(), "Dis&connect");
  EXPECT_EQ(Listed.COMPort(), 4);
  EXPECT_TRUE(Listed.Active());
  EXPECT_EQ(Panel->cxButtonSeek->text(), "&Search");
  EXPECT_FALSE(Panel->cxButtonSeek->isEnabled());
  EXPECT_TRUE(TimerOn(1));
  EXPECT_FALSE(TimerOn(0));
  for (const char* text :
       {"COM1 searching ...", "COM1 found ...", "COM3 searching ...", "COM3 found ...",
        "COM4 searching ...", "COM4 found, instrument available and connected"})
    EXPECT_TRUE(Services.Texts.contains(text)) << text;
  EXPECT_EQ(Services.Texts.filter("checking ...").size(), 3);
}

TEST_F(ConnectPanelTest, SearchWithoutASendingInstrumentFailsAndNeverTriesSimulation) {
  CreatePanel();
  Click(Panel->cxButtonSeek);
  Clock.Advance(30000);
  EXPECT_EQ(Panel->cxButtonSeek->text(), "&Seek");
  EXPECT_TRUE(TFrmLvx_Connect::IsRed(Panel->cxButtonSeek));
  EXPECT_EQ(Services.Texts.last(),
            "COM port search failed, no sending instrument found on any port");
  EXPECT_FALSE(Listed.Active());
  EXPECT_EQ(Listed.COMPort(), 4);  // the last real port stays selected
  EXPECT_TRUE(Panel->cxButtonConnect->isEnabled());
  EXPECT_TRUE(Deliveries.empty());
}

TEST_F(ConnectPanelTest, SearchCanBeStoppedBetweenPorts) {
  CreatePanel();
  Click(Panel->cxButtonSeek);
  Clock.Advance(200);  // first port opened
  EXPECT_FALSE(Panel->cxButtonSeek->isEnabled());
  Clock.Advance(200);
  Clock.Advance(200);  // checked and closed again
  ASSERT_TRUE(Panel->cxButtonSeek->isEnabled());
  Click(Panel->cxButtonSeek);
  EXPECT_EQ(Services.Texts.last(), "COM port search aborted");
  EXPECT_EQ(Panel->cxButtonSeek->text(), "&Search");
  EXPECT_FALSE(TimerOn(0));
  Clock.Advance(5000);
  EXPECT_FALSE(Listed.Active());
}

TEST_F(ConnectPanelTest, EmptyPortListSearchMeetsOnlyTheUnavailableText) {
  Ports.List.clear();
  CreatePanel();
  Click(Panel->cxButtonSeek);
  Clock.Advance(1000);
  EXPECT_TRUE(Services.Texts.contains(
      "COM0 is not available as the moment. Please re-plug in case of a USB style COM port"));
  EXPECT_EQ(Panel->cxButtonSeek->text(), "&Seek");
}

TEST_F(ConnectPanelTest, UnpluggedPortReturnsThePanelToIdleWithANewList) {
  SendingOn = 3;
  CreatePanel();
  Choose("COM 3");
  Click(Panel->cxButtonConnect);
  Ports.List.removeAll("COM3");
  Commander->SerialCOMRemoved();
  EXPECT_EQ(ConnectCaption(), "&Connect");
  EXPECT_EQ(Panel->cxComboBoxCOM->count(), 3);
  EXPECT_TRUE(Panel->cxComboBoxCOM->isEnabled());
  Clock.Advance(1000);
  ASSERT_EQ(Dialogs.Messages.size(), 1u);
}

class ConnectPanelSettingsTest : public ConnectPanelTest {
 protected:
  void SetUp() override {
    ConnectPanelTest::SetUp();
    KvSysFolders().RedirectTo(Dir.path());
    Ini = std::make_unique<TKvAppIniFileStorage>();
  }
  void TearDown() override {
    Panel.reset();
    Ini.reset();
    ConnectPanelTest::TearDown();
  }
  void WriteSection(const QString& body) {
    QDir().mkpath(QFileInfo(Ini->FullFileName()).path());
    QFile f(Ini->FullFileName());
    ASSERT_TRUE(f.open(QIODevice::WriteOnly));
    f.write(("[FrmLvx_Connect]\n" + body).toUtf8());
  }
  void CreateAndRestore() {
    CreatePanel();
    Panel->KvFormStorage1->SetAppStorage(Ini.get());
    Panel->KvFormStorage1->RestoreFormPlacement();
  }
  QTemporaryDir Dir;
  std::unique_ptr<TKvAppIniFileStorage> Ini;
};

TEST_F(ConnectPanelSettingsTest, ConnectedAtStartWithTheInstrumentOffComesUpRed) {
  WriteSection("SerialCom=3\nSerialConn=TRUE\nSerialRecv=FALSE\n");
  CreateAndRestore();
  EXPECT_EQ(Listed.COMPort(), 3);
  EXPECT_TRUE(Listed.Active());
  EXPECT_TRUE(TFrmLvx_Connect::IsRed(Panel->cxButtonConnect));
  EXPECT_TRUE(KvSysHelper().SysLog_Get().last().endsWith("Last COM port 3 selected"));
}

TEST_F(ConnectPanelSettingsTest, AStoredPortThatIsGoneOnlyCostsALogLine) {
  WriteSection("SerialCom=9\nSerialConn=TRUE\n");
  CreateAndRestore();
  EXPECT_FALSE(Listed.Active());
  EXPECT_TRUE(Dialogs.Messages.empty());
  EXPECT_TRUE(KvSysHelper().SysLog_Get().last().endsWith("Last COM port 9 doesnt exist"));
  EXPECT_TRUE(TimerOn(2));
}

TEST_F(ConnectPanelSettingsTest, StateIsSavedUnderThePanelsSection) {
  SendingOn = 3;
  CreateAndRestore();
  Choose("COM 3");
  Click(Panel->cxButtonConnect);
  Click(Panel->cxButtonRecordData);
  Panel->KvFormStorage1->SaveFormPlacement();
  QFile f(Ini->FullFileName());
  ASSERT_TRUE(f.open(QIODevice::ReadOnly));
  const QString text = QString::fromUtf8(f.readAll());
  EXPECT_TRUE(text.contains("[FrmLvx_Connect]"));
  EXPECT_TRUE(text.contains("SerialCom=3"));
  EXPECT_TRUE(text.contains("SerialConn=TRUE") || text.contains("SerialConn=1"));
  EXPECT_TRUE(text.contains("SerialRecv=TRUE") || text.contains("SerialRecv=1"));
}

TEST_F(ConnectPanelTest, SilentInstrumentIsDrawnAsARedButton) {
  CreatePanel();
  Panel->resize(560, 44);
  Choose("COM 3");
  Click(Panel->cxButtonConnect);
  const QImage shot = Panel->grab().toImage();
  if (qEnvironmentVariableIsSet("LVX_SHOT_DIR"))
    shot.save(qEnvironmentVariable("LVX_SHOT_DIR") + "/connect-panel-silent.png");
  const QRect button = Panel->cxButtonConnect->geometry();
  int red = 0;
  for (int y = button.top(); y <= button.bottom(); ++y)
    for (int x = button.left(); x <= button.right(); ++x) {
      const QColor c = shot.pixelColor(x, y);
      red += c.red() > 180 && c.red() > c.green() + 80 && c.red() > c.blue() + 80;
    }
  EXPECT_GT(red, button.width() * button.height() / 3);
}

TEST_F(ConnectPanelTest, SilentConnectionCanBeDisconnected) {
  CreatePanel();
  Choose("COM 3");
  Click(Panel->cxButtonConnect);
  ASSERT_TRUE(TFrmLvx_Connect::IsRed(Panel->cxButtonConnect));
  Click(Panel->cxButtonConnect);
  EXPECT_EQ(ConnectCaption(), "&Connect");
  EXPECT_FALSE(TFrmLvx_Connect::IsRed(Panel->cxButtonConnect));
  EXPECT_FALSE(Listed.Active());
  EXPECT_FALSE(TimerOn(1));
}

TEST_F(ConnectPanelTest, ChoosingAPortWhileSimulatingStopsTheTicksButKeepsTheCaption) {
  CreatePanel();
  Choose("Simulation");
  Click(Panel->cxButtonConnect);
  Clock.Advance(2000);
  Choose("COM 3");  // the list is disabled while connected: only code can do this
  EXPECT_EQ(ConnectCaption(), "Dis&connect");
  EXPECT_FALSE(TimerOn(4));
  const size_t before = Deliveries.size();
  Clock.Advance(4000);
  EXPECT_EQ(Deliveries.size(), before + 1);  // only the watchdog's lost-connection reading
  EXPECT_FALSE(Deliveries.back().Data.bConnected);
}

TEST_F(ConnectPanelTest, AFailedSearchCanBeStartedAgain) {
  CreatePanel();
  Click(Panel->cxButtonSeek);
  Clock.Advance(30000);
  ASSERT_EQ(Panel->cxButtonSeek->text(), "&Seek");
  SendingOn = 1;
  Click(Panel->cxButtonSeek);
  EXPECT_EQ(Panel->cxButtonSeek->text(), "&Search stop");
  EXPECT_FALSE(TFrmLvx_Connect::IsRed(Panel->cxButtonSeek));
  Clock.Advance(30000);
  EXPECT_EQ(ConnectCaption(), "Dis&connect");
  EXPECT_EQ(Listed.COMPort(), 1);
}

TEST_F(ConnectPanelSettingsTest, RecordingStoredWithoutAConnectionStartsRecordingOnly) {
  WriteSection("SerialCom=3\nSerialConn=FALSE\nSerialRecv=TRUE\n");
  CreateAndRestore();
  EXPECT_TRUE(Commander->IsRecording());
  EXPECT_EQ(Panel->RecordImageIndex(), 5);
  EXPECT_FALSE(Listed.Active());
  SendingOn = 3;
  Click(Panel->cxButtonConnect);
  EXPECT_TRUE(Commander->IsRecording());
  Click(Panel->cxButtonConnect);
  EXPECT_FALSE(Commander->IsRecording());  // disconnecting always ends it
}
