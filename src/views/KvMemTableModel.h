#pragma once
// The grid's model over a dataset: rows are the dataset's active order (its filter applied),
// columns are named fields. It holds no per-row objects; cells are read through the
// dataset's peek, so a grid over a million rows costs what the visible rows cost. A posted
// reading is one row insertion, a delete one removal; only an order or filter change, an
// open or a close resets the model.
#include <QAbstractTableModel>
#include <QString>
#include <vector>

class TKvMemTable;
class TKvField;

struct TKvGridColumn {
  QString Name;     // component name of the column
  QString Field;    // field of the dataset
  QString Caption;  // empty: the field's label
  int Width = -1;   // -1: the grid's default
};

class TKvMemTableModel : public QAbstractTableModel {
  Q_OBJECT
 public:
  TKvMemTableModel(TKvMemTable& table, std::vector<TKvGridColumn> columns,
                   QObject* parent = nullptr);
  ~TKvMemTableModel() override;

  int rowCount(const QModelIndex& parent = QModelIndex()) const override;
  int columnCount(const QModelIndex& parent = QModelIndex()) const override;
  QVariant data(const QModelIndex& index, int role) const override;
  QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

  const TKvGridColumn& Column(int i) const { return FColumns[size_t(i)]; }
  TKvField* ColumnField(int i) const { return FFields[size_t(i)]; }
  int ColumnOfField(const QString& field) const;
  // A marker shown in the caption of filtered columns.
  void SetColumnFiltered(int column, bool filtered);

  // The dataset told of a change; the grid follows.
  void DataEvent(int event, int position);

 signals:
  // After any change of the rows: the footer and the navigator follow.
  void RowsChanged(int event, int position);

 private:
  TKvMemTable& FTable;
  std::vector<TKvGridColumn> FColumns;
  std::vector<TKvField*> FFields;
  std::vector<bool> FFiltered;
  int FRowCount = 0;
};
