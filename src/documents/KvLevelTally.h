#pragma once
// Running acoustic statistics for live use: readings are added (and, for a sliding window,
// taken away again) one at a time, and the figures are ready after each without a pass over
// the readings. The meter reports levels in steps of 0.1 dB, so the levels are counted in
// 0.1 dB bins; each bin also keeps its exact distinct values (one, for the meter's levels), so
// that levels off the 0.1 dB grid still give the exact percentiles. Energy and level sums are
// compensated, so taking readings away does not wear them down.
#include <deque>
#include <utility>
#include <vector>

#include "KvLevelStatistics.h"

class TKvLevelTally {
 public:
  // A non-finite level is a reading without one and is skipped.
  void Add(double level, TDateTime at);
  // Takes away a level added before; the first and last times stay as they were (a window
  // sets them itself).
  void Remove(double level);
  void Clear();
  long long Count() const { return FCount; }
  // Costs the span of occupied bins, not the number of readings.
  TKvLevelStatistics Result() const;
  void SetPeriod(TDateTime first, TDateTime last) { FFirst = first, FLast = last; }

 private:
  struct TSum {
    double Sum = 0, Carry = 0;
    void Add(double x);
    double Value() const { return Sum + Carry; }
  };
  struct TBin {
    long long Count = 0;
    std::vector<std::pair<double, long long>> Values;  // distinct levels, ascending
  };
  static int BinOf(double level);
  void Shrink();

  std::vector<TBin> FBins;
  int FLow = 0, FHigh = -1;  // occupied bins lie in [FLow, FHigh]
  long long FCount = 0;
  TSum FEnergy, FLevelSum;
  TDateTime FFirst = 0, FLast = 0;
};

// The statistics of the last Span readings with a level.
class TKvLevelWindow {
 public:
  explicit TKvLevelWindow(size_t span) : FSpan(span < 1 ? 1 : span) {}
  size_t Span() const { return FSpan; }
  void Add(double level, TDateTime at);
  void Clear();
  TKvLevelStatistics Result() const { return FTally.Result(); }

 private:
  size_t FSpan;
  TKvLevelTally FTally;
  std::deque<std::pair<double, TDateTime>> FReadings;
};
