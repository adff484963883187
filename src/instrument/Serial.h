#pragma once
// The program's serial port engine and port manager.
//
// TSerial opens a COM number's device node with termios, runs one reader thread per open
// port and raises its events on that thread (or, with SyncEventHandling, on the main thread).
// A port that vanishes (the adapter unplugged, the far end of a pseudo-terminal closed)
// reaches OnCOMRemoved on the main thread, from the manager's device notices or from the
// reader thread's hang-up.
//
// TCOMManager numbers the serial devices of a device source COM1..COM99, stably across runs,
// remembers which port component holds each number and tells the holder when its device
// goes. It lives on the main thread and must outlive the port components.
//
// The communications calls the engine is modelled on, and what stands for each here:
//   CreateFileW (exclusive)     open(O_RDWR|O_NOCTTY|O_NONBLOCK), then ioctl TIOCEXCL against
//                               later openers and flock(LOCK_EX|LOCK_NB) against programs
//                               that hold the port already (the serial tools' convention)
//   SetupComm                   nothing to size: the tty layer's queues are fixed; the sizes
//                               are kept for the limits and DataSize
//   BuildCommDCBW, SetCommState tcgetattr, cfmakeraw, cfsetispeed/cfsetospeed from the
//                               B50..B921600 table (another rate fails the open), c_cflag
//                               CSIZE/PARENB/PARODD/CMSPAR/CSTOPB/CRTSCTS, c_iflag INPCK,
//                               IXON/IXOFF, IXANY off for ContinueOnXOff, c_cc VSTART/VSTOP,
//                               tcsetattr; DTR and RTS through TIOCMBIS/TIOCMBIC
//   SetCommTimeouts             RecTimeOut and TrmTimeOut bound the poll() of a waiting
//                               read or write
//   SetCommMask, WaitCommEvent  the reader thread's poll() on the descriptor and a stop
//                               eventfd; modem lines through TIOCMGET, line breaks and
//                               errors through the TIOCGICOUNT counters, the output queue
//                               draining through TIOCOUTQ, looked at every 50 ms while such
//                               a handler is in the mask; the event character is seen in
//                               the bytes a data call reads (a tty can't be peeked)
//   ClearCommError              ioctl FIONREAD (input queue), TIOCOUTQ (output queue)
//   ReadFile, WriteFile,        read()/write() on the non-blocking descriptor; with
//   GetOverlappedResult         SyncWait, poll() until done, the time-out or the close
//   PurgeComm                   tcflush(TCIFLUSH / TCOFLUSH)
//   TransmitCommChar            tcflow(TCION / TCIOFF) for the XOn and XOff characters,
//                               which the line sends ahead of its queue; others are written
//   SetCommBreak, ClearCommBreak  ioctl TIOCSBRK / TIOCCBRK
//   GetCommModemStatus          ioctl TIOCMGET (TIOCM_CTS, TIOCM_DSR)
//   CloseHandle                 ioctl TIOCNXCL, then close(), which also drops the flock
//   SetThreadPriority           setpriority(PRIO_PROCESS, 0) on the reader thread itself, since
//                               each thread has its own nice value: tpIdle 19, tpLowest 10,
//                               tpLower 5, tpHigher -5, tpHighest -10, tpTimeCritical -20;
//                               tpNormal leaves the thread as it was started. A raise needs
//                               CAP_SYS_NICE or RLIMIT_NICE; refused, the port works as it is
//                               and the log says why, once
//   GetLastError                errno
//
// Threads: the reader thread touches only the descriptor, the stop event, the handlers
// taken at opening and the atomics below; everything else runs on the main thread.
#include <QObject>
#include <QString>
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "KvInstrumentPorts.h"
#include "KvPortDevices.h"

class TCOMManager;
class TKvPortAssignments;
class TKvTimer;

enum TDataBits { db_4, db_5, db_6, db_7, db_8 };
enum TParityBit { none, odd, even, mark, space };
enum TStopBits { sb_1, sb_15, sb_2 };
enum TThreadPriority { tpIdle, tpLowest, tpLower, tpNormal, tpHigher, tpHighest, tpTimeCritical };

// The event mask bits, with the values the line's events always had.
enum : uint32_t {
  EV_RXCHAR = 0x0001,
  EV_RXFLAG = 0x0002,
  EV_TXEMPTY = 0x0004,
  EV_CTS = 0x0008,
  EV_DSR = 0x0010,
  EV_RLSD = 0x0020,
  EV_BREAK = 0x0040,
  EV_ERR = 0x0080,
  EV_RING = 0x0100,
};

// All settings of a port as one value; see TSerial::ConfigToStr for its text form.
struct TSerialConfig {
  bool Valid = false;
  int COMPort = 0;
  int Baudrate = 9600;
  TDataBits DataBits = db_8;
  TParityBit ParityBit = none;
  TStopBits StopBits = sb_1;
  int BufSizeTrm = 16384;
  int BufSizeRec = 16384;
  bool HandshakeRtsCts = false;
  bool HandshakeDtrDsr = false;
  bool HandshakeXOnXOff = false;
  bool RTSActive = false;
  bool DTRActive = false;
  uint8_t XOnChar = 0x11;
  uint8_t XOffChar = 0x13;
  int XOffLimit = 8192;
  int XOnLimit = 512;
  uint8_t ErrorChar = '?';
  uint8_t EofChar = 0x1A;
  uint8_t EventChar = 0x0D;
  bool ContinueOnXOff = false;
  bool UseErrorChar = false;
  bool EliminateNullChar = false;
  bool AbortOnError = false;
  int RecTimeOut = 0;
  int TrmTimeOut = 0;
};

// Whether what poll() said of a port and the bytes it holds (-1: it can't tell) mean that the
// line is gone: a hang-up or a device that no longer answers.
bool KvSerial_IsHangUp(short revents, int waiting);

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
  // The reader thread's priority, taken when the port opens.
  TThreadPriority ThreadPriority = tpNormal;

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
  std::atomic<uint32_t> MasterEventMask{0};
  TCOMManager* FManager;
};

// Waits on an open port and hands the events of the mask to Dispatch; ends when told to
// (Terminate joins it, or lets it finish by itself when called from a handler) or when the
// line hangs up (OnHangUp, raised on this thread). What the thread uses lives in a context
// that the thread shares, so that a handler closing its own port frees nothing in use.
class TSerThread {
 public:
  struct TContext {
    TContext(int handle, uint32_t mask) : Handle(handle), EventMask(mask) {}
    ~TContext();
    const int Handle;
    const uint32_t EventMask;
    int StopEvent = -1;
    // kPending until the thread has applied its priority, then 0 or the errno of a refusal.
    static constexpr int kPending = -1;
    std::atomic<int> PriorityError{kPending};
    std::atomic<bool> Stopped{false};
    std::function<void(uint32_t events)> Dispatch;
    // How many bytes the data calls have taken from the line so far.
    std::function<int64_t()> BytesTaken;
    std::function<void()> OnHangUp;
  };

  // Returns once the thread runs with its priority, or has been refused it.
  TSerThread(std::shared_ptr<TContext> context, TThreadPriority priority);
  ~TSerThread() { Terminate(); }
  void Terminate();
  // 0, or the errno of the refused priority: the thread then runs as it was started.
  int PriorityError() const { return FContext->PriorityError.load(); }

 private:
  static void Execute(std::shared_ptr<TContext> context, TThreadPriority priority);

  std::shared_ptr<TContext> FContext;
  std::thread FThread;
};

class TSerial : public TCustomSerial {
  Q_OBJECT
 public:
  explicit TSerial(TCOMManager* manager = nullptr, QObject* owner = nullptr);
  ~TSerial() override;

  // Events: assign before opening; a handler assigned later is never called. They are raised
  // on the port's thread, or on the main thread with SyncEventHandling.
  std::function<void()> OnBreak, OnCts, OnDsr, OnError, OnRing, OnDcd, OnRxChar, OnEventChar,
      OnTxEmpty, OnData;
  // Raised each second by the transmit rate timer, on the main thread.
  std::function<void()> OnMeasure, OnStalled;

  void SetActive(bool on) override;
  // Takes 0 or a number the port manager lists; other numbers are ignored.
  void SetCOMPort(int port) override;
  // The index-th port of the manager's list; an index outside it changes nothing.
  void PortByIndex(int index);
  virtual bool OpenComm();
  virtual void CloseComm();
  void COMRemovedNotice() override;
  // Why the last opening failed, in a sentence for the status bar; empty when it didn't.
  QString LastErrorText() const override { return FLastErrorText; }

  // Line settings, applied when the port opens.
  int Frequency() const { return FFrequency; }
  void SetFrequency(int hz) { FFrequency = hz; }
  int Baudrate() const { return FBaudrate; }
  // Snaps to what the UART clock can divide down to, then keeps within 50..921600.
  void SetBaudrate(int baud);
  TDataBits DataBits = db_8;
  TParityBit ParityBit() const { return FParityBit; }
  // Anything but none also switches the parity check on.
  void SetParityBit(TParityBit parity);
  bool ParityCheck() const { return FParityCheck; }
  TStopBits StopBits = sb_1;
  int BufSizeTrm() const { return FBufSizeTrm; }
  void SetBufSizeTrm(int size);
  int BufSizeRec() const { return FBufSizeRec; }
  // At least 4096; the XOff and XOn limits follow it down.
  void SetBufSizeRec(int size);
  bool HandshakeRtsCts = false;
  bool HandshakeDtrDsr = false;
  bool HandshakeXOnXOff = false;
  bool RTSActive = false;
  bool DTRActive = false;
  int XOffLimit() const { return FXOffLimit; }
  void SetXOffLimit(int limit);
  int XOnLimit() const { return FXOnLimit; }
  void SetXOnLimit(int limit);
  uint8_t XOnChar = 0x11;
  uint8_t XOffChar = 0x13;
  uint8_t ErrorChar = '?';
  uint8_t EofChar = 0x1A;
  uint8_t EventChar = 0x0D;
  // The input queue's fill at which OnData is raised; 0 never raises it.
  int DataSize() const { return FDataSize.load(); }
  void SetDataSize(int size);
  bool ContinueOnXOff = false;
  bool UseErrorChar = false;
  bool EliminateNullChar = false;
  bool AbortOnError = false;
  int RecTimeOut() const { return FRecTimeOut; }  // ms; 0 waits without limit
  void SetRecTimeOut(int ms) { FRecTimeOut = std::max(ms, 0); }
  int TrmTimeOut() const { return FTrmTimeOut; }  // ms; 0 waits without limit
  void SetTrmTimeOut(int ms) { FTrmTimeOut = std::max(ms, 0); }
  bool SyncEventHandling = false;
  std::atomic<bool> EnableEvents{true};
  bool SyncWait = true;
  bool CommBreak() const { return FCommBreak; }
  // Sets or clears the line break at once when open.
  void SetCommBreak(bool on);

  // State of the line.
  int BufRec() override;
  int BufTrm() const;
  bool CanTransmitt() const;
  int TrmRate() const { return FTrmRate; }

  // Data calls; any thread, but one at a time. Closed, they return 0 or nothing.
  int ReceiveData(uint8_t* buffer, int len) override;
  QByteArray ReceiveText();
  int TransmittData(const uint8_t* data, int len);
  void TransmittText(const QString& text) override;
  int TransmittBytes(const QByteArray& bytes);
  bool Purge(bool TxAbort, bool RxAbort, bool TxClear, bool RxClear);
  // Sends c ahead of what waits; not while closed or in a line break.
  bool ForceChar(uint8_t c);

  // All settings as one value, and back through the setters (an invalid one is ignored).
  TSerialConfig GetConfig() const;
  void SetConfig(const TSerialConfig& config);
  virtual QString ConfigToStr(const TSerialConfig& config) const;
  virtual TSerialConfig StrToConfig(const QString& text) const;

  // The device node behind the current number, for messages.
  QString DevicePath() const;
  // Each second: the transmit rate, OnMeasure and OnStalled.
  void TimerTrmRateTimer();
  TKvTimer* TimerTrmRate;

 private:
  struct THandlers;
  bool Configure(int fd);
  // Takes the advisory lock, then keeps later openers out; false when another holds it.
  bool Lock(int fd);
  void CloseLocked(int fd);
  void Release();
  void ReportOpenFailure(const QString& path, int err, const QString& why);
  void ReportPriority(int err);
  void PortHungUp(int session);
  bool WaitFor(short events, int timeoutMs);
  uint32_t BuildEventMask() const;
  void Dispatch(const THandlers& handlers, uint32_t events);
  void NoticeEventChar(const uint8_t* bytes, int count);

  int FFrequency = 9216000;
  int FBaudrate = 9600;
  TParityBit FParityBit = none;
  bool FParityCheck = false;
  int FXOffLimit = 8192;
  int FXOnLimit = 512;
  std::atomic<int> FDataSize{0};
  int FRecTimeOut = 0;
  int FTrmTimeOut = 0;
  bool FCommBreak = false;
  QString FLastErrorText;
  QString FOpenPath;  // the node opened, for the removal message
  std::atomic<bool> FClosing{false};
  int FSession = 0;  // which opening a hang-up or a queued event belongs to
  std::atomic<int> FStopEvent{-1};
  std::shared_ptr<THandlers> FHandlers;  // taken at opening, read by the port thread
  std::unique_ptr<TSerThread> SerThread;
  TThreadPriority FPriorityRefused = tpNormal;  // the refusal the log has told of last
  // A handler closing its own port zeroes these on the port thread.
  std::atomic<int> FTrmRate{0};
  std::atomic<int> LastTrmBuf{0};
  std::atomic<int64_t> FBytesTaken{0};  // by ReceiveData, from any thread
  bool StalledFlag = false;
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
  QString DeviceName(int port) const;
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
