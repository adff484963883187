#pragma once
// Folds a burst of repaint requests into a few repaints. A recording asks for a repaint with
// every reading (13 a second, for days); drawing each of them would keep the main thread
// busy for nothing a person can see. The first request after a quiet interval repaints at
// once, so a single change (a click, a filter, one reading) shows without delay; requests
// within the interval after it are folded into one repaint at its end.
#include <functional>

class QObject;
class TKvTimer;

// A few repaints a second read as live; more only cost a recording's main thread.
constexpr int KvLiveRepaintMs = 400;

class TKvRepaintThrottle {
 public:
  TKvRepaintThrottle(QObject* owner, int intervalMs, std::function<void()> repaint);
  ~TKvRepaintThrottle();
  TKvRepaintThrottle(const TKvRepaintThrottle&) = delete;
  TKvRepaintThrottle& operator=(const TKvRepaintThrottle&) = delete;

  void Request();
  // 0 repaints on every request.
  void SetInterval(int ms);
  int Interval() const { return FInterval; }
  bool Pending() const { return FPending; }

 private:
  void Elapsed();
  int FInterval;
  bool FPending = false;
  TKvTimer* FTimer;
  std::function<void()> FRepaint;
};
