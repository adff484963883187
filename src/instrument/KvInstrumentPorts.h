#pragma once
// What the commander asks of the serial port engine and of the port list. The program's
// port engine and port manager implement these; a captured stream or a scripted device
// source can stand in for them.
#include <QString>
#include <QStringList>
#include <functional>

class TKvSerialPort {
 public:
  virtual ~TKvSerialPort() = default;
  virtual bool Active() const = 0;
  // Opens or closes the port. Opening a port that can't be opened leaves Active False and
  // LastError set.
  virtual void SetActive(bool on) = 0;
  virtual int COMPort() const = 0;
  virtual void SetCOMPort(int port) = 0;
  virtual int LastError() const = 0;
  // Why the last opening failed, in a sentence for the status bar; empty when nothing to add.
  virtual QString LastErrorText() const { return QString(); }
  // Bytes waiting in the input queue.
  virtual int BufRec() = 0;
  // Reads up to len bytes; returns how many were read.
  virtual int ReceiveData(uint8_t* buffer, int len) = 0;
  virtual void TransmittText(const QString& text) = 0;
};

class TKvPortList {
 public:
  virtual ~TKvPortList() = default;
  // Names "COM" followed by the number, in the list's order.
  virtual QStringList Ports() const = 0;
  virtual bool PortExists(int port) const = 0;
  virtual void CheckPorts(int maxPort) = 0;
  // Index of the port in Ports(), or -1.
  virtual int Port2Index(int port) const {
    return int(Ports().indexOf(QString("COM%1").arg(port)));
  }
  // The name a user recognises the device by ("USB Serial Port"); empty when none is known.
  virtual QString FriendlyName(int port) const {
    (void)port;
    return QString();
  }
  // One listener for a port's arrival, called on the main thread.
  std::function<void()> OnPortAdded;
};

// The port selection and parameter dialogs of the serial engine.
class TKvSerialDialogs {
 public:
  virtual ~TKvSerialDialogs() = default;
  // Port selection; true on OK with the chosen port in port.
  virtual bool SelectPort(int& port) = 0;
  virtual bool EditParameters() = 0;
  // The extended dialog over a configuration text; true on OK with the port in port.
  virtual bool EditExtended(const QString& data, int& port) = 0;
};
