#pragma once
// The program's serial port engine and port manager.
//
// TSerial opens a COM number's device node with termios, runs one reader thread per open
// port and raises OnRxChar on that thread while bytes wait. A port that vanishes (the
// adapter unplugged, the far end of a pseudo-terminal closed) reaches OnCOMRemoved on the
// main thread, from the manager's device notices or from the reader thread's hang-up.
//
// TCOMManager numbers the serial devices of a device source COM1..COM99, stably across runs,
// remembers which port component holds each number and tells the holder when its device
// goes. It lives on the main thread and must outlive the port components.
//
// Threads: the reader thread touches only the descriptor, the stop event, the handler it
// was given at opening and the atomics below; everything else runs on the main thread.
#include <QObject>
#include <QString>
#include <atomic>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "KvInstrumentPorts.h"
#include "KvPortDevices.h"

class TCOMManager;
class TKvPortAssignments;

enum TDataBits { db_4, db_5, db_6, db_7, db_8 };
enum TParityBit { none, odd, even, mark, space };
enum TStopBits { sb_1, sb_15, sb_2 };

// What the port manager knows of a port component: its number, whether it is open, and the
// removal notice.
class TCustomSerial : public QObject, public TKvSerialPort {
  Q_OBJECT
 public:
  // manager: nullptr takes the program-wide one.
  explicit TCustomSerial(TCOMManager* manager = nullptr, QObject* owner = nullptr);

  bool Active() const override { return FActive.load(); }
  int COMPort() const override { return FCOMPort; }
  int LastError() const override { return FLastError.load(); }
  int SerHandle() const { return FSerHandle.load(); }
  TCOMManager* Manager() const { return FManager; }

  // The device has vanished: the port counts as closed and OnCOMRemoved is raised. Called on
  // the main thread.
  virtual void COMRemovedNotice();
  std::function<void()> OnCOMRemoved;

 protected:
  std::atomic<bool> FActive{false};
  int FCOMPort = 0;
  std::atomic<int> FSerHandle{-1};
  std::atomic<int> FLastError{0};
  int FBufSizeTrm = 16384;
  int FBufSizeRec = 16384;
  TCOMManager* FManager;
};

// Waits on an open port and raises the receive event while bytes wait; ends when told to
// (Terminate joins it) or when the line hangs up (OnHangUp, raised on this thread).
class TSerThread {
 public:
  TSerThread(int handle, int stopEvent, std::function<void()> onRxChar,
             const std::atomic<bool>* enableEvents, std::function<void()> onHangUp);
  ~TSerThread() { Terminate(); }
  void Terminate();

 private:
  void Execute();
  bool IsOwnThread() const { return std::this_thread::get_id() == FThread.get_id(); }

  const int FHandle;
  const int FStopEvent;
  const std::function<void()> FOnRxChar;
  const std::atomic<bool>* FEnableEvents;
  const std::function<void()> FOnHangUp;
  std::thread FThread;
};

class TSerial : public TCustomSerial {
  Q_OBJECT
 public:
  explicit TSerial(TCOMManager* manager = nullptr, QObject* owner = nullptr);
  ~TSerial() override;

  // Events: assign before opening; a handler assigned later is never called.
  std::function<void()> OnRxChar;  // raised on the port's thread

  void SetActive(bool on) override;
  // Takes 0 or a number the port manager lists; other numbers are ignored.
  void SetCOMPort(int port) override;
  virtual bool OpenComm();
  virtual void CloseComm();
  void COMRemovedNotice() override;

  // Line settings, applied when the port opens.
  int Frequency() const { return FFrequency; }
  void SetFrequency(int hz) { FFrequency = hz; }
  int Baudrate() const { return FBaudrate; }
  // Snaps to what the UART clock can divide down to, then keeps within 50..921600.
  void SetBaudrate(int baud);
  TDataBits DataBits = db_8;
  TParityBit ParityBit() const { return FParityBit; }
  void SetParityBit(TParityBit parity);
  bool ParityCheck() const { return FParityCheck; }
  TStopBits StopBits = sb_1;
  bool HandshakeRtsCts = false;
  bool HandshakeDtrDsr = false;
  bool HandshakeXOnXOff = false;
  bool RTSActive = false;
  bool DTRActive = false;
  char XOnChar = 0x11;
  char XOffChar = 0x13;
  char EventChar = 0x0D;
  int RecTimeOut = 0;  // ms; 0 waits without limit
  int TrmTimeOut = 0;  // ms; 0 waits without limit
  bool SyncWait = true;
  std::atomic<bool> EnableEvents{true};

  // Data calls; any thread, but one at a time. Closed, they return 0.
  int BufRec() override;
  int ReceiveData(uint8_t* buffer, int len) override;
  int TransmittData(const uint8_t* data, int len);
  void TransmittText(const QString& text) override;
  // The device node behind the current number, for messages.
  QString DevicePath() const;

 private:
  bool Configure(int fd);
  void Release();
  void ReportOpenFailure(const QString& path, int err);
  void PortHungUp(int session);
  bool WaitFor(short events, int timeoutMs);

  int FFrequency = 9216000;
  int FBaudrate = 9600;
  TParityBit FParityBit = none;
  bool FParityCheck = false;
  int FStopEvent = -1;
  std::atomic<bool> FClosing{false};
  int FSession = 0;  // which opening a hang-up belongs to
  std::unique_ptr<TSerThread> SerThread;
};

// The list of COM ports: one entry per numbered serial device, ascending.
class TCOMManager : public QObject, public TKvPortList {
  Q_OBJECT
 public:
  // The source and the assignments belong to the caller and outlive the manager. Lists the
  // ports up to COM16, as a first look.
  TCOMManager(TKvPortDeviceSource* source, TKvPortAssignments* assignments,
              QObject* owner = nullptr);
  ~TCOMManager() override;
  // The program-wide manager: the first one made that still exists.
  static TCOMManager* Instance();

  static constexpr int MaxPort = 99;

  QStringList Ports() const override;
  bool PortExists(int port) const override;
  // Lists the ports up to toPort (at most 99) not looked at yet, then runs the feedback.
  void CheckPorts(int toPort) override;
  int Port2Index(int port) const override;
  // The device's name with its node: "FT232R USB UART (/dev/ttyUSB0)".
  QString FriendlyName(int port) const override;
  QString DevicePath(int port) const;
  int CheckedPorts() const { return FCheckedPorts; }

  // Looks at the devices again; holders of ports that went get their removal notice. The
  // result is the change of the count.
  int RecheckPorts();
  // The device source's notice: look again, tell the listeners, run the feedback.
  void DeviceNotice(TKvDeviceNotice notice);
  std::function<void()> OnPortRemoved;  // main thread

  // Called whenever the list was built or changed; one entry per owner.
  void RegisterFeedback(const void* owner, std::function<void()> proc);
  void UnregisterFeedback(const void* owner);
  // Records an open component as the holder of its port, or clears it when closed.
  void AssignCOM(TCustomSerial* Instance);
  TCustomSerial* Holder(int port) const;

 private:
  struct TPortEntry {
    int Port;
    TKvPortDevice Device;
    TCustomSerial* Holder;
  };
  struct TFeedback {
    const void* Owner;
    std::function<void()> Proc;
  };
  const TPortEntry* Find(int port) const;
  void RunFeedback();

  TKvPortDeviceSource* FSource;
  TKvPortAssignments* FAssignments;
  std::vector<TPortEntry> FPorts;
  int FCheckedPorts = 0;
  std::vector<TFeedback> Feedback;
};
