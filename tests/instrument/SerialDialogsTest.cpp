// The port dialogs as real widgets, answered the way a user would: the forms' texts, what a
// confirmed or cancelled dialog leaves on the port, the groups the flags show, and the
// commander's dialog calls through the program's own port engine.
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QSpinBox>
#include <QTimer>
#include <functional>

#include "InstrumentFixture.h"
#include "KvSerialCommander.h"
#include "SerAddons.h"
#include "SerialFixture.h"

namespace {
// Runs act on the next modal dialog once it shows, then presses the named button, unless act
// closed the dialog itself.
void AnswerNextDialog(std::function<void(QDialog*)> act, const char* button) {
  auto* poll = new QTimer;
  QObject::connect(poll, &QTimer::timeout, [=] {
    auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
    if (!dialog) return;
    poll->stop();
    poll->deleteLater();
    // LVX_SCREENSHOT_DIR=folder keeps a picture of each dialog as the user first sees it.
    const QString shots = qEnvironmentVariable("LVX_SCREENSHOT_DIR");
    static int shot = 0;
    if (!shots.isEmpty())
      dialog->grab().save(QString("%1/%2-%3.png").arg(shots, dialog->objectName()).arg(++shot));
    act(dialog);
    if (!dialog->isVisible()) return;
    if (auto* b = dialog->findChild<QPushButton*>(button))
      b->click();
    else
      dialog->reject();
  });
  poll->start(5);
}

QStringList Captions(QWidget* w) {
  QStringList texts{w->windowTitle()};
  for (auto* l : w->findChildren<QLabel*>()) texts << l->text();
  for (auto* g : w->findChildren<QGroupBox*>()) texts << g->title();
  for (auto* c : w->findChildren<QCheckBox*>()) texts << c->text();
  for (auto* b : w->findChildren<QPushButton*>()) texts << b->text();
  return texts;
}
}  // namespace

class SerialDialogsTest : public PortManagerTest {
 protected:
  void SetUp() override {
    PortManagerTest::SetUp();
    Devices.List = {First.AsDevice(), Second.AsDevice()};
    Restart();
    Serial = std::make_unique<TSerial>(Manager.get());
  }
  void TearDown() override {
    Serial.reset();
    PortManagerTest::TearDown();
  }
  TPty First, Second;
  std::unique_ptr<TSerial> Serial;
};

TEST_F(SerialDialogsTest, PortChoiceListsThePortsAndSetsTheChosenOneOnOk) {
  TSerSel sel;
  sel.Serial = Serial.get();
  QStringList items, captions;
  AnswerNextDialog(
      [&](QDialog* d) {
        auto* combo = d->findChild<QComboBox*>("ComboBox1");
        for (int i = 0; i < combo->count(); ++i) items << combo->itemText(i);
        captions = Captions(d);
        combo->setCurrentIndex(1);
      },
      "ButtonOk");
  EXPECT_TRUE(sel.Execute());
  EXPECT_EQ(Serial->COMPort(), 2);
  EXPECT_EQ(items, QStringList({"COM1 - Virtual port (" + First.Path + ")",
                                "COM2 - Virtual port (" + Second.Path + ")"}));
  EXPECT_EQ(captions, QStringList({"Serielle Schnittstelle", "&Schnittstelle", "&Ok", "&Abbruch"}));

  AnswerNextDialog([](QDialog* d) { d->findChild<QComboBox*>()->setCurrentIndex(0); },
                   "ButtonCancel");
  EXPECT_FALSE(sel.Execute());
  EXPECT_EQ(Serial->COMPort(), 2);
}

TEST_F(SerialDialogsTest, WithoutPortsTheChoiceShowsKeineAndOkChangesNothing) {
  Devices.List = {};
  Manager->RecheckPorts();
  TSerSel sel;
  sel.Serial = Serial.get();
  QString shown;
  AnswerNextDialog([&](QDialog* d) { shown = d->findChild<QComboBox*>()->currentText(); },
                   "ButtonOk");
  EXPECT_TRUE(sel.Execute());
  EXPECT_EQ(shown, "keine");
  EXPECT_EQ(Serial->COMPort(), 1);
  TFormSerSel form(Manager.get(), 1);
  EXPECT_FALSE(form.PortsAvail);
}

TEST_F(SerialDialogsTest, TheSettingsFormShowsTheGroupsAskedForAndAppliesThem) {
  TSerExtDlg ext;
  ext.Serial = Serial.get();
  QStringList captions;
  AnswerNextDialog(
      [&](QDialog* d) {
        captions = Captions(d);
        auto* baud = d->findChild<QComboBox*>("ComboBoxBaud");
        baud->setCurrentIndex(baud->findText("19200"));
        d->findChild<QComboBox*>("ComboBoxParity")->setCurrentIndex(even);
        d->findChild<QCheckBox*>()->setChecked(true);  // RTS/CTS
        d->findChild<QSpinBox*>("SpinEditRec")->setValue(8192);
        d->findChild<QComboBox*>("ComboBoxPort")->setCurrentIndex(1);
      },
      "ButtonOk");
  EXPECT_TRUE(ext.Execute());
  EXPECT_EQ(Serial->Baudrate(), 19200);
  EXPECT_EQ(Serial->ParityBit(), even);
  EXPECT_TRUE(Serial->ParityCheck());
  EXPECT_TRUE(Serial->HandshakeRtsCts);
  EXPECT_EQ(Serial->BufSizeRec(), 8192);
  EXPECT_EQ(Serial->COMPort(), 2);
  for (const char* text :
       {"Einstellungen", " Format ", "&Baudrate", "&Datenbit", "&Paritätsbit", "St&oppbits",
        " Handshake ", "RTS/CTS-Handshake", "D&TR/DSR-Handshake", "&XOn/XOff-Protokoll",
        " Übertragungspuffer ", "&Empfangspuffer", "Se&ndepuffer", "&Abbrechen", "&Ok"})
    EXPECT_TRUE(captions.contains(QString::fromUtf8(text))) << text;

  // The commander's design shows the port alone and leaves the rest as it is.
  ext.HasParamSettings = ext.HasHandshakeSettings = ext.HasBufferSettings = false;
  bool groupsHidden = false;
  AnswerNextDialog(
      [&](QDialog* d) {
        groupsHidden = true;
        for (auto* g : d->findChildren<QGroupBox*>()) groupsHidden &= !g->isVisible();
        d->findChild<QComboBox*>("ComboBoxBaud")->setCurrentIndex(0);
      },
      "ButtonOk");
  int port = 0;
  EXPECT_TRUE(ext.Execute(port));
  EXPECT_TRUE(groupsHidden);
  EXPECT_EQ(port, 2);
  EXPECT_EQ(Serial->Baudrate(), 19200);
}

TEST_F(SerialDialogsTest, TheLineSettingsDialogWritesFlowControlAsHandshakes) {
  TSerStdDlg std;
  std.Serial = Serial.get();
  QString title;
  AnswerNextDialog(
      [&](QDialog* d) {
        title = d->windowTitle();
        d->findChild<QComboBox*>("ComboBoxFlow")->setCurrentIndex(1);
        d->findChild<QComboBox*>("ComboBoxStopBits")->setCurrentIndex(sb_2);
        d->accept();
      },
      "none");
  EXPECT_TRUE(std.Execute());
  EXPECT_EQ(title, "COM1");
  EXPECT_TRUE(Serial->HandshakeXOnXOff);
  EXPECT_FALSE(Serial->HandshakeRtsCts);
  EXPECT_EQ(Serial->StopBits, sb_2);
}

// The commander's dialog calls as LvxReader wires them.
class CommanderDialogsTest : public VirtualTimeTest {
 protected:
  void SetUp() override {
    VirtualTimeTest::SetUp();
    KvSysFolders().RedirectTo(Dir.path());
    KvAppServices_Install(&Services);
    TKvPortAssignments().SetVirtualDevices({First.Path, Second.Path});
  }
  void TearDown() override {
    KvAppServices_Install(nullptr);
    KvSysFolders().RedirectTo(QString());
    VirtualTimeTest::TearDown();
  }
  QTemporaryDir Dir;
  TPty First, Second;
  TRecordingServices Services;
};

TEST_F(CommanderDialogsTest, ChoosingAnotherPortChangesItThroughTheCommander) {
  TKvPortEngine engine;
  TDmKv_COM_Commander commander(engine.Serial(), engine.Ports(), engine.Dialogs());
  engine.Attach(commander);
  const int first =
      engine.Ports()->Ports().indexOf(QString("COM%1").arg(engine.Serial()->COMPort()));
  ASSERT_GE(first, 0);
  int told = 0;
  commander.OnComPortChange = [&](QObject*, int port) { told = port; };
  QString caption;
  commander.DoConnect(true, caption);
  ASSERT_TRUE(engine.Serial()->Active());
  const int before = engine.Serial()->COMPort();

  AnswerNextDialog([&](QDialog* d) { d->findChild<QComboBox*>()->setCurrentIndex(first + 1); },
                   "ButtonOk");
  EXPECT_TRUE(commander.DlgComPort());
  const int after = engine.Serial()->COMPort();
  EXPECT_NE(after, before);
  EXPECT_EQ(told, after);
  EXPECT_TRUE(engine.Serial()->Active());  // reopened on the new port
  EXPECT_EQ(Services.Texts.last(), QString("COM port changed to COM%1").arg(after));

  AnswerNextDialog([](QDialog*) {}, "ButtonCancel");
  EXPECT_FALSE(commander.DlgExtParameter(QString()));
  AnswerNextDialog([](QDialog* d) { d->accept(); }, "none");
  EXPECT_TRUE(commander.DlgWinParameter());
}
