// Readings posted to the measurement table while recording: which are kept, how the row is
// filled, the time range and the document flags. The table's own machinery is tested with
// the documents.
#include "InstrumentFixture.h"

class RecordingTest : public InstrumentTest {
 protected:
  TKvUniqueData Reading() {
    Receive(WorkedRecord());
    return Deliveries.back().Data;
  }
  int Field(const char* name) { return Commander->KvMemTableData.FieldByName(name).AsInteger(); }
};

TEST_F(RecordingTest, InvalidOrDisconnectedReadingsLeaveNoTrace) {
  QString cap;
  Commander->DoConnect(true, cap);
  const TDateTime min = Commander->dtMinTime(), max = Commander->dtMaxTime();
  TKvUniqueData invalid = Reading(), lost = Reading();
  invalid.bValid = false;
  lost.bConnected = false;
  Commander->AddData(invalid);
  Commander->AddData(lost);
  EXPECT_EQ(Commander->KvMemTableData.RecordCount(), 0);
  EXPECT_EQ(Commander->dtMinTime(), min);
  EXPECT_EQ(Commander->dtMaxTime(), max);
  EXPECT_FALSE(Services.Modified);
  EXPECT_FALSE(Services.Loaded);
}

TEST_F(RecordingTest, APostedReadingFillsTheRowAndMarksTheDocument) {
  QString cap;
  Commander->DoConnect(true, cap);
  TKvUniqueData d = Reading();
  Commander->AddData(d);
  ASSERT_EQ(Commander->KvMemTableData.RecordCount(), 1);
  TKvMemTable& t = Commander->KvMemTableData;
  EXPECT_EQ(t.FieldByName("Date").AsDateTime(), EncodeDate(2011, 6, 15));
  EXPECT_NEAR(t.FieldByName("Time").AsDateTime(), EncodeTime(14, 30, 5, 0), 1e-9);
  EXPECT_DOUBLE_EQ(t.FieldByName("Y").AsFloat(), 65.3);
  EXPECT_EQ(Field("RangeMin"), 50);
  EXPECT_EQ(Field("RangeMax"), 100);
  EXPECT_EQ(Field("AC"), 1);
  EXPECT_EQ(Field("TI"), 1);
  const TDateTime stamp = EncodeDate(2011, 6, 15) + EncodeTime(14, 30, 5, 0);
  EXPECT_NEAR(Commander->dtMinTime(), stamp, 1e-9);
  EXPECT_NEAR(Commander->dtMaxTime(), stamp, 1e-9);
  EXPECT_TRUE(Services.Modified);
  EXPECT_TRUE(Services.Loaded);
}

TEST_F(RecordingTest, WeightingCodesFollowTheFlagsInTheirOrder) {
  struct {
    bool A, C, Slow, Fast;
    int AC, TI;
  } cases[] = {{true, false, true, false, 1, 1},
               {false, true, false, true, 2, 2},
               {false, false, false, false, 0, 0},
               {true, true, true, true, 1, 1}};
  int second = 0;
  for (const auto& c : cases) {
    TKvUniqueData d = Reading();
    d.bA = c.A;
    d.bC = c.C;
    d.bSlow = c.Slow;
    d.bFast = c.Fast;
    d.dtTime += ++second / 86400.0;  // a newer second each time, so the new row is the first
    Commander->AddData(d);
    EXPECT_EQ(Field("AC"), c.AC);
    EXPECT_EQ(Field("TI"), c.TI);
  }
}
