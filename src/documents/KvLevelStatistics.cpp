#include "KvLevelStatistics.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "KvLocale.h"
#include "KvMemTable.h"

namespace {
constexpr long long MsecsPerDayLL = 86400000;
constexpr long long MsecsPerHour = 3600000;

long long FloorDiv(long long a, long long b) {
  return a / b - ((a % b != 0) && ((a < 0) != (b < 0)));
}

// Selects, in place, the values at the given ascending indexes of the sorted order, each
// selection confined to the part the previous ones left, so the work stays near a few passes.
void SelectAt(std::vector<double>& v, const std::vector<size_t>& at, size_t from, size_t to,
              size_t lo, size_t hi) {
  if (from >= to || lo >= hi) return;
  const size_t mid = from + (to - from) / 2;
  const size_t k = at[mid];
  std::nth_element(v.begin() + long(lo), v.begin() + long(k), v.begin() + long(hi));
  SelectAt(v, at, from, mid, lo, k);
  SelectAt(v, at, mid + 1, to, k + 1, hi);
}
}  // namespace

double TKvLevelStatistics::DurationSeconds() const {
  if (Count == 0) return 0;
  return double(KvLevel_Msecs(Last) - KvLevel_Msecs(First)) / 1000.0;
}

double TKvLevelStatistics::Sel() const {
  return HasSel() ? Leq + 10 * std::log10(DurationSeconds())
                  : std::numeric_limits<double>::quiet_NaN();
}

double TKvLevelStatistics::Percentile(int n) const {
  for (size_t i = 0; i < KvPercentileNs.size(); ++i)
    if (KvPercentileNs[i] == n) return L[i];
  return std::numeric_limits<double>::quiet_NaN();
}

double KvLevel_Energy(double level) {
  // exp is several times cheaper than pow and as exact here: ln(10) / 10.
  return std::exp(level * 0.23025850929940456840);
}

double KvLevel_FromEnergy(double meanEnergy) {
  return 10 * std::log10(meanEnergy);
}

long long KvLevel_PercentileRank(int n, long long count) {
  return std::max(1LL, (n * count + 99) / 100);
}

long long KvLevel_Msecs(TDateTime at) {
  return std::llround(at * double(MsecsPerDayLL));
}

TDateTime KvLevel_DateTime(long long msecs) {
  const long long day = FloorDiv(msecs, MsecsPerDayLL);
  return double(day) + double(msecs - day * MsecsPerDayLL) / double(MsecsPerDayLL);
}

// ---- batch -------------------------------------------------------------------------------

void TKvLevelSample::Add(double level, TDateTime at) {
  if (!std::isfinite(level)) return;
  if (FLevels.empty()) {
    FMin = FMax = level;
    FFirst = FLast = at;
  }
  FLevels.push_back(level);
  FEnergy += KvLevel_Energy(level);
  FSum += level;
  FMin = std::min(FMin, level);
  FMax = std::max(FMax, level);
  FFirst = std::min(FFirst, at);
  FLast = std::max(FLast, at);
}

void TKvLevelSample::Clear() {
  FLevels.clear();
  FEnergy = FSum = 0;
}

TKvLevelStatistics TKvLevelSample::Result() {
  TKvLevelStatistics s;
  s.Count = Count();
  if (s.Count == 0) return s;
  const double n = double(s.Count);
  s.First = FFirst;
  s.Last = FLast;
  s.Leq = KvLevel_FromEnergy(FEnergy / n);
  s.Lmean = FSum / n;
  s.Lmin = FMin;
  s.Lmax = FMax;
  // Rank r from the loudest is index count - r of the ascending order.
  std::vector<size_t> at;
  for (int pn : KvPercentileNs) at.push_back(size_t(s.Count - KvLevel_PercentileRank(pn, s.Count)));
  std::vector<size_t> sorted = at;
  std::sort(sorted.begin(), sorted.end());
  sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
  SelectAt(FLevels, sorted, 0, sorted.size(), 0, FLevels.size());
  for (size_t i = 0; i < at.size(); ++i) s.L[i] = FLevels[at[i]];
  return s;
}

// ---- tables ------------------------------------------------------------------------------

namespace {
bool Descending(TKvMemTable& ds) {
  for (const TKvIndexDef& d : ds.IndexDefs)
    if (d.Name.compare(ds.IndexName(), Qt::CaseInsensitive) == 0) return d.Descending;
  return false;
}
}  // namespace

TKvLevelReader::TKvLevelReader(TKvMemTable& ds) : FDataSet(ds) {
  auto col = [&ds](const char* name) {
    TKvField* f = ds.FindField(QLatin1String(name));
    return f ? f->Column() : -1;
  };
  FDate = col("Date");
  FTime = col("Time");
  FY = col("Y");
}

bool TKvLevelReader::At(int recNo, TKvLevelReading& reading) const {
  const TKvDatSTable* table = FDataSet.Table();
  if (!FDataSet.Active() || !table || recNo < 0 || recNo >= FDataSet.RecordCount()) return false;
  reading = Read(*table, FDataSet.RowHandle(recNo));
  return true;
}

TKvLevelReading TKvLevelReader::Read(const TKvDatSTable& table, uint32_t handle) const {
  const uint8_t* row = table.RowData(handle);
  bool nd, nt, ny;
  const double day = KvCell_AsDouble(table, row, FDate, nd);
  const double ms = KvCell_AsDouble(table, row, FTime, nt);
  const double level = KvCell_AsDouble(table, row, FY, ny);
  return {
      (nd ? 0 : (std::llround(day) - KvDateDelta) * MsecsPerDayLL) + (nt ? 0 : std::llround(ms)),
      ny ? std::numeric_limits<double>::quiet_NaN() : level};
}

void TKvLevelReader::Walk(const std::function<void(const TKvLevelReading&)>& f) const {
  const TKvDatSTable* table = FDataSet.Table();
  if (!FDataSet.Active() || !table) return;
  const int count = FDataSet.RecordCount();
  const bool down = Descending(FDataSet);
  for (int i = 0; i < count; ++i) f(Read(*table, FDataSet.RowHandle(down ? count - 1 - i : i)));
}

TKvLevelStatistics KvLevelStatistics_Of(TKvMemTable& ds) {
  TKvLevelSample sample;
  sample.Reserve(size_t(std::max(0, ds.Active() ? ds.RecordCount() : 0)));
  TKvLevelReader(ds).Walk(
      [&](const TKvLevelReading& r) { sample.Add(r.Level, KvLevel_DateTime(r.Msecs)); });
  return sample.Result();
}

std::vector<TKvHourStatistics> KvLevelStatistics_ByHour(TKvMemTable& ds) {
  std::vector<TKvHourStatistics> hours;
  TKvLevelSample sample;
  long long hour = 0;
  auto close = [&] {
    if (sample.Count() > 0)
      hours.push_back({KvLevel_DateTime(hour * MsecsPerHour), sample.Result()});
    sample.Clear();
  };
  TKvLevelReader(ds).Walk([&](const TKvLevelReading& r) {
    if (!std::isfinite(r.Level)) return;
    const long long h = FloorDiv(r.Msecs, MsecsPerHour);
    if (h != hour) close();
    hour = h;
    sample.Add(r.Level, KvLevel_DateTime(r.Msecs));
  });
  close();
  return hours;
}

QString KvLevel_Text(double level) {
  return std::isfinite(level) ? KvFormatFloat("%.1f", level) : QString();
}

QString KvLevel_DurationText(double seconds) {
  const long long s = std::llround(std::max(0.0, seconds));
  const long long days = s / 86400, rest = s % 86400;
  const QString hms =
      QString::asprintf("%02lld:%02lld:%02lld", rest / 3600, rest / 60 % 60, rest % 60);
  return days > 0 ? QString("%1d %2").arg(days).arg(hms) : hms;
}
