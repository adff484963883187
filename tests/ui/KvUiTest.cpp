// The toolkit seams: day-count dates, the C-style float formats, date patterns and the
// virtual clock's timer semantics. Real-clock timing is left to the program's own runs.
#include <gtest/gtest.h>

#include <thread>

#include "KvClock.h"
#include "KvDateTime.h"
#include "KvLocale.h"
#include "LvxTestSupport.h"

TEST(KvDateTime, DayCountsFollowThePlatformEpoch) {
  EXPECT_EQ(EncodeDate(1899, 12, 30), 0.0);
  EXPECT_EQ(EncodeDate(1900, 1, 1), 2.0);
  EXPECT_EQ(EncodeDate(2001, 1, 12), 36903.0);
  EXPECT_NEAR(EncodeTime(12, 0, 0, 0), 0.5, 1e-15);
  int y, m, d, h, n, s, ms;
  DecodeDate(EncodeDate(2011, 6, 15) + EncodeTime(14, 30, 5, 250), y, m, d);
  DecodeTime(EncodeDate(2011, 6, 15) + EncodeTime(14, 30, 5, 250), h, n, s, ms);
  EXPECT_EQ(std::make_tuple(y, m, d, h, n, s, ms), std::make_tuple(2011, 6, 15, 14, 30, 5, 250));
}

TEST(KvDateTime, ImpossibleDatesAndTimesAreRefused) {
  TDateTime r = 42;
  EXPECT_FALSE(TryEncodeDate(2011, 2, 29, r));
  EXPECT_TRUE(TryEncodeDate(2012, 2, 29, r));
  EXPECT_FALSE(TryEncodeDate(2011, 4, 31, r));
  EXPECT_FALSE(TryEncodeDate(2011, 0, 1, r));
  EXPECT_FALSE(TryEncodeDate(0, 1, 1, r));
  EXPECT_FALSE(TryEncodeTime(24, 0, 0, 0, r));
  EXPECT_FALSE(TryEncodeTime(23, 60, 0, 0, r));
  EXPECT_FALSE(TryEncodeTime(23, 59, 60, 0, r));
  EXPECT_THROW(EncodeDate(2011, 13, 1), std::invalid_argument);
}

TEST(KvDateTime, PatternsUseTheLocaleSeparatorsAndMinutesAfterHours) {
  KvLocale_Pin(PinnedTestLocale());
  TDateTime dt = EncodeDate(2026, 3, 7) + EncodeTime(9, 5, 4, 12);
  EXPECT_EQ(FormatDateTime("dd.mm - hh:nn:ss", dt), "07.03 - 09:05:04");
  EXPECT_EQ(FormatDateTime("yyyy/mm/dd hh:mm", dt), "2026.03.07 09:05");
  EXPECT_EQ(FormatDateTime("ddmmyy", EncodeDate(2012, 1, 1)), "010112");
  EXPECT_EQ(FormatDateTime("hh:nn:ss.zzz 'at' d", dt), "09:05:04.012 at 7");
  TDateTime t;
  ASSERT_TRUE(TryStrToTime("14:30:05", t));
  EXPECT_NEAR(t, EncodeTime(14, 30, 5, 0), 1e-12);
  ASSERT_TRUE(TryStrToTime("2:30:05 PM", t));
  EXPECT_NEAR(t, EncodeTime(14, 30, 5, 0), 1e-12);
  EXPECT_FALSE(TryStrToTime("25:00:00", t));
  EXPECT_FALSE(TryStrToTime("noon", t));
}

TEST(KvLocale, FloatFormatsKeepWidthWithoutZeroFillAndUseTheDecimalSeparator) {
  KvLocale_Pin(PinnedTestLocale());
  EXPECT_EQ(KvFormatFloat("%05.1f", 65.3), " 65.3");
  EXPECT_EQ(KvFormatFloat("%05.1f", 105.2), "105.2");
  EXPECT_EQ(KvFormatFloat("%2.0f", 30.0), "30");
  EXPECT_EQ(KvFormatFloat("%3.0f", 80.0), " 80");
  EXPECT_EQ(KvFormatFloat("%05.1f dB", 0.0), "  0.0 dB");
  TKvLocale comma = PinnedTestLocale();
  comma.DecimalSeparator = ',';
  KvLocale_Pin(comma);
  EXPECT_EQ(KvFormatFloat("%05.1f", 65.3), " 65,3");
  KvLocale_Pin(PinnedTestLocale());
}

class KvVirtualClockTest : public VirtualTimeTest {};

TEST_F(KvVirtualClockTest, TimersFireInTimeOrderAndOneShotsStopThemselves) {
  std::vector<QString> fired;
  TKvTimer every300(nullptr, 300), once500(nullptr, 500, true);
  every300.OnTimer = [&] { fired.push_back(QString("a%1").arg(Clock.ElapsedMs())); };
  once500.OnTimer = [&] { fired.push_back(QString("b%1").arg(Clock.ElapsedMs())); };
  every300.SetEnabled(true);
  once500.SetEnabled(true);
  Clock.Advance(1000);
  EXPECT_EQ(fired, (std::vector<QString>{"a300", "b500", "a600", "a900"}));
  EXPECT_FALSE(once500.Enabled());
  EXPECT_TRUE(every300.Enabled());
}

TEST_F(KvVirtualClockTest, EnablingAnEnabledTimerDoesNotRestartIt) {
  int ticks = 0;
  TKvTimer t(nullptr, 1000);
  t.OnTimer = [&] { ++ticks; };
  t.SetEnabled(true);
  Clock.Advance(600);
  t.SetEnabled(true);
  Clock.Advance(400);
  EXPECT_EQ(ticks, 1);
  t.SetEnabled(false);
  t.SetEnabled(true);  // off and on again starts the count anew
  Clock.Advance(999);
  EXPECT_EQ(ticks, 1);
  Clock.Advance(1);
  EXPECT_EQ(ticks, 2);
}

TEST_F(KvVirtualClockTest, SleepMovesTimeButOnlyMessagePassesFireTimers) {
  int ticks = 0;
  TKvTimer t(nullptr, 100);
  t.OnTimer = [&] { ++ticks; };
  t.SetEnabled(true);
  TDateTime before = Now();
  Sleep(250);
  EXPECT_EQ(ticks, 0);
  EXPECT_NEAR((Now() - before) * MSecsPerDay, 250, 1e-3);
  ProcessMessages();
  EXPECT_EQ(ticks, 2);
}

TEST_F(KvVirtualClockTest, SwitchesFromAnotherThreadArriveInOrder) {
  int ticks = 0;
  TKvTimer t(nullptr, 100);
  t.OnTimer = [&] { ++ticks; };
  std::thread worker([&] {
    t.SetEnabled(true);
    t.SetEnabled(false);
    t.SetEnabled(true);
  });
  worker.join();
  Clock.Advance(100);
  EXPECT_TRUE(t.Enabled());
  EXPECT_EQ(ticks, 1);
}
