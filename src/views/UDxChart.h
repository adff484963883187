#pragma once
// The "Line chart" panel: the recorded levels over date and time, with up to four channels
// (level, the range limits, a block average of a chosen channel). The panel decides which
// point goes into which series, where the line breaks and where marks stand, and how the
// axes are scaled; the chart engine draws.
#include <QWidget>
#include <memory>
#include <vector>

#include "KvChartSeries.h"
#include "KvDockedViews.h"
#include "KvRepaintThrottle.h"

class QComboBox;
class QPushButton;
class QRadioButton;
class QSpinBox;
class QTimeEdit;
class QWidget;
class TKvCheckComboBox;
class TKvReportPrinting;
class TKvFormStorage;
class TKvRunningLeq;

class TFrmDxChart : public QWidget, public TKvChartView {
  Q_OBJECT
 public:
  explicit TFrmDxChart(QWidget* parent = nullptr);
  ~TFrmDxChart() override;

  // Components.
  QSpinBox* cxSpinEditAverage;
  QComboBox* cxComboBoxAvgOf;
  QPushButton* cxButtonShowAxisFull;
  QRadioButton* cxRadioButtonRange;
  QRadioButton* cxRadioButtonValues;
  QRadioButton* cxRadioButtonInterval;
  QWidget* cxGroupValues;  // holds "Value"; never shown
  QTimeEdit* cxTimeEditInterval;
  TKvCheckComboBox* cxCheckComboBoxSelect;
  QCustomPlot* DBChart;
  TKvFormStorage* KvFormStorage1;

  int iPos = 1;
  bool bPos = true;
  QString FChanFldName = "Chan";
  std::vector<int> FChannelIds;

  // The chart's series list, in order; Series1 is the first.
  int SeriesCount() const { return int(FSeries.size()); }
  TKvLineSeries& Series(int i) const { return *FSeries[size_t(i)]; }
  TKvLineSeries* SeriesOfChannel(int id) const;
  TKvLineSeries* AverageSeries() const;
  // Overall X range by the autoscale rule, as date-times.
  void OverallXRange(double& minX, double& maxX) const;
  // The zoom history's depth; 0 when not zoomed.
  int ZoomDepth() const { return int(FZoomHistory.size()); }
  // Zooms to the keys and values of a rectangle, as dragging one does; withControl zooms in
  // time only.
  void ZoomTo(double fromX, double toX, double fromY, double toY, bool withControl);
  void ZoomBack();

  // TKvChartView
  void cxButtonShowAxisFullClick(QObject* Sender) override;
  void Channel_SetupFieldName(const QString& FieldName) override;
  void Channel_SetupBottomAxis(const QString& Title, const QString& Format) override;
  void Channel_SetupLeftAxis(const QString& Title) override;
  void Channel_Add(int Id, const QString& FieldTitle, const QString& SeriesClass, bool Selected,
                   const QString& ShortText) override;
  void Channel_CreateFromList() override;
  void DoChart_UpdateFromDataset(TKvMemTable& DataSet) override;
  void ClearSeries() override;
  void RefreshData() override;

  void Channel_UpdateFromList();
  void EvDatasetAfterPost(TKvMemTable& DataSet, bool bRange);
  void DoChart_Autoscale();
  void EvLineSeriesGetMarkText(TKvLineSeries& Sender, QString& MarkText);
  void Series1GetMarkText(TKvLineSeries& Sender, QString& MarkText);
  void cxSpinEditAveragePropertiesChange();
  bool cxCheckComboBoxSelectPropertiesClickCheck(int index);
  void cxTimeEditIntervalPropertiesChange();
  void EvUpdateDataSet(QObject* Sender);
  void DBChartClickSeries(TKvLineSeries& series);
  void EvPrintSetup(QObject* Sender);
  void EvPrintPreview(QObject* Sender);
  void EvPrintPrint(QObject* Sender);

 protected:
  bool eventFilter(QObject* watched, QEvent* event) override;

 private:
  void FormCreate();
  void FormDestroy();
  void BuildTools();
  void BuildChart();
  void ApplySeriesAttributes(TKvLineSeries& s, int index);
  void ApplyAverageAttributes(TKvLineSeries& s);
  void ScrollWindow(double maxX);
  void RestorePlacement();
  void SavePlacement();
  void Replot();
  void PrintWith(void (TKvReportPrinting::*operation)(int));
  void Log(const QString& msg);

  std::vector<std::unique_ptr<TKvLineSeries>> FSeries;
  std::vector<std::pair<QCPRange, QCPRange>> FZoomHistory;
  std::pair<QCPRange, QCPRange> FRangesAtPress;
  TKvDateTimeTicker* FTicker = nullptr;
  TKvChartMarks* FMarks = nullptr;
  TKvMemTable* FDataSet = nullptr;
  bool FReplotWhenShown = false;
  // Readings ask for a replot each; a few a second show the recording as it grows.
  std::unique_ptr<TKvRepaintThrottle> FReplots;
  std::unique_ptr<TKvRunningLeq> FLeq;  // the "Leq" channel's line, once it has a series
};
