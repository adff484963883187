#pragma once
// Acoustic statistics of a set of readings: the equivalent continuous level (an energy mean),
// the extremes, the arithmetic mean the chart shows, the levels exceeded by N % of the
// readings, the duration and the sound exposure level. Readings without a level do not count
// at all, not even for the duration. Two ways to get them: a batch over a finished set (one
// pass, then a selection for the percentiles) here, and a running tally in KvLevelTally.h.
#include <QString>
#include <array>
#include <functional>
#include <vector>

#include "KvDateTime.h"

class TKvMemTable;
class TKvDatSTable;

// N of the LN levels, in the order TKvLevelStatistics::L holds them.
inline constexpr std::array<int, 7> KvPercentileNs = {1, 5, 10, 50, 90, 95, 99};

struct TKvLevelStatistics {
  long long Count = 0;  // readings with a level
  TDateTime First = 0, Last = 0;
  double Leq = 0, Lmax = 0, Lmin = 0, Lmean = 0;
  std::array<double, KvPercentileNs.size()> L{};

  bool Empty() const { return Count == 0; }
  double DurationSeconds() const;
  // The exposure level needs a period: none for an empty set or a duration of 0.
  bool HasSel() const { return Count > 0 && DurationSeconds() > 0; }
  double Sel() const;
  // LN for one of KvPercentileNs; NaN for any other N.
  double Percentile(int n) const;
};

// 10^(L/10), and back from a mean of such energies.
double KvLevel_Energy(double level);
double KvLevel_FromEnergy(double meanEnergy);
// 1-based rank, from the loudest, of the reading that LN names: ceil(N * count / 100), at least 1.
long long KvLevel_PercentileRank(int n, long long count);

// A reading's date and time as whole milliseconds since the date-time epoch, so that periods
// and clock hours are cut without rounding trouble.
long long KvLevel_Msecs(TDateTime at);
TDateTime KvLevel_DateTime(long long msecs);

// Collects the readings of a set, then computes its statistics.
class TKvLevelSample {
 public:
  void Reserve(size_t n) { FLevels.reserve(n); }
  // A non-finite level is a reading without one and is skipped.
  void Add(double level, TDateTime at);
  void Clear();
  long long Count() const { return (long long)FLevels.size(); }
  // Reorders the collected levels (the selection works in place).
  TKvLevelStatistics Result();

 private:
  std::vector<double> FLevels;
  double FEnergy = 0, FSum = 0, FMin = 0, FMax = 0;
  TDateTime FFirst = 0, FLast = 0;
};

// One reading of a table as the statistics see it.
struct TKvLevelReading {
  long long Msecs;  // date and time, see KvLevel_Msecs
  double Level;     // NaN for a NULL level
};

// Reads the readings of a dataset straight from its stored cells; the columns are found once,
// when it is made, so it is made after the dataset's fields are bound.
class TKvLevelReader {
 public:
  explicit TKvLevelReader(TKvMemTable& dataSet);
  // The rows of the active order (its filter applied) in ascending date and time, whichever
  // way the order runs.
  void Walk(const std::function<void(const TKvLevelReading&)>& f) const;
  // The reading at position recNo of the active order; false outside it.
  bool At(int recNo, TKvLevelReading& reading) const;

 private:
  TKvLevelReading Read(const TKvDatSTable& table, uint32_t handle) const;
  TKvMemTable& FDataSet;
  int FDate = -1, FTime = -1, FY = -1;
};

// Statistics of the rows the dataset shows.
TKvLevelStatistics KvLevelStatistics_Of(TKvMemTable& dataSet);

struct TKvHourStatistics {
  TDateTime Hour;  // the start of the clock hour
  TKvLevelStatistics Stats;
};
// Statistics per clock hour that holds readings, in ascending order.
std::vector<TKvHourStatistics> KvLevelStatistics_ByHour(TKvMemTable& dataSet);

// Texts as the program shows them: one decimal, the locale's separator; empty for NaN.
QString KvLevel_Text(double level);
// A duration as "hh:mm:ss", with "Nd " in front from one day on.
QString KvLevel_DurationText(double seconds);
