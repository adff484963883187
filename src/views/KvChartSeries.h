#pragma once
// What the line chart asks of its chart engine beyond plain graphs: series that know their
// extent without rescanning their points (a recording adds a point at a time for days), marks
// at the starts of runs, null points that break the line, and the block average over a source
// series. X values are date-times (day counts); the plot keeps them as seconds.
#include <QColor>
#include <QString>
#include <functional>
#include <memory>
#include <vector>

#include "qcustomplot.h"

class TKvAverageFunction;

// Day count to the plot's key and back.
double KvChart_Key(double dateTime);
double KvChart_DateTime(double key);

// The points of a series in key order, with the minimum, maximum and gaps of every block of
// 16, 256 and 4096 points kept as points arrive, so that what one screen column shows is
// found in time proportional to the columns, not to the points.
class TKvSeriesPoints {
 public:
  static constexpr int Levels = 3;
  static constexpr int Fan = 16;
  int Count() const { return int(FKeys.size()); }
  double Key(int i) const { return FKeys[size_t(i)]; }
  double Value(int i) const { return FValues[size_t(i)]; }
  void Add(double key, double value);
  void Set(std::vector<double> keys, std::vector<double> values);
  void Clear();
  // First index with a key not below key.
  int LowerBound(double key) const;
  // The points to draw for keys [from, to] over the given number of screen columns: every
  // point where they are few, else per column its first, lowest, highest and last value, and
  // a gap where the column holds one.
  QVector<QCPGraphData> Sampled(double from, double to, int columns, bool& sampled) const;

 private:
  struct TBlock {
    double Min, Max;
    bool Gap;
  };
  void Extend(TBlock& b, double value, bool first) const;
  void RebuildBlocks();
  std::vector<double> FKeys, FValues;
  std::vector<TBlock> FBlocks[Levels];  // level k: blocks of Fan^(k+1) points
};

class TKvLineSeries {
 public:
  struct TMark {
    double Key, Value;
    QString Text;
  };

  TKvLineSeries(QCustomPlot* plot);
  ~TKvLineSeries();
  TKvLineSeries(const TKvLineSeries&) = delete;
  TKvLineSeries& operator=(const TKvLineSeries&) = delete;

  QCPGraph* Graph() const { return FGraph; }
  int Tag = 0;
  QString Title() const { return FGraph->name(); }
  void SetTitle(const QString& title) { FGraph->setName(title); }
  bool Active() const { return FGraph->visible(); }
  void SetActive(bool on);
  // The pointer drawn at each point while points are few enough to tell apart.
  void SetPointer(const QCPScatterStyle& style);

  // A point at date-time x; label " " (or empty) gives no mark.
  void AddXY(double x, double y, const QString& label = QStringLiteral(" "));
  // A gap in the line at x.
  void AddNull(double x);
  // Replaces every point by the given ones (keys already converted), in one go.
  void SetPoints(std::vector<double> keys, std::vector<double> values, std::vector<TMark> marks);
  void Clear();
  int Count() const { return FPoints.Count(); }
  const TKvSeriesPoints& Points() const { return FPoints; }
  // The extent of the real points as date-times; 0 for an empty series.
  double MinX() const { return FCount ? FMinX : 0; }
  double MaxX() const { return FCount ? FMaxX : 0; }
  double MinY() const { return FCount ? FMinY : 0; }
  double MaxY() const { return FCount ? FMaxY : 0; }
  const std::vector<TMark>& Marks() const { return FMarks; }
  // Whether a mark's text is shown: the panel empties what must not show.
  std::function<void(TKvLineSeries& series, QString& text)> OnGetMarkText;
  // Hands the graph what the visible keys need; the chart calls it before each replot.
  void PrepareDraw();

  // The function that computes this series from a source, if any; the series owns it.
  TKvAverageFunction* Function() const { return FFunction.get(); }
  void SetFunction(std::unique_ptr<TKvAverageFunction> function);
  // Series whose function reads this one as its source.
  std::vector<TKvLineSeries*> Dependents;

 private:
  friend class TKvAverageFunction;
  void Widen(double x, double y);
  void Recount();
  void Changed();

  QCustomPlot* FPlot;
  QCPGraph* FGraph;
  TKvSeriesPoints FPoints;
  QCPScatterStyle FPointer;
  std::vector<TMark> FMarks;
  std::unique_ptr<TKvAverageFunction> FFunction;
  long long FCount = 0;  // real points
  double FMinX = 0, FMaxX = 0, FMinY = 0, FMaxY = 0;
  bool FDirty = true;
  QCPRange FDrawnKeys;
  int FDrawnColumns = 0;
};

// The average of consecutive blocks of Period points of the source: each full block gives
// one point whose Y is the block's mean and whose X lies halfway between the block's first
// and last X; a last block short of Period points gives none. Null points are gaps, not
// points, and do not count.
class TKvAverageFunction {
 public:
  explicit TKvAverageFunction(TKvLineSeries& target) : FTarget(target) {}
  ~TKvAverageFunction();
  int Period() const { return FPeriod; }
  void SetPeriod(int period);
  TKvLineSeries* Source() const { return FSource; }
  // nullptr: no source, no points.
  void SetSource(TKvLineSeries* source);
  // All points again from the source.
  void Recalculate();
  // The source got one more point.
  void SourcePointAdded(double key, double value);

 private:
  void ResetBlock();
  TKvLineSeries& FTarget;
  TKvLineSeries* FSource = nullptr;
  int FPeriod = 1;
  int FInBlock = 0;
  double FSum = 0, FFirstKey = 0, FLastKey = 0;
};

// Draws the marks of the visible series over the plot: a callout line up from the point and
// the text in a box. Only marks inside the visible keys are looked at.
class TKvChartMarks : public QCPLayerable {
 public:
  TKvChartMarks(QCustomPlot* plot, std::function<std::vector<TKvLineSeries*>()> series);
  int DrawnCount() const { return FDrawn; }

 protected:
  void applyDefaultAntialiasingHint(QCPPainter* painter) const override;
  void draw(QCPPainter* painter) override;

 private:
  std::function<std::vector<TKvLineSeries*>()> FSeries;
  int FDrawn = 0;
};

// Tick labels in the program's date-time patterns ("dd.mm - hh:mm:ss").
class TKvDateTimeTicker : public QCPAxisTickerDateTime {
 public:
  QString Format = QStringLiteral("dd.mm.yyyy hh:nn:ss");

 protected:
  // The labels show whole seconds: finer ticks would repeat the same label.
  double getTickStep(const QCPRange& range) override;
  QString getTickLabel(double tick, const QLocale& locale, QChar formatChar,
                       int precision) override;
};
