// The table engine: the double-ended row list, sorted insertion against a full sort, the
// row-number tie-break in both directions, NULL order, the float tolerance, versions and
// the journal. File bytes are KvStorageTest's.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "DocumentsTestUtil.h"
#include "KvDatSRowList.h"

namespace {
// A dataset with one sorted column of the given type and both index directions.
class TOneColumn : public TKvMemTable {
 public:
  explicit TOneColumn(TKvFieldType type) : TKvMemTable("T") {
    AddField("K", type);
    IndexDefs = {{"ASC", "K", false}, {"DESC", "K", true}};
    CreateDataSet();
  }
  void Add(std::optional<double> key) {
    Append();
    if (key) FieldByName("K").SetAsFloat(*key);
    Post();
  }
  std::vector<uint32_t> RowIDs(const QString& index) {
    SetIndexName(index);
    std::vector<uint32_t> ids;
    for (First(); !Eof(); Next()) ids.push_back(Table()->Row(CurrentRowHandle()).RowID);
    return ids;
  }
};
}  // namespace

TEST(KvDatSRowList, MatchesAPlainVectorUnderRandomEdits) {
  std::mt19937 rng(7);
  TKvDatSRowList list;
  std::vector<uint32_t> model;
  for (int step = 0; step < 20000; ++step) {
    const bool insert = model.empty() || rng() % 3 != 0;
    const int pos = model.empty() ? 0 : int(rng() % (model.size() + (insert ? 1 : 0)));
    if (insert) {
      list.Insert(pos, step);
      model.insert(model.begin() + pos, step);
    } else {
      list.Delete(pos);
      model.erase(model.begin() + pos);
    }
  }
  ASSERT_EQ(list.Count(), int(model.size()));
  EXPECT_TRUE(std::equal(model.begin(), model.end(), list.begin()));
  EXPECT_EQ(list.IndexOf(model[model.size() / 2]), int(model.size() / 2));
}

TEST(KvDatSView, SortedInsertionEqualsFullSortWithRowIDTieBreak) {
  // Integer keys are sorted through extracted keys, float keys by the comparator.
  for (TKvFieldType type : {TKvFieldType::ftInteger, TKvFieldType::ftFloat}) {
    TOneColumn t(type);
    std::mt19937 rng(3);
    std::vector<std::pair<int, uint32_t>> expected;
    for (uint32_t id = 0; id < 2000; ++id) {
      const int key = int(rng() % 50);
      t.Add(key);
      expected.push_back({key, id});
    }
    std::sort(expected.begin(), expected.end());
    std::vector<uint32_t> asc;
    for (auto& e : expected) asc.push_back(e.second);
    EXPECT_EQ(t.RowIDs("ASC"), asc);
    // Descending reverses the keys only: equal keys stay in arrival order.
    std::stable_sort(expected.begin(), expected.end(),
                     [](auto& a, auto& b) { return a.first > b.first; });
    std::vector<uint32_t> desc;
    for (auto& e : expected) desc.push_back(e.second);
    EXPECT_EQ(t.RowIDs("DESC"), desc);
    // The full sort of a rebuild agrees with insertion.
    t.Table()->View(0).Rebuild();
    t.Table()->View(1).Rebuild();
    EXPECT_EQ(t.RowIDs("ASC"), asc);
    EXPECT_EQ(t.RowIDs("DESC"), desc);
  }
}

TEST(KvDatSView, NullsComeFirstAscendingAndLastDescending) {
  TOneColumn t(TKvFieldType::ftInteger);
  t.Add(5);
  t.Add(std::nullopt);
  t.Add(-3);
  EXPECT_EQ(t.RowIDs("ASC"), (std::vector<uint32_t>{1, 2, 0}));
  EXPECT_EQ(t.RowIDs("DESC"), (std::vector<uint32_t>{0, 2, 1}));
}

TEST(KvDatSView, DoublesWithinTheToleranceCompareEqual) {
  TOneColumn t(TKvFieldType::ftFloat);
  t.Add(1.0 + 5e-14);
  t.Add(1.0);          // equal within 1e-13: stays behind by row number
  t.Add(1.0 - 1e-12);  // really smaller
  EXPECT_EQ(t.RowIDs("ASC"), (std::vector<uint32_t>{2, 0, 1}));
  EXPECT_EQ(t.RowIDs("DESC"), (std::vector<uint32_t>{0, 1, 2}));
}

TEST(KvMemTable, PostAcceptsAtOnceAndTheJournalNumberKeepsRising) {
  TOneColumn t(TKvFieldType::ftInteger);
  for (int i = 0; i < 3; ++i) t.Add(i);
  const TKvDatSRow& row = t.Table()->Row(t.Table()->Rows()[2]);
  EXPECT_EQ(row.RowState, rsUnchanged);
  EXPECT_NE(row.Original, KvNoBuffer);
  EXPECT_EQ(row.Current, KvNoBuffer);
  EXPECT_EQ(row.Proposed, KvNoBuffer);
  EXPECT_EQ(row.ChangeNumber, KvNoRowID);
  EXPECT_EQ(row.RowPriorState, rsDetached);
  EXPECT_EQ(t.ChangeCount(), 0);
  EXPECT_EQ(t.DatSManager().Updates().ChangeNumber(), 3u);
}

TEST(KvMemTable, CachedUpdatesKeepRowsInsertedUntilMerged) {
  TOneColumn t(TKvFieldType::ftInteger);
  t.CachedUpdates = true;
  t.Add(1);
  t.Add(2);
  EXPECT_EQ(t.ChangeCount(), 2);
  EXPECT_EQ(t.Table()->Row(t.Table()->Rows()[0]).RowState, rsInserted);
  EXPECT_EQ(t.Table()->Row(t.Table()->Rows()[1]).ChangeNumber, 1u);
  t.MergeChangeLog();
  EXPECT_EQ(t.ChangeCount(), 0);
  EXPECT_EQ(t.Table()->Row(t.Table()->Rows()[0]).RowState, rsUnchanged);
  // An inserted row that is deleted leaves at once and takes no journal entry.
  t.Add(3);
  t.SetIndexName("DESC");
  t.First();
  t.Delete();
  EXPECT_EQ(t.RecordCount(), 2);
  EXPECT_EQ(t.ChangeCount(), 0);
}

TEST(KvMemTable, DeletingFromTheFirstRowEmptiesBothViews) {
  TOneColumn t(TKvFieldType::ftInteger);
  for (int i = 0; i < 100; ++i) t.Add(i % 7);
  t.SetIndexName("DESC");
  for (t.First(); t.RecordCount() > 0;) t.Delete();
  EXPECT_EQ(t.Table()->RowCount(), 0);
  EXPECT_EQ(t.Table()->View(0).Rows().Count(), 0);
  EXPECT_EQ(t.DatSManager().Updates().ChangeNumber(), 200u);  // 100 inserts, 100 deletes
}

TEST(KvMemTable, LoadedRowsKeepTheirRowIDsAndNewOnesFollowTheCounter) {
  TOneColumn t(TKvFieldType::ftInteger);
  for (int i = 0; i < 3; ++i) t.Add(i);
  t.SetIndexName("ASC");
  t.First();
  t.Delete();  // RowIDs 1 and 2 remain
  const QByteArray bytes = SaveToBytes(t);
  TOneColumn back(TKvFieldType::ftInteger);
  LoadFromBytes(back, bytes);
  EXPECT_EQ(back.RowIDs("ASC"), (std::vector<uint32_t>{1, 2}));
  back.Add(9);  // the counter advanced once per loaded row: this row is number 2 again
  EXPECT_EQ(back.RowIDs("ASC"), (std::vector<uint32_t>{1, 2, 2}));
}

TEST(KvMemTable, ClosingDropsTheRowsAndControlsBatchTheirNotice) {
  TOneColumn t(TKvFieldType::ftInteger);
  int notices = 0;
  t.OnDataEvent = [&](TKvDataEvent, int) { ++notices; };
  t.DisableControls();
  for (int i = 0; i < 5; ++i) t.Add(i);
  EXPECT_EQ(notices, 0);
  t.EnableControls();
  EXPECT_EQ(notices, 1);
  t.Close();
  t.Open();
  EXPECT_EQ(t.RecordCount(), 0);
}
