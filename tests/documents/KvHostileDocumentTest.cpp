// Documents written to hurt: counts and sizes that claim more than the file holds, wide and
// empty tables whose load must cost what the file holds, values of a type the field cannot
// take, and journals that name many rows. Each must load within bounds or fail with the
// engine's text; never exhaust memory or run into undefined conversions.
#include <gtest/gtest.h>

#include <QBuffer>
#include <QDir>
#include <QFile>

#include "DocumentsTestUtil.h"
#include "KvStorage.h"

namespace {
const QStringList& TypeNames() {
  static const QStringList names = [] {
    QStringList l;
    for (int i = 0; i < KvDataTypeCount; ++i) l << KvDataTypeName(TKvDataType(i));
    return l;
  }();
  return names;
}

// A document written object by object through the storage, so that it can state anything.
class THostileDocument {
 public:
  struct TColumn {
    QString Name;
    TKvDataType Type;
  };
  struct TValue {
    int Column;
    TKvDataType Type;
    QByteArray Payload;
  };
  int MinimumCapacity = 0;
  std::vector<TColumn> Columns;
  int Rows = 0;
  std::vector<TValue> Values;  // of every row's original version
  bool EmptyVersions = true;   // rows carry an original version even without values
  int JournalRows = 0;         // rows inserted and named by the journal

  QByteArray Bytes() const {
    TKvBinStorage s;
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    s.Open(TKvStorageMode::smWrite, &buffer);
    s.WriteObjectBegin("Manager");
    s.WriteBoolean("UpdatesRegistry", JournalRows > 0, false);
    s.WriteObjectBegin("TableList");
    s.WriteObjectBegin("Table");
    s.WriteString("Name", "KvMemTableData", "Table");
    s.WriteInteger("MinimumCapacity", MinimumCapacity, 0);
    s.WriteObjectBegin("ColumnList");
    for (const TColumn& c : Columns) {
      s.WriteObjectBegin("Column");
      s.WriteString("Name", c.Name, "Column");
      s.WriteEnum("DataType", TypeNames(), c.Type, dtUnknown);
      s.WriteObjectEnd("Column");
    }
    s.WriteObjectEnd("ColumnList");
    for (const char* list : {"ConstraintList", "ViewList"}) {
      s.WriteObjectBegin(list);
      s.WriteObjectEnd(list);
    }
    s.WriteObjectBegin("TableRowList");
    const QStringList states = {"rsInitializing", "rsDetached", "rsInserted",
                                "rsDeleted",      "rsModified", "rsUnchanged"};
    for (int r = 0; r < Rows; ++r) {
      s.WriteObjectBegin("Row");
      s.WriteLongWord("RowID", uint32_t(r), 0xFFFFFFFF);
      const bool journal = r < JournalRows;
      s.WriteEnum("RowState", states, journal ? rsDeleted : rsUnchanged, rsDetached);
      if (EmptyVersions || !Values.empty()) {
        s.WriteObjectBegin("Original");
        for (const TValue& v : Values)
          s.WriteValue(Columns[v.Column].Name, v.Column, v.Type, v.Payload.constData(), nullptr);
        s.WriteObjectEnd("Original");
      }
      s.WriteObjectEnd("Row");
    }
    s.WriteObjectEnd("TableRowList");
    s.WriteObjectEnd("Table");
    s.WriteObjectEnd("TableList");
    s.WriteObjectBegin("RelationList");
    s.WriteObjectEnd("RelationList");
    if (JournalRows > 0) {
      s.WriteObjectBegin("UpdatesJournal");
      for (int r = 0; r < JournalRows; ++r) {
        s.WriteObjectBegin("Change");
        s.WriteInteger("TabID", 0, -1);
        s.WriteLongWord("RowID", uint32_t(r), 0xFFFFFFFF);
        s.WriteLongWord("ChangeNumber", uint32_t(r), 0xFFFFFFFF);
        s.WriteObjectEnd("Change");
      }
      s.WriteObjectEnd("UpdatesJournal");
    }
    s.WriteObjectEnd("Manager");
    s.Close();
    return buffer.data();
  }
};

// The measurement table's columns with their own types.
std::vector<THostileDocument::TColumn> MeasurementColumns() {
  return {{"RecId", dtInt32},       {"Date", dtDate},        {"Time", dtTime}, {"Y", dtDouble},
          {"Underflow", dtBoolean}, {"Overflow", dtBoolean}, {"AC", dtInt32},  {"TI", dtInt32},
          {"RangeMin", dtInt16},    {"RangeMax", dtInt16}};
}

template <typename T>
QByteArray Raw(T v) {
  return QByteArray(reinterpret_cast<const char*>(&v), sizeof(T));
}

QString LoadError(TKvMemTable& table, const QByteArray& bytes) {
  try {
    LoadFromBytes(table, bytes);
  } catch (const EKvMemError& e) {
    return e.Message();
  }
  return QString();
}
}  // namespace

TEST(KvHostileDocument, HugeMinimumCapacityReservesLittleAndIsKeptForSaving) {
  THostileDocument doc;
  doc.MinimumCapacity = 0x7FFFFFFF;
  doc.Columns = MeasurementColumns();
  doc.Rows = 2;
  TKvMeasurementTable table;
  table.CreateDataSet();
  ASSERT_EQ(LoadError(table, doc.Bytes()), "");
  EXPECT_EQ(table.RecordCount(), 2);
  EXPECT_LT(table.MemoryBytes(), size_t(4) << 20);
  EXPECT_EQ(table.Table()->MinimumCapacity, 0x7FFFFFFF);
  // Recording into such a document reserves no more either.
  table.PostReading(WorkedExampleReading());
  EXPECT_LT(table.MemoryBytes(), size_t(4) << 20);
  TKvMeasurementTable again;
  LoadFromBytes(again, SaveToBytes(table));
  EXPECT_EQ(again.Table()->MinimumCapacity, 0x7FFFFFFF);
}

TEST(KvHostileDocument, WideRowsCostMemoryAsRowsArriveAndStopAtTheFilesWorth) {
  THostileDocument doc;
  doc.Columns = MeasurementColumns();
  for (int i = 0; i < 4000; ++i) doc.Columns.push_back({QString("W%1").arg(i), dtBCD});
  doc.Rows = 1;
  TKvMeasurementTable table;
  table.CreateDataSet();
  ASSERT_EQ(LoadError(table, doc.Bytes()), "");
  EXPECT_EQ(table.RecordCount(), 1);
  EXPECT_LT(table.MemoryBytes(), size_t(1) << 20);

  // Four thousand empty rows of 136 KB each: a file of 160 KB that claims 550 MB.
  doc.Rows = 4000;
  const QByteArray bytes = doc.Bytes();
  EXPECT_LT(bytes.size(), 200000);
  EXPECT_EQ(LoadError(table, bytes), "[KvMem][Store]-712. Cannot read [Original] object");
  EXPECT_FALSE(table.Active());
}

TEST(KvHostileDocument, ManyEmptyColumnsAndRowsLoadInTimeOfTheFile) {
  // 200,000 columns and 2,000 rows: a walk over every column per row would take a billion
  // steps; taking what is stored takes a few thousand.
  THostileDocument doc;
  doc.Columns = MeasurementColumns();
  for (int i = 0; i < 200000; ++i) doc.Columns.push_back({"E", dtUnknown});
  doc.Columns[50000] = {"Inner", dtInt32};  // indexes are stored in 16 bits
  doc.Rows = 2000;
  doc.Values = {{3, dtDouble, Raw(55.5)}, {50000, dtInt32, Raw<int32_t>(7)}};
  TKvMeasurementTable table;
  table.CreateDataSet();
  ASSERT_EQ(LoadError(table, doc.Bytes()), "");
  ASSERT_EQ(table.RecordCount(), 2000);
  table.First();
  EXPECT_EQ(table.FieldByName("Y").AsFloat(), 55.5);
  const TKvDatSTable& t = *table.Table();
  EXPECT_FALSE(t.IsNull(t.RowData(table.CurrentRowHandle()), 50000));
}

TEST(KvHostileDocument, ValuesOutOfOrderEndTheVersionAsTheWalkWould) {
  THostileDocument doc;
  doc.Columns = MeasurementColumns();
  doc.Rows = 1;
  // Y before Date: Date lies behind Y in the stored order, so the version ends at it.
  doc.Values = {{3, dtDouble, Raw(55.5)}, {1, dtDate, Raw<int32_t>(735000)}};
  TKvMeasurementTable table;
  EXPECT_EQ(LoadError(table, doc.Bytes()), "[KvMem][Store]-712. Cannot read [Original] object");
}

TEST(KvHostileDocument, ValuesTheFieldCannotHoldReadAsNull) {
  THostileDocument doc;
  doc.Columns = MeasurementColumns();
  doc.Columns[6].Type = dtDouble;  // AC
  doc.Columns[1].Type = dtDouble;  // Date
  doc.Columns[2].Type = dtInt64;   // Time
  doc.Columns[8].Type = dtDouble;  // RangeMin
  doc.Rows = 1;
  doc.Values = {{1, dtDouble, Raw(1e300)},
                {2, dtInt64, Raw<int64_t>(0x7FFFFFFFFFFFFF00)},
                {6, dtDouble, Raw(1e20)},
                {8, dtDouble, Raw(std::nan(""))}};
  TKvMeasurementTable table;
  ASSERT_EQ(LoadError(table, doc.Bytes()), "");
  table.First();
  for (const char* name : {"Date", "Time", "AC", "RangeMin"}) {
    TKvField& f = table.FieldByName(name);
    EXPECT_TRUE(f.IsNull()) << name;
    EXPECT_EQ(f.AsInteger(), 0) << name;
    EXPECT_EQ(f.AsDateTime(), 0) << name;
    EXPECT_EQ(f.AsString(), "") << name;
  }
  EXPECT_EQ(table.FieldByName("Freq").AsString(), "");
}

TEST(KvHostileDocument, NumbersBeyondACellsTypeAreRefusedOnEntry) {
  TKvMeasurementTable table;
  table.CreateDataSet();
  table.Append();
  EXPECT_THROW(table.FieldByName("RangeMin").SetAsFloat(1e9), EKvMemError);
  EXPECT_THROW(table.FieldByName("AC").SetAsFloat(std::nan("")), EKvMemError);
  EXPECT_THROW(table.FieldByName("Date").SetAsDateTime(1e300), EKvMemError);
  table.FieldByName("RangeMin").SetAsFloat(-32768);
  EXPECT_EQ(table.FieldByName("RangeMin").AsInteger(), -32768);
  table.Cancel();
}

TEST(KvHostileDocument, AJournalOfManyDeletedRowsMergesInOnePass) {
  THostileDocument doc;
  doc.Columns = MeasurementColumns();
  doc.Rows = 60000;
  doc.JournalRows = 50000;
  TKvMeasurementTable table;
  table.CreateDataSet();
  ASSERT_EQ(LoadError(table, doc.Bytes()), "");
  EXPECT_EQ(table.ChangeCount(), 50000);
  table.MergeChangeLog();
  EXPECT_EQ(table.ChangeCount(), 0);
  EXPECT_EQ(table.RecordCount(), 10000);
  EXPECT_EQ(table.Table()->RowCount(), 10000);
}

// The fuzzer's seed documents (as the program writes them, of every stored version) load and
// save to the same bytes; inputs it once choked on stay here as regressions and must load or
// fail with the engine's text.
TEST(KvHostileDocument, SeedDocumentsRoundTripAndFindingsStayHarmless) {
  const QDir corpus(LVX_FUZZ_DIR "/corpus");
  const QStringList seeds = corpus.entryList(QDir::Files);
  ASSERT_GE(seeds.size(), 5);
  for (const QString& name : seeds) {
    QFile f(corpus.filePath(name));
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    const QByteArray bytes = f.readAll();
    TKvMeasurementTable table;
    ASSERT_EQ(LoadError(table, bytes), "") << name.toStdString();
    table.StoreVersion = int(uint8_t(bytes[4]));
    EXPECT_EQ(SaveToBytes(table), bytes) << name.toStdString();
  }
  const QDir findings(LVX_FUZZ_DIR "/regressions");
  for (const QString& name : findings.entryList(QDir::Files)) {
    QFile f(findings.filePath(name));
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    TKvMeasurementTable table;
    LoadError(table, f.readAll());
  }
}
