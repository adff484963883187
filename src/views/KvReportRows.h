#pragma once
// The rows a report prints, fixed when it starts. The progress dialog of a long report lets
// the display go on, so readings arrive while it prints: above the rows of a newest-first
// grid, below those of an oldest-first one. Printed by their number at the time of each page,
// rows would shift across page breaks and print twice or not at all. This follows the model's
// insertions and removals from the start on, so each row of the start is found where it is
// now; rows that came later are not part of the report.
#include <QMetaObject>
#include <vector>

class QAbstractItemModel;

class TKvReportRows {
 public:
  TKvReportRows() = default;
  ~TKvReportRows() { Stop(); }
  TKvReportRows(const TKvReportRows&) = delete;
  TKvReportRows& operator=(const TKvReportRows&) = delete;

  void Start(QAbstractItemModel& model);
  void Stop();
  int Count() const { return FCount; }
  // The row that was row `start` when the report started, as numbered now; -1 when it has
  // been removed, or when the model was reset or reordered and it cannot be told any more.
  int Now(int start) const;

 private:
  // Rows inserted (Count > 0) or removed (Count < 0) at First.
  struct TShift {
    int First, Count;
  };
  void Inserted(int first, int count);
  void Removed(int first, int count);
  static int Apply(const TShift& shift, int row);
  void Tabulate();

  int FCount = 0;
  bool FLost = false;
  // A recording inserts its readings next to each other, and so few shifts describe them all;
  // when many do, they become a table of where each row is now, which follows each change.
  std::vector<TShift> FShifts;
  std::vector<int> FTable;
  std::vector<QMetaObject::Connection> FConnections;
};
