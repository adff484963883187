#pragma once
// The chart's "Leq" channel: the running equivalent level of the level series, so the energy
// mean can be watched building up. After each level the line stands at the energy mean of
// every level so far; gaps in the level line do not break it.
#include "KvChartSeries.h"

class TKvRunningLeq {
 public:
  // Draws into target; the source's present points are taken at once.
  TKvRunningLeq(TKvLineSeries& target, const TKvLineSeries* source);
  TKvLineSeries& Target() const { return FTarget; }
  // The source got a point at date-time x.
  void PointAdded(double x, double level);
  // Every point again from the source's points; nullptr empties the line.
  void Recalculate(const TKvLineSeries* source);

 private:
  double Next(double level);
  TKvLineSeries& FTarget;
  double FEnergy = 0;
  long long FCount = 0;
};
