// The document file: the worked example byte for byte, reading it back, the name
// dictionary, format selection, older versions, and damaged files. The table's own
// behaviour is covered by KvMemTableTest and KvMeasurementTableTest.
#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>
#include <functional>

#include "DocumentsTestUtil.h"
#include "KvStorage.h"
#include "KvXMLStorage.h"

namespace {
QString LoadError(const QByteArray& bytes, TKvMeasurementTable& table) {
  try {
    LoadFromBytes(table, bytes);
  } catch (const EKvMemError& e) {
    return e.Message();
  }
  return QString();
}

}  // namespace

TEST(KvDocumentFile, WorkedExampleComesOutByteForByte) {
  TKvMeasurementTable table;
  table.CreateDataSet();
  table.PostReading(WorkedExampleReading());
  const QByteArray expected = WorkedExampleFile();
  ASSERT_EQ(expected.size(), 1189);
  EXPECT_EQ(SaveToBytes(table).toHex(' '), expected.toHex(' '));

  QTemporaryDir dir;
  const QString path = dir.filePath("doc.dat");
  table.SaveToFile(path, 2);
  QFile f(path);
  ASSERT_TRUE(f.open(QIODevice::ReadOnly));
  EXPECT_EQ(f.readAll(), expected);
}

TEST(KvDocumentFile, WorkedExampleReadsBackWithAnyHeaderPadding) {
  QByteArray bytes = WorkedExampleFile();
  bytes[6] = char(0xAB);
  bytes[7] = char(0xCD);
  TKvMeasurementTable table;
  table.CreateDataSet();
  LoadFromBytes(table, bytes);
  ASSERT_TRUE(table.Active());
  ASSERT_EQ(table.RecordCount(), 1);
  table.First();
  const TKvDatSRow& row = table.Table()->Row(table.CurrentRowHandle());
  EXPECT_EQ(row.RowID, 0u);
  EXPECT_EQ(row.RowState, rsUnchanged);
  EXPECT_TRUE(table.FieldByName("RecId").IsNull());
  EXPECT_EQ(table.FieldByName("Date").AsDateTime(), EncodeDate(2015, 6, 11));
  EXPECT_EQ(table.FieldByName("Time").AsInteger(), 52205000);
  EXPECT_EQ(table.FieldByName("Y").AsFloat(), 65.3);
  EXPECT_EQ(table.FieldByName("RangeMax").AsInteger(), 100);
  EXPECT_EQ(table.FieldByName("Freq").AsString(), "A");
  EXPECT_EQ(table.FieldByName("sTime").AsString(), "FAST");
  EXPECT_EQ(table.DatSManager().Updates().ChangeNumber(), 1u);
  // Saving what was loaded gives the same document again.
  EXPECT_EQ(SaveToBytes(table), WorkedExampleFile());
}

TEST(KvDocumentFile, NullValueHasNoBytesAndReadsBackNull) {
  TKvMeasurementTable table;
  table.CreateDataSet();
  table.Append();
  table.FieldByName("Date").SetAsDateTime(EncodeDate(2015, 6, 11));
  table.FieldByName("Time").SetAsDateTime(EncodeTime(1, 2, 3, 0));
  table.FieldByName("AC").SetAsInteger(2);
  table.Post();
  const QByteArray bytes = SaveToBytes(table);
  // Column 2 runs straight into column 6.
  EXPECT_TRUE(bytes.contains(QByteArray::fromHex("0200") + Le(3723000, 4) + Le(6, 2)));
  TKvMeasurementTable back;
  back.CreateDataSet();
  LoadFromBytes(back, bytes);
  EXPECT_TRUE(back.FieldByName("Y").IsNull());
  EXPECT_TRUE(back.FieldByName("Underflow").IsNull());
  EXPECT_EQ(back.FieldByName("AC").AsInteger(), 2);
}

TEST(KvDocumentFile, EmptyTableKeepsSchemaAndSavePoint) {
  TKvMeasurementTable table;
  table.CreateDataSet();
  table.PostReading(WorkedExampleReading());
  table.Delete();
  const QByteArray bytes = SaveToBytes(table);
  EXPECT_TRUE(bytes.contains(QByteArray::fromHex("FF18FE")));  // TableRowList, empty
  TKvMeasurementTable back;
  back.CreateDataSet();
  LoadFromBytes(back, bytes);
  EXPECT_TRUE(back.Active());
  EXPECT_EQ(back.RecordCount(), 0);
  EXPECT_EQ(back.Table()->Columns.Count(), 10);
  EXPECT_GE(back.DatSManager().Updates().ChangeNumber(), 1u);
}

TEST(KvDocumentFile, OlderVersionsRoundTrip) {
  for (int version : {3, 4, 5, 6, 7}) {
    SCOPED_TRACE(version);
    TKvMeasurementTable table;
    table.CreateDataSet();
    table.StoreVersion = version;
    for (int i = 0; i < 3; ++i) table.PostReading(Reading(i, 60 + i));
    const QByteArray bytes = SaveToBytes(table);
    EXPECT_EQ(bytes.contains(U16("DatSRow")), version == 3 || version == 4);
    EXPECT_EQ(bytes.contains(U16("rsUnchanged")), version >= 5);
    TKvMeasurementTable back;
    back.CreateDataSet();
    LoadFromBytes(back, bytes);
    back.SetIndexName(TKvMeasurementTable::IndexAscName);
    back.First();
    ASSERT_EQ(back.RecordCount(), 3);
    for (int i = 0; i < 3; ++i, back.Next()) {
      EXPECT_EQ(back.FieldByName("Y").AsFloat(), 60 + i);
      EXPECT_EQ(back.FieldByName("sTime").AsString(), "FAST");
    }
  }
}

TEST(KvDocumentFile, DamagedFilesEndInTheirErrorAndLeaveTheTableClosed) {
  const QByteArray good = WorkedExampleFile();
  struct Case {
    const char* What;
    std::function<QByteArray()> Make;
    QString Error;
  };
  const Case cases[] = {
      {"wrong magic", [&] { return QByteArray("ADBX") + good.mid(4); },
       "[KvMem][Store]-710. Invalid binary storage"},
      {"11 bytes", [&] { return good.left(11); }, "[KvMem][Store]-710. Invalid binary storage"},
      {"dictionary offset past the end",
       [&] { return QByteArray(good).replace(8, 4, Le(5000, 4)); },
       "[KvMem][Store]-712. Cannot read [Manager] object"},
      {"unknown object name",
       [&] {
         QByteArray b = good;
         const int at = b.indexOf(U16("TableList"));
         return b.replace(at, 18, U16("TableLisX"));
       },
       "[KvMem][Store]-715. Class [TableLisX] is not registered"},
      {"property of another version",
       [] {
         // CheckReadOnly of a table exists from version 6 on; a version 5 reader leaves it
         // in place and then misses the column list.
         TKvMeasurementTable t;
         t.UpdateOptions.CheckReadOnly = false;
         t.CreateDataSet();
         QByteArray b = SaveToBytes(t);
         return b.replace(4, 2, Le(5, 2));
       },
       "[KvMem][Store]-712. Cannot read [ColumnList] object"},
      {"string longer than the file",
       [&] { return QByteArray(good).replace(0x17, 4, Le(0x7FFFFFFF, 4)); }, "Stream read error"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.What);
    TKvMeasurementTable table;
    table.CreateDataSet();
    table.PostReading(WorkedExampleReading());
    EXPECT_EQ(LoadError(c.Make(), table), c.Error);
    EXPECT_FALSE(table.Active());
    EXPECT_EQ(table.RecordCount(), 0);
  }
}

TEST(KvDocumentFile, EveryTruncationFailsCleanly) {
  const QByteArray good = WorkedExampleFile();
  TKvMeasurementTable table;
  for (int len = 0; len < good.size(); ++len) {
    table.CreateDataSet();
    const QString error = LoadError(good.left(len), table);
    ASSERT_TRUE(error.startsWith("[KvMem][Store]-71")) << len << " " << error.toStdString();
    ASSERT_FALSE(table.Active()) << len;
  }
}

TEST(KvDocumentFile, FieldMissingFromTheDocumentFailsTheBinding) {
  QByteArray bytes = WorkedExampleFile();
  const int at = bytes.indexOf(U16("RangeMax"));
  bytes.replace(at, 16, U16("RangeMaX").replace(14, 2, U16("Q")));
  TKvMeasurementTable table;
  table.CreateDataSet();
  EXPECT_EQ(LoadError(bytes, table), "KvMemTableData: Field 'RangeMax' not found");
  EXPECT_FALSE(table.Active());
}

TEST(KvBinStorage, NamesDifferingByCaseShareOneNumber) {
  QBuffer buffer;
  buffer.open(QIODevice::WriteOnly);
  TKvBinStorage out;
  out.Open(TKvStorageMode::smWrite, &buffer);
  out.WriteObjectBegin("Manager");
  out.WriteInteger("Time", 1, 0);
  out.WriteInteger("TIME", 2, 0);
  out.WriteObjectEnd("Manager");
  out.Close();
  const QByteArray bytes = buffer.data();
  EXPECT_FALSE(bytes.contains(U16("TIME")));
  buffer.close();
  buffer.open(QIODevice::ReadOnly);
  TKvBinStorage in;
  in.Open(TKvStorageMode::smRead, &buffer);
  EXPECT_EQ(in.ReadObjectBegin("manager"), "manager");
  EXPECT_EQ(in.ReadInteger("time", 0), 1);
  EXPECT_EQ(in.ReadInteger("Time", 0), 2);
  EXPECT_EQ(in.ReadInteger("Time", 7), 7);
  in.ReadObjectEnd("Manager");
}

TEST(KvBinStorage, FillerNamesGuardTheMarkersAndOverflowIsAnError) {
  QBuffer buffer;
  buffer.open(QIODevice::WriteOnly);
  TKvBinStorage out;
  out.Open(TKvStorageMode::smWrite, &buffer);
  out.WriteObjectBegin("Root");
  for (int i = 1; i < 300; ++i) out.WriteInteger(QString("P%1").arg(i), i, 0);
  out.WriteObjectEnd("Root");
  out.Close();
  buffer.close();
  buffer.open(QIODevice::ReadOnly);
  TKvBinStorage in;
  in.Open(TKvStorageMode::smRead, &buffer);
  in.ReadObjectBegin("Root");
  for (int i = 1; i < 300; ++i) ASSERT_EQ(in.ReadInteger(QString("P%1").arg(i), 0), i) << i;
  in.ReadObjectEnd("Root");
  const QByteArray bytes = buffer.data();
  EXPECT_TRUE(bytes.contains(Le(10, 2) + U16("<end>") + Le(14, 2) + U16("<begin>")));

  QBuffer big;
  big.open(QIODevice::WriteOnly);
  TKvBinStorage many;
  many.Open(TKvStorageMode::smWrite, &big);
  try {
    for (int i = 0; i < 70000; ++i) many.WriteInteger(QString::number(i), 1, 0);
    FAIL() << "no overflow";
  } catch (const EKvStorageError& e) {
    EXPECT_EQ(e.Message(), "[KvMem][Store]-714. Dictionary overflow");
  }
}

TEST(KvStorageManager, PicksTheClassByExtensionThenFormat) {
  TKvStorageManager& m = TKvStorageManager::Instance();
  for (const char* name : {"x.xml", "x.XML"})
    EXPECT_NE(dynamic_cast<TKvXMLStorage*>(m.GetStorage(name, 0).get()), nullptr) << name;
  EXPECT_NE(dynamic_cast<TKvXMLStorage*>(m.GetStorage("x.dat", 1).get()), nullptr);
  for (const char* name : {"x.bin", "x.DAT", "x.adb", "x.txt", "x"})
    EXPECT_NE(dynamic_cast<TKvBinStorage*>(m.GetStorage(name, 0).get()), nullptr) << name;
  EXPECT_NE(dynamic_cast<TKvBinStorage*>(m.GetStorage("x.xml", 2).get()), nullptr);
  try {
    m.GetStorage("x.dat", 9);
    FAIL();
  } catch (const EKvStorageError& e) {
    EXPECT_EQ(e.Message(), "[KvMem][Store]-716. Unknown storage format []");
  }
}

TEST(KvDocumentFile, PendingChangesTravelWithTheJournal) {
  TKvMeasurementTable table;
  table.CachedUpdates = true;
  table.CreateDataSet();
  table.PostReading(Reading(1, 61));
  table.PostReading(Reading(2, 62));
  const QByteArray bytes = SaveToBytes(table);
  EXPECT_TRUE(bytes.contains(U16("Current")));
  EXPECT_TRUE(bytes.contains(U16("Change")));
  TKvMeasurementTable back;
  back.CachedUpdates = true;
  back.CreateDataSet();
  LoadFromBytes(back, bytes);
  EXPECT_EQ(back.ChangeCount(), 2);
  back.First();
  EXPECT_EQ(back.Table()->Row(back.CurrentRowHandle()).RowState, rsInserted);
  EXPECT_EQ(back.FieldByName("Y").AsFloat(), 62);
  back.MergeChangeLog();
  EXPECT_EQ(back.ChangeCount(), 0);
  EXPECT_EQ(back.Table()->Row(back.CurrentRowHandle()).RowState, rsUnchanged);
}

TEST(KvDocumentFile, TableOfAnotherNameArrivesBesideAndIsIgnored) {
  QByteArray bytes = WorkedExampleFile();
  const int at = bytes.indexOf(U16("KvMemTableData"));
  bytes.replace(at, 28, U16("OtherTableData"));
  TKvMeasurementTable table;
  table.CreateDataSet();
  LoadFromBytes(table, bytes);
  EXPECT_EQ(table.DatSManager().TableCount(), 2);
  EXPECT_EQ(table.RecordCount(), 0);
  EXPECT_EQ(table.DatSManager().Table(1).RowCount(), 1);
}

TEST(KvDocumentFile, UnknownEnumerationValueIsAPropertyError) {
  QByteArray bytes = WorkedExampleFile();
  const int at = bytes.indexOf(U16("rsUnchanged"));
  bytes.replace(at, 22, U16("rsUnchangeX"));
  TKvMeasurementTable table;
  table.CreateDataSet();
  EXPECT_EQ(LoadError(bytes, table), "[KvMem][Store]-711. Cannot read [RowState] property");
}
