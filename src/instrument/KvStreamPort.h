#pragma once
// A port fed with bytes pushed from outside instead of a device: a captured stream replayed
// through the receive path (lvxtool decode), or bytes handed over by another thread. Pushing
// and reading may happen on different threads.
#include <QByteArray>
#include <mutex>

#include "KvInstrumentPorts.h"

class TKvStreamPort : public TKvSerialPort {
 public:
  explicit TKvStreamPort(int comPort = 1) : FCOMPort(comPort) {}

  void Push(const QByteArray& bytes);

  bool Active() const override;
  void SetActive(bool on) override;
  int COMPort() const override { return FCOMPort; }
  void SetCOMPort(int port) override { FCOMPort = port; }
  int LastError() const override { return 0; }
  int BufRec() override;
  int ReceiveData(uint8_t* buffer, int len) override;
  void TransmittText(const QString&) override {}  // the stream is one-way

 private:
  mutable std::mutex FLock;
  QByteArray FPending;   // guarded by FLock
  bool FActive = false;  // guarded by FLock
  int FCOMPort;
};
