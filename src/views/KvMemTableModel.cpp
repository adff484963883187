#include "KvMemTableModel.h"

#include <cmath>

#include "KvMemTable.h"

TKvMemTableModel::TKvMemTableModel(TKvMemTable& table, std::vector<TKvGridColumn> columns,
                                   QObject* parent)
    : QAbstractTableModel(parent), FTable(table), FColumns(std::move(columns)) {
  for (const TKvGridColumn& c : FColumns) FFields.push_back(FTable.FindField(c.Field));
  FFiltered.assign(FColumns.size(), false);
  FRowCount = FTable.RecordCount();
  FTable.OnDataEvent = [this](TKvDataEvent event, int position) {
    DataEvent(int(event), position);
  };
}

TKvMemTableModel::~TKvMemTableModel() {
  FTable.OnDataEvent = nullptr;
}

int TKvMemTableModel::rowCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : FRowCount;
}

int TKvMemTableModel::columnCount(const QModelIndex& parent) const {
  return parent.isValid() ? 0 : int(FColumns.size());
}

int TKvMemTableModel::ColumnOfField(const QString& field) const {
  for (size_t i = 0; i < FColumns.size(); ++i)
    if (FColumns[i].Field.compare(field, Qt::CaseInsensitive) == 0) return int(i);
  return -1;
}

void TKvMemTableModel::SetColumnFiltered(int column, bool filtered) {
  if (column < 0 || column >= columnCount() || FFiltered[size_t(column)] == filtered) return;
  FFiltered[size_t(column)] = filtered;
  emit headerDataChanged(Qt::Horizontal, column, column);
}

QVariant TKvMemTableModel::data(const QModelIndex& index, int role) const {
  if (!index.isValid() || index.row() >= FRowCount) return {};
  TKvField* field = FFields[size_t(index.column())];
  if (!field) return {};
  if (role == Qt::TextAlignmentRole) {
    switch (field->Alignment) {
      case TAlignment::taCenter:
        return int(Qt::AlignCenter);
      case TAlignment::taRightJustify:
        return int(Qt::AlignRight | Qt::AlignVCenter);
      default:
        return field->DataType == TKvFieldType::ftFloat ||
                       field->DataType == TKvFieldType::ftInteger ||
                       field->DataType == TKvFieldType::ftSmallint
                   ? int(Qt::AlignRight | Qt::AlignVCenter)
                   : int(Qt::AlignLeft | Qt::AlignVCenter);
    }
  }
  const bool isBool = field->DataType == TKvFieldType::ftBoolean;
  if (role != Qt::DisplayRole && !(isBool && role == Qt::CheckStateRole)) return {};
  QVariant value;
  FTable.PeekRecord(index.row(), [&] {
    if (isBool) {
      if (role == Qt::CheckStateRole && !field->IsNull())
        value = field->AsBoolean() ? Qt::Checked : Qt::Unchecked;
    } else {
      value = field->AsString();
    }
  });
  return value;
}

QVariant TKvMemTableModel::headerData(int section, Qt::Orientation orientation, int role) const {
  if (orientation == Qt::Vertical) return role == Qt::DisplayRole ? QVariant() : QVariant();
  if (section < 0 || section >= columnCount() || role != Qt::DisplayRole) return {};
  const TKvGridColumn& c = FColumns[size_t(section)];
  const QString caption = !c.Caption.isEmpty() ? c.Caption : c.Field;
  return FFiltered[size_t(section)] ? caption + QStringLiteral(" \u25BC") : caption;
}

void TKvMemTableModel::DataEvent(int event, int position) {
  const int count = FTable.RecordCount();
  switch (TKvDataEvent(event)) {
    case TKvDataEvent::deRecordInserted:
      if (position >= 0 && position <= FRowCount && count == FRowCount + 1) {
        beginInsertRows(QModelIndex(), position, position);
        FRowCount = count;
        endInsertRows();
        break;
      }
      [[fallthrough]];
    case TKvDataEvent::deRecordDeleted:
      if (TKvDataEvent(event) == TKvDataEvent::deRecordDeleted && position >= 0 &&
          position < FRowCount && count == FRowCount - 1) {
        beginRemoveRows(QModelIndex(), position, position);
        FRowCount = count;
        endRemoveRows();
        break;
      }
      [[fallthrough]];
    default:
      beginResetModel();
      FRowCount = count;
      endResetModel();
  }
  emit RowsChanged(event, position);
}
