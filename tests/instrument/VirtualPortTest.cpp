// A registered virtual port through the program's own port engine, as LvxReader wires it: the
// far end going away is told once, and the port coming back under the same path brings the
// question whether to connect again. Virtual ports send no device notices, so this rests on
// the engine looking at their paths by itself.
#include <unistd.h>

#include <QTest>
#include <atomic>

#include "InstrumentFixture.h"
#include "KvSerialCommander.h"
#include "SerialFixture.h"

namespace {
const char* const kRemovedText =
    "! The COM port interface in use was removed from the computer (probably a USB type COM port "
    "was unplugged)";
}

class VirtualPortTest : public VirtualTimeTest {
 protected:
  void SetUp() override {
    VirtualTimeTest::SetUp();
    ASSERT_TRUE(Dir.isValid());
    KvSysFolders().RedirectTo(Dir.path());
    KvSysHelper().SysLog_Clear();
    KvAppServices_Install(&Services);
    Link = Dir.filePath("ttyMeter");
  }
  void TearDown() override {
    KvAppServices_Install(nullptr);
    KvSysFolders().RedirectTo(QString());
    VirtualTimeTest::TearDown();
  }
  // Points the registered path at a fresh pseudo-terminal, as a bridge program does.
  std::unique_ptr<TPty> Plug() {
    auto pty = std::make_unique<TPty>();
    unlink(Link.toLocal8Bit().constData());
    EXPECT_EQ(symlink(pty->Path.toLocal8Bit().constData(), Link.toLocal8Bit().constData()), 0);
    return pty;
  }

  QTemporaryDir Dir;
  QString Link;
  TRecordingServices Services;
};

TEST_F(VirtualPortTest, UnplugIsToldOnceAndTheRecreatedPortBringsTheReconnectQuestion) {
  std::unique_ptr<TPty> pty = Plug();
  TKvPortAssignments().SetVirtualDevices({Link});
  TKvPortEngine engine;
  TDmKv_COM_Commander commander(engine.Serial(), engine.Ports());
  engine.Attach(commander);
  std::atomic<int> readings{0};
  commander.OnDataReceived = [&](QObject*, const QString&, const TKvUniqueData& d) {
    if (d.bConnected) ++readings;
  };
  int com = 0;
  for (const QString& name : engine.Ports()->Ports())
    if (engine.Ports()->DevicePath(name.mid(3).toInt()) == Link) com = name.mid(3).toInt();
  ASSERT_GT(com, 0);
  engine.Serial()->SetCOMPort(com);
  QString caption;
  commander.DoConnect(true, caption);
  ASSERT_TRUE(engine.Serial()->Active());
  pty->Write(WorkedRecord());
  ASSERT_TRUE(QTest::qWaitFor([&] { return readings == 1; }, 5000));

  pty.reset();  // the far end closes
  ASSERT_TRUE(QTest::qWaitFor([&] { return !engine.Serial()->Active(); }, 5000));
  Clock.Advance(1100);
  Clock.Advance(10000);  // the engine keeps looking; nothing changes
  EXPECT_EQ(Services.Texts.count(kRemovedText), 1);
  ASSERT_EQ(Dialogs.Messages.size(), 1u);
  EXPECT_EQ(Dialogs.Messages[0].Text,
            QString("The COM port \"COM%1\" interface in use was removed from the computer\r\n\r\n"
                    "(probably a USB type COM port was unplugged)")
                .arg(com));

  pty = Plug();
  Dialogs.Answers = {mrYes};
  Clock.Advance(TKvUdevPortDevices::VirtualCheckMs + 1000);
  ASSERT_EQ(Dialogs.Messages.size(), 2u);
  EXPECT_EQ(Dialogs.Messages[1].Text,
            QString("A new COM port \"COM%1\" was detected.\r\n(Probably a USB style port was "
                    "plugged)\r\n\r\nDo you want to re-connect to the port now ?")
                .arg(com));
  ASSERT_TRUE(engine.Serial()->Active());
  pty->Write(WorkedRecord());
  EXPECT_TRUE(QTest::qWaitFor([&] { return readings == 2; }, 5000));
}
