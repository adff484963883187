#pragma once
// The program's time: wall clock, timers, sleeping and "process messages for N ms".
// The program runs on TKvRealClock (QTimer, system time); tests install TKvVirtualClock and
// move time on explicitly, so timer-driven behaviour is tested without real waiting.
#include <QObject>
#include <QTimer>
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>

#include "KvDateTime.h"

class TKvTimer;

class TKvClock {
 public:
  virtual ~TKvClock() = default;
  virtual TDateTime Now() = 0;
  // Blocks the calling thread for ms without processing messages.
  virtual void Sleep(int ms) = 0;
  // Handles pending messages (and, here, due timers) once.
  virtual void ProcessMessages() = 0;
  // Keeps handling messages and timers for ms.
  virtual void ProcessMessagesFor(int ms) = 0;

 protected:
  friend class TKvTimer;
  virtual void TimerStart(TKvTimer* timer) = 0;
  virtual void TimerStop(TKvTimer* timer) = 0;
};

// The clock in use; the real one unless a test installed another.
TKvClock& KvClock();
void KvClock_Install(TKvClock* clock);  // nullptr restores the real clock

void Sleep(int ms);
void ProcessMessages();
void ProcessMessagesFor(int ms);

// A timer with an interval, an Enabled switch and one OnTimer listener. Setting Enabled to
// the value it has changes nothing; switching it on (or changing the interval while on)
// starts the count anew. Enabled may be set from any thread: a change from another thread
// is carried out on the timer's own thread, in the order it was made.
class TKvTimer : public QObject {
  Q_OBJECT
 public:
  explicit TKvTimer(QObject* owner = nullptr, int interval = 1000, bool oneShot = false);
  ~TKvTimer() override;

  int Interval() const { return FInterval; }
  void SetInterval(int ms);
  bool Enabled() const { return FEnabled.load(); }
  void SetEnabled(bool on);
  // One-shot timers switch themselves off before their listener runs.
  bool OneShot() const { return FOneShot; }
  void SetOneShot(bool on) { FOneShot = on; }

  std::function<void()> OnTimer;
  int Tag = 0;

 private:
  friend class TKvRealClock;
  friend class TKvVirtualClock;
  void Fire();

  int FInterval;
  bool FOneShot;
  std::atomic<bool> FEnabled{false};
  TKvClock* FStartedOn = nullptr;
  QTimer* FQTimer = nullptr;  // used by the real clock only
};

class TKvRealClock : public TKvClock {
 public:
  TDateTime Now() override;
  void Sleep(int ms) override;
  void ProcessMessages() override;
  void ProcessMessagesFor(int ms) override;

 protected:
  void TimerStart(TKvTimer* timer) override;
  void TimerStop(TKvTimer* timer) override;
};

// Time stands still until Advance(). Now() may be read from any thread; the timers belong
// to the thread that advances the clock.
class TKvVirtualClock : public TKvClock {
 public:
  explicit TKvVirtualClock(TDateTime start = 0);
  ~TKvVirtualClock() override;

  TDateTime Now() override;
  void Sleep(int ms) override;  // moves time on; due timers wait for the next message pass
  void ProcessMessages() override;
  void ProcessMessagesFor(int ms) override { Advance(ms); }

  // Moves time on by ms, firing every timer that falls due, in time order.
  void Advance(int64_t ms);
  void SetNow(TDateTime now);
  int64_t ElapsedMs() const { return FNowMs.load(); }
  // When the timer fires next, in ms from the clock's start; -1 when it is off.
  int64_t DueAt(const TKvTimer* timer) const;

 protected:
  void TimerStart(TKvTimer* timer) override;
  void TimerStop(TKvTimer* timer) override;

 private:
  void FireDue(int64_t upTo);

  TDateTime FStart;
  std::atomic<int64_t> FNowMs{0};
  int64_t FSequence = 0;
  struct Due {
    int64_t at;
    int64_t seq;
  };
  std::map<TKvTimer*, Due> FTimers;
};
