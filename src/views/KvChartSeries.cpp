#include "KvChartSeries.h"

#include <algorithm>
#include <cmath>

#include "KvDateTime.h"

namespace {
constexpr double UnixEpochDays = 25569.0;  // 1 Jan 1970 as a day count
constexpr double SecsPerDay = 86400.0;
constexpr int MaxMarksDrawn = 400;
}  // namespace

double KvChart_Key(double dateTime) {
  return (dateTime - UnixEpochDays) * SecsPerDay;
}

double KvChart_DateTime(double key) {
  return key / SecsPerDay + UnixEpochDays;
}

// ---- points and their blocks ------------------------------------------------------------

void TKvSeriesPoints::Extend(TBlock& b, double value, bool first) const {
  if (std::isnan(value)) {
    if (first) b = {qQNaN(), qQNaN(), true};
    b.Gap = true;
    return;
  }
  if (first || std::isnan(b.Min)) {
    b.Min = b.Max = value;
    if (first) b.Gap = false;
    return;
  }
  b.Min = std::min(b.Min, value);
  b.Max = std::max(b.Max, value);
}

void TKvSeriesPoints::Add(double key, double value) {
  if (!FKeys.empty() && key < FKeys.back()) {
    // Out of order (a clock set back): placed where it belongs, blocks counted again.
    const auto at = std::upper_bound(FKeys.begin(), FKeys.end(), key) - FKeys.begin();
    FKeys.insert(FKeys.begin() + at, key);
    FValues.insert(FValues.begin() + at, value);
    RebuildBlocks();
    return;
  }
  FKeys.push_back(key);
  FValues.push_back(value);
  const size_t i = FKeys.size() - 1;
  size_t size = Fan;
  for (auto& level : FBlocks) {
    if (i % size == 0) level.push_back({});
    Extend(level.back(), value, i % size == 0);
    size *= Fan;
  }
}

void TKvSeriesPoints::Set(std::vector<double> keys, std::vector<double> values) {
  FKeys = std::move(keys);
  FValues = std::move(values);
  if (!std::is_sorted(FKeys.begin(), FKeys.end())) {
    std::vector<size_t> order(FKeys.size());
    for (size_t i = 0; i < order.size(); ++i) order[i] = i;
    std::stable_sort(order.begin(), order.end(),
                     [this](size_t a, size_t b) { return FKeys[a] < FKeys[b]; });
    std::vector<double> k(order.size()), v(order.size());
    for (size_t i = 0; i < order.size(); ++i) k[i] = FKeys[order[i]], v[i] = FValues[order[i]];
    FKeys = std::move(k);
    FValues = std::move(v);
  }
  RebuildBlocks();
}

void TKvSeriesPoints::Clear() {
  FKeys.clear();
  FValues.clear();
  for (auto& level : FBlocks) level.clear();
}

void TKvSeriesPoints::RebuildBlocks() {
  std::vector<double> keys = std::move(FKeys), values = std::move(FValues);
  Clear();
  FKeys.reserve(keys.size());
  FValues.reserve(values.size());
  for (size_t i = 0; i < keys.size(); ++i) Add(keys[i], values[i]);
}

int TKvSeriesPoints::LowerBound(double key) const {
  return int(std::lower_bound(FKeys.begin(), FKeys.end(), key) - FKeys.begin());
}

QVector<QCPGraphData> TKvSeriesPoints::Sampled(double from, double to, int columns,
                                               bool& sampled) const {
  QVector<QCPGraphData> out;
  columns = std::max(columns, 1);
  // One point beyond each edge keeps the line running out of the visible area.
  const int first = std::max(0, LowerBound(from) - 1);
  const int last =
      std::min(Count(), int(std::upper_bound(FKeys.begin(), FKeys.end(), to) - FKeys.begin()) + 1);
  sampled = last - first > 2 * columns;
  if (!sampled) {
    out.reserve(last - first);
    for (int i = first; i < last; ++i)
      out.append(QCPGraphData(FKeys[size_t(i)], FValues[size_t(i)]));
    return out;
  }
  out.reserve(5 * columns);
  const double width = (to - from) / columns;
  int i = first;
  while (i < last) {
    // The column of point i and the points that fall into it.
    const double columnEnd = from + (std::floor((FKeys[size_t(i)] - from) / width) + 1) * width;
    const int end = std::min(last, LowerBound(columnEnd));
    const int stop = std::max(end, i + 1);
    TBlock b{0, 0, false};
    bool any = false;
    for (int j = i; j < stop;) {
      // The largest whole block that starts here and fits, else the point itself.
      int level = Levels - 1, size = Fan * Fan * Fan;
      while (level >= 0 && (j % size != 0 || j + size > stop)) --level, size /= Fan;
      if (level >= 0) {
        const TBlock& whole = FBlocks[level][size_t(j / size)];
        if (whole.Gap) b.Gap = true;
        if (!std::isnan(whole.Min)) {
          b.Min = any ? std::min(b.Min, whole.Min) : whole.Min;
          b.Max = any ? std::max(b.Max, whole.Max) : whole.Max;
          any = true;
        }
        j += size;
      } else {
        const double v = FValues[size_t(j)];
        if (std::isnan(v)) {
          b.Gap = true;
        } else {
          b.Min = any ? std::min(b.Min, v) : v;
          b.Max = any ? std::max(b.Max, v) : v;
          any = true;
        }
        ++j;
      }
    }
    const double k0 = FKeys[size_t(i)], k1 = FKeys[size_t(stop - 1)];
    if (any) {
      // The extremes in the order that draws the least: a dense column then costs about one
      // stroke of its height, not two or three.
      const double v0 = FValues[size_t(i)], v1 = FValues[size_t(stop - 1)];
      auto gap = [](double a, double b) { return std::isnan(a) ? 0.0 : std::abs(a - b); };
      const bool maxFirst = gap(v0, b.Max) + gap(v1, b.Min) < gap(v0, b.Min) + gap(v1, b.Max);
      out.append(QCPGraphData(k0, v0));
      out.append(QCPGraphData((k0 + k1) / 2, maxFirst ? b.Max : b.Min));
      out.append(QCPGraphData((k0 + k1) / 2, maxFirst ? b.Min : b.Max));
      out.append(QCPGraphData(k1, v1));
    }
    if (b.Gap) out.append(QCPGraphData(k1, qQNaN()));
    i = stop;
  }
  return out;
}

// ---- line series -------------------------------------------------------------------------

TKvLineSeries::TKvLineSeries(QCustomPlot* plot) : FPlot(plot) {
  FGraph = plot->addGraph();
  FGraph->setAdaptiveSampling(false);
}

TKvLineSeries::~TKvLineSeries() {
  FFunction.reset();
  if (FPlot && FPlot->hasPlottable(FGraph)) FPlot->removeGraph(FGraph);
}

void TKvLineSeries::SetActive(bool on) {
  FGraph->setVisible(on);
  if (QCPLegend* legend = FPlot->legend) {
    if (on)
      FGraph->addToLegend(legend);
    else
      FGraph->removeFromLegend(legend);
  }
}

void TKvLineSeries::SetPointer(const QCPScatterStyle& style) {
  FPointer = style;
  FGraph->setScatterStyle(style);
  Changed();
}

void TKvLineSeries::Changed() {
  FDirty = true;
}

void TKvLineSeries::Widen(double x, double y) {
  if (FCount++ == 0) {
    FMinX = FMaxX = x;
    FMinY = FMaxY = y;
    return;
  }
  FMinX = std::min(FMinX, x);
  FMaxX = std::max(FMaxX, x);
  FMinY = std::min(FMinY, y);
  FMaxY = std::max(FMaxY, y);
}

void TKvLineSeries::AddXY(double x, double y, const QString& label) {
  const double key = KvChart_Key(x);
  FPoints.Add(key, y);
  if (std::isfinite(y)) Widen(x, y);
  if (!label.trimmed().isEmpty()) {
    TMark mark{key, y, label};
    if (FMarks.empty() || FMarks.back().Key <= key)
      FMarks.push_back(mark);
    else
      FMarks.insert(std::upper_bound(FMarks.begin(), FMarks.end(), mark,
                                     [](const TMark& a, const TMark& b) { return a.Key < b.Key; }),
                    mark);
  }
  Changed();
  for (TKvLineSeries* d : Dependents)
    if (d->FFunction) d->FFunction->SourcePointAdded(key, y);
}

void TKvLineSeries::AddNull(double x) {
  FPoints.Add(KvChart_Key(x), qQNaN());
  Changed();
}

void TKvLineSeries::Recount() {
  FCount = 0;
  for (int i = 0; i < FPoints.Count(); ++i)
    if (std::isfinite(FPoints.Value(i))) Widen(KvChart_DateTime(FPoints.Key(i)), FPoints.Value(i));
}

void TKvLineSeries::SetPoints(std::vector<double> keys, std::vector<double> values,
                              std::vector<TMark> marks) {
  FPoints.Set(std::move(keys), std::move(values));
  FMarks = std::move(marks);
  std::stable_sort(FMarks.begin(), FMarks.end(),
                   [](const TMark& a, const TMark& b) { return a.Key < b.Key; });
  Recount();
  Changed();
  for (TKvLineSeries* d : Dependents)
    if (d->FFunction) d->FFunction->Recalculate();
}

void TKvLineSeries::Clear() {
  FPoints.Clear();
  FMarks.clear();
  FCount = 0;
  Changed();
  for (TKvLineSeries* d : Dependents)
    if (d->FFunction) d->FFunction->Recalculate();
}

void TKvLineSeries::PrepareDraw() {
  if (!FGraph->visible()) return;
  const QCPRange keys = FGraph->keyAxis()->range();
  const int columns = std::max(1, FGraph->keyAxis()->axisRect()->width());
  if (!FDirty && keys == FDrawnKeys && columns == FDrawnColumns) return;
  bool sampled = false;
  QVector<QCPGraphData> shown = FPoints.Sampled(keys.lower, keys.upper, columns, sampled);
  FGraph->data()->set(shown, true);
  // Pointers only where points can be told apart. A sampled line is a dense run of
  // column-high strokes: smoothing them changes nothing one can see and costs most of a replot.
  FGraph->setScatterStyle(sampled ? QCPScatterStyle() : FPointer);
  FGraph->setAntialiased(!sampled);
  FDirty = false;
  FDrawnKeys = keys;
  FDrawnColumns = columns;
}

void TKvLineSeries::SetFunction(std::unique_ptr<TKvAverageFunction> function) {
  FFunction = std::move(function);
}

// ---- block average -----------------------------------------------------------------------

TKvAverageFunction::~TKvAverageFunction() {
  SetSource(nullptr);
}

void TKvAverageFunction::SetPeriod(int period) {
  period = std::max(1, period);
  if (period == FPeriod) return;
  FPeriod = period;
  Recalculate();
}

void TKvAverageFunction::SetSource(TKvLineSeries* source) {
  if (FSource) {
    auto& deps = FSource->Dependents;
    deps.erase(std::remove(deps.begin(), deps.end(), &FTarget), deps.end());
  }
  FSource = source;
  if (FSource) FSource->Dependents.push_back(&FTarget);
  Recalculate();
}

void TKvAverageFunction::ResetBlock() {
  FInBlock = 0;
  FSum = 0;
}

void TKvAverageFunction::Recalculate() {
  FTarget.FPoints.Clear();
  ResetBlock();
  if (FSource) {
    const TKvSeriesPoints& points = FSource->Points();
    for (int i = 0; i < points.Count(); ++i) SourcePointAdded(points.Key(i), points.Value(i));
  }
  FTarget.Changed();
}

void TKvAverageFunction::SourcePointAdded(double key, double value) {
  if (!std::isfinite(value)) return;
  if (FInBlock == 0) FFirstKey = key;
  FLastKey = key;
  FSum += value;
  if (++FInBlock == FPeriod) {
    FTarget.FPoints.Add((FFirstKey + FLastKey) / 2, FSum / FPeriod);
    FTarget.Changed();
    ResetBlock();
  }
}

// ---- marks -------------------------------------------------------------------------------

TKvChartMarks::TKvChartMarks(QCustomPlot* plot, std::function<std::vector<TKvLineSeries*>()> series)
    : QCPLayerable(plot), FSeries(std::move(series)) {
  setLayer(QStringLiteral("overlay"));
}

void TKvChartMarks::applyDefaultAntialiasingHint(QCPPainter* painter) const {
  applyAntialiasingHint(painter, true, QCP::aeOther);
}

void TKvChartMarks::draw(QCPPainter* painter) {
  FDrawn = 0;
  const QFontMetrics fm(mParentPlot->font());
  for (TKvLineSeries* s : FSeries()) {
    if (!s->Active()) continue;
    QCPAxis* keyAxis = s->Graph()->keyAxis();
    QCPAxis* valueAxis = s->Graph()->valueAxis();
    const QCPRange keys = keyAxis->range();
    const auto& marks = s->Marks();
    auto it = std::lower_bound(marks.begin(), marks.end(), keys.lower,
                               [](const TKvLineSeries::TMark& m, double k) { return m.Key < k; });
    for (; it != marks.end() && it->Key <= keys.upper && FDrawn < MaxMarksDrawn; ++it) {
      QString text = it->Text;
      if (s->OnGetMarkText) s->OnGetMarkText(*s, text);
      if (text.isEmpty()) continue;
      const QPointF at(keyAxis->coordToPixel(it->Key), valueAxis->coordToPixel(it->Value));
      const QPointF tip = at - QPointF(0, 14);
      painter->setPen(QPen(Qt::black, 1));
      painter->drawLine(at, tip);
      QRectF box(0, 0, fm.horizontalAdvance(text) + 8, fm.height() + 2);
      box.moveCenter(tip - QPointF(0, box.height() / 2));
      painter->setBrush(QColor(255, 255, 225));
      painter->drawRect(box);
      painter->drawText(box, Qt::AlignCenter, text);
      ++FDrawn;
    }
  }
}

// ---- date-time ticks ---------------------------------------------------------------------

QString TKvDateTimeTicker::getTickLabel(double tick, const QLocale&, QChar, int) {
  return FormatDateTime(Format, KvChart_DateTime(tick));
}

double TKvDateTimeTicker::getTickStep(const QCPRange& range) {
  return std::max(1.0, QCPAxisTickerDateTime::getTickStep(range));
}
