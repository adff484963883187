#pragma once
// The "Data table" panel: a grid over the measurement table, newest first, with column
// filters that become the table's own filter (so the chart, clearing and printing see the
// rows the grid shows), a navigator with its record info, the level's average in the footer
// and the two buttons above the grid. Readings are written by the commander; the panel only
// brackets each write with the grid's update lock.
#include <QWidget>

#include "KvColumnFilter.h"
#include "KvDockedViews.h"

class QAction;
class QHeaderView;
class QLabel;
class QPushButton;
class QToolButton;
class TKvFormStorage;
class TKvMemTable;
class TKvMemTableModel;
class TKvGridFooter;
class TKvGridNavigator;
class TKvGridView;
class TKvStatisticsStrip;

class TFrmDxTable : public QWidget, public TKvTableView {
  Q_OBJECT
 public:
  explicit TFrmDxTable(QWidget* parent = nullptr);
  ~TFrmDxTable() override;

  // Components.
  QAction* ActionTableClear;
  QPushButton* cxButtonClear;
  QPushButton* cxButton1;
  TKvGridView* cxGridTableDBTableView2;
  TKvMemTableModel* DataSourceTable;
  TKvGridNavigator* Navigator;
  TKvGridFooter* Footer;
  TKvStatisticsStrip* StatisticsStrip = nullptr;  // under the grid, while bound
  QLabel* FilterBar;
  QToolButton* FilterBarClear;
  TKvFormStorage* KvFormStorage1;

  void AddData(const TKvUniqueData& Data) override;

  // The dataset the grid shows; nullptr while unbound.
  TKvMemTable* DataSet() const { return FDataSet; }
  const TKvColumnFilter& Filter() const { return FFilter; }
  // Sets or clears (op unset) the condition of a column and applies the filter.
  void SetColumnFilter(const QString& field, const TKvFilterCondition& condition);
  void ClearColumnFilter(const QString& field);
  void ClearFilter();
  // The footer's average of the level over the rows shown; false for an empty set.
  bool LevelAverage(double& average) const;
  QString FooterText() const;
  QString NavigatorText() const;

  // Handlers.
  void ActionTableClearExecute();
  void ActionTableClearUpdate();
  void cxButton1Click();
  void cxGridTableDBTableView2DataControllerFilterChanged();

 private:
  void FormCreate();
  void FormDestroy();
  void BuildGrid();
  void BeginUpdate();
  void EndUpdate();
  void ApplyFilter();
  void HeaderClicked(int section);
  void AskCustomFilter(int column);
  void RowsChanged(int event, int position);
  void RecountAverage();
  void AddToAverage(int position);
  void FollowCursor();
  void CurrentRowChanged(int row);
  void Log(const QString& msg);

  TKvMemTable* FDataSet = nullptr;
  TKvColumnFilter FFilter;
  int FUpdateCount = 0;
  bool FAverageStale = false;
  double FLevelSum = 0;
  long long FLevelCount = 0;
  bool FFollowing = false;
};
