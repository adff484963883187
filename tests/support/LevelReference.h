#pragma once
// Test documents with known levels, and the acoustic statistics computed the plain way (full
// sort, long double sums) to check the program's figures against.
#include <algorithm>
#include <cmath>
#include <optional>
#include <vector>

#include "KvDateTime.h"
#include "KvMeasurementTable.h"

struct TLevelRow {
  TDateTime At;
  std::optional<double> Level;  // none: a NULL level
};

// Appends one row as the recorder does; a missing level stays NULL.
inline void PostLevelRow(TKvMeasurementTable& t, const TLevelRow& r) {
  if (!t.Active()) t.Open();
  t.Append();
  t.FieldByName("Date").SetAsDateTime(std::floor(r.At));
  t.FieldByName("Time").SetAsDateTime(r.At - std::floor(r.At));
  if (r.Level) t.FieldByName("Y").SetAsFloat(*r.Level);
  t.FieldByName("RangeMin").SetAsInteger(50);
  t.FieldByName("RangeMax").SetAsInteger(100);
  t.Post();
}

struct TLevelReference {
  long long Count = 0;
  double Leq = 0, Lmax = 0, Lmin = 0, Lmean = 0, DurationS = 0;
  std::vector<std::pair<int, double>> L;  // N, LN
  std::optional<double> Sel;
};

inline TLevelReference ReferenceOf(const std::vector<TLevelRow>& rows) {
  TLevelReference r;
  std::vector<double> levels;
  std::vector<TDateTime> times;
  for (const TLevelRow& row : rows)
    if (row.Level) {
      levels.push_back(*row.Level);
      times.push_back(row.At);
    }
  r.Count = (long long)levels.size();
  if (levels.empty()) return r;
  long double energy = 0, sum = 0;
  for (double l : levels) {
    energy += std::pow(10.0L, (long double)l / 10);
    sum += l;
  }
  r.Leq = double(10 * std::log10(energy / levels.size()));
  r.Lmean = double(sum / levels.size());
  std::sort(levels.begin(), levels.end(), std::greater<>());
  r.Lmax = levels.front();
  r.Lmin = levels.back();
  for (int n : {1, 5, 10, 50, 90, 95, 99}) {
    const double rank = std::max(1.0, std::ceil(n * double(levels.size()) / 100));
    r.L.push_back({n, levels[size_t(rank) - 1]});
  }
  const auto [first, last] = std::minmax_element(times.begin(), times.end());
  r.DurationS = std::round((*last - *first) * 86400000.0) / 1000.0;
  if (r.DurationS > 0) r.Sel = r.Leq + 10 * std::log10(r.DurationS);
  return r;
}
