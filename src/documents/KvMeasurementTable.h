#pragma once
// KvMemTableData: the one table of readings. Its fields, sort orders, options and event
// handlers are fixed here; the commander owns the instance and posts readings through
// PostReading. Modules above this library (the chart, the application module) take part
// through hooks that they install when they are created and clear when they go.
#include <functional>

#include "KvDateTime.h"
#include "KvMemTable.h"

// The values of a reading that go into a row.
struct TKvReadingValues {
  TDateTime dtDate = 0;
  TDateTime dtTime = 0;
  double dVal = 0;
  double dLo = 0;
  double dHi = 0;
  bool bUnder = false;
  bool bOver = false;
  bool bA = false;
  bool bC = false;
  bool bSlow = false;
  bool bFast = false;
};

class TKvMeasurementTable : public TKvMemTable {
 public:
  static const QString IndexAscName;   // "KvMemTableDataIndex_DT_ASC", definition 0
  static const QString IndexDescName;  // "KvMemTableDataIndex_DT_DESC", definition 1

  TKvMeasurementTable();

  // Appends and posts one reading and moves to the first row of the active order. The
  // table is opened first if it is closed. Filtering and the document flags are the
  // caller's.
  void PostReading(const TKvReadingValues& reading);

  // Hooks; each has at most one listener.
  std::function<void()> OnUpdateDataSet;  // the commander raises its OnUpdateDataSet
  std::function<void()> OnSetModified;    // IsModified of the application module to True
  std::function<void(TKvMemTable&)> OnChartUpdateFromDataset;
  std::function<void(TKvMemTable&, bool)> OnChartAfterPost;
  std::function<void()> OnChartClear;  // empties every series of the chart

  void KvMemTableDataAfterOpen(TKvMemTable& dataSet);
  void KvMemTableDataAfterRefresh(TKvMemTable& dataSet);
  void KvMemTableDataAfterPost(TKvMemTable& dataSet);
  void KvMemTableDataBeforeClose(TKvMemTable& dataSet);
  void KvMemTableDataAfterDelete(TKvMemTable& dataSet);
  void KvMemTableDataCalcFields(TKvMemTable& dataSet);

  // The earlier design's table is never written to; only its change count is asked for.
  static int ClientDataSetTable_ChangeCount() { return 0; }

 private:
  TKvField *FRecId, *FDate, *FTime, *FY, *FUnderflow, *FOverflow, *FAC, *FTI, *FFreq, *FsTime,
      *FRangeMin, *FRangeMax;
};
