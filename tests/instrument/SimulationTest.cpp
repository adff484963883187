// The simulated instrument: a true record through the decoder once a tick, a square wave of
// levels by the minute, and the date its day-first digits give.
#include "InstrumentFixture.h"

class SimulationTest : public InstrumentTest {};

TEST_F(SimulationTest, LevelBandsFollowTheSecondsOfTheClock) {
  struct {
    int Second;
    double Lo, Hi;
  } cases[] = {{0, 40.0, 44.9}, {30, 40.0, 44.9}, {31, 70.0, 74.9}, {59, 70.0, 74.9}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Second);
    Clock.SetNow(EncodeDate(2026, 11, 23) + EncodeTime(10, 0, c.Second, 0));
    for (int i = 0; i < 40; ++i) {
      Deliveries.clear();
      Commander->DoSimulateTick();
      ASSERT_EQ(Deliveries.size(), 1u);
      EXPECT_GE(Deliveries[0].Data.dVal, c.Lo);
      EXPECT_LE(Deliveries[0].Data.dVal, c.Hi + 1e-9);
    }
  }
}

TEST_F(SimulationTest, RecordsAreLiveValidAndDatedTwelfthJanuary2001) {
  Clock.SetNow(EncodeDate(2026, 11, 23) + EncodeTime(14, 5, 9, 700));
  Commander->DoSimulateTick();
  ASSERT_EQ(Deliveries.size(), 1u);
  const TKvUniqueData& d = Deliveries[0].Data;
  EXPECT_TRUE(d.bLive && d.bValid && d.bA && d.bSlow && d.bTimeValid && d.bConnected);
  EXPECT_EQ(d.dLo, 30.0);
  EXPECT_EQ(d.dHi, 80.0);
  EXPECT_EQ(d.dtDate, EncodeDate(2001, 1, 12));
  EXPECT_NEAR(d.dtTime, EncodeTime(14, 5, 9, 0), 1e-12);
  EXPECT_TRUE(Deliveries[0].strData.section("\r\n", 1).endsWith("01.01.12 14:05:09 "));
  EXPECT_TRUE(FlushedTexts().isEmpty());  // no decoder complaint, ever
}

TEST_F(SimulationTest, DateOverrideGivesTheOverrideDateAndTheClockTime) {
  Commander->SetDateMeter(EncodeDate(2024, 5, 1));
  Clock.SetNow(EncodeDate(2026, 11, 23) + EncodeTime(8, 1, 2, 0));
  Commander->DoSimulateTick();
  ASSERT_EQ(Deliveries.size(), 1u);
  EXPECT_EQ(Deliveries[0].Data.dtDate, EncodeDate(2024, 5, 1));
  EXPECT_NEAR(Deliveries[0].Data.dtTime, EncodeTime(8, 1, 2, 0), 1e-12);
}

TEST_F(SimulationTest, StoppingTheTicksIsNoticedByTheWatchdog) {
  TKvTimer tick(nullptr, 1000);
  tick.OnTimer = [&] {
    tick.SetEnabled(false);
    Commander->DoSimulateTick();
    tick.SetEnabled(true);
  };
  tick.SetEnabled(true);
  Clock.Advance(5000);
  EXPECT_EQ(Deliveries.size(), 5u);
  tick.SetEnabled(false);
  Clock.Advance(5000);
  ASSERT_EQ(Deliveries.size(), 6u);
  EXPECT_FALSE(Deliveries.back().Data.bConnected);
  EXPECT_GE(Deliveries.back().AtMs - 5000, 2000);
  EXPECT_LE(Deliveries.back().AtMs - 5000, 4000);
}
