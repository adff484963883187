#include "KvReportRows.h"

#include <QAbstractItemModel>

namespace {
constexpr size_t MaxShifts = 64;
}

void TKvReportRows::Start(QAbstractItemModel& model) {
  Stop();
  FCount = model.rowCount();
  FLost = false;
  FShifts.clear();
  FTable.clear();
  auto lost = [this] { FLost = true; };
  FConnections = {
      QObject::connect(
          &model, &QAbstractItemModel::rowsInserted,
          [this](const QModelIndex&, int first, int last) { Inserted(first, last - first + 1); }),
      QObject::connect(
          &model, &QAbstractItemModel::rowsRemoved,
          [this](const QModelIndex&, int first, int last) { Removed(first, last - first + 1); }),
      QObject::connect(&model, &QAbstractItemModel::modelReset, lost),
      QObject::connect(&model, &QAbstractItemModel::layoutChanged, lost),
      QObject::connect(&model, &QAbstractItemModel::rowsMoved, lost),
  };
}

void TKvReportRows::Stop() {
  for (const QMetaObject::Connection& c : FConnections) QObject::disconnect(c);
  FConnections.clear();
}

int TKvReportRows::Now(int start) const {
  if (FLost || start < 0 || start >= FCount) return -1;
  if (!FTable.empty()) return FTable[size_t(start)];
  int row = start;
  for (const TShift& s : FShifts)
    if ((row = Apply(s, row)) < 0) break;
  return row;
}

int TKvReportRows::Apply(const TShift& shift, int row) {
  if (row < 0 || row < shift.First) return row;
  if (shift.Count > 0) return row + shift.Count;
  return row < shift.First - shift.Count ? -1 : row + shift.Count;
}

void TKvReportRows::Inserted(int first, int count) {
  if (!FTable.empty()) {
    for (int& row : FTable) row = Apply({first, count}, row);
    return;
  }
  // Rows of the start never lie inside the last inserted block, so an insertion in it or at
  // its edges moves them as if it had been part of that block.
  if (!FShifts.empty()) {
    TShift& last = FShifts.back();
    if (last.Count > 0 && first >= last.First && first <= last.First + last.Count) {
      last.Count += count;
      return;
    }
  }
  FShifts.push_back({first, count});
  if (FShifts.size() > MaxShifts) Tabulate();
}

void TKvReportRows::Removed(int first, int count) {
  if (!FTable.empty()) {
    for (int& row : FTable) row = Apply({first, -count}, row);
    return;
  }
  FShifts.push_back({first, -count});
  if (FShifts.size() > MaxShifts) Tabulate();
}

void TKvReportRows::Tabulate() {
  std::vector<int> table(static_cast<size_t>(FCount));
  for (int i = 0; i < FCount; ++i) table[size_t(i)] = Now(i);
  FTable = std::move(table);
  FShifts.clear();
}
