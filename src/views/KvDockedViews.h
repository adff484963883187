#pragma once
// The faces of the views the main window docks into its tabs. Each view's form implements
// its face; the program registers a maker per view before the main window is first shown,
// and the main window builds whatever is registered. A view that is not registered leaves
// its variable nullptr, and whatever would reach it does nothing.
#include <QString>
#include <functional>

#include "KvUniqueData.h"

class QObject;
class TKvMemTable;
class QWidget;

class TKvDisplayView {
 public:
  virtual ~TKvDisplayView() = default;
  virtual void Data2Display(const TKvUniqueData& Data) = 0;
};

class TKvTableView {
 public:
  virtual ~TKvTableView() = default;
  // Posts the reading to the commander's table within a grid update lock.
  virtual void AddData(const TKvUniqueData& Data) = 0;
};

class TKvChartView {
 public:
  virtual ~TKvChartView() = default;
  // Re-applies the autoscale rule and resets the zoom history.
  virtual void cxButtonShowAxisFullClick(QObject* Sender) = 0;
  virtual void Channel_SetupFieldName(const QString& FieldName) = 0;
  virtual void Channel_SetupBottomAxis(const QString& Title, const QString& Format) = 0;
  virtual void Channel_SetupLeftAxis(const QString& Title) = 0;
  // SeriesClass empty: the default line series.
  virtual void Channel_Add(int Id, const QString& FieldTitle, const QString& SeriesClass,
                           bool Selected, const QString& ShortText) = 0;
  virtual void Channel_CreateFromList() = 0;
  // Rebuilds every point from the dataset's rows in its present order and filter.
  virtual void DoChart_UpdateFromDataset(TKvMemTable& DataSet) = 0;
  // Lets every series let go of its points ("Clear table").
  virtual void ClearSeries() = 0;
  // Reads the series' data sources again.
  virtual void RefreshData() = 0;
};

// Makers of the docked views' forms; each form must implement its view's face.
struct TKvViewMakers {
  std::function<QWidget*()> Table;
  std::function<QWidget*()> Chart;
  std::function<QWidget*()> Display;
};
TKvViewMakers& KvViewMakers();

// The program-wide views; nullptr until the main window has docked them.
extern TKvTableView* FrmDxTable;
extern TKvChartView* FrmDxChart;
extern TKvDisplayView* FrmDxLvxDisplay;
