#pragma once
// The dialog components that edit a port: TSerStdDlg (line settings), TSerSel (port choice
// only) and TSerExtDlg (the full settings form). Each names the port it edits in Serial and
// shows its form modally in Execute, which is true when the user confirmed.
//
// TKvSerialPortDialogs offers the three to the commander, which changes the port itself (it
// must close and reopen around the change), so there the chosen number is handed back rather
// than set.
#include <QObject>

#include "KvInstrumentPorts.h"
#include "Serial.h"

class QWidget;

enum TKvDlgPosition { poDesigned, poDefault, poScreenCenter, poOwnerFormCenter };

class TSerStdDlg : public QObject {
  Q_OBJECT
 public:
  explicit TSerStdDlg(QObject* owner = nullptr) : QObject(owner) {}
  TSerial* Serial = nullptr;
  QWidget* ParentWidget = nullptr;
  bool Execute();
};

class TSerSel : public QObject {
  Q_OBJECT
 public:
  explicit TSerSel(QObject* owner = nullptr) : QObject(owner) {}
  TSerial* Serial = nullptr;
  QWidget* ParentWidget = nullptr;
  // Sets the port's number on OK; with no port listed it stays.
  bool Execute();
  // The same choice, handed back instead of set.
  bool Choose(int& port);
};

class TSerExtDlg : public QObject {
  Q_OBJECT
 public:
  explicit TSerExtDlg(QObject* owner = nullptr) : QObject(owner) {}
  TSerial* Serial = nullptr;
  QWidget* ParentWidget = nullptr;
  TKvDlgPosition PositionDlg = poOwnerFormCenter;
  int LeftDlg = 0;
  int TopDlg = 0;
  bool HasParamSettings = true;
  bool HasHandshakeSettings = true;
  bool HasBufferSettings = true;
  // Applies the shown groups and the port on OK.
  bool Execute();
  // Applies the shown groups on OK and hands the chosen port back.
  bool Execute(int& port);

 private:
  bool Run(int* port);
};

class TKvSerialPortDialogs : public TKvSerialDialogs {
 public:
  // The commander's design: the full form shows only the port.
  explicit TKvSerialPortDialogs(TSerial* serial);
  bool SelectPort(int& port) override;
  bool EditParameters() override;
  bool EditExtended(const QString& data, int& port) override;

  TSerStdDlg SerStdDlg;
  TSerExtDlg SerExtDlg;
  TSerSel SerSel;
};
