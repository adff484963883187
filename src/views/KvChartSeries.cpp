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

// ---- line series -------------------------------------------------------------------------

TKvLineSeries::TKvLineSeries(QCustomPlot* plot) : FPlot(plot) {
  FGraph = plot->addGraph();
  FGraph->setAdaptiveSampling(true);
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
  FGraph->addData(key, y);
  if (std::isfinite(y)) Widen(x, y);
  if (!label.trimmed().isEmpty()) FMarks.push_back({key, y, label});
  for (TKvLineSeries* d : Dependents)
    if (d->FFunction) d->FFunction->SourcePointAdded(key, y);
}

void TKvLineSeries::AddNull(double x) {
  FGraph->addData(KvChart_Key(x), qQNaN());
}

void TKvLineSeries::Recount() {
  FCount = 0;
  for (const QCPGraphData& p : *FGraph->data())
    if (std::isfinite(p.value)) Widen(KvChart_DateTime(p.key), p.value);
}

void TKvLineSeries::SetPoints(QVector<QCPGraphData>& points, bool sorted,
                              std::vector<TMark> marks) {
  FGraph->data()->set(points, sorted);
  FMarks = std::move(marks);
  if (!sorted)
    std::sort(FMarks.begin(), FMarks.end(),
              [](const TMark& a, const TMark& b) { return a.Key < b.Key; });
  Recount();
  for (TKvLineSeries* d : Dependents)
    if (d->FFunction) d->FFunction->Recalculate();
}

void TKvLineSeries::Clear() {
  FGraph->data()->clear();
  FMarks.clear();
  FCount = 0;
  for (TKvLineSeries* d : Dependents)
    if (d->FFunction) d->FFunction->Recalculate();
}

void TKvLineSeries::SetFunction(std::unique_ptr<TKvAverageFunction> function) {
  FFunction = std::move(function);
}

// ---- block average -----------------------------------------------------------------------

TKvAverageFunction::~TKvAverageFunction() {
  SetSource(nullptr);
}

void TKvAverageFunction::SetPeriod(int period) {
  FPeriod = std::max(1, period);
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
  FTarget.Graph()->data()->clear();
  ResetBlock();
  if (!FSource) return;
  QVector<QCPGraphData> points;
  points.reserve(FSource->Count() / FPeriod + 1);
  for (const QCPGraphData& p : *FSource->Graph()->data()) {
    if (!std::isfinite(p.value)) continue;
    if (FInBlock == 0) FFirstKey = p.key;
    FLastKey = p.key;
    FSum += p.value;
    if (++FInBlock == FPeriod) {
      points.append(QCPGraphData((FFirstKey + FLastKey) / 2, FSum / FPeriod));
      ResetBlock();
    }
  }
  FTarget.Graph()->data()->set(points, true);
}

void TKvAverageFunction::SourcePointAdded(double key, double value) {
  if (!std::isfinite(value)) return;
  if (FInBlock == 0) FFirstKey = key;
  FLastKey = key;
  FSum += value;
  if (++FInBlock == FPeriod) {
    FTarget.Graph()->addData((FFirstKey + FLastKey) / 2, FSum / FPeriod);
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
