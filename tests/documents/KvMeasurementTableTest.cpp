// KvMemTableData: its schema, calculated fields, what a posted reading stores, the order of
// equal timestamps, and the handlers' calls through the hooks.
#include <gtest/gtest.h>

#include "DocumentsTestUtil.h"

TEST(KvMeasurementTable, SchemaFieldsAndIndexes) {
  TKvMeasurementTable t;
  t.CreateDataSet();
  QStringList fields;
  for (int i = 0; i < t.FieldCount(); ++i) fields << t.Fields(i).FieldName;
  EXPECT_EQ(fields.join(';'),
            "RecId;Date;Time;Y;Underflow;Overflow;AC;TI;Freq;sTime;RangeMin;RangeMax");
  const TKvDataType types[] = {dtInt32,   dtDate,  dtTime,  dtDouble, dtBoolean,
                               dtBoolean, dtInt32, dtInt32, dtInt16,  dtInt16};
  ASSERT_EQ(t.Table()->Columns.Count(), 10);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(t.Table()->Columns[i].DataType(), types[i]) << i;
  EXPECT_EQ(t.IndexName(), TKvMeasurementTable::IndexDescName);
  EXPECT_EQ(t.IndexDefs[0].Name, TKvMeasurementTable::IndexAscName);
  EXPECT_EQ(t.FieldByName("sTime").Alignment, TAlignment::taCenter);
  EXPECT_EQ(t.FieldByName("Y").Alignment, TAlignment::taLeftJustify);
}

TEST(KvMeasurementTable, CalculatedFieldsFollowACAndTI) {
  struct Row {
    std::optional<int> Value;
    const char* Freq;
    const char* STime;
  };
  const Row rows[] = {
      {1, "A", "SLOW"}, {2, "C", "FAST"}, {0, "", ""}, {3, "", ""}, {std::nullopt, "", ""}};
  for (const Row& r : rows) {
    TKvMeasurementTable t;
    t.CreateDataSet();
    t.Append();
    if (r.Value) {
      t.FieldByName("AC").SetAsInteger(*r.Value);
      t.FieldByName("TI").SetAsInteger(*r.Value);
    }
    t.Post();
    EXPECT_EQ(t.FieldByName("Freq").AsString(), r.Freq);
    EXPECT_EQ(t.FieldByName("sTime").AsString(), r.STime);
  }
}

TEST(KvMeasurementTable, PostedReadingRoundsRangesAndKeepsTheDay) {
  struct Case {
    double Lo, Hi;
    int RangeMin, RangeMax;
  };
  for (const Case& c : {Case{50.5, 100.4, 50, 100}, Case{51.5, 99.6, 52, 100}}) {
    TKvMeasurementTable t;
    t.CreateDataSet();
    TKvReadingValues r = WorkedExampleReading();
    r.dtDate += 0.75;  // a date carrying a time part keeps only the day
    r.dLo = c.Lo;
    r.dHi = c.Hi;
    r.bA = false;
    r.bC = true;
    r.bFast = false;
    r.bUnder = true;
    t.PostReading(r);
    EXPECT_EQ(t.FieldByName("RangeMin").AsInteger(), c.RangeMin);
    EXPECT_EQ(t.FieldByName("RangeMax").AsInteger(), c.RangeMax);
    EXPECT_EQ(t.FieldByName("Date").AsDateTime(), EncodeDate(2015, 6, 11));
    EXPECT_EQ(t.FieldByName("AC").AsInteger(), 2);
    EXPECT_EQ(t.FieldByName("TI").AsInteger(), 0);
    EXPECT_TRUE(t.FieldByName("Underflow").AsBoolean());
    EXPECT_FALSE(t.FieldByName("Overflow").AsBoolean());
    EXPECT_TRUE(t.FieldByName("RecId").IsNull());
  }
}

TEST(KvMeasurementTable, ThirteenReadingsInOneSecondStayInArrivalOrder) {
  TKvMeasurementTable t;
  t.CreateDataSet();
  t.PostReading(Reading(4, 40));
  for (int i = 0; i < 13; ++i) t.PostReading(Reading(5, 50 + i));
  // The move to the first row after a post lands on the oldest row of the newest second.
  EXPECT_EQ(t.FieldByName("Y").AsFloat(), 50);
  EXPECT_EQ(t.RecordCount(), 14);
  std::vector<double> desc;
  for (t.First(); !t.Eof(); t.Next()) desc.push_back(t.FieldByName("Y").AsFloat());
  std::vector<double> expected;
  for (int i = 0; i < 13; ++i) expected.push_back(50 + i);
  expected.push_back(40);
  EXPECT_EQ(desc, expected);
  t.SetIndexName(TKvMeasurementTable::IndexAscName);
  t.First();
  EXPECT_EQ(t.FieldByName("Y").AsFloat(), 40);
  t.Next();
  EXPECT_EQ(t.FieldByName("Y").AsFloat(), 50);
}

TEST(KvMeasurementTable, HandlersCallTheHooksInOrder) {
  TKvMeasurementTable t;
  QStringList calls;
  t.OnUpdateDataSet = [&] { calls << "update"; };
  t.OnChartUpdateFromDataset = [&](TKvMemTable& d) { calls << "chart:" + d.Name(); };
  t.OnChartAfterPost = [&](TKvMemTable&, bool b) { calls << QString("post:%1").arg(b); };
  t.OnSetModified = [&] { calls << "modified"; };
  t.CreateDataSet();
  t.PostReading(WorkedExampleReading());
  t.Refresh();
  t.Delete();
  t.Close();
  EXPECT_EQ(calls.join(' '), "update chart:KvMemTableData post:1 chart:KvMemTableData");
}

// The filter is the dataset's: its order, its count, deleting and posting all see only the
// rows that pass, in the active index's order, and the refused rows are kept.
TEST(KvMeasurementTable, FilterNarrowsTheOrderAndKeepsTheRowsItHides) {
  TKvMeasurementTable t;
  t.SetIndexName(TKvMeasurementTable::IndexDescName);
  for (int s = 0; s < 6; ++s) t.PostReading(Reading(s, 60 + s));
  const int y = t.FieldByName("Y").Column();
  t.SetFilter([y](const TKvDatSTable& table, uint32_t row) {
    bool isNull;
    return KvCell_AsDouble(table, table.RowData(row), y, isNull) >= 63;
  });
  auto levels = [&t] {
    std::vector<double> v;
    for (int i = 0; i < t.RecordCount(); ++i)
      t.PeekRecord(i, [&] { v.push_back(t.FieldByName("Y").AsFloat()); });
    return v;
  };
  EXPECT_EQ(levels(), (std::vector<double>{65, 64, 63}));
  // A new row that passes takes its place in the order; one that does not stays hidden.
  t.PostReading(Reading(3, 70, 500));
  t.PostReading(Reading(7, 10));
  EXPECT_EQ(levels(), (std::vector<double>{65, 64, 70, 63}));
  t.SetIndexName(TKvMeasurementTable::IndexAscName);
  EXPECT_EQ(levels(), (std::vector<double>{63, 70, 64, 65}));
  // Deleting under the filter removes what it shows, nothing else.
  t.First();
  t.Delete();
  EXPECT_EQ(levels(), (std::vector<double>{70, 64, 65}));
  t.SetFilter({});
  EXPECT_EQ(t.RecordCount(), 7);
  // Peeking leaves the cursor and its calculated fields alone.
  t.SetRecNo(2);
  const QString freq = t.FieldByName("Freq").AsString();
  const double level = t.FieldByName("Y").AsFloat();
  t.PeekRecord(5, [] {});
  EXPECT_EQ(t.RecNo(), 2);
  EXPECT_EQ(t.FieldByName("Y").AsFloat(), level);
  EXPECT_EQ(t.FieldByName("Freq").AsString(), freq);
}
