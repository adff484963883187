#include "LvxTermination.h"

#include <sys/socket.h>
#include <unistd.h>

#include <QSocketNotifier>
#include <QWidget>
#include <csignal>

namespace {
// The signal handler may only write to a descriptor; the message loop reads the other end.
int gSignalPipe[2] = {-1, -1};

void OnSignal(int) {
  const char byte = 1;
  [[maybe_unused]] ssize_t written = ::write(gSignalPipe[0], &byte, 1);
}

void Handle(void (*handler)(int)) {
  struct sigaction action = {};
  action.sa_handler = handler;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGINT, &action, nullptr);
}
}  // namespace

TLvxTermination::TLvxTermination(QWidget& main) {
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, gSignalPipe) != 0)
    return;
  FNotifier = std::make_unique<QSocketNotifier>(gSignalPipe[1], QSocketNotifier::Read);
  QObject::connect(FNotifier.get(), &QSocketNotifier::activated, &main, [&main] {
    char bytes[16];
    while (::read(gSignalPipe[1], bytes, sizeof bytes) > 0) {
    }
    main.close();
  });
  Handle(OnSignal);
}

TLvxTermination::~TLvxTermination() {
  if (!FNotifier) return;
  Handle(SIG_DFL);
  FNotifier.reset();
  ::close(gSignalPipe[0]);
  ::close(gSignalPipe[1]);
  gSignalPipe[0] = gSignalPipe[1] = -1;
}
