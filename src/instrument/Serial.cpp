#include "Serial.h"

#include <fcntl.h>
#include <linux/serial.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <termios.h>
#include <unistd.h>

#include <QFileInfo>
#include <QThread>
#include <cerrno>
#include <cstring>

#include "KvClock.h"
#include "KvSys_Helper.h"

namespace {
struct TSpeed {
  int Baud;
  speed_t Code;
};
const TSpeed kSpeeds[] = {
    {50, B50},       {75, B75},         {110, B110},       {134, B134},       {150, B150},
    {200, B200},     {300, B300},       {600, B600},       {1200, B1200},     {1800, B1800},
    {2400, B2400},   {4800, B4800},     {9600, B9600},     {19200, B19200},   {38400, B38400},
    {57600, B57600}, {115200, B115200}, {230400, B230400}, {460800, B460800}, {921600, B921600}};

bool SpeedCode(int baud, speed_t& code) {
  for (const TSpeed& s : kSpeeds)
    if (s.Baud == baud) {
      code = s.Code;
      return true;
    }
  return false;
}

// Bytes waiting, or -1 when the line can't tell (the device is gone).
int Waiting(int fd) {
  int n = 0;
  return ioctl(fd, FIONREAD, &n) == 0 ? n : -1;
}

void SignalStop(int stopEvent) {
  const uint64_t one = 1;
  [[maybe_unused]] ssize_t w = write(stopEvent, &one, sizeof one);
}

QString Com(int port) {
  return QString("COM%1").arg(port);
}

// Modem lines and error counters, looked at every so often for the events a tty doesn't
// signal through poll().
constexpr uint32_t kLineEvents = EV_CTS | EV_DSR | EV_RLSD | EV_RING;
constexpr uint32_t kCountEvents = EV_BREAK | EV_ERR;
constexpr int kLineLookMs = 50;

struct TLineState {
  int Modem = 0;
  serial_icounter_struct Counts{};
  int OutQueue = 0;

  void Read(int fd) {
    if (ioctl(fd, TIOCMGET, &Modem) != 0) Modem = 0;
    if (ioctl(fd, TIOCGICOUNT, &Counts) != 0) Counts = {};
    if (ioctl(fd, TIOCOUTQ, &OutQueue) != 0) OutQueue = 0;
  }
  // What changed since before.
  uint32_t Since(const TLineState& before) const {
    uint32_t ev = 0;
    const int changed = Modem ^ before.Modem;
    if (changed & TIOCM_CTS) ev |= EV_CTS;
    if (changed & TIOCM_DSR) ev |= EV_DSR;
    if (changed & TIOCM_CD) ev |= EV_RLSD;
    if (changed & TIOCM_RI) ev |= EV_RING;
    if (Counts.brk != before.Counts.brk) ev |= EV_BREAK;
    if (Counts.frame != before.Counts.frame || Counts.overrun != before.Counts.overrun ||
        Counts.parity != before.Counts.parity || Counts.buf_overrun != before.Counts.buf_overrun)
      ev |= EV_ERR;
    if (before.OutQueue > 0 && OutQueue == 0) ev |= EV_TXEMPTY;
    return ev;
  }
};

int NiceOf(TThreadPriority p) {
  static const int nice[] = {19, 10, 5, 0, -5, -10, -20};
  return nice[p];
}

// Gives the calling thread the priority's nice value; 0 or the errno of a refusal.
int ApplyPriority(TThreadPriority p) {
  if (p == tpNormal) return 0;
  return setpriority(PRIO_PROCESS, 0, NiceOf(p)) == 0 ? 0 : errno;
}
}  // namespace

// What the port thread calls, as they were when the port opened.
struct TSerial::THandlers {
  std::function<void()> OnBreak, OnCts, OnDsr, OnError, OnRing, OnDcd, OnRxChar, OnEventChar,
      OnTxEmpty, OnData;
};

bool KvSerial_IsHangUp(short revents, int waiting) {
  // Ready without a byte waiting is no removal: another reader of the same port took the
  // bytes between the wake-up and the look.
  return (revents & (POLLHUP | POLLERR | POLLNVAL)) || waiting < 0;
}

// ---------------------------------------------------------------------------------------
// TCustomSerial

TCustomSerial::TCustomSerial(TCOMManager* manager, QObject* owner)
    : QObject(owner), FManager(manager ? manager : TCOMManager::Instance()) {}

void TCustomSerial::COMRemovedNotice() {
  FActive = false;
  if (OnCOMRemoved) OnCOMRemoved();
}

// ---------------------------------------------------------------------------------------
// TSerThread

TSerThread::TContext::~TContext() {
  if (StopEvent >= 0) close(StopEvent);
}

TSerThread::TSerThread(std::shared_ptr<TContext> context, TThreadPriority priority)
    : FContext(std::move(context)), FThread(&TSerThread::Execute, FContext, priority) {
  // The opener reports a refusal, and a test may look at the thread as soon as the port is
  // open; the wait is for a system call, not for the line.
  FContext->PriorityError.wait(TContext::kPending);
}

void TSerThread::Terminate() {
  if (!FThread.joinable()) return;
  FContext->Stopped = true;
  SignalStop(FContext->StopEvent);
  // A handler that closes its own port can't wait for itself: the thread sees Stopped when
  // the handler returns and ends on its own, keeping the context alive until then.
  if (std::this_thread::get_id() == FThread.get_id())
    FThread.detach();
  else
    FThread.join();
}

void TSerThread::Execute(std::shared_ptr<TContext> ctx, TThreadPriority priority) {
  ctx->PriorityError = ApplyPriority(priority);
  ctx->PriorityError.notify_all();
  const bool looks = ctx->EventMask & (kLineEvents | kCountEvents | EV_TXEMPTY);
  const bool receives = ctx->EventMask & (EV_RXCHAR | EV_RXFLAG);
  TLineState line;
  if (looks) line.Read(ctx->Handle);
  int unread = 0;  // what a handler left in the queue last time round
  while (!ctx->Stopped) {
    pollfd fds[2] = {{ctx->StopEvent, POLLIN, 0}, {ctx->Handle, short(receives ? POLLIN : 0), 0}};
    // A handler that leaves bytes unread would make the descriptor ready at once, forever;
    // then look only for new bytes, now and then.
    const bool idle = unread > 0 && Waiting(ctx->Handle) == unread;
    const int timeout = idle ? 10 : looks ? kLineLookMs : -1;
    const int r = poll(fds, idle ? 1 : 2, timeout);
    if (r < 0 && errno != EINTR) return;
    if (ctx->Stopped || fds[0].revents) return;

    const int waiting = Waiting(ctx->Handle);
    const bool hungUp = KvSerial_IsHangUp(fds[1].revents, waiting);
    uint32_t events = 0;
    if (receives && waiting > 0 && !idle) events |= EV_RXCHAR;
    if (looks && !hungUp) {
      TLineState now;
      now.Read(ctx->Handle);
      events |= now.Since(line);
      line = now;
    }
    events &= ctx->EventMask;
    const int64_t takenBefore = ctx->BytesTaken();
    if (events) ctx->Dispatch(events);
    if (ctx->Stopped) return;  // a handler closed the port; the descriptor is gone
    // While idle the count is what a handler left; it moves on only after a receive event.
    // Bytes that came while the handler ran are no leftovers but news, to be told at once.
    if (!idle)
      unread = (events & EV_RXCHAR) ? std::max(waiting - int(ctx->BytesTaken() - takenBefore), 0)
                                    : waiting;
    if (hungUp) {
      if (ctx->OnHangUp) ctx->OnHangUp();
      return;
    }
    if (r > 0 && fds[1].revents && waiting == 0) {
      // Ready and empty again at once: give the other reader a moment instead of spinning.
      pollfd stop{ctx->StopEvent, POLLIN, 0};
      poll(&stop, 1, 10);
    }
  }
}

// ---------------------------------------------------------------------------------------
// TSerial

TSerial::TSerial(TCOMManager* manager, QObject* owner) : TCustomSerial(manager, owner) {
  setObjectName("Serial");
  const QStringList ports = FManager ? FManager->Ports() : QStringList();
  if (!ports.isEmpty()) FCOMPort = ports.first().mid(3).toInt();
  TimerTrmRate = new TKvTimer(this, 1000);
  TimerTrmRate->setObjectName("TimerTrmRate");
  TimerTrmRate->OnTimer = [this] { TimerTrmRateTimer(); };
}

TSerial::~TSerial() {
  CloseComm();
}

void TSerial::SetActive(bool on) {
  if (on == Active()) return;
  if (on)
    OpenComm();
  else
    CloseComm();
}

void TSerial::SetCOMPort(int port) {
  if (port == 0 || (FManager && FManager->PortExists(port))) FCOMPort = port;
}

void TSerial::PortByIndex(int index) {
  const QStringList ports = FManager ? FManager->Ports() : QStringList();
  if (index >= 0 && index < ports.size()) FCOMPort = ports[index].mid(3).toInt();
}

void TSerial::SetBaudrate(int baud) {
  // A rate of 0 with a clock set divides by zero, as it always did; keep the old rate.
  if (FFrequency > 0 && baud > 0) baud = FFrequency / (FFrequency / baud);
  FBaudrate = std::clamp(baud, 50, 921600);
}

void TSerial::SetParityBit(TParityBit parity) {
  FParityBit = parity;
  if (parity != none) FParityCheck = true;
}

void TSerial::SetBufSizeTrm(int size) {
  FBufSizeTrm = std::max(size, 4096);
}

void TSerial::SetBufSizeRec(int size) {
  FBufSizeRec = std::max(size, 4096);
  if (FXOffLimit > FBufSizeRec) FXOffLimit = FBufSizeRec;
  if (FXOnLimit >= FXOffLimit) FXOnLimit = FXOffLimit - 1;
  if (FDataSize > FBufSizeRec) FDataSize = FBufSizeRec;
}

void TSerial::SetXOffLimit(int limit) {
  FXOffLimit = std::clamp(limit, FXOnLimit + 1, FBufSizeRec);
}

void TSerial::SetXOnLimit(int limit) {
  FXOnLimit = std::clamp(limit, 0, FXOffLimit - 1);
}

void TSerial::SetDataSize(int size) {
  FDataSize = std::clamp(size, 0, FBufSizeRec);
}

void TSerial::SetCommBreak(bool on) {
  FCommBreak = on;
  const int fd = FSerHandle;
  if (fd >= 0 && Active()) ioctl(fd, on ? TIOCSBRK : TIOCCBRK);
}

QString TSerial::DevicePath() const {
  return FManager ? FManager->DevicePath(FCOMPort) : QString();
}

bool TSerial::Configure(int fd) {
  termios t{};
  if (tcgetattr(fd, &t) != 0) return false;
  speed_t speed;
  if (DataBits == db_4 || !SpeedCode(FBaudrate, speed)) {
    errno = EINVAL;
    return false;
  }
  cfmakeraw(&t);
  cfsetispeed(&t, speed);
  cfsetospeed(&t, speed);
  const tcflag_t sizes[] = {CS5, CS5, CS6, CS7, CS8};
  t.c_cflag = (t.c_cflag & ~(CSIZE | PARENB | PARODD | CMSPAR | CSTOPB | CRTSCTS)) | CLOCAL |
              CREAD | sizes[DataBits];
  if (FParityBit != none) t.c_cflag |= PARENB;
  if (FParityBit == odd || FParityBit == mark) t.c_cflag |= PARODD;
  if (FParityBit == mark || FParityBit == space) t.c_cflag |= CMSPAR;
  if (FParityCheck) t.c_iflag |= INPCK;
  if (StopBits != sb_1) t.c_cflag |= CSTOPB;
  if (HandshakeRtsCts) t.c_cflag |= CRTSCTS;
  if (HandshakeXOnXOff) t.c_iflag |= IXON | IXOFF;
  if (HandshakeXOnXOff && ContinueOnXOff) t.c_iflag |= IXANY;
  t.c_cc[VSTART] = cc_t(XOnChar);
  t.c_cc[VSTOP] = cc_t(XOffChar);
  t.c_cc[VMIN] = 0;
  t.c_cc[VTIME] = 0;
  if (tcsetattr(fd, TCSANOW, &t) != 0) return false;

  // Lines a pseudo-terminal doesn't have: a refusal costs nothing.
  int dtr = TIOCM_DTR, rts = TIOCM_RTS;
  if (!HandshakeDtrDsr) ioctl(fd, DTRActive ? TIOCMBIS : TIOCMBIC, &dtr);
  if (!HandshakeRtsCts) ioctl(fd, RTSActive ? TIOCMBIS : TIOCMBIC, &rts);
  return true;
}

bool TSerial::Lock(int fd) {
  // TIOCEXCL keeps out whoever opens after us, the lock whoever holds the port already and
  // follows the same convention.
  if (flock(fd, LOCK_EX | LOCK_NB) != 0) return false;
  ioctl(fd, TIOCEXCL);
  return true;
}

void TSerial::CloseLocked(int fd) {
  // A pseudo-terminal's line outlives its closing while the far end is open, and would go
  // on refusing everyone but root.
  ioctl(fd, TIOCNXCL);
  close(fd);
}

uint32_t TSerial::BuildEventMask() const {
  uint32_t mask = 0;
  if (OnBreak) mask |= EV_BREAK;
  if (OnCts) mask |= EV_CTS;
  if (OnDsr) mask |= EV_DSR;
  if (OnError) mask |= EV_ERR;
  if (OnRing) mask |= EV_RING;
  if (OnDcd) mask |= EV_RLSD;
  if (OnRxChar || OnData) mask |= EV_RXCHAR;
  if (OnEventChar) mask |= EV_RXFLAG;
  if (OnTxEmpty) mask |= EV_TXEMPTY;
  return mask;
}

bool TSerial::OpenComm() {
  if (Active() || FCOMPort < 1) return false;
  const QString path = DevicePath();
  int fd = -1;
  int err = ENODEV;
  QString why;
  if (!path.isEmpty()) {
    fd = open(path.toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
      err = errno;
    } else if (!Lock(fd)) {
      close(fd);
      fd = -1;
      err = EBUSY;
      why = "the port is in use by another program";
    } else if (!Configure(fd)) {
      err = errno;
      if (err == EINVAL)
        why = QString("the line can't take %1 baud with these settings").arg(FBaudrate);
      CloseLocked(fd);
      fd = -1;
    }
  }
  if (fd < 0) {
    FLastError = err;
    ReportOpenFailure(path, err, why);
    return false;
  }

  FSerHandle = fd;
  FOpenPath = path;
  FClosing = false;
  FLastErrorText.clear();
  const int session = ++FSession;
  MasterEventMask = BuildEventMask();
  FHandlers = std::make_shared<THandlers>(THandlers{OnBreak, OnCts, OnDsr, OnError, OnRing, OnDcd,
                                                    OnRxChar, OnEventChar, OnTxEmpty, OnData});
  // All of the open state is in place before the thread starts: a handler may close the port
  // on its first event.
  FActive = true;
  if (FCommBreak) SetCommBreak(true);
  LastTrmBuf = FTrmRate = 0;
  StalledFlag = false;
  if (OnMeasure || OnStalled) TimerTrmRate->SetEnabled(true);
  if (FManager) FManager->AssignCOM(this);
  FLastError = 0;
  KvSysHelper().SysLog_Add(this, "", Com(FCOMPort) + " open on " + path);
  if (MasterEventMask) {
    auto ctx = std::make_shared<TSerThread::TContext>(fd, MasterEventMask);
    ctx->StopEvent = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    FStopEvent = ctx->StopEvent;
    std::shared_ptr<THandlers> handlers = FHandlers;
    if (SyncEventHandling)
      ctx->Dispatch = [=, this](uint32_t events) {
        QMetaObject::invokeMethod(
            this,
            [=, this] {
              if (session == FSession && Active()) Dispatch(*handlers, events);
            },
            Qt::QueuedConnection);
      };
    else
      ctx->Dispatch = [=, this](uint32_t events) { Dispatch(*handlers, events); };
    ctx->BytesTaken = [this] { return FBytesTaken.load(); };
    ctx->OnHangUp = [=, this] {
      QMetaObject::invokeMethod(
          this, [=, this] { PortHungUp(session); }, Qt::QueuedConnection);
    };
    SerThread = std::make_unique<TSerThread>(ctx, ThreadPriority);
    ReportPriority(SerThread->PriorityError());
  }
  return true;
}

void TSerial::ReportPriority(int err) {
  // Told once for as long as the same priority keeps being refused: every opening would
  // repeat it otherwise.
  if (err == 0) {
    FPriorityRefused = tpNormal;
    return;
  }
  if (ThreadPriority == FPriorityRefused) return;
  FPriorityRefused = ThreadPriority;
  KvSysHelper().SysLog_Add(
      this, "",
      QString("%1 reads at the priority its thread was started with: nice %2 was refused (%3); "
              "raising it needs the CAP_SYS_NICE capability or a higher RLIMIT_NICE")
          .arg(Com(FCOMPort))
          .arg(NiceOf(ThreadPriority))
          .arg(QString::fromLocal8Bit(strerror(err))));
}

void TSerial::ReportOpenFailure(const QString& path, int err, const QString& why) {
  QString reason = why.isEmpty() ? QString::fromLocal8Bit(strerror(err)) : why;
  if (err == EACCES) {
    const QString group = QFileInfo(path).group();
    reason += QString(" - the user must be a member of the group \"%1\" to use serial ports")
                  .arg(group.isEmpty() || group == "root" ? QString("dialout") : group);
  }
  FLastErrorText = Com(FCOMPort) + " could not be opened: " + reason;
  KvSysHelper().SysLog_Add(this, "",
                           Com(FCOMPort) + " (" + (path.isEmpty() ? QString("no device") : path) +
                               ") could not be opened: " + reason);
}

void TSerial::Dispatch(const THandlers& h, uint32_t events) {
  if (!EnableEvents) return;
  if (events & EV_BREAK) h.OnBreak();
  if (events & EV_CTS) h.OnCts();
  if (events & EV_DSR) h.OnDsr();
  if (events & EV_ERR) h.OnError();
  if (events & EV_RING) h.OnRing();
  if (events & EV_RLSD) h.OnDcd();
  if (events & EV_RXCHAR) {
    if (h.OnRxChar) h.OnRxChar();
    const int size = FDataSize;
    if (h.OnData && size > 0 && BufRec() >= size) h.OnData();
  }
  if ((events & EV_RXFLAG) && h.OnEventChar) h.OnEventChar();
  if (events & EV_TXEMPTY) h.OnTxEmpty();
}

void TSerial::NoticeEventChar(const uint8_t* bytes, int count) {
  const std::shared_ptr<THandlers> h = FHandlers;
  if (!h || !h->OnEventChar || !(MasterEventMask & EV_RXFLAG) || !EnableEvents) return;
  if (std::memchr(bytes, EventChar, size_t(count))) h->OnEventChar();
}

void TSerial::Release() {
  // A handler that reads while bytes keep coming would hold the thread forever.
  FClosing = true;
  TimerTrmRate->SetEnabled(false);
  FTrmRate = LastTrmBuf = 0;
  SerThread.reset();  // joins, unless a handler of the thread itself is closing
  MasterEventMask = 0;
  FStopEvent = -1;
  const int fd = FSerHandle.exchange(-1);
  if (fd >= 0) CloseLocked(fd);
  FActive = false;
}

void TSerial::CloseComm() {
  if (!Active()) return;
  Release();
  FLastError = 0;
  if (!FManager) return;
  // The manager belongs to the main thread; a handler closing its own port tells it later.
  if (QThread::currentThread() == thread())
    FManager->AssignCOM(this);
  else
    QMetaObject::invokeMethod(
        this, [this] { FManager->AssignCOM(this); }, Qt::QueuedConnection);
}

void TSerial::COMRemovedNotice() {
  if (!Active()) return;  // told once, by the device notice or by the hang-up
  KvSysHelper().SysLog_Add(this, "", Com(FCOMPort) + " (" + FOpenPath + ") was removed");
  Release();
  TCustomSerial::COMRemovedNotice();
  if (FManager) FManager->AssignCOM(this);
}

void TSerial::PortHungUp(int session) {
  if (session != FSession || !Active()) return;
  // Let the list catch up first, so that whoever hears of the removal sees it gone; the
  // manager tells us then, unless the node is still there (a pseudo-terminal).
  if (FManager) FManager->DeviceNotice(TKvDeviceNotice::NodesChanged);
  COMRemovedNotice();
}

// ---------------------------------------------------------------------------------------
// Line state and data calls

int TSerial::BufRec() {
  const int fd = FSerHandle;
  return fd < 0 || FClosing ? 0 : std::max(Waiting(fd), 0);
}

int TSerial::BufTrm() const {
  const int fd = FSerHandle;
  int n = 0;
  return fd >= 0 && ioctl(fd, TIOCOUTQ, &n) == 0 ? n : 0;
}

bool TSerial::CanTransmitt() const {
  const int fd = FSerHandle;
  if (fd < 0) return false;
  if (!HandshakeRtsCts && !HandshakeDtrDsr) return true;
  int lines = 0;
  if (ioctl(fd, TIOCMGET, &lines) != 0) return false;
  const bool cts = lines & TIOCM_CTS, dsr = lines & TIOCM_DSR;
  if (HandshakeRtsCts && HandshakeDtrDsr) return cts && dsr;
  return HandshakeRtsCts ? cts : dsr;
}

bool TSerial::WaitFor(short events, int timeoutMs) {
  const int stop = FStopEvent;
  pollfd fds[2] = {{FSerHandle, events, 0}, {stop, POLLIN, 0}};
  const int r = poll(fds, stop >= 0 ? 2 : 1, timeoutMs > 0 ? timeoutMs : -1);
  return r > 0 && !fds[1].revents && !(fds[0].revents & (POLLHUP | POLLERR | POLLNVAL));
}

int TSerial::ReceiveData(uint8_t* buffer, int len) {
  const int fd = FSerHandle;
  if (fd < 0 || len <= 0 || FClosing) return 0;
  const int want = SyncWait ? len : std::min(BufRec(), len);
  int got = 0;
  while (got < want) {
    const ssize_t n = read(fd, buffer + got, size_t(want - got));
    if (n > 0) {
      got += int(n);
      continue;
    }
    FLastError = n < 0 ? errno : 0;
    if (n == 0 || (errno != EAGAIN && errno != EINTR)) break;
    if (!SyncWait || !WaitFor(POLLIN, FRecTimeOut)) break;
  }
  if (got > 0) {
    FBytesTaken += got;
    NoticeEventChar(buffer, got);
  }
  return got;
}

QByteArray TSerial::ReceiveText() {
  QByteArray text(BufRec(), '\0');
  if (text.isEmpty()) return text;
  text.resize(ReceiveData(reinterpret_cast<uint8_t*>(text.data()), int(text.size())));
  return text;
}

int TSerial::TransmittData(const uint8_t* data, int len) {
  LastTrmBuf += std::max(len, 0);
  const int fd = FSerHandle;
  if (fd < 0) return 0;
  int sent = 0;
  while (sent < len) {
    const ssize_t n = write(fd, data + sent, size_t(len - sent));
    if (n > 0) {
      sent += int(n);
      continue;
    }
    FLastError = errno;
    if (errno != EAGAIN && errno != EINTR) break;
    if (!SyncWait || !WaitFor(POLLOUT, FTrmTimeOut)) break;
  }
  return sent;
}

int TSerial::TransmittBytes(const QByteArray& bytes) {
  return TransmittData(reinterpret_cast<const uint8_t*>(bytes.constData()), int(bytes.size()));
}

void TSerial::TransmittText(const QString& text) {
  TransmittBytes(text.toLatin1());
}

bool TSerial::Purge(bool TxAbort, bool RxAbort, bool TxClear, bool RxClear) {
  const int fd = FSerHandle;
  if (fd < 0) return false;
  bool ok = true;
  if (TxAbort || TxClear) ok = tcflush(fd, TCOFLUSH) == 0 && ok;
  if (RxAbort || RxClear) ok = tcflush(fd, TCIFLUSH) == 0 && ok;
  FLastError = ok ? 0 : errno;
  return ok;
}

bool TSerial::ForceChar(uint8_t c) {
  const int fd = FSerHandle;
  if (fd < 0 || FCommBreak) return false;
  if (c == XOnChar || c == XOffChar) return tcflow(fd, c == XOnChar ? TCION : TCIOFF) == 0;
  return write(fd, &c, 1) == 1;
}

void TSerial::TimerTrmRateTimer() {
  if (!Active()) {
    FTrmRate = 0;
    return;
  }
  const int queued = BufTrm();
  FTrmRate = LastTrmBuf - queued;
  LastTrmBuf = queued;
  if (OnMeasure && EnableEvents) OnMeasure();
  if (OnStalled && queued > 0 && FTrmRate == 0) {
    if (!StalledFlag && EnableEvents) OnStalled();
    StalledFlag = true;
  } else {
    StalledFlag = false;
  }
}
