#include "KvClock.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QElapsedTimer>
#include <QThread>
#include <cmath>

namespace {
TKvRealClock gRealClock;
std::atomic<TKvClock*> gClock{&gRealClock};

TDateTime FromQDateTime(const QDateTime& t) {
  TDateTime d, tm;
  QDate date = t.date();
  QTime time = t.time();
  TryEncodeDate(date.year(), date.month(), date.day(), d);
  TryEncodeTime(time.hour(), time.minute(), time.second(), time.msec(), tm);
  return d + tm;
}

void SendPostedEvents() {
  if (QCoreApplication::instance()) QCoreApplication::sendPostedEvents();
}
}  // namespace

TKvClock& KvClock() {
  return *gClock.load();
}
void KvClock_Install(TKvClock* clock) {
  gClock.store(clock ? clock : &gRealClock);
}
void Sleep(int ms) {
  KvClock().Sleep(ms);
}
void ProcessMessages() {
  KvClock().ProcessMessages();
}
void ProcessMessagesFor(int ms) {
  KvClock().ProcessMessagesFor(ms);
}

// ---------------------------------------------------------------------------------------
TKvTimer::TKvTimer(QObject* owner, int interval, bool oneShot)
    : QObject(owner), FInterval(interval), FOneShot(oneShot) {}

TKvTimer::~TKvTimer() {
  if (FStartedOn) FStartedOn->TimerStop(this);
}

void TKvTimer::SetEnabled(bool on) {
  if (QThread::currentThread() != thread()) {
    QMetaObject::invokeMethod(
        this, [this, on] { SetEnabled(on); }, Qt::QueuedConnection);
    return;
  }
  if (FEnabled.load() == on) return;
  FEnabled.store(on);
  if (on) {
    FStartedOn = &KvClock();
    FStartedOn->TimerStart(this);
  } else if (FStartedOn) {
    FStartedOn->TimerStop(this);
    FStartedOn = nullptr;
  }
}

void TKvTimer::SetInterval(int ms) {
  if (QThread::currentThread() != thread()) {
    QMetaObject::invokeMethod(
        this, [this, ms] { SetInterval(ms); }, Qt::QueuedConnection);
    return;
  }
  FInterval = ms;
  if (FEnabled.load() && FStartedOn) FStartedOn->TimerStart(this);
}

void TKvTimer::Fire() {
  if (FOneShot) SetEnabled(false);
  if (OnTimer) OnTimer();
}

// ---------------------------------------------------------------------------------------
TDateTime TKvRealClock::Now() {
  return FromQDateTime(QDateTime::currentDateTime());
}

void TKvRealClock::Sleep(int ms) {
  QThread::msleep(ulong(std::max(ms, 0)));
}

void TKvRealClock::ProcessMessages() {
  if (QCoreApplication::instance()) QCoreApplication::processEvents();
}

void TKvRealClock::ProcessMessagesFor(int ms) {
  QElapsedTimer t;
  t.start();
  do {
    if (QCoreApplication::instance())
      QCoreApplication::processEvents(QEventLoop::AllEvents,
                                      std::max<int>(1, ms - int(t.elapsed())));
    else
      QThread::msleep(1);
  } while (t.elapsed() < ms);
}

void TKvRealClock::TimerStart(TKvTimer* timer) {
  if (!timer->FQTimer) {
    timer->FQTimer = new QTimer(timer);
    QObject::connect(timer->FQTimer, &QTimer::timeout, timer, [timer] {
      if (timer->FEnabled.load()) timer->Fire();
    });
  }
  timer->FQTimer->start(std::max(timer->FInterval, 0));
}

void TKvRealClock::TimerStop(TKvTimer* timer) {
  if (timer->FQTimer) timer->FQTimer->stop();
}

// ---------------------------------------------------------------------------------------
TKvVirtualClock::TKvVirtualClock(TDateTime start) : FStart(start) {}

TKvVirtualClock::~TKvVirtualClock() {
  for (auto& [timer, due] : FTimers) {
    timer->FStartedOn = nullptr;
    timer->FEnabled.store(false);
  }
  if (&KvClock() == this) KvClock_Install(nullptr);
}

TDateTime TKvVirtualClock::Now() {
  return FStart + double(FNowMs.load()) / MSecsPerDay;
}

void TKvVirtualClock::SetNow(TDateTime now) {
  FStart = now - double(FNowMs.load()) / MSecsPerDay;
}

void TKvVirtualClock::Sleep(int ms) {
  FNowMs.fetch_add(std::max(ms, 0));
}

void TKvVirtualClock::ProcessMessages() {
  FireDue(FNowMs.load());
}

void TKvVirtualClock::Advance(int64_t ms) {
  FireDue(FNowMs.load() + std::max<int64_t>(ms, 0));
}

int64_t TKvVirtualClock::DueAt(const TKvTimer* timer) const {
  auto it = FTimers.find(const_cast<TKvTimer*>(timer));
  return it == FTimers.end() ? -1 : it->second.at;
}

void TKvVirtualClock::FireDue(int64_t upTo) {
  for (;;) {
    SendPostedEvents();  // timer switches made from other threads arrive here
    TKvTimer* next = nullptr;
    Due best{upTo + 1, 0};
    for (auto& [timer, due] : FTimers)
      if (due.at < best.at || (due.at == best.at && next && due.seq < best.seq)) {
        best = due;
        next = timer;
      }
    if (!next) break;
    FNowMs.store(std::max(FNowMs.load(), best.at));
    FTimers[next] = Due{best.at + std::max(next->FInterval, 1), ++FSequence};
    next->Fire();
  }
  FNowMs.store(std::max(FNowMs.load(), upTo));
  SendPostedEvents();
}

void TKvVirtualClock::TimerStart(TKvTimer* timer) {
  FTimers[timer] = Due{FNowMs.load() + std::max(timer->FInterval, 0), ++FSequence};
}

void TKvVirtualClock::TimerStop(TKvTimer* timer) {
  FTimers.erase(timer);
}
