#include "SerDlgs.h"

#include <QComboBox>
#include <QGuiApplication>
#include <QScreen>

#include "SerAddons.h"

namespace {
int PortOrOne(const TSerial* serial) {
  return serial && serial->COMPort() > 0 ? serial->COMPort() : 1;
}
}  // namespace

bool TSerStdDlg::Execute() {
  if (!Serial) return false;
  TFormSerStd form(*Serial, ParentWidget);
  if (form.exec() != QDialog::Accepted) return false;
  form.Apply(*Serial);
  return true;
}

bool TSerSel::Choose(int& port) {
  TFormSerSel form(Serial ? Serial->Manager() : nullptr, PortOrOne(Serial), ParentWidget);
  if (form.exec() != QDialog::Accepted) return false;
  port = form.Port();
  return true;
}

bool TSerSel::Execute() {
  int port = 0;
  if (!Choose(port)) return false;
  if (Serial) Serial->SetCOMPort(port);
  return true;
}

bool TSerExtDlg::Execute() {
  return Run(nullptr);
}

bool TSerExtDlg::Execute(int& port) {
  return Run(&port);
}

bool TSerExtDlg::Run(int* port) {
  if (!Serial) return false;
  TFormCOMSetup form(*Serial, Serial->Manager(), HasParamSettings, HasHandshakeSettings,
                     HasBufferSettings, ParentWidget);
  form.adjustSize();
  if (PositionDlg == poDesigned) {
    form.move(LeftDlg, TopDlg);
  } else if (PositionDlg == poScreenCenter || (PositionDlg == poOwnerFormCenter && !ParentWidget)) {
    if (QScreen* screen = QGuiApplication::primaryScreen())
      form.move(screen->availableGeometry().center() - form.rect().center());
  }
  if (form.exec() != QDialog::Accepted) return false;
  form.Apply(*Serial, port == nullptr);
  if (port) *port = form.Port();
  return true;
}

TKvSerialPortDialogs::TKvSerialPortDialogs(TSerial* serial) {
  SerStdDlg.Serial = SerExtDlg.Serial = SerSel.Serial = serial;
  SerStdDlg.setObjectName("SerStdDlg");
  SerExtDlg.setObjectName("SerExtDlg");
  SerSel.setObjectName("SerSel");
  SerExtDlg.PositionDlg = poOwnerFormCenter;
  SerExtDlg.HasParamSettings = SerExtDlg.HasHandshakeSettings = SerExtDlg.HasBufferSettings = false;
}

bool TKvSerialPortDialogs::SelectPort(int& port) {
  return SerSel.Choose(port);
}

bool TKvSerialPortDialogs::EditParameters() {
  return SerStdDlg.Execute();
}

bool TKvSerialPortDialogs::EditExtended(const QString&, int& port) {
  return SerExtDlg.Execute(port);
}
