// Rows in bulk against the walk of properties: the same bytes written for every fixed-size
// column type, NULL cell, row shape and format version, and the same outcome read from every
// damaged variant of such a document.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "KvRowsInBulk.h"

namespace {
// Bytes put into a document's body; the dictionary behind it moves along.
QByteArray Inserted(const QByteArray& document, int at, const QByteArray& bytes) {
  QByteArray out = QByteArray(document).insert(at, bytes);
  uint32_t dictionary;
  std::memcpy(&dictionary, out.constData() + 8, 4);
  dictionary += uint32_t(bytes.size());
  std::memcpy(out.data() + 8, &dictionary, 4);
  return out;
}

// A table with a column of every type whose values have a fixed size, and rows of every
// shape: any set of versions, any state, NULL cells, no row number.
class KvRowsInBulk : public ::testing::Test {
 protected:
  void SetUp() override {
    std::vector<TKvDataType> types;
    for (int type = 0; type < KvDataTypeCount; ++type)
      if (!KvDataTypeIsVariable(TKvDataType(type)) && type != dtBCD && type != dtFmtBCD)
        types.push_back(TKvDataType(type));
    Build(types, {0, 1, 2, 3, 4, 5, 6});
  }

  void Build(const std::vector<TKvDataType>& types, const std::vector<int>& shapeNumbers) {
    if (Manager.TableCount() > 0) Manager.RemoveTable(Manager.Table(0));
    TKvDatSTable& t = Manager.AddTable("Readings");
    for (TKvDataType type : types) t.Columns.Add(QString("C%1").arg(type), type);
    t.UpdateLayout();
    struct TShape {
      TKvDatSRowState State, Prior;
      bool Versions[3];
      int NullEvery;
      bool NoRowID = false;
    };
    const TShape shapes[] = {{rsUnchanged, rsDetached, {true, false, false}, 0},
                             {rsInserted, rsDetached, {false, true, false}, 3},
                             {rsModified, rsUnchanged, {true, true, false}, 2},
                             {rsDeleted, rsUnchanged, {true, false, false}, 1},
                             {rsEditing, rsInserted, {false, false, true}, 5, true},
                             {rsUnchanged, rsDetached, {false, false, false}, 0},
                             {rsModified, rsEditing, {true, true, true}, 4}};
    int seed = 0;
    for (int number : shapeNumbers) {
      const TShape& shape = shapes[number];
      const uint32_t h = t.NewRow();
      t.AttachRow(h);
      TKvDatSRow& r = t.Row(h);
      t.FreeBuffer(r.Current);
      uint32_t* versions[3] = {&r.Original, &r.Current, &r.Proposed};
      for (int v = 0; v < 3; ++v)
        *versions[v] = shape.Versions[v] ? Filled(t, ++seed, shape.NullEvery) : KvNoBuffer;
      r.RowState = shape.State;
      r.RowPriorState = shape.Prior;
      if (shape.NoRowID) r.RowID = KvNoRowID;
    }
  }

  static uint32_t Filled(TKvDatSTable& t, int seed, int nullEvery) {
    const uint32_t buffer = t.NewBuffer();
    uint8_t* buf = t.Buffer(buffer);
    for (int i = 0; i < t.Columns.Count(); ++i) {
      if (t.Columns[i].DataType() == dtUnknown || (nullEvery && (i + seed) % nullEvery == 0))
        continue;
      for (int j = 0; j < KvDataTypeInlineSize(t.Columns[i].DataType()); ++j)
        t.Cell(buf, i)[j] = uint8_t(seed * 31 + i * 7 + j);
      t.SetNull(buf, i, false);
    }
    return buffer;
  }

  TKvDatSManager Manager;
};

TEST_F(KvRowsInBulk, WriteTheWalksBytesInEveryVersion) {
  for (int version : {3, 4, 5, 6, 7}) {
    const QByteArray walk = KvSaveManager(Manager, false, version);
    EXPECT_EQ(KvSaveManager(Manager, true, version).toHex(), walk.toHex()) << version;
    EXPECT_EQ(KvLoadOutcome(walk, true), KvLoadOutcome(walk, false)) << version;
  }
}

TEST_F(KvRowsInBulk, ReadDamagedRowsAsTheWalkDoes) {
  // Every size of value, a column never stored, and the shapes with the most parts. Each
  // byte of the rows is damaged, the two before it repeated there, and the document cut there;
  // an object the bulk reader does not take is put anywhere in the first row.
  Build({dtUnknown, dtBoolean, dtSByte, dtInt32, dtDouble, dtExtended, dtGUID, dtRowRef,
         dtTimeIntervalDS},
        {2, 4, 6});
  QByteArray documents[2];
  for (int i = 0; i < 2; ++i) documents[i] = KvSaveManager(Manager, false, i == 0 ? 4 : 7);
  // The rows start where the document parts from the one of the same table without rows.
  Manager.Table(0).ClearRows();
  for (int i = 0; i < 2; ++i) {
    const QByteArray& document = documents[i];
    const QByteArray empty = KvSaveManager(Manager, false, i == 0 ? 4 : 7);
    auto same = [](const QByteArray& bytes, const std::string& what) {
      ASSERT_EQ(KvLoadOutcome(bytes, true), KvLoadOutcome(bytes, false)) << what;
    };
    int rows = 12;
    while (document[rows] == empty[rows]) ++rows;
    for (int at = rows; at < document.size(); ++at) {
      // Markers, and a bit of a number or a value, in turn.
      const int values[] = {0xFE, 0xFF, uint8_t(document[at]) ^ 0x04};
      QByteArray bytes = document;
      bytes[at] = char(values[at % 3]);
      const std::string where = std::to_string(i) + " at " + std::to_string(at);
      same(bytes, "damage " + where);
      same(Inserted(document, at, document.mid(at - 2, 2)), "repeat " + where);
      same(document.left(at), "cut " + where);
    }
    // The dictionary runs to the end of the file: one more name, and its number.
    uint32_t dictionary;
    std::memcpy(&dictionary, document.constData() + 8, 4);
    int names = 0;
    for (qsizetype p = dictionary; p < document.size();
         p += 2 + (uint8_t(document[p]) | uint8_t(document[p + 1]) << 8))
      ++names;
    QByteArray named = document;
    named.append(char(18)).append('\0').append(reinterpret_cast<const char*>(u"Exception"), 18);
    for (int at = rows; at < rows + 80; ++at)
      same(Inserted(named, at, QByteArray(1, char(0xFF)) + char(names)),
           "object in " + std::to_string(i) + " at " + std::to_string(at));
  }
}

// Counts what goes in bulk, so that the comparisons above are known to compare two ways.
class TCountingStorage : public TKvBinStorage {
 public:
  int Taken = 0;
  bool Written = false;
  int ReadRows(const TKvRowLayout& layout, const TRowTaker& take) override {
    const int taken = TKvBinStorage::ReadRows(layout, take);
    Taken += taken;
    return taken;
  }
  bool WriteRows(const TKvRowLayout& layout, int count, const TRowGiver& row) override {
    Written = TKvBinStorage::WriteRows(layout, count, row);
    return Written;
  }
};

struct TBulkUse {
  bool Written;
  int Taken;
};
TBulkUse BulkUse(const TKvDatSManager& manager, int version) {
  TCountingStorage out;
  out.SetStoreVersion(version);
  QBuffer buffer;
  buffer.open(QIODevice::WriteOnly);
  out.Open(TKvStorageMode::smWrite, &buffer);
  manager.Save(out);
  out.Close();
  buffer.close();
  buffer.open(QIODevice::ReadOnly);
  TCountingStorage in;
  in.Open(TKvStorageMode::smRead, &buffer);
  TKvDatSManager loaded;
  loaded.Load(in);
  return {out.Written, in.Taken};
}

TEST_F(KvRowsInBulk, GoInBulkFromVersionFourOnForFixedSizeColumnsOnly) {
  for (int version : {4, 7}) {
    const TBulkUse use = BulkUse(Manager, version);
    EXPECT_TRUE(use.Written);
    EXPECT_EQ(use.Taken, 7);
  }
  const TBulkUse old = BulkUse(Manager, 3);
  EXPECT_FALSE(old.Written);
  EXPECT_EQ(old.Taken, 0);

  TKvDatSTable& t = Manager.Table(0);
  t.ClearRows();
  t.Columns.Add("Amount", dtBCD);
  t.UpdateLayout();
  t.AttachRow(t.NewRow());
  const TBulkUse withBcd = BulkUse(Manager, 7);
  EXPECT_FALSE(withBcd.Written);
  EXPECT_EQ(withBcd.Taken, 0);
}
}  // namespace
