#pragma once
// A table's rows as a storage may read or write them whole: the names a row's parts go by,
// the columns' stored order and their places in a version buffer. A version buffer starts
// with a bit per column, set when the column has a value, and holds each value at its offset
// in the bytes the document stores for it.
#include <QString>
#include <QStringList>
#include <array>
#include <cstdint>
#include <vector>

struct TKvRowLayout {
  struct TColumn {
    int Order = -1;  // place among the stored values, -1: never stored
    int Offset = 0;
    int Size = 0;
  };
  QString RowName, OtherRowName;  // a row read may go by either
  QString RowID, RowState, RowPriorState, Exception;
  const QStringList* States = nullptr;  // the row states' full names
  std::array<QString, 3> Versions;      // Original, Current, Proposed
  std::vector<TColumn> Columns;         // by column index
  std::vector<int> Stored;              // column indexes in stored order
  int RecordSize = 0;
};

// One row; a version that is absent has no buffer.
struct TKvRowImage {
  uint32_t RowID = 0xFFFFFFFF;
  uint8_t RowState = 0, RowPriorState = 0;
  std::array<const uint8_t*, 3> Versions{};
};
