#include "KvChartLeq.h"

#include <cmath>

#include "KvLevelStatistics.h"

namespace {
const QColor LeqColor(0xE0, 0x70, 0x00);
}

TKvRunningLeq::TKvRunningLeq(TKvLineSeries& target, const TKvLineSeries* source) : FTarget(target) {
  FTarget.Graph()->setPen(QPen(LeqColor, 2));
  Recalculate(source);
}

double TKvRunningLeq::Next(double level) {
  FEnergy += KvLevel_Energy(level);
  return KvLevel_FromEnergy(FEnergy / double(++FCount));
}

void TKvRunningLeq::PointAdded(double x, double level) {
  if (std::isfinite(level)) FTarget.AddXY(x, Next(level), QStringLiteral(" "));
}

void TKvRunningLeq::Recalculate(const TKvLineSeries* source) {
  FEnergy = 0;
  FCount = 0;
  std::vector<double> keys, values;
  if (source) {
    const TKvSeriesPoints& points = source->Points();
    keys.reserve(size_t(points.Count()));
    values.reserve(size_t(points.Count()));
    for (int i = 0; i < points.Count(); ++i) {
      if (!std::isfinite(points.Value(i))) continue;
      keys.push_back(points.Key(i));
      values.push_back(Next(points.Value(i)));
    }
  }
  FTarget.SetPoints(std::move(keys), std::move(values), {});
}
