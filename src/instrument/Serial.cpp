#include "Serial.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <QFileInfo>
#include <algorithm>
#include <cerrno>
#include <cstring>

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

// Bytes waiting, or -1 when the line can't tell (it hung up).
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
}  // namespace

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

TSerThread::TSerThread(int handle, int stopEvent, std::function<void()> onRxChar,
                       const std::atomic<bool>* enableEvents, std::function<void()> onHangUp)
    : FHandle(handle),
      FStopEvent(stopEvent),
      FOnRxChar(std::move(onRxChar)),
      FEnableEvents(enableEvents),
      FOnHangUp(std::move(onHangUp)),
      FThread([this] { Execute(); }) {}

void TSerThread::Terminate() {
  if (!FThread.joinable()) return;
  SignalStop(FStopEvent);
  // A handler that closes its own port can't wait for itself; the thread ends on its own.
  if (IsOwnThread())
    FThread.detach();
  else
    FThread.join();
}

void TSerThread::Execute() {
  int unread = 0;  // what a handler left in the queue last time round
  for (;;) {
    pollfd fds[2] = {{FStopEvent, POLLIN, 0}, {FHandle, POLLIN, 0}};
    // A handler that leaves bytes unread would make the descriptor ready at once, forever;
    // then look only for new bytes, now and then.
    const bool idle = unread > 0 && Waiting(FHandle) == unread;
    const int r = poll(fds, idle ? 1 : 2, idle ? 10 : -1);
    if (r < 0 && errno != EINTR) return;
    if (fds[0].revents) return;
    if (r <= 0) continue;
    const int before = Waiting(FHandle);
    if (before > 0 && FOnRxChar && FEnableEvents->load()) {
      FOnRxChar();
      unread = Waiting(FHandle);
    } else {
      unread = std::max(before, 0);
    }
    // Ready without a byte to read is how a tty says the other end is gone.
    if ((fds[1].revents & (POLLHUP | POLLERR | POLLNVAL)) || before <= 0) {
      if (FOnHangUp) FOnHangUp();
      return;
    }
  }
}

// ---------------------------------------------------------------------------------------
// TSerial

TSerial::TSerial(TCOMManager* manager, QObject* owner) : TCustomSerial(manager, owner) {
  setObjectName("Serial");
  const QStringList ports = FManager ? FManager->Ports() : QStringList();
  if (!ports.isEmpty()) FCOMPort = ports.first().mid(3).toInt();
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

void TSerial::SetBaudrate(int baud) {
  if (FFrequency > 0 && baud > 0) baud = FFrequency / (FFrequency / baud);
  FBaudrate = std::clamp(baud, 50, 921600);
}

void TSerial::SetParityBit(TParityBit parity) {
  FParityBit = parity;
  if (parity != none) FParityCheck = true;
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

bool TSerial::OpenComm() {
  if (Active() || FCOMPort < 1) return false;
  const QString path = DevicePath();
  int fd = -1;
  int err = ENODEV;
  if (!path.isEmpty()) {
    fd = open(path.toLocal8Bit().constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (fd >= 0) {
      ioctl(fd, TIOCEXCL);  // no second opener, as the platform's ports are exclusive
      if (!Configure(fd)) {
        err = errno;
        close(fd);
        fd = -1;
      }
    } else {
      err = errno;
    }
  }
  if (fd < 0) {
    FLastError = err;
    ReportOpenFailure(path, err);
    return false;
  }

  FSerHandle = fd;
  FClosing = false;
  FStopEvent = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  const int session = ++FSession;
  if (OnRxChar)
    SerThread = std::make_unique<TSerThread>(fd, FStopEvent, OnRxChar, &EnableEvents, [=, this] {
      QMetaObject::invokeMethod(
          this, [=, this] { PortHungUp(session); }, Qt::QueuedConnection);
    });
  FActive = true;
  FLastError = 0;
  if (FManager) FManager->AssignCOM(this);
  KvSysHelper().SysLog_Add(this, "", Com(FCOMPort) + " open on " + path);
  return true;
}

void TSerial::ReportOpenFailure(const QString& path, int err) {
  QString msg = Com(FCOMPort) + " (" + (path.isEmpty() ? QString("no device") : path) +
                ") could not be opened: " + QString::fromLocal8Bit(strerror(err));
  if (err == EACCES) {
    const QString group = QFileInfo(path).group();
    msg += QString(" - the user must be a member of the group \"%1\" to use serial ports")
               .arg(group.isEmpty() || group == "root" ? QString("dialout") : group);
  }
  KvSysHelper().SysLog_Add(this, "", msg);
}

void TSerial::Release() {
  // A handler that reads while bytes keep coming would hold the thread forever.
  FClosing = true;
  SerThread.reset();  // joins
  const int fd = FSerHandle.exchange(-1);
  if (fd >= 0) close(fd);
  if (FStopEvent >= 0) close(FStopEvent);
  FStopEvent = -1;
  FActive = false;
}

void TSerial::CloseComm() {
  if (!Active()) return;
  Release();
  if (FManager) FManager->AssignCOM(this);
  FLastError = 0;
}

void TSerial::COMRemovedNotice() {
  if (!Active()) return;  // told once, by the device notice or by the hang-up
  KvSysHelper().SysLog_Add(this, "", Com(FCOMPort) + " (" + DevicePath() + ") was removed");
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
// Data calls

int TSerial::BufRec() {
  const int fd = FSerHandle;
  return fd < 0 || FClosing ? 0 : std::max(Waiting(fd), 0);
}

bool TSerial::WaitFor(short events, int timeoutMs) {
  pollfd fds[2] = {{FSerHandle, events, 0}, {FStopEvent, POLLIN, 0}};
  const int r = poll(fds, 2, timeoutMs > 0 ? timeoutMs : -1);
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
    if (!SyncWait || !WaitFor(POLLIN, RecTimeOut)) break;
  }
  return got;
}

int TSerial::TransmittData(const uint8_t* data, int len) {
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
    if (!SyncWait || !WaitFor(POLLOUT, TrmTimeOut)) break;
  }
  return sent;
}

void TSerial::TransmittText(const QString& text) {
  const QByteArray bytes = text.toLatin1();
  TransmittData(reinterpret_cast<const uint8_t*>(bytes.constData()), int(bytes.size()));
}
