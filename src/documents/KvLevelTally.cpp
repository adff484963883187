#include "KvLevelTally.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace {
// Bins of 0.1 dB from -100 dB to 200 dB; levels beyond share the end bins, which keep their
// exact values like every bin, so the order stays right.
constexpr int LowestTenth = -1000, HighestTenth = 2000;
constexpr int BinCount = HighestTenth - LowestTenth + 1;
}  // namespace

void TKvLevelTally::TSum::Add(double x) {
  // Neumaier's compensated sum.
  const double t = Sum + x;
  Carry += std::fabs(Sum) >= std::fabs(x) ? (Sum - t) + x : (x - t) + Sum;
  Sum = t;
}

int TKvLevelTally::BinOf(double level) {
  const double tenth = std::floor(level * 10 + 0.5);
  return int(std::clamp(tenth, double(LowestTenth), double(HighestTenth))) - LowestTenth;
}

void TKvLevelTally::Add(double level, TDateTime at) {
  if (!std::isfinite(level)) return;
  if (FBins.empty()) FBins.resize(BinCount);
  const int b = BinOf(level);
  TBin& bin = FBins[size_t(b)];
  auto it = std::lower_bound(bin.Values.begin(), bin.Values.end(), level,
                             [](const auto& v, double l) { return v.first < l; });
  if (it != bin.Values.end() && it->first == level)
    ++it->second;
  else
    bin.Values.insert(it, {level, 1});
  ++bin.Count;
  if (FCount++ == 0) {
    FLow = FHigh = b;
    FFirst = FLast = at;
  }
  FLow = std::min(FLow, b);
  FHigh = std::max(FHigh, b);
  FFirst = std::min(FFirst, at);
  FLast = std::max(FLast, at);
  FEnergy.Add(KvLevel_Energy(level));
  FLevelSum.Add(level);
}

void TKvLevelTally::Remove(double level) {
  if (!std::isfinite(level) || FBins.empty()) return;
  TBin& bin = FBins[size_t(BinOf(level))];
  auto it = std::lower_bound(bin.Values.begin(), bin.Values.end(), level,
                             [](const auto& v, double l) { return v.first < l; });
  if (it == bin.Values.end() || it->first != level) return;
  if (--it->second == 0) bin.Values.erase(it);
  --bin.Count;
  if (--FCount == 0) return Clear();
  FEnergy.Add(-KvLevel_Energy(level));
  FLevelSum.Add(-level);
  Shrink();
}

void TKvLevelTally::Shrink() {
  while (FLow < FHigh && FBins[size_t(FLow)].Count == 0) ++FLow;
  while (FHigh > FLow && FBins[size_t(FHigh)].Count == 0) --FHigh;
}

void TKvLevelTally::Clear() {
  for (int b = FLow; b <= FHigh; ++b) FBins[size_t(b)] = TBin();
  FLow = 0;
  FHigh = -1;
  FCount = 0;
  FEnergy = TSum();
  FLevelSum = TSum();
  FFirst = FLast = 0;
}

TKvLevelStatistics TKvLevelTally::Result() const {
  TKvLevelStatistics s;
  s.Count = FCount;
  if (FCount == 0) return s;
  const double n = double(FCount);
  s.First = FFirst;
  s.Last = FLast;
  s.Leq = KvLevel_FromEnergy(FEnergy.Value() / n);
  s.Lmean = FLevelSum.Value() / n;
  s.Lmax = FBins[size_t(FHigh)].Values.back().first;
  s.Lmin = FBins[size_t(FLow)].Values.front().first;
  // From the loudest bin down, counting readings until each rank is reached; the ranks
  // grow with N, so one walk finds them all.
  std::array<long long, KvPercentileNs.size()> ranks;
  for (size_t i = 0; i < ranks.size(); ++i)
    ranks[i] = KvLevel_PercentileRank(KvPercentileNs[i], FCount);
  size_t next = 0;
  long long above = 0;  // readings in the bins walked so far
  for (int b = FHigh; b >= FLow && next < KvPercentileNs.size(); --b) {
    const TBin& bin = FBins[size_t(b)];
    while (next < KvPercentileNs.size()) {
      const long long rank = ranks[next];
      if (rank > above + bin.Count) break;
      long long within = above;
      for (auto v = bin.Values.rbegin(); v != bin.Values.rend(); ++v) {
        within += v->second;
        if (within >= rank) {
          s.L[next] = v->first;
          break;
        }
      }
      ++next;
    }
    above += bin.Count;
  }
  return s;
}

// ---- window ------------------------------------------------------------------------------

void TKvLevelWindow::Add(double level, TDateTime at) {
  if (!std::isfinite(level)) return;
  if (FReadings.size() == FSpan) {
    FTally.Remove(FReadings.front().first);
    FReadings.pop_front();
  }
  FReadings.emplace_back(level, at);
  FTally.Add(level, at);
  // The window's period is that of the readings it holds, in the order they came.
  FTally.SetPeriod(FReadings.front().second, FReadings.back().second);
}

void TKvLevelWindow::Clear() {
  FReadings.clear();
  FTally.Clear();
}
