#include "SerAddons.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QLabel>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

#include "KvInstrumentPorts.h"

namespace {
const int kBauds[] = {50,   75,   110,  134,   150,   200,   300,    600,    1200,   1800,
                      2400, 4800, 9600, 19200, 38400, 57600, 115200, 230400, 460800, 921600};

QComboBox* Combo(QWidget* parent, const char* name, const QStringList& items, int index) {
  auto* c = new QComboBox(parent);
  c->setObjectName(name);
  c->addItems(items);
  c->setCurrentIndex(index);
  return c;
}

QComboBox* BaudCombo(QWidget* parent, int baud) {
  auto* c = new QComboBox(parent);
  c->setObjectName("ComboBoxBaud");
  for (int b : kBauds) c->addItem(QString::number(b), b);
  const int at = c->findData(baud);
  if (at < 0) c->addItem(QString::number(baud), baud);
  c->setCurrentIndex(at < 0 ? c->count() - 1 : at);
  return c;
}

QStringList DataBitsItems() {
  return {"4", "5", "6", "7", "8"};
}

// A label bound to its field, so that the "&" of the caption moves the focus there.
void AddRow(QFormLayout* form, const QString& caption, QWidget* field) {
  auto* label = new QLabel(caption);
  label->setBuddy(field);
  form->addRow(label, field);
}

// "&Ok" first, as the forms always had it, then the cancel button with its own caption.
QDialogButtonBox* Buttons(QDialog* dialog, const QString& cancel) {
  auto* box = new QDialogButtonBox(dialog);
  QPushButton* ok = box->addButton("&Ok", QDialogButtonBox::AcceptRole);
  ok->setObjectName("ButtonOk");
  ok->setDefault(true);
  box->addButton(cancel, QDialogButtonBox::RejectRole)->setObjectName("ButtonCancel");
  QObject::connect(box, &QDialogButtonBox::accepted, dialog, &QDialog::accept);
  QObject::connect(box, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
  return box;
}
}  // namespace

void KvSerial_FillPortCombo(QComboBox* combo, const TKvPortList* ports, int selected) {
  combo->clear();
  const QStringList names = ports ? ports->Ports() : QStringList();
  for (const QString& name : names) {
    const int port = name.mid(3).toInt();
    const QString friendly = ports->FriendlyName(port);
    combo->addItem(friendly.isEmpty() ? name : name + " - " + friendly, port);
  }
  if (names.isEmpty()) {
    combo->addItem("keine", 0);
    return;
  }
  combo->setCurrentIndex(std::max(combo->findData(selected), 0));
}

// ---------------------------------------------------------------------------------------

TFormSerSel::TFormSerSel(const TKvPortList* ports, int port, QWidget* parent)
    : QDialog(parent), FPort(port) {
  setObjectName("FormSerSel");
  setWindowTitle("Serielle Schnittstelle");
  ComboBox1 = new QComboBox(this);
  ComboBox1->setObjectName("ComboBox1");
  ComboBox1->setMinimumWidth(260);
  KvSerial_FillPortCombo(ComboBox1, ports, port);
  PortsAvail = ports && !ports->Ports().isEmpty();
  auto* form = new QFormLayout;
  AddRow(form, "&Schnittstelle", ComboBox1);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(form);
  layout->addWidget(Buttons(this, "&Abbruch"));
}

int TFormSerSel::Port() const {
  return PortsAvail ? ComboBox1->currentData().toInt() : FPort;
}

// ---------------------------------------------------------------------------------------

TFormCOMSetup::TFormCOMSetup(const TSerial& serial, const TKvPortList* ports, bool hasParams,
                             bool hasHandshake, bool hasBuffers, QWidget* parent)
    : QDialog(parent), FPort(serial.COMPort()) {
  setObjectName("FormCOMSetup");
  setWindowTitle("Einstellungen");
  auto* layout = new QVBoxLayout(this);

  ComboBoxPort = new QComboBox(this);
  ComboBoxPort->setObjectName("ComboBoxPort");
  ComboBoxPort->setMinimumWidth(260);
  KvSerial_FillPortCombo(ComboBoxPort, ports, serial.COMPort());
  auto* portRow = new QFormLayout;
  AddRow(portRow, "&Schnittstelle", ComboBoxPort);
  layout->addLayout(portRow);

  GroupBoxFormat = new QGroupBox(" Format ", this);
  GroupBoxFormat->setObjectName("GroupBoxFormat");
  auto* format = new QFormLayout(GroupBoxFormat);
  ComboBoxBaud = BaudCombo(GroupBoxFormat, serial.Baudrate());
  ComboBoxDataBits = Combo(GroupBoxFormat, "ComboBoxDataBits", DataBitsItems(), serial.DataBits);
  ComboBoxParity =
      Combo(GroupBoxFormat, "ComboBoxParity",
            {"keine", "ungerade", "gerade", "Markierung", "Leerzeichen"}, serial.ParityBit());
  ComboBoxStopBits = Combo(GroupBoxFormat, "ComboBoxStopBits", {"1", "1,5", "2"}, serial.StopBits);
  AddRow(format, "&Baudrate", ComboBoxBaud);
  AddRow(format, "&Datenbit", ComboBoxDataBits);
  AddRow(format, "&Paritätsbit", ComboBoxParity);
  AddRow(format, "St&oppbits", ComboBoxStopBits);
  GroupBoxFormat->setVisible(hasParams);
  layout->addWidget(GroupBoxFormat);

  GroupBoxHandshake = new QGroupBox(" Handshake ", this);
  GroupBoxHandshake->setObjectName("GroupBoxHandshake");
  auto* handshake = new QVBoxLayout(GroupBoxHandshake);
  CheckBoxRtsCts = new QCheckBox("RTS/CTS-Handshake", GroupBoxHandshake);
  CheckBoxDtrDsr = new QCheckBox("D&TR/DSR-Handshake", GroupBoxHandshake);
  CheckBoxXOnXOff = new QCheckBox("&XOn/XOff-Protokoll", GroupBoxHandshake);
  CheckBoxRtsCts->setChecked(serial.HandshakeRtsCts);
  CheckBoxDtrDsr->setChecked(serial.HandshakeDtrDsr);
  CheckBoxXOnXOff->setChecked(serial.HandshakeXOnXOff);
  for (QCheckBox* box : {CheckBoxRtsCts, CheckBoxDtrDsr, CheckBoxXOnXOff})
    handshake->addWidget(box);
  GroupBoxHandshake->setVisible(hasHandshake);
  layout->addWidget(GroupBoxHandshake);

  GroupBoxBuffer = new QGroupBox(" Übertragungspuffer ", this);
  GroupBoxBuffer->setObjectName("GroupBoxBuffer");
  auto* buffer = new QFormLayout(GroupBoxBuffer);
  auto spin = [&](const char* name, int value) {
    auto* s = new QSpinBox(GroupBoxBuffer);
    s->setObjectName(name);
    s->setRange(4096, 1 << 20);
    s->setSingleStep(1024);
    s->setValue(value);
    return s;
  };
  SpinEditRec = spin("SpinEditRec", serial.BufSizeRec());
  SpinEditTrm = spin("SpinEditTrm", serial.BufSizeTrm());
  AddRow(buffer, "&Empfangspuffer", SpinEditRec);
  AddRow(buffer, "Se&ndepuffer", SpinEditTrm);
  GroupBoxBuffer->setVisible(hasBuffers);
  layout->addWidget(GroupBoxBuffer);

  layout->addWidget(Buttons(this, "&Abbrechen"));
}

int TFormCOMSetup::Port() const {
  const int port = ComboBoxPort->currentData().toInt();
  return port > 0 ? port : FPort;
}

void TFormCOMSetup::Apply(TSerial& serial, bool withPort) const {
  if (withPort) serial.SetCOMPort(Port());
  if (GroupBoxFormat->isVisibleTo(this)) {
    serial.SetBaudrate(ComboBoxBaud->currentData().toInt());
    serial.DataBits = TDataBits(ComboBoxDataBits->currentIndex());
    serial.SetParityBit(TParityBit(ComboBoxParity->currentIndex()));
    serial.StopBits = TStopBits(ComboBoxStopBits->currentIndex());
  }
  if (GroupBoxHandshake->isVisibleTo(this)) {
    serial.HandshakeRtsCts = CheckBoxRtsCts->isChecked();
    serial.HandshakeDtrDsr = CheckBoxDtrDsr->isChecked();
    serial.HandshakeXOnXOff = CheckBoxXOnXOff->isChecked();
  }
  if (GroupBoxBuffer->isVisibleTo(this)) {
    serial.SetBufSizeRec(SpinEditRec->value());
    serial.SetBufSizeTrm(SpinEditTrm->value());
  }
}

// ---------------------------------------------------------------------------------------

TFormSerStd::TFormSerStd(const TSerial& serial, QWidget* parent) : QDialog(parent) {
  setObjectName("FormSerStd");
  setWindowTitle(QString("COM%1").arg(serial.COMPort() > 0 ? serial.COMPort() : 1));
  ComboBoxBaud = BaudCombo(this, serial.Baudrate());
  ComboBoxDataBits = Combo(this, "ComboBoxDataBits", DataBitsItems(), serial.DataBits);
  ComboBoxParity =
      Combo(this, "ComboBoxParity", {"None", "Odd", "Even", "Mark", "Space"}, serial.ParityBit());
  ComboBoxStopBits = Combo(this, "ComboBoxStopBits", {"1", "1.5", "2"}, serial.StopBits);
  ComboBoxFlow = Combo(this, "ComboBoxFlow", {"None", "Xon / Xoff", "Hardware"},
                       serial.HandshakeRtsCts    ? 2
                       : serial.HandshakeXOnXOff ? 1
                                                 : 0);
  auto* form = new QFormLayout;
  AddRow(form, "&Bits per second:", ComboBoxBaud);
  AddRow(form, "&Data bits:", ComboBoxDataBits);
  AddRow(form, "&Parity:", ComboBoxParity);
  AddRow(form, "&Stop bits:", ComboBoxStopBits);
  AddRow(form, "&Flow control:", ComboBoxFlow);
  auto* layout = new QVBoxLayout(this);
  layout->addLayout(form);
  auto* box = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  connect(box, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(box, &QDialogButtonBox::rejected, this, &QDialog::reject);
  layout->addWidget(box);
}

void TFormSerStd::Apply(TSerial& serial) const {
  serial.SetBaudrate(ComboBoxBaud->currentData().toInt());
  serial.DataBits = TDataBits(ComboBoxDataBits->currentIndex());
  serial.SetParityBit(TParityBit(ComboBoxParity->currentIndex()));
  serial.StopBits = TStopBits(ComboBoxStopBits->currentIndex());
  serial.HandshakeRtsCts = ComboBoxFlow->currentIndex() == 2;
  serial.HandshakeXOnXOff = ComboBoxFlow->currentIndex() == 1;
}
