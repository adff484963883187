#pragma once
// The forms behind the port dialogs: port choice (TFormSerSel), the full settings form
// (TFormCOMSetup) and the line settings form that stands in for the system's own port dialog
// (TFormSerStd). Each reads a port's settings when made and writes them back with Apply; the
// dialog components of SerDlgs run them.
#include <QDialog>

#include "Serial.h"

class QCheckBox;
class QComboBox;
class QGroupBox;
class QSpinBox;
class TKvPortList;

// The manager's ports in a combo box: "COM7 - FT232R USB UART (/dev/ttyUSB0)", the number in
// the item's data; "keine" when there are none.
void KvSerial_FillPortCombo(QComboBox* combo, const TKvPortList* ports, int selected);

class TFormSerSel : public QDialog {
  Q_OBJECT
 public:
  TFormSerSel(const TKvPortList* ports, int port, QWidget* parent = nullptr);
  int Port() const;  // the chosen port, or the one given when none is listed

  QComboBox* ComboBox1;
  bool PortsAvail = false;

 private:
  int FPort;
};

class TFormCOMSetup : public QDialog {
  Q_OBJECT
 public:
  TFormCOMSetup(const TSerial& serial, const TKvPortList* ports, bool hasParams, bool hasHandshake,
                bool hasBuffers, QWidget* parent = nullptr);
  // Writes the choices to the port through its setters; the port number only if asked.
  void Apply(TSerial& serial, bool withPort) const;
  int Port() const;

  QComboBox* ComboBoxPort;
  QGroupBox* GroupBoxFormat;
  QComboBox* ComboBoxBaud;
  QComboBox* ComboBoxDataBits;
  QComboBox* ComboBoxParity;
  QComboBox* ComboBoxStopBits;
  QGroupBox* GroupBoxHandshake;
  QCheckBox* CheckBoxRtsCts;
  QCheckBox* CheckBoxDtrDsr;
  QCheckBox* CheckBoxXOnXOff;
  QGroupBox* GroupBoxBuffer;
  QSpinBox* SpinEditRec;
  QSpinBox* SpinEditTrm;

 private:
  int FPort;
};

class TFormSerStd : public QDialog {
  Q_OBJECT
 public:
  TFormSerStd(const TSerial& serial, QWidget* parent = nullptr);
  void Apply(TSerial& serial) const;

  QComboBox* ComboBoxBaud;
  QComboBox* ComboBoxDataBits;
  QComboBox* ComboBoxParity;
  QComboBox* ComboBoxStopBits;
  QComboBox* ComboBoxFlow;
};
