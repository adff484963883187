#include "KvRepaintThrottle.h"

#include "KvClock.h"

TKvRepaintThrottle::TKvRepaintThrottle(QObject* owner, int intervalMs,
                                       std::function<void()> repaint)
    : FInterval(intervalMs),
      FTimer(new TKvTimer(owner, intervalMs > 0 ? intervalMs : 1, true)),
      FRepaint(std::move(repaint)) {
  FTimer->OnTimer = [this] { Elapsed(); };
}

TKvRepaintThrottle::~TKvRepaintThrottle() {
  FTimer->OnTimer = nullptr;
  FTimer->SetEnabled(false);
}

void TKvRepaintThrottle::SetInterval(int ms) {
  FInterval = ms;
  if (ms > 0) FTimer->SetInterval(ms);
}

void TKvRepaintThrottle::Request() {
  if (FInterval <= 0) {
    FRepaint();
    return;
  }
  if (FTimer->Enabled()) {
    FPending = true;
    return;
  }
  FRepaint();
  FTimer->SetEnabled(true);
}

void TKvRepaintThrottle::Elapsed() {
  if (!FPending) return;
  FPending = false;
  FRepaint();
  FTimer->SetEnabled(true);
}
